// SPDX-License-Identifier: MIT
#include "Composition/BlendOptions.h"

namespace ORV::Common::Algorithms::Montage::Composition {

using cv::detail::Blender;

std::optional<BlendOptions> blendOptionsOf(int blendType) {
  switch (blendType) {
    case Blender::NO:
      return BlendOptions{BlendKind::kNone};
    case Blender::FEATHER:
      return BlendOptions{BlendKind::kFeather};
    case Blender::MULTI_BAND:
      return BlendOptions{BlendKind::kMultiBand};
    default:
      return {};
  }
}

BlendOptions blendOptionsOf(const Blender& blender) {
  BlendOptions options;
  if (const auto* bands = dynamic_cast<const cv::detail::MultiBandBlender*>(&blender)) {
    options.kind = BlendKind::kMultiBand;
    options.bands = bands->numBands();
  } else if (const auto* feather = dynamic_cast<const cv::detail::FeatherBlender*>(&blender)) {
    options.kind = BlendKind::kFeather;
    options.sharpness = feather->sharpness();
  }
  return options;
}

cv::Ptr<Blender> makeBlender(const BlendOptions& options, bool tryGpu) {
  switch (options.kind) {
    case BlendKind::kFeather:
      return cv::makePtr<cv::detail::FeatherBlender>(options.sharpness);
    case BlendKind::kMultiBand:
      return cv::makePtr<cv::detail::MultiBandBlender>(static_cast<int>(tryGpu), options.bands);
    default:
      return cv::makePtr<Blender>();
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
