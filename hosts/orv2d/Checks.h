// SPDX-License-Identifier: MIT
/// @file
/// Checks of option values, shared by the command line and the lens file.
#ifndef ORV2D_CHECKS_H
#define ORV2D_CHECKS_H

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace orv2d {

/// The whole of `text` as a finite number; nothing for any other text, "nan" and "inf" included.
std::optional<double> parseNumber(const std::string& text);

/// Accepts a resolution in megapixels: 0.0001 to 1000, or -1 for full resolution.
CLI::Validator megapixelCheck();

}  // namespace orv2d

#endif  // ORV2D_CHECKS_H
