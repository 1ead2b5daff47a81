// SPDX-License-Identifier: MIT
#include "report/Report.h"

#include "ImageIo.h"

#include <opencv2/core/version.hpp>

namespace orv2d {

Json startReport(const std::string& command) {
  return {{"program", "orv2d"},
          {"command", command},
          {"versions", {{"2DMontageNative", ORV2D_VERSION}, {"OpenCV", CV_VERSION}}}};
}

Json quantity(double value, const std::string& unit) {
  return {{"value", value}, {"unit", unit}};
}

Json sizeJson(int width, int height) {
  return {{"width", width}, {"height", height}};
}

void writeReport(const Json& report, const std::string& path, OutputFiles& outputs) {
  constexpr int kIndent = 2;
  const std::string text = report.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n";
  outputs.write(path, [&](const auto& target, const auto& file) {
    writeBytes(text.data(), text.size(), target, file);
  });
}

}  // namespace orv2d
