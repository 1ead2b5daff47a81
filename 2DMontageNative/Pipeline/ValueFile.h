// SPDX-License-Identifier: MIT
/// @file
/// Files that values are saved in: JSON, with matrices compressed behind it.
///
///     MONTAGE plan 1\n            kind and version
///     1234\n                      length of the JSON in bytes
///     {"...": ...}                numbers; a matrix is {"rows", "cols", "type", "bytes", "crc"}
///     ...                         the matrices in the order in which the JSON names them, deflated
///
/// Files are not trusted: nothing is allocated that the file's own length does not account for.
#ifndef ORV_MONTAGE_PIPELINE_VALUE_FILE_H
#define ORV_MONTAGE_PIPELINE_VALUE_FILE_H

#include "montage/Images.h"

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>

namespace montage {

/// Keeps the keys in the order in which they are written.
using Json = nlohmann::ordered_json;

/// Writes `bytes` under a temporary name beside `file` and renames; a failure leaves no file behind
/// and an earlier one as it is. @throw FileError
void writeWhole(const std::filesystem::path& file, const std::string& bytes);

/// @throw FileError also for a file of more than a gigabyte.
std::string readWhole(const std::filesystem::path& file);

/// Parses JSON that is nested at most 32 deep. @throw FileError
Json parseJson(const std::filesystem::path& file, const std::string& text);

/// Collects the matrices of a value on the way to its file.
class ValueWriter {
 public:
  /// Describes the matrix and keeps its compressed bytes.
  Json add(const cv::Mat& matrix);

  /// @param[in] kind  one word. @throw FileError
  void write(const std::filesystem::path& file,
             const std::string& kind,
             int version,
             const Json& json) const;

 private:
  std::string blobs_;
};

/// Takes a value's file apart.
class ValueReader {
 public:
  /// @throw FileError for another kind, a newer version or damage.
  ValueReader(std::filesystem::path file, const std::string& kind, int version);

  [[nodiscard]] const Json& json() const { return json_; }

  /// The next matrix, as it was added. @throw FileError
  cv::Mat next(const Json& description);

 private:
  [[noreturn]] void damaged(const std::string& what) const;

  std::filesystem::path file_;
  std::string bytes_;
  std::size_t at_ = 0;  ///< of the next matrix
  Json json_;
};

/// Runs `use` on fields of `file`; what it throws over a wrong one becomes a FileError.
template <class Use>
auto readingFields(const std::filesystem::path& file, const Use& use) -> decltype(use()) {
  try {
    return use();
  } catch (const FileError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw FileError(file, std::string("damaged: ") + error.what());
  }
}

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_VALUE_FILE_H
