// SPDX-License-Identifier: MIT
/// @file
/// Where unfinished files lie, so that nothing of them is left however the program ends.
#ifndef ORV2D_SCRATCH_FOLDER_H
#define ORV2D_SCRATCH_FOLDER_H

#include "LifeSign.h"

#include <filesystem>
#include <mutex>
#include <optional>
#include <system_error>

namespace orv2d {

/// A hidden folder beside a file that is to be written. It goes away with all it holds, with this
/// object, by `removeScratchFolders`, or when the process was killed by the next one that makes one
/// there. Others than the user cannot look into it.
class ScratchFolder {
 public:
  /// Makes the folder; `error` says why there is none. The first one in a folder removes those of
  /// dead processes.
  explicit ScratchFolder(const std::filesystem::path& target);
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] const std::error_code& error() const { return error_; }

  /// Name for the one file in it.
  [[nodiscard]] std::filesystem::path file() const { return folder_ / "output"; }

 private:
  std::filesystem::path folder_;  ///< empty: could not be made
  std::optional<LifeSign> life_;
  std::error_code error_;
};

/// While one lives, the scratch folders stay as they are, and the program does not end by a signal.
using ScratchLock = std::unique_lock<std::mutex>;
[[nodiscard]] ScratchLock lockScratchFolders();

/// Removes all of them. The caller keeps the lock until the program has ended, so that none is made
/// any more.
void removeScratchFolders(const ScratchLock& lock);

/// Removes the scratch folders in `folder` whose processes are dead: killed, or gone with a machine
/// that started again. Those of living ones stay, and those of other machines.
void removeDeadScratchFolders(const std::filesystem::path& folder);

}  // namespace orv2d

#endif  // ORV2D_SCRATCH_FOLDER_H
