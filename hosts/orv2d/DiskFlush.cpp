// SPDX-License-Identifier: MIT
#include "DiskFlush.h"

#ifndef _WIN32
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace orv2d {

#ifdef _WIN32

std::error_code flushToDisk(const std::filesystem::path&) {
  return {};
}

#else

std::error_code flushToDisk(const std::filesystem::path& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return {};  // as far as can be known
  }
  const int failure = fsync(file) == 0 ? 0 : errno;
  close(file);
  const bool lost = failure == EIO || failure == ENOSPC || failure == EDQUOT;
  return {lost ? failure : 0, std::generic_category()};
}

#endif

}  // namespace orv2d
