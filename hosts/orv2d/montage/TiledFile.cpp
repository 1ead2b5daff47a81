// SPDX-License-Identifier: MIT
#include "montage/TiledFile.h"

#include "ExitCode.h"
#include "ImageIo.h"

#include <cstdint>

namespace orv2d {
namespace {

/// With room for what compression adds to the 4 GiB of a plain TIFF.
constexpr std::uint64_t kMostPlainBytes = 3500000000U;

}  // namespace

bool needsTiles(const std::filesystem::path& target, cv::Size size, int channels) {
  const auto bytes = static_cast<std::uint64_t>(size.width) *
                     static_cast<std::uint64_t>(size.height) * static_cast<std::uint64_t>(channels);
  return isTiffName(target) && bytes > kMostPlainBytes;
}

void writeTiles(const std::filesystem::path& target,
                const std::filesystem::path& file,
                const montage::TiffOptions& options,
                const std::function<void(montage::MontageSink& sink)>& fill) {
  try {
    montage::TiffSink sink(file, options);
    fill(sink);
  } catch (const montage::FileError& error) {  // of images that cannot be read it is a HostError
    throw HostError(ExitCode::OutputNotWritable,
                    "cannot write " + inQuotes(target) + ": " + error.reason());
  }
}

}  // namespace orv2d
