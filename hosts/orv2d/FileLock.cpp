// SPDX-License-Identifier: MIT
#include "FileLock.h"

#include <cerrno>
#include <sys/file.h>
#include <sys/stat.h>

namespace orv2d {

LockResult tryLock(int file) {
  int result = 0;
  do {
    result = flock(file, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  if (result == 0) {
    return LockResult::Taken;
  }
  return errno == EWOULDBLOCK ? LockResult::Held : LockResult::Impossible;
}

bool isAt(const std::filesystem::path& path, int file) {
  struct stat named = {};
  struct stat opened = {};
  return stat(path.c_str(), &named) == 0 && fstat(file, &opened) == 0 &&
         named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
}

}  // namespace orv2d
