// SPDX-License-Identifier: MIT
#include "Registration/IntegralImage.h"

#include "Platform/ParallelLoop.h"

namespace ORV::Common::Algorithms::Montage::Registration {

IntegralImage::IntegralImage(int rows, int cols, int step)
    : rows_(rows),
      cols_(cols),
      step_(step),
      phaseStride_((cols + step) / step),
      stride_(phaseStride_ * step),
      sums_(static_cast<std::size_t>((rows + 1) * stride_) + kReadablePadding) {}

IntegralImage::IntegralImage(const cv::Mat& grey) : IntegralImage(grey.rows, grey.cols, 1) {
  for (int y = 0; y < rows_; ++y) {
    const auto* const pixels = grey.ptr<std::uint8_t>(y);
    const std::uint32_t* const above = sums_.data() + y * stride_;
    std::uint32_t* const current = sums_.data() + (y + 1) * stride_;
    std::uint32_t rowSum = 0;
    for (int x = 0; x < cols_; ++x) {
      rowSum += pixels[x];
      current[x + 1] = above[x + 1] + rowSum;
    }
  }
}

IntegralImage IntegralImage::sortedByPhase(int step) const {
  IntegralImage sorted(rows_, cols_, step);
  Platform::parallelFor(0, rows_ + 1, [&](int y) {
    const std::uint32_t* const source = at(y, 0);
    for (int phase = 0; phase < step && phase <= cols_; ++phase) {
      std::uint32_t* const target = sorted.sums_.data() + sorted.offset(y, phase);
      for (int i = 0, x = phase; x <= cols_; ++i, x += step) {
        target[i] = source[x];
      }
    }
  });
  return sorted;
}

Box::Box(const PatternBox& pattern, float ratio, const IntegralImage& image) {
  const auto scaled = [ratio](int coordinate) {
    return cvRound(ratio * static_cast<float>(coordinate));
  };
  const int left = scaled(pattern.x0);
  const int top = scaled(pattern.y0);
  const int right = scaled(pattern.x1);
  const int bottom = scaled(pattern.y1);
  topLeft = image.offset(top, left);
  topRight = image.offset(top, right);
  bottomLeft = image.offset(bottom, left);
  bottomRight = image.offset(bottom, right);
  factor = pattern.weight / (static_cast<float>(right - left) * static_cast<float>(bottom - top));
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
