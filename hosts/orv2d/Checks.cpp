// SPDX-License-Identifier: MIT
#include "Checks.h"

#include <charconv>
#include <cmath>

namespace orv2d {

std::optional<double> parseNumber(const std::string& text) {
  double value = 0.0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

CLI::Validator megapixelCheck() {
  constexpr double kMinMegapixels = 0.0001;
  constexpr double kMaxMegapixels = 1000.0;
  constexpr double kFullResolution = -1.0;
  const auto check = [=](const std::string& text) -> std::string {
    const std::optional<double> value = parseNumber(text);
    const bool possible = value && (*value == kFullResolution ||
                                    (*value >= kMinMegapixels && *value <= kMaxMegapixels));
    return possible ? ""
                    : "'" + text +
                          "' is no resolution; 0.0001 to 1000 megapixels, or -1 for full "
                          "resolution, are "
                          "expected";
  };
  return {check, "MEGAPIXELS"};
}

}  // namespace orv2d
