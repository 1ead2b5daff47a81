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

#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace montage {

/// How values become JSON and come back; whole numbers have one of their own.
template <class Value, class = void>
struct FieldSerializer : nlohmann::adl_serializer<Value> {};

/// Keeps the keys in the order in which they are written. A whole number is read from a whole number
/// that its type can hold; anything else in its place is a `std::invalid_argument`.
using Json = nlohmann::basic_json<nlohmann::ordered_map,
                                  std::vector,
                                  std::string,
                                  bool,
                                  std::int64_t,
                                  std::uint64_t,
                                  double,
                                  std::allocator,
                                  FieldSerializer>;

template <class Value>
struct FieldSerializer<Value,
                       std::enable_if_t<std::is_integral_v<Value> && !std::is_same_v<Value, bool>>>
    : nlohmann::adl_serializer<Value> {
  static void from_json(const Json& json, Value& value) {
    using Limits = std::numeric_limits<Value>;
    bool fits = false;
    if (json.is_number_unsigned()) {
      const auto found = json.get_ref<const std::uint64_t&>();
      fits = found <= static_cast<std::uint64_t>(Limits::max());
      value = static_cast<Value>(found);
    } else if (json.is_number_integer()) {
      const auto found = json.get_ref<const std::int64_t&>();
      fits = found < 0
                 ? std::is_signed_v<Value> && found >= static_cast<std::int64_t>(Limits::min())
                 : static_cast<std::uint64_t>(found) <= static_cast<std::uint64_t>(Limits::max());
      value = static_cast<Value>(found);
    }
    if (!fits) {
      throw std::invalid_argument("a whole number in its range is expected, " +
                                  (json.is_number() ? json.dump() : json.type_name()) + " found");
    }
  }
};

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
