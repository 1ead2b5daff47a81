// SPDX-License-Identifier: MIT
#include "ScratchFolder.h"

#include <cerrno>
#include <random>
#include <set>
#include <sstream>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace fs = std::filesystem;

namespace orv2d {
namespace {

struct Registry {
  std::mutex mutex;
  std::set<fs::path> folders;
};

/// A signal ends the process, not one run in it. Never destroyed: it may come at any time.
Registry& registry() {
  static Registry& only = *new Registry;
  return only;
}

fs::path freeName(const fs::path& target) {
  std::random_device random;
  std::ostringstream name;
  name << ".orv2d-" << std::hex << random() << random() << ".tmp";
  return target.parent_path() / name.str();
}

/// For its owner only, from the beginning.
std::error_code make(const fs::path& folder) {
  std::error_code error;
#ifdef _WIN32
  if (!fs::create_directory(folder, error) && !error) {
    error = std::make_error_code(std::errc::file_exists);
  }
#else
  if (mkdir(folder.c_str(), S_IRWXU) != 0) {
    error.assign(errno, std::generic_category());
  }
#endif
  return error;
}

/// Another thread may be making one more file in it.
void removeAll(const fs::path& folder) {
  constexpr int kAttempts = 100;
  std::error_code error;
  for (int attempt = 0; attempt < kAttempts && fs::exists(folder, error); ++attempt) {
    fs::remove_all(folder, error);
  }
}

}  // namespace

ScratchFolder::ScratchFolder(const fs::path& target) {
  constexpr int kAttempts = 8;
  const ScratchLock lock = lockScratchFolders();
  for (int attempt = 0; attempt < kAttempts && folder_.empty(); ++attempt) {
    const fs::path name = freeName(target);
    error_ = make(name);
    if (!error_) {
      folder_ = name;
      registry().folders.insert(name);
    }
  }
}

ScratchFolder::~ScratchFolder() {
  if (!folder_.empty()) {
    const ScratchLock lock = lockScratchFolders();
    registry().folders.erase(folder_);
    removeAll(folder_);
  }
}

ScratchLock lockScratchFolders() {
  return ScratchLock(registry().mutex);
}

void removeScratchFolders(const ScratchLock& /*lock*/) {
  for (const fs::path& folder : registry().folders) {
    removeAll(folder);
  }
}

}  // namespace orv2d
