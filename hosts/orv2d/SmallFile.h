// SPDX-License-Identifier: MIT
/// @file
/// Files that people write by hand.
#ifndef ORV2D_SMALL_FILE_H
#define ORV2D_SMALL_FILE_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace orv2d {

/// The bytes of a regular file. Throws `HostError` (unreadable input) for a file that is missing,
/// cannot be opened or read, or is larger than `mostBytes`.
std::string readSmallFile(const std::filesystem::path& path, std::uintmax_t mostBytes);

}  // namespace orv2d

#endif  // ORV2D_SMALL_FILE_H
