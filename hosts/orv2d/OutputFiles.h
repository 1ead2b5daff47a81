// SPDX-License-Identifier: MIT
/// @file
/// The files that one run writes: all of them, each complete, or none.
#ifndef ORV2D_OUTPUT_FILES_H
#define ORV2D_OUTPUT_FILES_H

#include <filesystem>
#include <functional>
#include <vector>

namespace orv2d {

/// Writes files under temporary names in their own folders and renames them together at the end.
///
/// A run announces every file with `plan` before its long work, fills them with `write`, and calls
/// `commit`. Without `commit` the destructor removes what was written, and existing files stay as
/// they are. All failures are `HostError`.
class OutputFiles {
 public:
  using Writer =
      std::function<void(const std::filesystem::path& target, const std::filesystem::path& file)>;

  OutputFiles() = default;
  ~OutputFiles();
  OutputFiles(const OutputFiles&) = delete;
  OutputFiles& operator=(const OutputFiles&) = delete;

  /// Checks that `target` can be written: its folder exists and takes a new file, it is no folder
  /// or device, no input and not planned already.
  void plan(const std::filesystem::path& target, const std::vector<std::filesystem::path>& inputs);

  /// Calls `writer` with the target's name and the temporary name to write to.
  void write(const std::filesystem::path& target, const Writer& writer);

  /// Gives the files written since the last commit their names; on failure puts the earlier files
  /// back.
  void commit();

  /// Removes what was written since the last commit.
  void discard();

 private:
  struct Staged {
    std::filesystem::path target;
    std::filesystem::path file;
  };
  std::vector<std::filesystem::path> planned_;
  std::vector<Staged> staged_;
};

}  // namespace orv2d

#endif  // ORV2D_OUTPUT_FILES_H
