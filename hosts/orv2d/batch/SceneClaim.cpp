// SPDX-License-Identifier: MIT
#include "batch/SceneClaim.h"

#include "ExitCode.h"
#include "FileLock.h"
#include "ImageIo.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

constexpr off_t kMostBytes = 100000000;

fs::path claimPath(const fs::path& montage) {
  return montage.parent_path() / ("." + montage.filename().string() + ".orv2d-batch");
}

int openOrMake(const fs::path& path) {
  constexpr mode_t kMode = 0666;
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode);
  if (file < 0) {
    throw HostError(
        ExitCode::OutputNotWritable,
        "cannot write " + inQuotes(path) + ": " + std::generic_category().message(errno));
  }
  return file;
}

}  // namespace

std::unique_ptr<SceneClaim> SceneClaim::take(const fs::path& montage) {
  const fs::path path = claimPath(montage);
  while (true) {
    std::unique_ptr<SceneClaim> claim(new SceneClaim(path, openOrMake(path)));
    // Some file systems know no locks; a run on one of them is on its own.
    if (tryLock(claim->file_) == LockResult::Held) {
      return nullptr;
    }
    if (isAt(path, claim->file_)) {
      return claim;
    }
  }
}

SceneClaim::SceneClaim(fs::path path, int file) : path_(std::move(path)), file_(file) {}

SceneClaim::~SceneClaim() {
  close(file_);
}

std::string SceneClaim::text() const {
  struct stat status = {};
  if (fstat(file_, &status) != 0 || status.st_size > kMostBytes) {
    return {};
  }
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t got = pread(file_, text.data(), text.size(), 0);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  return text;
}

void SceneClaim::note(const std::string& text) const {
  if (ftruncate(file_, 0) != 0) {
    return;
  }
  for (std::size_t at = 0; at < text.size();) {
    const ssize_t put = pwrite(file_, text.data() + at, text.size() - at, static_cast<off_t>(at));
    if (put <= 0) {
      return;
    }
    at += static_cast<std::size_t>(put);
  }
  fsync(file_);
}

void SceneClaim::forget() const {
  std::error_code ignored;
  fs::remove(path_, ignored);
}

}  // namespace orv2d
