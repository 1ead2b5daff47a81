// SPDX-License-Identifier: MIT
#include "Registration/SurfOrientation.h"

#include "Platform/ParallelLoop.h"
#include "Registration/RasterOrder.h"

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

constexpr int kWaveletSide = 4;
constexpr std::array<PatternBox, 2> kWaveletX = {{{0, 0, 2, 4, -1.0F}, {2, 0, 4, 4, 1.0F}}};
constexpr std::array<PatternBox, 2> kWaveletY = {{{0, 0, 4, 2, 1.0F}, {0, 2, 4, 4, -1.0F}}};

/// A position of the disc in scales, and its Gaussian weight.
struct Sample {
  int x;
  int y;
  float weight;
};

std::vector<Sample> makeDisc() {
  const cv::Mat_<float> gaussian = cv::getGaussianKernel(2 * kRadius + 1, kWeightSigma, CV_32F);
  std::vector<Sample> disc;
  for (int x = -kRadius; x <= kRadius; ++x) {
    for (int y = -kRadius; y <= kRadius; ++y) {
      if (x * x + y * y <= kRadius * kRadius) {
        disc.push_back({x, y, gaussian(x + kRadius) * gaussian(y + kRadius)});
      }
    }
  }
  return disc;
}

/// Sums of responses by direction: entry i holds those within half a sector of i steps.
class DirectionHistogram {
 public:
  void add(float x, float y) {
    const int angleDeg = cvRound(cv::fastAtan2(y, x));
    const int first = ((angleDeg - kHalfSectorDeg + 360) / kDirectionStepDeg + 1) % kDirections;
    // Strictly nearer than half a sector, so a multiple of the step has one direction less.
    const int count = kDirectionsPerSector - (angleDeg % kDirectionStepDeg == 0 ? 1 : 0);
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
                                 const std::vector<Sample>& disc,
                                 const cv::KeyPoint& keypoint) {
  // 1. Wavelets of four scales.
  const float scale = surfScale(keypoint.size);
  const int side = 2 * cvRound(2 * scale);
  const int endX = integral.cols() + 1 - side;
  const int endY = integral.rows() + 1 - side;
  const float ratio = static_cast<float>(side) / static_cast<float>(kWaveletSide);
  const auto waveletX = scaledBoxes(kWaveletX, ratio, integral);
  const auto waveletY = scaledBoxes(kWaveletY, ratio, integral);

  // 2. Their responses where they lie inside the image, by direction.
  const float centre = static_cast<float>(side - 1) / 2;
  DirectionHistogram histogram;
  bool any = false;
  for (const Sample& sample : disc) {
    const int x = cvRound(keypoint.pt.x + static_cast<float>(sample.x) * scale - centre);
    const int y = cvRound(keypoint.pt.y + static_cast<float>(sample.y) * scale - centre);
    if (x < 0 || x >= endX || y < 0 || y >= endY) {
      continue;
    }
    const std::uint32_t* const origin = integral.at(y, x);
    histogram.add(boxResponse(waveletX, origin) * sample.weight,
                  boxResponse(waveletY, origin) * sample.weight);
    any = true;
  }
  if (!any) {
    return std::nullopt;
  }

  // 3. The wavelet in y points up, the angle turns from +x to +y, downward.
  const cv::Vec2f direction = histogram.longest();
  return cv::fastAtan2(-direction[1], direction[0]);
}

}  // namespace

void assignSurfOrientations(const IntegralImage& integral, std::vector<cv::KeyPoint>& keypoints) {
  const std::vector<Sample> disc = makeDisc();
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
