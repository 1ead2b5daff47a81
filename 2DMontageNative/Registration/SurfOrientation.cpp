// SPDX-License-Identifier: MIT
#include "Registration/SurfOrientation.h"

#include "Platform/ParallelLoop.h"
#include "Registration/RasterOrder.h"
#include "Registration/SurfWavelets.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <optional>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kRadius = 6;  // of the disc of samples, in scales
constexpr double kWeightSigma = 2.5;
constexpr int kDirectionStepDeg = 5;
constexpr int kDirections = 360 / kDirectionStepDeg;
constexpr int kHalfSectorDeg = 30;
constexpr int kDirectionsPerSector = 2 * kHalfSectorDeg / kDirectionStepDeg;

WaveletDisc makeDisc() {
  const cv::Mat_<float> gaussian = cv::getGaussianKernel(2 * kRadius + 1, kWeightSigma, CV_32F);
  WaveletDisc disc;
  for (int x = -kRadius; x <= kRadius; ++x) {
    for (int y = -kRadius; y <= kRadius; ++y) {
      if (x * x + y * y <= kRadius * kRadius) {
        disc.x[disc.count] = static_cast<float>(x);
        disc.y[disc.count] = static_cast<float>(y);
        disc.weight[disc.count] = gaussian(x + kRadius) * gaussian(y + kRadius);
        ++disc.count;
      }
    }
  }
  return disc;
}

/// Sums of responses by direction: entry i holds those within half a sector of i steps.
class DirectionHistogram {
 public:
  /// @param[in] angleDeg  direction of (x, y), 0 to 360.
  void add(int angleDeg, float x, float y) {
    const int first = ((angleDeg - kHalfSectorDeg + 360) / kDirectionStepDeg + 1) % kDirections;
    // Strictly nearer than half a sector, so a multiple of the step has one direction less.
    const bool isFull = angleDeg % kDirectionStepDeg != 0;
    if (first + kDirectionsPerSector <= kDirections) {
      addTo(first, kDirectionsPerSector - 1, x, y);  // of known length
      if (isFull) {
        addTo(first + kDirectionsPerSector - 1, 1, x, y);
      }
      return;
    }
    const int count = kDirectionsPerSector - (isFull ? 0 : 1);
    const int beforeWrap = std::min(count, kDirections - first);
    addTo(first, beforeWrap, x, y);
    addTo(0, count - beforeWrap, x, y);
  }

  /// The longest sum, the first of equals; zero if nothing was added.
  [[nodiscard]] cv::Vec2f longest() const {
    cv::Vec2f best(0.0F, 0.0F);
    float bestSquared = 0.0F;
    for (std::size_t i = 0; i < kDirections; ++i) {
      const float squared = x_[i] * x_[i] + y_[i] * y_[i];
      if (squared > bestSquared) {
        bestSquared = squared;
        best = cv::Vec2f(x_[i], y_[i]);
      }
    }
    return best;
  }

 private:
  void addTo(int first, int count, float x, float y) {
    float* const sumsX = x_.data() + first;
    float* const sumsY = y_.data() + first;
    for (int i = 0; i < count; ++i) {
      sumsX[i] += x;
      sumsY[i] += y;
    }
  }

  std::array<float, kDirections> x_{};
  std::array<float, kDirections> y_{};
};

std::optional<float> orientation(const IntegralImage& integral,
                                 const WaveletDisc& disc,
                                 const cv::KeyPoint& keypoint) {
  WaveletResponses responses;
  evaluateWavelets(integral, disc, keypoint.pt, surfScale(keypoint.size), responses);
  DirectionHistogram histogram;
  bool any = false;
  for (std::size_t i = 0; i < disc.count; ++i) {
    if (responses.degrees[i] != WaveletResponses::kOutside) {
      histogram.add(responses.degrees[i], responses.x[i], responses.y[i]);
      any = true;
    }
  }
  if (!any) {
    return std::nullopt;
  }
  // The wavelet in y points up, the angle turns from +x to +y, downward.
  const cv::Vec2f direction = histogram.longest();
  return cv::fastAtan2(-direction[1], direction[0]);
}

}  // namespace

void assignSurfOrientations(const IntegralImage& integral, std::vector<cv::KeyPoint>& keypoints) {
  const WaveletDisc disc = makeDisc();
  constexpr float kDropped = -1.0F;
  const std::vector<std::size_t> order = rasterOrder(keypoints);
  Platform::parallelFor(0, static_cast<int>(order.size()), [&](int i) {
    cv::KeyPoint& keypoint = keypoints[order[static_cast<std::size_t>(i)]];
    keypoint.angle = orientation(integral, disc, keypoint).value_or(kDropped);
  });
  keypoints.erase(std::remove_if(keypoints.begin(),
                                 keypoints.end(),
                                 [](const cv::KeyPoint& k) { return k.angle == kDropped; }),
                  keypoints.end());
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
