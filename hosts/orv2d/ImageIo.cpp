// SPDX-License-Identifier: MIT
#include "ImageIo.h"

#include "ExitCode.h"
#include "StandardErrorCapture.h"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <fstream>
#include <string_view>
#include <vector>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

struct Format {
  std::string_view extension;
  int maxSide;             ///< largest width or height in pixels
  std::uint64_t maxBytes;  ///< largest size of the samples in bytes
};

// libjpeg's JPEG_MAX_DIMENSION; libpng's default limit; TIFF's 32-bit offsets.
constexpr int kJpegMaxSide = 65500;
constexpr int kPngMaxSide = 1000000;
constexpr int kNoSideLimit = INT32_MAX;
constexpr std::uint64_t kNoByteLimit = UINT64_MAX;
constexpr std::uint64_t kTiffMaxBytes = (std::uint64_t{1} << 32) - (1U << 20);

constexpr std::array<Format, 5> kFormats = {{{".png", kPngMaxSide, kNoByteLimit},
                                             {".tif", kNoSideLimit, kTiffMaxBytes},
                                             {".tiff", kNoSideLimit, kTiffMaxBytes},
                                             {".jpg", kJpegMaxSide, kNoByteLimit},
                                             {".jpeg", kJpegMaxSide, kNoByteLimit}}};

const Format* formatOf(const fs::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) {
    return static_cast<char>(std::tolower(c));
  });
  const auto* found = std::find_if(kFormats.begin(), kFormats.end(), [&](const Format& format) {
    return format.extension == extension;
  });
  return found == kFormats.end() ? nullptr : found;
}

[[noreturn]] void unreadable(const fs::path& path, const std::string& reason) {
  throw HostError(ExitCode::UnreadableInput, "cannot use " + inQuotes(path) + ": " + reason);
}

[[noreturn]] void unwritable(const fs::path& path, const std::string& reason) {
  throw HostError(ExitCode::OutputNotWritable, "cannot write " + inQuotes(path) + ": " + reason);
}

bool isJpeg(const fs::path& path) {
  std::array<char, 2> start{};
  std::ifstream(path, std::ios::binary).read(start.data(), start.size());
  return start[0] == '\xFF' && start[1] == '\xD8';
}

/// Decodes with the depth and the channels of the file; empty if that fails or the file is cut off.
cv::Mat decode(const fs::path& path) {
  // Only a JPEG is asked for "any colour": that turns it upright, but would drop an alpha channel
  // in the other formats, which is to be refused.
  const int flags = isJpeg(path) ? cv::IMREAD_ANYCOLOR | cv::IMREAD_ANYDEPTH : cv::IMREAD_UNCHANGED;
  StandardErrorCapture decoderMessages;
  cv::Mat image;
  try {
    image = cv::imread(path.string(), flags);
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) {
      throw;
    }
    unreadable(path, "the decoder refuses it (" + error.err + ")");
  }
  std::string said = decoderMessages.finish();
  std::transform(said.begin(), said.end(), said.begin(), [](unsigned char c) {
    return static_cast<char>(std::tolower(c));
  });
  const bool cutOff = said.find("premature end") != std::string::npos;
  return cutOff ? cv::Mat() : image;
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
std::string conversion(const fs::path& path, const std::string& options) {
  const fs::path result = path.parent_path() / (path.stem().string() + "-converted.png");
  return "; convert it first, for example with ImageMagick: convert " + inQuotes(path) + " " +
         options + " " + inQuotes(result);
}

void writeTo(const fs::path& file,
             std::ios::openmode mode,
             const void* bytes,
             std::size_t size,
             const fs::path& target) {
  std::ofstream stream(file, std::ios::binary | std::ios::out | mode);
  stream.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  stream.close();
  if (!stream) {
    unwritable(target, "writing failed; is the disk full?");
  }
}

}  // namespace

std::string inQuotes(const fs::path& path) {
  return "'" + path.string() + "'";
}

void requireExistingFile(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (!fs::exists(status)) {
    const bool isPattern = path.string().find_first_of("*?") != std::string::npos;
    unreadable(path, isPattern ? "no file matches the pattern" : "no such file");
  }
  if (fs::is_directory(status)) {
    unreadable(path,
               "it is a folder; name the files in it, for example " + (path / "*.jpg").string());
  }
  if (!fs::is_regular_file(status)) {
    unreadable(path, "it is not a regular file");
  }
}

cv::Mat readImage(const fs::path& path) {
  requireExistingFile(path);
  if (!std::ifstream(path, std::ios::binary)) {
    unreadable(path, "it cannot be opened for reading");
  }
  std::error_code error;
  if (fs::file_size(path, error) == 0) {
    unreadable(path, "it is empty");
  }
  cv::Mat image = decode(path);
  if (image.empty()) {
    unreadable(path,
               cv::haveImageReader(path.string())
                   ? "the image is damaged or cut off; copy or export it again"
                   : "it is not an image; PNG, TIFF, JPEG, BMP and the like are read");
  }
  if (image.depth() != CV_8U) {
    unreadable(path,
               "it has " + depthName(image.depth()) + " samples, 8-bit samples are expected" +
                   conversion(path, "-depth 8"));
  }
  if (image.channels() == 4) {
    unreadable(path,
               "it has an alpha channel, grey or colour without one is expected" +
                   conversion(path, "-background black -alpha remove -alpha off"));
  }
  if (image.channels() != 1 && image.channels() != 3) {
    unreadable(path, "it has " + std::to_string(image.channels()) + " channels, 1 or 3 expected");
  }
  return image.isContinuous() ? image : image.clone();
}

bool hasImageFormat(const fs::path& path) {
  return formatOf(path) != nullptr;
}

void requireImageFormat(const fs::path& path) {
  if (!hasImageFormat(path)) {
    throw HostError(ExitCode::Usage,
                    "cannot tell the format of " + inQuotes(path) +
                        ": a name that ends in .png, .tif, .tiff, .jpg or .jpeg is expected");
  }
}

void writeImage(const cv::Mat& image, const fs::path& target, const fs::path& file) {
  const Format& format = *formatOf(target);
  const std::string size = std::to_string(image.cols) + " x " + std::to_string(image.rows);
  if (std::max(image.cols, image.rows) > format.maxSide) {
    unwritable(target,
               size + " pixels exceed the format's limit of " + std::to_string(format.maxSide) +
                   " per side; use TIFF or a lower resolution");
  }
  if (image.total() * image.elemSize() > format.maxBytes) {
    unwritable(target,
               size + " pixels exceed the format's limit of 4 GiB; use PNG or a lower resolution");
  }
  // Encoded in memory: OpenCV's own writing to a file does not notice a full disk.
  std::vector<unsigned char> bytes;
  if (!cv::imencode(std::string(format.extension), image, bytes)) {
    unwritable(target, "the encoder refuses an image of " + size + " pixels");
  }
  writeBytes(bytes.data(), bytes.size(), target, file);
}

void writeBytes(const void* bytes, std::size_t size, const fs::path& target, const fs::path& file) {
  writeTo(file, std::ios::trunc, bytes, size, target);
}

void appendBytes(const void* bytes,
                 std::size_t size,
                 const fs::path& target,
                 const fs::path& file) {
  writeTo(file, std::ios::app, bytes, size, target);
}

}  // namespace orv2d
