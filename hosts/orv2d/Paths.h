// SPDX-License-Identifier: MIT
/// @file
/// Where paths lead to.
#ifndef ORV2D_PATHS_H
#define ORV2D_PATHS_H

#include <filesystem>

namespace orv2d {

/// The absolute path behind symbolic links, as far as it exists.
std::filesystem::path resolved(const std::filesystem::path& path);

/// Whether `path` leads to something in `folder` or its folders; empty: the current one.
bool isBelow(const std::filesystem::path& path, const std::filesystem::path& folder);

}  // namespace orv2d

#endif  // ORV2D_PATHS_H
