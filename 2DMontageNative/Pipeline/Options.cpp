// SPDX-License-Identifier: MIT
#include "montage/Options.h"

#include "Pipeline/OptionsJson.h"

#include <cmath>
#include <sstream>
#include <stdexcept>

namespace montage {
namespace {

[[noreturn]] void refuse(const std::string& field, double value, const std::string& expected) {
  std::ostringstream text;
  text << field << ": " << expected << " is expected, " << value << " given";
  throw std::invalid_argument(text.str());
}

void requireRange(const std::string& field, double value, double low, double high) {
  if (!(value >= low && value <= high)) {
    std::ostringstream expected;
    expected << "a value from " << low << " to " << high;
    refuse(field, value, expected.str());
  }
}

/// Below this resolution an image would have no pixel left.
constexpr double kFewestMegapixels = 1e-4;
constexpr double kMostMegapixels = 1000.0;

/// More images than any set has.
constexpr int kMostImages = 100000;

void requireMegapixels(const std::string& field, double value) {
  if (value != -1.0 && !(value >= kFewestMegapixels && value <= kMostMegapixels)) {
    refuse(field, value, "a resolution from 0.0001 to 1000 megapixels, or -1 for full resolution,");
  }
}

}  // namespace

void check(const FeatureOptions& options) {
  requireMegapixels("features.megapixels", options.megapixels);
  requireRange("features.surfThreshold", options.surfThreshold, 0.0, 1e6);
  requireRange("features.surfOctaves", options.surfOctaves, 1, 8);
  requireRange("features.surfLayers", options.surfLayers, 1, 8);
}

void check(const PairingOptions& options) {
  requireRange("pairing.followers", options.followers, 1, kMostImages);
  requireRange("pairing.rows", options.rows, 0, kMostImages);
  requireRange("pairing.columns", options.columns, 0, kMostImages);
}

void check(const MatchOptions& options) {
  requireRange("matching.strictness", options.strictness, 0.0, 0.99);
}

void check(const AdjustOptions& options) {
  requireRange("adjustment.confidence", options.confidence, 1e-3, 1e3);
}

void check(const RegisterOptions& options) {
  check(options.features);
  check(options.pairing);
  check(options.matching);
  check(options.adjustment);
}

void check(const PlanOptions& options) {
  requireMegapixels("seamMegapixels", options.seamMegapixels);
  requireMegapixels("composeMegapixels", options.composeMegapixels);
  requireRange("seamWidening", options.seamWidening, 0, 100);
  requireRange("bands", options.bands, 0, 5);
  requireRange("maxMegapixels", options.maxMegapixels, 1e-6, 1e9);
}

RegisterOptions registerOptions(Preset preset) {
  RegisterOptions options;
  if (preset != Preset::picture) {
    options.features.keepImage = false;
    options.pairing.kind = Pairing::all;
    options.matching.refine = false;
    options.adjustment.method = AdjustMethod::plain;
    options.reverseOrder = preset == Preset::diagnostic;
  }
  return options;
}

PlanOptions planOptions(Preset preset) {
  PlanOptions options;
  if (preset != Preset::picture) {
    options.exactSeams = true;
    options.masksInsideImages = false;
    options.faceMeanDirection = false;
    options.bands = 3;
  }
  if (preset == Preset::basic) {
    options.straighten = Straighten::horizontal;
  }
  if (preset == Preset::diagnostic) {
    options.straighten = Straighten::none;
    options.seamWidening = 7;
    options.blending = Blending::feather;
    options.normaliseBrightness = true;
  }
  return options;
}

std::string toString(const RegisterOptions& options) {
  return toJson(options).dump();
}

std::string toString(const PlanOptions& options) {
  return toJson(options).dump();
}

}  // namespace montage
