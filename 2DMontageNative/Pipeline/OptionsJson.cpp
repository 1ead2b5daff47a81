// SPDX-License-Identifier: MIT
#include "Pipeline/OptionsJson.h"

#include <array>
#include <stdexcept>
#include <string>
#include <utility>

namespace montage {
namespace {

template <class Value, std::size_t Count>
using Names = std::array<std::pair<Value, const char*>, Count>;

constexpr Names<FeatureKind, 2> kFeatureKinds{
    {{FeatureKind::corners, "corners"}, {FeatureKind::surf, "surf"}}};
constexpr Names<Pairing, 5> kPairings{{{Pairing::all, "all"},
                                       {Pairing::automatic, "automatic"},
                                       {Pairing::sequential, "sequential"},
                                       {Pairing::grid, "grid"},
                                       {Pairing::list, "list"}}};
constexpr Names<AdjustMethod, 2> kAdjustMethods{
    {{AdjustMethod::robust, "robust"}, {AdjustMethod::plain, "plain"}}};
constexpr Names<Seams, 2> kSeams{{{Seams::graphCut, "graphCut"}, {Seams::none, "none"}}};
constexpr Names<Blending, 3> kBlendings{
    {{Blending::multiBand, "multiBand"}, {Blending::feather, "feather"}, {Blending::none, "none"}}};
constexpr Names<Straighten, 4> kStraightens{{{Straighten::automatic, "automatic"},
                                             {Straighten::horizontal, "horizontal"},
                                             {Straighten::vertical, "vertical"},
                                             {Straighten::none, "none"}}};
constexpr Names<Crop, 3> kCrops{
    {{Crop::none, "none"}, {Crop::content, "content"}, {Crop::inner, "inner"}}};
constexpr Names<Background, 3> kBackgrounds{{{Background::black, "black"},
                                             {Background::white, "white"},
                                             {Background::transparent, "transparent"}}};

template <class Value, std::size_t Count>
const char* nameIn(const Names<Value, Count>& names, Value value) {
  for (const auto& [each, name] : names) {
    if (each == value) {
      return name;
    }
  }
  throw std::invalid_argument("options: a value that has no name");
}

template <class Value, std::size_t Count>
Value valueOf(const Names<Value, Count>& names, const Json& name) {
  for (const auto& [value, each] : names) {
    if (name.get<std::string>() == each) {
      return value;
    }
  }
  throw std::invalid_argument("'" + name.get<std::string>() + "' is not known");
}

}  // namespace

Json toJson(const RegisterOptions& options) {
  return {{"features",
           {{"kind", nameIn(kFeatureKinds, options.features.kind)},
            {"megapixels", options.features.megapixels},
            {"surfThreshold", options.features.surfThreshold},
            {"surfOctaves", options.features.surfOctaves},
            {"surfLayers", options.features.surfLayers},
            {"keepImage", options.features.keepImage}}},
          {"pairing",
           {{"kind", nameIn(kPairings, options.pairing.kind)},
            {"followers", options.pairing.followers},
            {"closeLoop", options.pairing.closeLoop},
            {"rows", options.pairing.rows},
            {"columns", options.pairing.columns},
            {"snake", options.pairing.snake},
            {"pairs", options.pairing.pairs}}},
          {"matching",
           {{"strictness", options.matching.strictness}, {"refine", options.matching.refine}}},
          {"adjustment",
           {{"method", nameIn(kAdjustMethods, options.adjustment.method)},
            {"confidence", options.adjustment.confidence},
            {"sharedFocal", options.adjustment.sharedFocal}}},
          {"reverseOrder", options.reverseOrder},
          {"keepMatches", options.keepMatches}};
}

namespace {

PairingOptions pairingOptionsFrom(const Json& json) {
  PairingOptions options;
  options.kind = valueOf(kPairings, json.at("kind"));
  json.at("followers").get_to(options.followers);
  json.at("closeLoop").get_to(options.closeLoop);
  json.at("rows").get_to(options.rows);
  json.at("columns").get_to(options.columns);
  json.at("snake").get_to(options.snake);
  json.at("pairs").get_to(options.pairs);
  return options;
}

}  // namespace

RegisterOptions registerOptionsFrom(const Json& json) {
  RegisterOptions options;
  const Json& features = json.at("features");
  options.features.kind = valueOf(kFeatureKinds, features.at("kind"));
  features.at("megapixels").get_to(options.features.megapixels);
  features.at("surfThreshold").get_to(options.features.surfThreshold);
  features.at("surfOctaves").get_to(options.features.surfOctaves);
  features.at("surfLayers").get_to(options.features.surfLayers);
  features.at("keepImage").get_to(options.features.keepImage);
  if (json.contains("pairing")) {
    options.pairing = pairingOptionsFrom(json.at("pairing"));
  } else {
    options.pairing.kind = Pairing::all;  // a file of a time without a choice
  }
  const Json& matching = json.at("matching");
  matching.at("strictness").get_to(options.matching.strictness);
  matching.at("refine").get_to(options.matching.refine);
  const Json& adjustment = json.at("adjustment");
  options.adjustment.method = valueOf(kAdjustMethods, adjustment.at("method"));
  adjustment.at("confidence").get_to(options.adjustment.confidence);
  adjustment.at("sharedFocal").get_to(options.adjustment.sharedFocal);
  json.at("reverseOrder").get_to(options.reverseOrder);
  json.at("keepMatches").get_to(options.keepMatches);
  check(options);
  return options;
}

Json toJson(const PlanOptions& options) {
  return {{"seams", nameIn(kSeams, options.seams)},
          {"seamMegapixels", options.seamMegapixels},
          {"composeMegapixels", options.composeMegapixels},
          {"exactSeams", options.exactSeams},
          {"seamWidening", options.seamWidening},
          {"masksInsideImages", options.masksInsideImages},
          {"blending", nameIn(kBlendings, options.blending)},
          {"bands", options.bands},
          {"straighten", nameIn(kStraightens, options.straighten)},
          {"faceMeanDirection", options.faceMeanDirection},
          {"crop", nameIn(kCrops, options.crop)},
          {"background", nameIn(kBackgrounds, options.background)},
          {"normaliseBrightness", options.normaliseBrightness},
          {"maxMegapixels", options.maxMegapixels}};
}

PlanOptions planOptionsFrom(const Json& json) {
  PlanOptions options;
  options.seams = valueOf(kSeams, json.at("seams"));
  json.at("seamMegapixels").get_to(options.seamMegapixels);
  json.at("composeMegapixels").get_to(options.composeMegapixels);
  json.at("exactSeams").get_to(options.exactSeams);
  json.at("seamWidening").get_to(options.seamWidening);
  json.at("masksInsideImages").get_to(options.masksInsideImages);
  options.blending = valueOf(kBlendings, json.at("blending"));
  json.at("bands").get_to(options.bands);
  options.straighten = valueOf(kStraightens, json.at("straighten"));
  json.at("faceMeanDirection").get_to(options.faceMeanDirection);
  options.crop = valueOf(kCrops, json.at("crop"));
  options.background = valueOf(kBackgrounds, json.at("background"));
  json.at("normaliseBrightness").get_to(options.normaliseBrightness);
  json.at("maxMegapixels").get_to(options.maxMegapixels);
  check(options);
  return options;
}

}  // namespace montage
