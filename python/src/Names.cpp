// SPDX-License-Identifier: MIT
#include "Names.h"

namespace montage_python {

using Strings = std::vector<std::string>;

template <>
const Strings& names<montage::Preset>() {
  static const Strings kNames{"picture", "basic", "diagnostic"};
  return kNames;
}

template <>
const Strings& names<montage::FeatureKind>() {
  static const Strings kNames{"corners", "surf"};
  return kNames;
}

template <>
const Strings& names<montage::Pairing>() {
  static const Strings kNames{"all", "automatic", "sequential", "grid", "list"};
  return kNames;
}

template <>
const Strings& names<montage::AdjustMethod>() {
  static const Strings kNames{"robust", "plain"};
  return kNames;
}

template <>
const Strings& names<montage::Seams>() {
  static const Strings kNames{"graph_cut", "none"};
  return kNames;
}

template <>
const Strings& names<montage::Blending>() {
  static const Strings kNames{"multi_band", "feather", "none"};
  return kNames;
}

template <>
const Strings& names<montage::Straighten>() {
  static const Strings kNames{"automatic", "horizontal", "vertical", "none"};
  return kNames;
}

template <>
const Strings& names<montage::Crop>() {
  static const Strings kNames{"none", "content", "inner"};
  return kNames;
}

template <>
const Strings& names<montage::Background>() {
  static const Strings kNames{"black", "white", "transparent"};
  return kNames;
}

template <>
const Strings& names<montage::TiffCompression>() {
  static const Strings kNames{"none", "deflate", "jpeg"};
  return kNames;
}

template <>
const Strings& names<montage::Verdict>() {
  static const Strings kNames{"used",
                              "unreadable",
                              "too_few_corners",
                              "no_partner",
                              "another_group",
                              "contradictory",
                              "too_alike"};
  return kNames;
}

template <>
const Strings& names<montage::PairVerdict>() {
  static const Strings kNames{
      "used", "too_weak", "outside", "open_loop", "large_residual", "diverging"};
  return kNames;
}

template <>
const Strings& names<montage::RegistrationStatus>() {
  static const Strings kNames{"ok", "not_connected", "not_finite"};
  return kNames;
}

template <>
const Strings& names<montage::PlanStatus>() {
  static const Strings kNames{"ok", "nothing_to_show", "too_large"};
  return kNames;
}

}  // namespace montage_python
