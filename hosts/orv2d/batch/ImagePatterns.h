// SPDX-License-Identifier: MIT
/// @file
/// Names of images with wildcards.
#ifndef ORV2D_IMAGE_PATTERNS_H
#define ORV2D_IMAGE_PATTERNS_H

#include <filesystem>
#include <string>
#include <vector>

namespace orv2d {

/// The files that `name`, relative to `folder`, stands for: itself where it exists or has none of
/// the wildcards * ? [, else what matches it, in the order of the bytes of the names. Empty: nothing
/// matches.
std::vector<std::string> matchingFiles(const std::filesystem::path& folder,
                                       const std::string& name);

}  // namespace orv2d

#endif  // ORV2D_IMAGE_PATTERNS_H
