// SPDX-License-Identifier: MIT
#include "ImageIo.h"

#include "ExitCode.h"
#include "StandardError.h"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <fstream>
#include <montage/Images.h>
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
    if (status.type() != fs::file_type::not_found) {
      unreadable(path, error.message());
    }
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
  const DecoderSilence silence;
  try {
    return montage::readImageFile(path);
  } catch (const montage::FileError& error) {
    unreadable(path, error.reason());
  }
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

bool isJpegName(const fs::path& path) {
  const Format* format = formatOf(path);
  return format != nullptr && format->maxSide == kJpegMaxSide;
}

bool isTiffName(const fs::path& path) {
  const Format* format = formatOf(path);
  return format != nullptr && format->maxBytes == kTiffMaxBytes;
}

void requireFormatHolds(cv::Size size, int channels, const fs::path& target) {
  const Format& format = *formatOf(target);
  const std::string text = std::to_string(size.width) + " x " + std::to_string(size.height);
  if (std::max(size.width, size.height) > format.maxSide) {
    unwritable(target,
               text + " pixels exceed the format's limit of " + std::to_string(format.maxSide) +
                   " per side; use TIFF or a lower resolution");
  }
  const auto bytes = static_cast<std::uint64_t>(size.width) *
                     static_cast<std::uint64_t>(size.height) * static_cast<std::uint64_t>(channels);
  if (bytes > format.maxBytes) {
    unwritable(target,
               text + " pixels exceed the format's limit of 4 GiB; use PNG or a lower resolution");
  }
}

void requireDiskSpace(const std::filesystem::path& target, std::uint64_t bytes) {
  std::error_code error;
  const std::filesystem::path folder = target.parent_path().empty() ? "." : target.parent_path();
  const std::filesystem::space_info space = std::filesystem::space(folder, error);
  if (!error && space.available < bytes) {
    const auto megabytes = [](std::uint64_t count) {
      constexpr std::uint64_t kMegabyte = 1000000;
      constexpr std::uint64_t kTenth = kMegabyte / 10;
      return std::to_string(count / kMegabyte) + "." + std::to_string(count % kMegabyte / kTenth) +
             " MB";
    };
    throw HostError(ExitCode::NoRoom,
                    inQuotes(target) + " may take up to " + megabytes(bytes) +
                        ", but its disk has " + megabytes(space.available) + " free");
  }
}

void writeImage(const cv::Mat& image, const fs::path& target, const fs::path& file, int quality) {
  requireFormatHolds(image.size(), image.channels(), target);
  // Encoded in memory: OpenCV's own writing to a file does not notice a full disk.
  std::vector<unsigned char> bytes;
  const std::vector<int> parameters =
      isJpegName(target) ? std::vector<int>{cv::IMWRITE_JPEG_QUALITY, quality} : std::vector<int>{};
  if (!cv::imencode(std::string(formatOf(target)->extension), image, bytes, parameters)) {
    unwritable(target,
               "the encoder refuses an image of " + std::to_string(image.cols) + " x " +
                   std::to_string(image.rows) + " pixels");
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
