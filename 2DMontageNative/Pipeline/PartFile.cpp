// SPDX-License-Identifier: MIT
#include "Pipeline/PartFile.h"

#include "montage/Images.h"

#include <random>
#include <sstream>
#include <system_error>
#include <utility>

namespace montage {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFailed = "writing failed; is the disk full?";

fs::path temporaryNameFor(const fs::path& file) {
  std::random_device random;
  std::ostringstream suffix;
  suffix << ".part" << std::hex << random() << random();
  return fs::path(file).concat(suffix.str());
}

}  // namespace

PartFile::PartFile(fs::path file) : file_(std::move(file)), temporary_(temporaryNameFor(file_)) {
  try {
    stream_.open(temporary_, std::ios::binary);
  } catch (...) {  // the file is there before the memory that a stream takes
    std::error_code ignored;
    fs::remove(temporary_, ignored);
    throw;
  }
  if (!stream_) {
    throw FileError(file_, "it cannot be opened for writing");
  }
}

PartFile::~PartFile() {
  if (!temporary_.empty()) {
    stream_.close();
    std::error_code ignored;
    fs::remove(temporary_, ignored);
  }
}

void PartFile::append(const void* bytes, std::size_t count) {
  write(bytes, count);
  size_ += count;
}

void PartFile::overwrite(std::uint64_t offset, const void* bytes, std::size_t count) {
  stream_.seekp(static_cast<std::streamoff>(offset));
  write(bytes, count);
}

void PartFile::write(const void* bytes, std::size_t count) {
  if (!stream_.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count))) {
    throw FileError(file_, kFailed);
  }
}

void PartFile::finish() {
  stream_.close();
  if (!stream_) {
    throw FileError(file_, kFailed);
  }
  std::error_code error;
  fs::rename(temporary_, file_, error);
  if (error) {
    throw FileError(file_, error.message());
  }
  temporary_.clear();
}

}  // namespace montage
