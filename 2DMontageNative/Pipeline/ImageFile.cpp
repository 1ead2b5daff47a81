// SPDX-License-Identifier: MIT
#include "montage/Images.h"

#include <opencv2/imgcodecs.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

namespace montage {
namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<unsigned char>;

constexpr unsigned char kMarker = 0xFF;
constexpr unsigned char kStartOfImage = 0xD8;
constexpr unsigned char kEndOfImage = 0xD9;
constexpr unsigned char kFirstRestart = 0xD0;
constexpr unsigned char kLastRestart = 0xD7;
constexpr unsigned char kTemporary = 0x01;
constexpr unsigned char kFirstFrame = 0xC0;
constexpr unsigned char kLastFrame = 0xCF;

const char* const kDamaged = "the image is damaged or cut off; copy or export it again";

/// OpenCV counts the bytes of a file as `int`.
constexpr std::uintmax_t kLargestFile = INT32_MAX;

bool isJpeg(const Bytes& bytes) {
  return bytes.size() > 2 && bytes[0] == kMarker && bytes[1] == kStartOfImage;
}

bool hasNoLength(unsigned char code) {
  return code == 0 || code == kMarker || code == kTemporary ||
         (code >= kFirstRestart && code <= kLastRestart);
}

/// Tables that are numbered among the frames.
bool isFrame(unsigned char code) {
  constexpr unsigned char kHuffman = 0xC4;
  constexpr unsigned char kReserved = 0xC8;
  constexpr unsigned char kArithmetic = 0xCC;
  return code >= kFirstFrame && code <= kLastFrame && code != kHuffman && code != kReserved &&
         code != kArithmetic;
}

struct JpegFacts {
  bool isComplete = false;  ///< it ends with its own end marker
  int width = 0;
  int height = 0;
};

/// Segments before the pixels are skipped by their lengths: a preview within them has markers too.
JpegFacts jpegFacts(const Bytes& bytes) {
  constexpr std::size_t kHeader = 9;
  const auto number = [&](std::size_t at) { return bytes[at] * 256 + bytes[at + 1]; };
  JpegFacts facts;
  std::size_t at = 2;
  while (at + 1 < bytes.size()) {
    const unsigned char code = bytes[at + 1];
    if (bytes[at] != kMarker || hasNoLength(code)) {
      ++at;  // pixels; elsewhere, decoders skip what does not belong there
    } else if (code == kEndOfImage) {
      facts.isComplete = true;
      return facts;
    } else if (at + kHeader > bytes.size()) {
      return facts;
    } else {
      if (isFrame(code)) {
        facts.height = number(at + 5);
        facts.width = number(at + 7);
      }
      at += 2 + static_cast<std::size_t>(number(at + 2));
    }
  }
  return facts;
}

/// Decoders fill what is missing with grey and only print a warning: of a few bytes they make any
/// size that the header claims.
void requireWholeJpeg(const fs::path& file, const Bytes& bytes) {
  constexpr double kMostPixelsPerByte = 1024.0;  // a block of 64 pixels takes a bit or more
  const JpegFacts facts = jpegFacts(bytes);
  if (!facts.isComplete) {
    throw FileError(file, kDamaged);
  }
  if (static_cast<double>(facts.width) * facts.height >
      kMostPixelsPerByte * static_cast<double>(bytes.size())) {
    throw FileError(file,
                    "damaged: its header claims " + std::to_string(facts.width) + " x " +
                        std::to_string(facts.height) + " pixels, more than its " +
                        std::to_string(bytes.size()) + " bytes can hold");
  }
}

Bytes readBytes(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (!fs::exists(status)) {
    throw FileError(file, "no such file");
  }
  if (!fs::is_regular_file(status)) {
    throw FileError(file, "it is not a regular file");
  }
  const std::uintmax_t size = fs::file_size(file, error);
  std::ifstream stream(file, std::ios::binary);
  if (error || !stream) {
    throw FileError(file, "it cannot be opened for reading");
  }
  if (size > kLargestFile) {
    throw FileError(file, "it is larger than 2 GB, which no decoder takes");
  }
  Bytes bytes(static_cast<std::size_t>(size));
  if (!bytes.empty() && !stream.read(reinterpret_cast<char*>(bytes.data()),  // NOLINT
                                     static_cast<std::streamsize>(size))) {
    throw FileError(file, "it cannot be read");
  }
  if (bytes.empty()) {
    throw FileError(file, "it is empty");
  }
  return bytes;
}

/// Decodes with the depth and the channels of the file; empty if that fails.
cv::Mat decode(const fs::path& file, const Bytes& bytes) {
  // Only a JPEG is asked for "any colour": that turns it upright, but would drop an alpha channel
  // in the other formats, which is to be refused.
  const int flags =
      isJpeg(bytes) ? cv::IMREAD_ANYCOLOR | cv::IMREAD_ANYDEPTH : cv::IMREAD_UNCHANGED;
  try {
    return cv::imdecode(bytes, flags);
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) {
      throw;
    }
    if (error.err.find("CV_IO_MAX_IMAGE") != std::string::npos) {
      throw FileError(file,
                      "its header claims more pixels than are read: up to 1048576 per side and "
                      "1073741824 in all");
    }
    throw FileError(file, "the decoder refuses it (" + error.err + ")");
  }
}

std::string depthName(int depth) {
  constexpr std::array<const char*, 8> kNames = {"8-bit",
                                                 "signed 8-bit",
                                                 "16-bit",
                                                 "signed 16-bit",
                                                 "32-bit integer",
                                                 "32-bit float",
                                                 "64-bit float",
                                                 "16-bit float"};
  return kNames.at(static_cast<std::size_t>(depth));
}

/// How to convert an image that is not accepted, with the options of ImageMagick's `convert`.
std::string conversion(const fs::path& file, const std::string& options) {
  const fs::path result = file.parent_path() / (file.stem().string() + "-converted.png");
  return "; convert it first, for example with ImageMagick: convert '" + file.string() + "' " +
         options + " '" + result.string() + "'";
}

}  // namespace

cv::Mat readImageFile(const fs::path& file) {
  const Bytes bytes = readBytes(file);
  if (isJpeg(bytes)) {
    requireWholeJpeg(file, bytes);
  }
  cv::Mat image = decode(file, bytes);
  if (image.empty()) {
    throw FileError(file,
                    isJpeg(bytes) || cv::haveImageReader(file.string())
                        ? kDamaged
                        : "it is not an image; PNG, TIFF, JPEG, BMP and the like are read");
  }
  if (image.depth() != CV_8U) {
    throw FileError(file,
                    "it has " + depthName(image.depth()) + " samples, 8-bit samples are expected" +
                        conversion(file, "-depth 8"));
  }
  if (image.channels() == 4) {
    throw FileError(
        file,
        "it has an alpha channel or is in CMYK, grey or colour without is expected" +
            conversion(file, "-background black -alpha remove -alpha off -colorspace sRGB"));
  }
  if (image.channels() != 1 && image.channels() != 3) {
    throw FileError(file,
                    "it has " + std::to_string(image.channels()) + " channels, 1 or 3 expected");
  }
  return image.isContinuous() ? image : image.clone();
}

}  // namespace montage
