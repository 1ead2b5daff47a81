// SPDX-License-Identifier: MIT
#include "Pipeline/ValueFile.h"

#include "Pipeline/PartFile.h"

#include <cstdint>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>
#include <zlib.h>

namespace montage {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kLargestFile = std::uintmax_t{1} << 30;
constexpr int kDeepestJson = 32;

/// Deflate makes nothing smaller than this.
constexpr std::uint64_t kBestCompression = 1040;

/// Whether brackets outside of strings are nested too deep for a parser.
bool isTooDeep(const std::string& text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      i += c == '\\' ? 1 : 0;
      inString = c != '"';
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kDeepestJson) {
        return true;
      }
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

std::uint32_t checksumOf(const void* bytes, std::size_t count) {
  return static_cast<std::uint32_t>(
      crc32(0, static_cast<const Bytef*>(bytes), static_cast<uInt>(count)));
}

/// The line that starts at `at`, which moves behind it; empty if there is no end of it nearby.
std::string lineAt(const std::string& bytes, std::size_t& at) {
  constexpr std::size_t kLongestLine = 100;
  const std::size_t end = bytes.find('\n', at);
  if (end == std::string::npos || end - at > kLongestLine) {
    return {};
  }
  std::string line = bytes.substr(at, end - at);
  at = end + 1;
  return line;
}

}  // namespace

void writeWhole(const fs::path& file, const std::string& bytes) {
  PartFile part(file);
  part.append(bytes.data(), bytes.size());
  part.finish();
}

std::string readWhole(const fs::path& file) {
  std::error_code error;
  if (!fs::is_regular_file(file, error)) {
    throw FileError(file, fs::exists(file, error) ? "it is not a regular file" : "no such file");
  }
  const std::uintmax_t size = fs::file_size(file, error);
  if (error || size > kLargestFile) {
    throw FileError(file, error ? error.message() : "it is larger than a gigabyte");
  }
  std::ifstream stream(file, std::ios::binary);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  if (!stream || !stream.read(bytes.data(), static_cast<std::streamsize>(size))) {
    throw FileError(file, "it cannot be read");
  }
  return bytes;
}

Json parseJson(const fs::path& file, const std::string& text) {
  if (isTooDeep(text)) {
    throw FileError(file, "damaged: its JSON is nested too deep");
  }
  Json json = Json::parse(text, nullptr, false);
  if (json.is_discarded()) {
    throw FileError(file, "damaged: it is not JSON");
  }
  return json;
}

Json ValueWriter::add(const cv::Mat& matrix) {
  const cv::Mat packed = matrix.isContinuous() ? matrix : matrix.clone();
  const std::size_t size = packed.total() * packed.elemSize();
  uLongf compressedSize = compressBound(static_cast<uLong>(size));
  std::string compressed(compressedSize, '\0');
  const int status = compress2(reinterpret_cast<Bytef*>(compressed.data()),  // NOLINT
                               &compressedSize,
                               packed.data,
                               static_cast<uLong>(size),
                               Z_BEST_SPEED);
  if (status != Z_OK) {
    throw std::bad_alloc();
  }
  compressed.resize(compressedSize);
  blobs_ += compressed;
  return {{"rows", packed.rows},
          {"cols", packed.cols},
          {"type", packed.type()},
          {"bytes", compressedSize},
          {"crc", checksumOf(compressed.data(), compressed.size())}};
}

void ValueWriter::write(const fs::path& file,
                        const std::string& kind,
                        int version,
                        const Json& json) const {
  const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  writeWhole(file,
             "MONTAGE " + kind + " " + std::to_string(version) + "\n" +
                 std::to_string(text.size()) + "\n" + text + blobs_);
}

ValueReader::ValueReader(fs::path file, const std::string& kind, int version)
    : file_(std::move(file)), bytes_(readWhole(file_)) {
  std::istringstream header(lineAt(bytes_, at_));
  std::string magic;
  std::string foundKind;
  int foundVersion = 0;
  header >> magic >> foundKind >> foundVersion;
  if (magic != "MONTAGE" || foundKind != kind) {
    throw FileError(file_, "it is not a file of the kind '" + kind + "'");
  }
  if (foundVersion > version) {
    throw FileError(file_,
                    "it is of version " + std::to_string(foundVersion) +
                        ", newer than this library knows (" + std::to_string(version) + ")");
  }
  std::size_t length = 0;
  std::istringstream(lineAt(bytes_, at_)) >> length;
  if (foundVersion < 1 || length == 0 || length > bytes_.size() - at_) {
    damaged("it is cut off");
  }
  json_ = parseJson(file_, bytes_.substr(at_, length));
  at_ += length;
}

cv::Mat ValueReader::next(const Json& description) {
  const int rows = description.at("rows").get<int>();
  const int cols = description.at("cols").get<int>();
  const int type = description.at("type").get<int>();
  const auto compressed = description.at("bytes").get<std::uint64_t>();
  if (rows < 0 || cols < 0 || type < 0 || type > CV_MAKETYPE(CV_16F, CV_CN_MAX) ||
      compressed > bytes_.size() - at_) {
    damaged("a matrix does not fit");
  }
  const auto elements = static_cast<std::uint64_t>(rows) * static_cast<std::uint64_t>(cols);
  const auto elementSize = static_cast<std::uint64_t>(CV_ELEM_SIZE(type));
  if (elements > compressed * kBestCompression / elementSize) {
    damaged("a matrix is larger than its bytes");
  }
  const std::uint64_t size = elements * elementSize;
  const char* const bytes = bytes_.data() + at_;
  at_ += compressed;
  if (checksumOf(bytes, compressed) != description.at("crc").get<std::uint32_t>()) {
    damaged("a checksum is wrong");
  }
  cv::Mat matrix(rows, cols, type);
  auto found = static_cast<uLongf>(size);
  const int status = uncompress(matrix.data,
                                &found,
                                reinterpret_cast<const Bytef*>(bytes),  // NOLINT
                                static_cast<uLong>(compressed));
  if (size > 0 && (status != Z_OK || found != size)) {
    damaged("a matrix cannot be unpacked");
  }
  return matrix;
}

void ValueReader::damaged(const std::string& what) const {
  throw FileError(file_, "damaged: " + what);
}

}  // namespace montage
