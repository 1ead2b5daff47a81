// SPDX-License-Identifier: MIT
/// @file
/// The list of scenes of a batch.
#ifndef ORV2D_MANIFEST_H
#define ORV2D_MANIFEST_H

#include "CommandLine.h"

#include <filesystem>
#include <string>
#include <vector>

namespace orv2d {

/// A scene as the manifest has it.
struct ManifestScene {
  std::size_t line = 0;  ///< where it stands, from 1
  std::string name;
  std::vector<std::string> images;  ///< names or patterns, at least one
  std::string slabs;                ///< empty: not said, here and below
  Words options;
  std::string output;
};

/// Reads a manifest: a table of comma-separated values with a line of headings, or JSON lines with
/// one object each if it begins with a brace. Columns and keys are name, images, slabs, options and
/// output; name and images must be there.
///
/// Throws `HostError` (unreadable input) with the number of the line.
std::vector<ManifestScene> readManifest(const std::filesystem::path& path);

/// Throws `HostError` (unreadable input): what is wrong in that line of the manifest; 0: in all of
/// it.
[[noreturn]] void refuseManifest(const std::filesystem::path& path,
                                 std::size_t line,
                                 const std::string& reason);

}  // namespace orv2d

#endif  // ORV2D_MANIFEST_H
