// SPDX-License-Identifier: MIT
/// @file
/// Files that processes lock; the system gives a lock back with the process, however that ends.
#ifndef ORV2D_FILE_LOCK_H
#define ORV2D_FILE_LOCK_H

#include <filesystem>

namespace orv2d {

enum class LockResult {
  Taken,
  Held,       ///< by somebody else
  Impossible  ///< some file systems know no locks
};

/// Locks an open file as a whole without waiting; the lock goes with the last copy of the
/// descriptor.
LockResult tryLock(int file);

/// Whether it is still what the name stands for: the one who held it may have removed it.
bool isAt(const std::filesystem::path& path, int file);

}  // namespace orv2d

#endif  // ORV2D_FILE_LOCK_H
