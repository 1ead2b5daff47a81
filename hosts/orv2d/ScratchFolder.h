// SPDX-License-Identifier: MIT
/// @file
/// Where unfinished files lie, so that nothing of them is left however the program ends.
#ifndef ORV2D_SCRATCH_FOLDER_H
#define ORV2D_SCRATCH_FOLDER_H

#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>

namespace orv2d {

/// A hidden folder beside a file that is to be written. It goes away with all it holds, with this
/// object or by `removeScratchFolders`. Others than the user cannot look into it.
class ScratchFolder {
 public:
  /// Makes the folder; `error` says why there is none.
  /// @param[in] mark  of its name; empty: that which the variable ORV2D_SCRATCH of the environment
  ///   gives, so that another process can tell the folders of this one.
  explicit ScratchFolder(const std::filesystem::path& target, const std::string& mark = {});
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] const std::error_code& error() const { return error_; }

  /// Name for the one file in it.
  [[nodiscard]] std::filesystem::path file() const { return folder_ / "output"; }

 private:
  std::filesystem::path folder_;  ///< empty: could not be made
  std::error_code error_;
};

/// While one lives, the scratch folders stay as they are, and the program does not end by a signal.
using ScratchLock = std::unique_lock<std::mutex>;
[[nodiscard]] ScratchLock lockScratchFolders();

/// Removes all of them. The caller keeps the lock until the program has ended, so that none is made
/// any more.
void removeScratchFolders(const ScratchLock& lock);

/// A mark that no other process has: 16 hexadecimal digits.
std::string newScratchMark();

/// Removes the scratch folders with that mark in `folder`: those of a process that was killed.
void removeMarkedScratchFolders(const std::filesystem::path& folder, const std::string& mark);

}  // namespace orv2d

#endif  // ORV2D_SCRATCH_FOLDER_H
