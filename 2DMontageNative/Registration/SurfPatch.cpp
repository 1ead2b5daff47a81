// SPDX-License-Identifier: MIT
#include "Registration/SurfPatch.h"

#include "Registration/SurfOrientation.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {

cv::Mat SurfPatchCutter::padded(const cv::Mat& grey) {
  cv::Mat image;
  cv::copyMakeBorder(grey, image, 0, 1, 0, 1, cv::BORDER_REPLICATE);
  return image;
}

void SurfPatchCutter::placeWindow(const cv::KeyPoint& keypoint) {
  const int side = static_cast<int>(static_cast<float>(kSurfPatchSide) * surfScale(keypoint.size));
  const float angle = keypoint.angle * static_cast<float>(CV_PI / 180);
  const float stepX = std::cos(angle);
  const float stepY = std::sin(angle);
  window_.side = side;
  window_.stepX = static_cast<double>(stepX);
  window_.stepY = static_cast<double>(stepY);

  const std::size_t rows = static_cast<std::size_t>(side) + kSurfWindowPadding;
  window_.rowX.resize(rows);
  window_.rowY.resize(rows);
  if (samples_.size() < rows * kSurfWindowPadding) {
    samples_.resize(rows * kSurfWindowPadding);
    rowAverages_.resize(rows * kSurfPatchSide);
  }
  const float toCorner = -static_cast<float>(side - 1) / 2;
  float x = keypoint.pt.x + toCorner * stepX - toCorner * stepY;
  float y = keypoint.pt.y + toCorner * stepY + toCorner * stepX;
  for (std::size_t i = 0; i < rows; ++i) {
    window_.rowX[i] = static_cast<double>(x);
    window_.rowY[i] = static_cast<double>(y);
    if (i + 1 < static_cast<std::size_t>(side)) {
      x -= stepY;
      y += stepX;
    }
  }
}

void SurfPatchCutter::averageColumns(float factor) {
  // A ratio of two is rounded half up, every other average half to even, as `cv::resize` does.
  constexpr float kFactorOfRatioTwo = 0.25F;
  constexpr float kHalfUp = 0.125F;  // the sums are whole numbers: it moves exact halves only
  const float bias = factor == kFactorOfRatioTwo ? kHalfUp : 0.0F;
  std::array<float, kSurfPatchSide> sums{};
  for (std::size_t k = 0; k < weights_.size(); ++k) {
    const AreaWeight& entry = weights_[k];
    const float* const row = rowAverages_.data() + std::ptrdiff_t{entry.source} * kSurfPatchSide;
    for (std::size_t x = 0; x < kSurfPatchSide; ++x) {
      sums[x] += row[x] * entry.weight;
    }
    if (k + 1 == weights_.size() || weights_[k + 1].target != entry.target) {
      auto& target = patch_[static_cast<std::size_t>(entry.target)];
      for (std::size_t x = 0; x < kSurfPatchSide; ++x) {
        target[x] = cv::saturate_cast<std::uint8_t>(sums[x] * factor + bias);
      }
      sums.fill(0.0F);
    }
  }
}

const SurfPatch& SurfPatchCutter::cut(const cv::KeyPoint& keypoint) {
  placeWindow(keypoint);
  const float factor = areaWeights(window_.side, kSurfPatchSide, weights_);
  averageWindowRows(window_, weights_, kSurfPatchSide, samples_.data(), rowAverages_.data());
  averageColumns(factor);
  return patch_;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
