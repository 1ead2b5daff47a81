// SPDX-License-Identifier: MIT
/// @file
/// The files that one run writes, each of them complete.
#ifndef ORV2D_OUTPUT_FILES_H
#define ORV2D_OUTPUT_FILES_H

#include "ScratchFolder.h"

#include <filesystem>
#include <functional>
#include <list>
#include <utility>
#include <vector>

namespace orv2d {

/// Writes files in scratch folders beside their targets and gives them their names at the end.
///
/// A run announces every file with `plan` before its long work, fills them with `write`, and calls
/// `commit`. What was not committed goes away with the object, and existing files stay as they are.
/// All failures are `HostError`.
class OutputFiles {
 public:
  using Writer =
      std::function<void(const std::filesystem::path& target, const std::filesystem::path& file)>;

  /// Checks that `target` can be written: its folder exists and takes a new file, it is no folder,
  /// device or link to nothing, no input and not planned already.
  void plan(const std::filesystem::path& target, const std::vector<std::filesystem::path>& inputs);

  /// Calls `writer` with the target's name and the temporary name to write to.
  void write(const std::filesystem::path& target, const Writer& writer);

  /// Gives the files written since the last commit their names, in the order in which they were
  /// written. Each replaces an earlier file, or the file behind a link, in one step and keeps its
  /// permissions; at no time is one missing. No file is replaced before all are on the disk. Should
  /// a replacement fail, those before it stand, the others are as they were, and the error says so.
  void commit();

  /// Removes what was written since the last commit.
  void discard() { staged_.clear(); }

 private:
  struct Staged {
    Staged(std::filesystem::path given, std::filesystem::path full)
        : name(std::move(given)), target(std::move(full)), scratch(target) {}
    std::filesystem::path name;    ///< for messages
    std::filesystem::path target;  ///< links resolved
    ScratchFolder scratch;
  };
  void renameAll();

  std::vector<std::filesystem::path> planned_;
  std::list<Staged> staged_;
};

}  // namespace orv2d

#endif  // ORV2D_OUTPUT_FILES_H
