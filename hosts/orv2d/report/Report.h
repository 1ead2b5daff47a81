// SPDX-License-Identifier: MIT
/// @file
/// What the reports of both commands share.
#ifndef ORV2D_REPORT_H
#define ORV2D_REPORT_H

#include "OutputFiles.h"

#include <nlohmann/json.hpp>

#include <string>

namespace orv2d {

/// Keeps the keys in the order in which they are written.
using Json = nlohmann::ordered_json;

/// Starts a report: program, command and versions.
Json startReport(const std::string& command);

/// A figure with its unit; the value is null if it is not finite.
Json quantity(double value, const std::string& unit);

/// `{"width": ..., "height": ...}` in pixels.
Json sizeJson(int width, int height);

/// Stages the report as indented UTF-8; bytes of file names that are no UTF-8 are replaced.
void writeReport(const Json& report, const std::string& path, OutputFiles& outputs);

}  // namespace orv2d

#endif  // ORV2D_REPORT_H
