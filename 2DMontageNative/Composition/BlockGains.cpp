// SPDX-License-Identifier: MIT
#include "Composition/BlockGains.h"

#include "Composition/BlendKernels.h"

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {

BlockGains::BlockGains(const cv::Mat& gains, cv::Size imageSize, int channels)
    : rows_(gains.rows, imageSize.width, CV_32FC(channels)), imageHeight_(imageSize.height) {
  CV_Assert(gains.type() == CV_32FC1);
  const int lastBlock = gains.cols - 1;
  for (int x = 0; x < imageSize.width; ++x) {
    Position position = positionOf(x, imageSize.width, gains.cols);
    if (position.block < 0) {
      position = {0, 0.F};
    } else if (position.block >= lastBlock) {
      position = {lastBlock, 0.F};
    }
    const int next = std::min(position.block + 1, lastBlock);
    for (int row = 0; row < gains.rows; ++row) {
      const auto* blocks = gains.ptr<float>(row);
      const float gain =
          blocks[position.block] * (1.F - position.share) + blocks[next] * position.share;
      auto* const samples = rows_.ptr<float>(row, x);
      std::fill_n(samples, channels, gain);
    }
  }
}

/// Pixel centres map onto block centres; in single precision, as OpenCV resizes.
BlockGains::Position BlockGains::positionOf(int pixel, int pixelCount, int blockCount) {
  const double blocksPerPixel = 1.0 / (static_cast<double>(pixelCount) / blockCount);
  const auto position = static_cast<float>((pixel + 0.5) * blocksPerPixel - 0.5);
  const int block = cvFloor(position);
  return {block, position - static_cast<float>(block)};
}

void BlockGains::apply(const cv::Rect& area, cv::Mat& pixels) const {
  const int channels = rows_.channels();
  const int firstSample = area.x * channels;
  for (int row = 0; row < area.height; ++row) {
    // Beyond the outermost block centres both rows are the same one, and the shares still apply.
    const Position position = positionOf(area.y + row, imageHeight_, rows_.rows);
    const int upper = std::clamp(position.block, 0, rows_.rows - 1);
    const int lower = std::clamp(position.block + 1, 0, rows_.rows - 1);
    applyGainRow({rows_.ptr<float>(upper) + firstSample,
                  rows_.ptr<float>(lower) + firstSample,
                  1.F - position.share,
                  position.share},
                 pixels.ptr(row),
                 area.width * channels);
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
