// SPDX-License-Identifier: MIT
#include "ScratchFolder.h"

#include <algorithm>
#include <cerrno>
#include <iomanip>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace fs = std::filesystem;

namespace orv2d {
namespace {

struct Registry {
  std::mutex mutex;
  std::set<fs::path> folders;
  std::set<fs::path> cleared;  ///< of what dead processes left
};

/// A signal ends the process, not one run in it. Never destroyed: it may come at any time.
Registry& registry() {
  static Registry& only = *new Registry;
  return only;
}

const char* const kBegin = ".orv2d-";
const char* const kEnd = ".tmp";
const char* const kLifeSign = "life";

std::string randomDigits() {
  constexpr int kDigits = 8;
  std::random_device random;
  std::ostringstream digits;
  for (int i = 0; i < 2; ++i) {
    digits << std::hex << std::setw(kDigits) << std::setfill('0') << random();
  }
  return digits.str();
}

bool isScratchName(const std::string& name) {
  const std::string begin = kBegin;
  const std::string end = kEnd;
  return name.size() > begin.size() + end.size() && name.compare(0, begin.size(), begin) == 0 &&
         name.compare(name.size() - end.size(), end.size(), end) == 0;
}

fs::path freeName(const fs::path& target) {
  return target.parent_path() / (kBegin + randomDigits() + kEnd);
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

/// One that was killed between making the folder and the sign left it empty.
void removeIfDead(const fs::path& folder) {
  std::error_code error;
  if (!fs::is_directory(fs::symlink_status(folder, error))) {
    return;
  }
  if (const auto sign = LifeSign::ofDead(folder / kLifeSign)) {
    removeAll(folder);
  } else {
    fs::remove(folder, error);
  }
}

bool isFirstIn(const fs::path& folder) {
  const ScratchLock lock = lockScratchFolders();
  return registry().cleared.insert(folder).second;
}

}  // namespace

ScratchFolder::ScratchFolder(const fs::path& target) {
  constexpr int kAttempts = 8;
  if (isFirstIn(target.parent_path())) {
    removeDeadScratchFolders(target.parent_path());
  }
  const ScratchLock lock = lockScratchFolders();
  for (int attempt = 0; attempt < kAttempts && folder_.empty(); ++attempt) {
    const fs::path name = freeName(target);
    error_ = make(name);
    if (error_) {
      continue;
    }
    life_.emplace(name / kLifeSign);
    error_ = life_->error();
    if (error_) {
      removeAll(name);
      continue;
    }
    folder_ = name;
    registry().folders.insert(name);
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

void removeDeadScratchFolders(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> found;
  for (fs::directory_iterator at(folder.empty() ? "." : folder, error), end; at != end && !error;
       at.increment(error)) {
    if (isScratchName(at->path().filename().string())) {
      found.push_back(at->path());
    }
  }
  std::for_each(found.begin(), found.end(), removeIfDead);
}

}  // namespace orv2d
