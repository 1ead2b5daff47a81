// SPDX-License-Identifier: MIT
#include "CubicSampler.h"

#include "CubicKernel.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <limits>

namespace ORV::Common::Platform {
namespace {

/// Whether cv::remap would reject the side.
bool tooLong(const cv::Mat& image) {
  return std::max(image.cols, image.rows) >= std::numeric_limits<short>::max();
}

/// Whether byte offsets into the image exceed the kernel's 32 bits.
bool tooLarge(const cv::Mat& image) {
  constexpr std::size_t kMaxBytes = std::numeric_limits<std::int32_t>::max();
  return image.step[0] * static_cast<std::size_t>(image.rows) > kMaxBytes;
}

}  // namespace

CubicSampler::CubicSampler(const cv::Mat& source) : source_(source) {
  CV_Assert(source.type() == CV_8UC1 || source.type() == CV_8UC3);
}

void CubicSampler::sample(const cv::Mat& mapCols, const cv::Mat& mapRows, cv::Mat& tile) const {
  CV_Assert(mapCols.type() == CV_32FC1 && mapRows.type() == CV_32FC1);
  CV_Assert(mapCols.size() == tile.size() && mapRows.size() == tile.size());
  CV_Assert(tile.type() == source_.type());
  if (tile.empty() || tooLong(source_) || tooLong(tile) || tooLarge(source_)) {
    cv::remap(source_, tile, mapCols, mapRows, cv::INTER_CUBIC, cv::BORDER_CONSTANT, cv::Scalar());
    return;
  }
  const CubicSource view{source_.data,
                         static_cast<int>(source_.step[0]),
                         source_.cols,
                         source_.rows,
                         source_.channels()};
  for (int row = 0; row < tile.rows; ++row) {
    sampleCubicRun(
        view, mapCols.ptr<float>(row), mapRows.ptr<float>(row), tile.cols, tile.ptr(row));
  }
}

}  // namespace ORV::Common::Platform
