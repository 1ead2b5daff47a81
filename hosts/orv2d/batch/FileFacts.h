// SPDX-License-Identifier: MIT
/// @file
/// Whether a file still holds what it held.
#ifndef ORV2D_FILE_FACTS_H
#define ORV2D_FILE_FACTS_H

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <vector>

namespace orv2d {

struct FileFacts {
  std::uint64_t bytes = 0;
  std::int64_t changed = 0;  ///< nanoseconds of the file system's clock
  std::uint64_t hash = 0;    ///< of the content
  bool settled = false;      ///< not written to just before it was read, see `factsOf`
};

/// Reads what cannot be told from `known`: a file of the same size and time of change has the same
/// content, if that time lay some seconds back when it was read (clocks of file systems are coarse).
/// Throws `std::filesystem::filesystem_error` for a file that cannot be read.
FileFacts factsOf(const std::filesystem::path& file, const FileFacts* known);

/// `factsOf` each; those known are in the same order, or others.
std::vector<FileFacts> factsOf(const std::vector<std::filesystem::path>& files,
                               const std::vector<FileFacts>& known);

bool sameContents(const std::vector<FileFacts>& some, const std::vector<FileFacts>& others);

void to_json(nlohmann::ordered_json& json, const FileFacts& facts);
void from_json(const nlohmann::ordered_json& json, FileFacts& facts);

}  // namespace orv2d

#endif  // ORV2D_FILE_FACTS_H
