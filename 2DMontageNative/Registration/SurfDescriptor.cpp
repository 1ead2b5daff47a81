// SPDX-License-Identifier: MIT
#include "Registration/SurfDescriptor.h"

#include "Platform/ParallelLoop.h"
#include "Registration/RasterOrder.h"
#include "Registration/SurfPatch.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstdint>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kGradients = kSurfPatchSide - 1;  // per side of the patch
constexpr double kWeightSigma = 3.3;            // of the gradients' Gaussian weight
constexpr int kCells = 4;                       // per side
constexpr int kCellSide = kGradients / kCells;
constexpr int kValuesPerCell = 4;
constexpr int kLength = kCells * kCells * kValuesPerCell;
constexpr int kKeypointsPerTask = 32;

using Weights = std::array<std::array<float, kGradients>, kGradients>;

Weights makeWeights() {
  const cv::Mat_<float> gaussian = cv::getGaussianKernel(kGradients, kWeightSigma, CV_32F);
  Weights weights{};
  for (int i = 0; i < kGradients; ++i) {
    for (int j = 0; j < kGradients; ++j) {
      weights[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = gaussian(i) * gaussian(j);
    }
  }
  return weights;
}

/// Sums of the weighted gradients and of their magnitudes in 4 x 4 cells.
void sumGradients(const SurfPatch& patch, const Weights& weights, float* descriptor) {
  std::fill_n(descriptor, kLength, 0.0F);
  for (std::size_t i = 0; i < kGradients; ++i) {
    for (std::size_t j = 0; j < kGradients; ++j) {
      const int topLeft = patch[i][j];
      const int topRight = patch[i][j + 1];
      const int bottomLeft = patch[i + 1][j];
      const int bottomRight = patch[i + 1][j + 1];
      const float weight = weights[i][j];
      const float dx = static_cast<float>(topRight - topLeft + bottomRight - bottomLeft) * weight;
      const float dy = static_cast<float>(bottomLeft - topLeft + bottomRight - topRight) * weight;
      float* const cell = descriptor + (i / kCellSide * kCells + j / kCellSide) * kValuesPerCell;
      cell[0] += dx;
      cell[1] += dy;
      cell[2] += std::abs(dx);
      cell[3] += std::abs(dy);
    }
  }
}

/// Scales to length 1; zeros stay.
void normalise(float* descriptor) {
  double squared = 0.0;
  for (int i = 0; i < kLength; ++i) {
    squared += static_cast<double>(descriptor[i]) * static_cast<double>(descriptor[i]);
  }
  const auto factor = static_cast<float>(1.0 / (std::sqrt(squared) + DBL_EPSILON));
  for (int i = 0; i < kLength; ++i) {
    descriptor[i] *= factor;
  }
}

}  // namespace

cv::Mat describeSurfKeypoints(const cv::Mat& grey, const std::vector<cv::KeyPoint>& keypoints) {
  if (keypoints.empty()) {
    return {};
  }
  const int count = static_cast<int>(keypoints.size());
  cv::Mat descriptors(count, kLength, CV_32F);
  const Weights weights = makeWeights();
  const cv::Mat image = SurfPatchCutter::padded(grey);
  const std::vector<std::size_t> order = rasterOrder(keypoints);
  const int tasks = (count + kKeypointsPerTask - 1) / kKeypointsPerTask;
  Platform::parallelFor(0, tasks, [&](int task) {
    SurfPatchCutter cutter(image);
    const int end = std::min((task + 1) * kKeypointsPerTask, count);
    for (int i = task * kKeypointsPerTask; i < end; ++i) {
      const std::size_t k = order[static_cast<std::size_t>(i)];
      auto* const descriptor = descriptors.ptr<float>(static_cast<int>(k));
      sumGradients(cutter.cut(keypoints[k]), weights, descriptor);
      normalise(descriptor);
    }
  });
  return descriptors;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
