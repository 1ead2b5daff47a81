// SPDX-License-Identifier: MIT
/// @file
/// A file that appears when it is complete, or not at all.
#ifndef ORV_MONTAGE_PIPELINE_PART_FILE_H
#define ORV_MONTAGE_PIPELINE_PART_FILE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>

namespace montage {

/// Writes under a temporary name beside `file` and renames at the end. Without finish() the
/// destructor removes what was written; an earlier file stays as it is. All failures are `FileError`
/// that name `file`.
class PartFile {
 public:
  explicit PartFile(std::filesystem::path file);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  /// Adds to the end.
  void append(const void* bytes, std::size_t count);
  /// Writes over what stands at `offset`; nothing is appended afterwards.
  void overwrite(std::uint64_t offset, const void* bytes, std::size_t count);
  /// Bytes appended so far.
  [[nodiscard]] std::uint64_t size() const { return size_; }

  /// Closes the file and gives it its name.
  void finish();

 private:
  void write(const void* bytes, std::size_t count);

  std::filesystem::path file_;
  std::filesystem::path temporary_;  ///< empty once it is renamed
  std::ofstream stream_;
  std::uint64_t size_ = 0;
};

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PART_FILE_H
