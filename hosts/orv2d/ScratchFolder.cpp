// SPDX-License-Identifier: MIT
#include "ScratchFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
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
};

/// A signal ends the process, not one run in it. Never destroyed: it may come at any time.
Registry& registry() {
  static Registry& only = *new Registry;
  return only;
}

const char* const kBegin = ".orv2d-";
constexpr std::size_t kMarkLength = 16;

std::string randomDigits() {
  constexpr int kDigits = 8;
  std::random_device random;
  std::ostringstream digits;
  for (int i = 0; i < 2; ++i) {
    digits << std::hex << std::setw(kDigits) << std::setfill('0') << random();
  }
  return digits.str();
}

bool isMark(const std::string& text) {
  return text.size() == kMarkLength &&
         text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

std::string markOfEnvironment() {
  const char* const mark =
      std::getenv("ORV2D_SCRATCH");  // NOLINT(concurrency-mt-unsafe): only read
  return mark != nullptr && isMark(mark) ? mark : std::string();
}

fs::path freeName(const fs::path& target, const std::string& mark) {
  const std::string shown = mark.empty() ? "" : mark + "-";
  return target.parent_path() / (kBegin + shown + randomDigits() + ".tmp");
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

ScratchFolder::ScratchFolder(const fs::path& target, const std::string& mark) {
  constexpr int kAttempts = 8;
  const ScratchLock lock = lockScratchFolders();
  for (int attempt = 0; attempt < kAttempts && folder_.empty(); ++attempt) {
    const fs::path name = freeName(target, mark.empty() ? markOfEnvironment() : mark);
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

std::string newScratchMark() {
  return randomDigits();
}

void removeMarkedScratchFolders(const fs::path& folder, const std::string& mark) {
  if (!isMark(mark)) {
    return;
  }
  std::error_code error;
  const std::string begin = kBegin + mark + "-";
  std::vector<fs::path> left;
  for (fs::directory_iterator at(folder.empty() ? "." : folder, error), end; at != end && !error;
       at.increment(error)) {
    if (at->path().filename().string().compare(0, begin.size(), begin) == 0) {
      left.push_back(at->path());
    }
  }
  std::for_each(left.begin(), left.end(), removeAll);
}

}  // namespace orv2d
