// SPDX-License-Identifier: MIT
#include "montage/TiffSink.h"

#include "Pipeline/TiffFile.h"
#include "Pipeline/TileCodec.h"
#include "Pipeline/TilePyramid.h"
#include "Platform/OpenCvScope.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace montage {
namespace {

/// What a file with 32-bit offsets takes, with room for tiles that compression makes larger.
constexpr std::uint64_t kMostClassicBytes = 3500000000U;

constexpr double kMostPixelsPerInch = 1e6;

void requirePossible(const TiffOptions& options) {
  if (options.quality < 1 || options.quality > 100) {
    throw std::invalid_argument("quality: 1 to 100 is expected; it is " +
                                std::to_string(options.quality));
  }
  if (!(options.pixelsPerInch >= 0.0 && options.pixelsPerInch <= kMostPixelsPerInch)) {
    throw std::invalid_argument("pixelsPerInch: 0 to 1000000 is expected; it is " +
                                std::to_string(options.pixelsPerInch));
  }
}

void requireHolds(cv::Size size, int type, const TiffOptions& options) {
  if (size.empty()) {
    throw std::invalid_argument("size: a picture of at least one pixel is expected");
  }
  if (type != CV_8UC1 && type != CV_8UC3 && type != CV_8UC4) {
    throw std::invalid_argument("type: 8-bit samples and 1, 3 or 4 channels are expected");
  }
  if (type == CV_8UC4 && options.compression == TiffCompression::jpeg) {
    throw std::invalid_argument("compression: JPEG cannot be transparent");
  }
}

std::uint64_t sampleBytesOf(const std::vector<TileGrid>& levels, int type) {
  std::uint64_t tiles = 0;
  for (const TileGrid& level : levels) {
    tiles += level.count();
  }
  return tiles * kTileSide * kTileSide * static_cast<std::uint64_t>(CV_ELEM_SIZE(type));
}

}  // namespace

/// The picture that is being written.
class TiffSink::Picture {
 public:
  Picture(const std::filesystem::path& file, const TiffOptions& options, cv::Size size, int type)
      : options_(options),
        channels_(CV_MAT_CN(type)),
        pyramid_(
            size,
            type,
            options.pyramid,
            [=](const cv::Mat& tile) {
              return encodeTile(tile, options.compression, options.quality);
            },
            [this](std::size_t level, std::size_t tile, const TilePyramid::Bytes& bytes) {
              places_[level][tile] = file_.append(bytes);
            }),
        file_(file, options.bigTiff || sampleBytesOf(pyramid_.levels(), type) > kMostClassicBytes) {
    for (const TileGrid& level : pyramid_.levels()) {
      places_.emplace_back(level.count());
    }
  }

  void write(const cv::Rect& area, const cv::Mat& pixels) {
    const ORV::Common::Platform::CpuOnly cpuOnly;
    pyramid_.add(area, pixels);
  }

  void finish() {
    if (!pyramid_.isComplete()) {
      throw std::invalid_argument("picture: parts of it have not been written");
    }
    std::vector<TiffDirectory> directories;
    double pixelsPerInch = options_.pixelsPerInch;
    for (std::size_t level = 0; level < places_.size(); ++level) {
      directories.push_back({pyramid_.levels()[level],
                             std::move(places_[level]),
                             level > 0,
                             channels_,
                             options_.compression,
                             pixelsPerInch});
      pixelsPerInch /= 2.0;
    }
    file_.finish(directories);
  }

 private:
  TiffOptions options_;
  int channels_;
  TilePyramid pyramid_;
  TiffFile file_;
  std::vector<std::vector<TilePlace>> places_;  ///< per level, by number
};

TiffSink::TiffSink(std::filesystem::path file, const TiffOptions& options)
    : file_(std::move(file)), options_(options) {
  requirePossible(options_);
}

TiffSink::~TiffSink() = default;
TiffSink::TiffSink(TiffSink&&) noexcept = default;
TiffSink& TiffSink::operator=(TiffSink&&) noexcept = default;

void TiffSink::begin(cv::Size size, int type) {
  requireHolds(size, type, options_);
  picture_.reset();
  picture_ = std::make_unique<Picture>(file_, options_, size, type);
}

void TiffSink::write(const cv::Rect& area, const cv::Mat& pixels) {
  begun().write(area, pixels);
}

void TiffSink::finish() {
  begun().finish();
  picture_.reset();
}

TiffSink::Picture& TiffSink::begun() {
  if (!picture_) {
    throw std::invalid_argument("picture: begin() is expected first");
  }
  return *picture_;
}

}  // namespace montage
