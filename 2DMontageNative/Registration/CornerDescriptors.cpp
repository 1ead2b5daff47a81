// SPDX-License-Identifier: MIT
#include "Registration/CornerDescriptors.h"

#include "Platform/ParallelLoop.h"
#include "Registration/CornerKeypoint.h"
#include "Registration/CornerWindow.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

// Lowe's pyramid with three layers per octave, and his descriptor of 4 x 4 cells with 8
// orientations.
constexpr double kSigma = 1.6;
constexpr float kSigmaOfInput = 0.5F;
constexpr int kOctaveLayers = 3;
constexpr int kCells = kCornerCells;
constexpr int kOrientations = kCornerOrientations;
constexpr int kDescriptorLength = kCells * kCells * kOrientations;
constexpr float kCellWidthFactor = 3.0F;
constexpr float kMagnitudeLimit = 0.2F;
constexpr float kIntegerFactor = 512.0F;

/// Corners are described in the second octave, at half the resolution.
constexpr float kOctaveScale = 0.5F;

/// Below this side the half-size image has hardly a gradient, and OpenCV's own routine is unsafe.
constexpr int kSmallestSide = 12;

/// Grows a tiny image to the right and below; keypoints keep their coordinates.
cv::Mat padded(const cv::Mat& grey) {
  const int below = std::max(0, kSmallestSide - grey.rows);
  const int right = std::max(0, kSmallestSide - grey.cols);
  if (below == 0 && right == 0) {
    return grey;
  }
  cv::Mat result;
  cv::copyMakeBorder(grey, result, 0, below, 0, right, cv::BORDER_REPLICATE);
  return result;
}

float descriptorAngle() {
  return 360.0F - kKeypointAngle;
}

/// OpenCV's pyramid starts from the image blurred to sigma 1.6; layer 3 of the first octave,
/// halved, is the first image of the second.
cv::Mat secondOctaveImage(const cv::Mat& grey) {
  cv::Mat layer;
  grey.convertTo(layer, CV_32F);
  const auto sigma = static_cast<float>(kSigma);
  const float firstBlur = std::sqrt(std::max(sigma * sigma - kSigmaOfInput * kSigmaOfInput, 0.01F));
  cv::GaussianBlur(layer, layer, cv::Size(), firstBlur, firstBlur);

  const double layerFactor = std::pow(2.0, 1.0 / kOctaveLayers);
  for (int i = 1; i <= kOctaveLayers; ++i) {
    const double previous = std::pow(layerFactor, static_cast<double>(i - 1)) * kSigma;
    const double total = previous * layerFactor;
    const double blur = std::sqrt(total * total - previous * previous);
    cv::GaussianBlur(layer, layer, cv::Size(), blur, blur);
  }
  cv::Mat halved;
  cv::resize(layer, halved, cv::Size(grey.cols / 2, grey.rows / 2), 0, 0, cv::INTER_NEAREST);
  return halved;
}

/// The gradients of the octave image; border pixels have none.
GradientPlanes gradientOf(const cv::Mat& image) {
  const cv::Rect inner(1, 1, image.cols - 2, image.rows - 2);
  const cv::Point right(1, 0);
  const cv::Point down(0, 1);
  const cv::Mat dx = image(inner + right) - image(inner - right);
  const cv::Mat dy = image(inner - down) - image(inner + down);
  cv::Mat magnitude;
  cv::Mat angle;
  cv::cartToPolar(dx, dy, magnitude, angle, true);

  GradientPlanes gradient(image.size());
  constexpr float kBinsPerDegree = kOrientations / 360.0F;
  const float descriptorAngleDeg = descriptorAngle();
  for (int y = 0; y < inner.height; ++y) {
    const std::ptrdiff_t row = gradient.index(1, y + 1);
    const float* const angles = angle.ptr<float>(y);
    std::copy_n(magnitude.ptr<float>(y), inner.width, gradient.magnitude.data() + row);
    float* const fractions = gradient.fraction.data() + row;
    std::int32_t* const orientations = gradient.orientation.data() + row;
    for (int x = 0; x < inner.width; ++x) {
      const float bin = (angles[x] - descriptorAngleDeg) * kBinsPerDegree;
      const float lower = std::floor(bin);
      fractions[x] = bin - lower;
      orientations[x] = static_cast<int>(lower) + kOrientations;
    }
  }
  return gradient;
}

/// The pixels of the window turned by the keypoints' angle, with Gaussian weights.
CornerWindow descriptorWindow() {
  const float cellWidth = kCellWidthFactor * (kKeypointSize * kOctaveScale * 0.5F);
  const float angle = descriptorAngle() * static_cast<float>(CV_PI / 180);
  const float cosine = std::cos(angle) / cellWidth;
  const float sine = std::sin(angle) / cellWidth;
  const int radius = cvRound(cellWidth * 1.4142135623730951F * (kCells + 1) * 0.5F);
  constexpr int kHalfCells = kCells / 2;
  constexpr float kFirstCell = static_cast<float>(kHalfCells) - 0.5F;
  constexpr float kExponentScale = -1.0F / (kCells * kCells * 0.5F);
  const auto withinWindow = [](float bin) { return bin > -1 && bin < static_cast<float>(kCells); };

  std::vector<CornerWindow::Sample> samples;
  std::vector<float> exponents;
  for (int dy = -radius; dy <= radius; ++dy) {
    for (int dx = -radius; dx <= radius; ++dx) {
      const auto x = static_cast<float>(dx);
      const auto y = static_cast<float>(dy);
      const float turnedColumn = x * cosine - y * sine;
      const float turnedRow = x * sine + y * cosine;
      const float row = turnedRow + kFirstCell;
      const float column = turnedColumn + kFirstCell;
      if (!withinWindow(row) || !withinWindow(column)) {
        continue;
      }
      const int firstRow = cvFloor(row);
      const int firstColumn = cvFloor(column);
      samples.push_back(
          {dx,
           dy,
           kGuardBins + (firstRow + 1) * kBinsPerRow + (firstColumn + 1) * kBinsPerCell,
           row - static_cast<float>(firstRow),
           column - static_cast<float>(firstColumn),
           0.0F});
      exponents.push_back((turnedColumn * turnedColumn + turnedRow * turnedRow) * kExponentScale);
    }
  }
  cv::exp(exponents, exponents);
  for (std::size_t k = 0; k < samples.size(); ++k) {
    samples[k].weight = exponents[k];
  }
  return CornerWindow(samples);
}

/// Folds the extra orientations back and takes the inner cells.
std::array<float, kDescriptorLength> foldedCells(CornerHistogram& histogram) {
  std::array<float, kDescriptorLength> values{};
  std::size_t next = 0;
  for (int row = 1; row <= kCells; ++row) {
    for (int column = 1; column <= kCells; ++column) {
      const int firstBin = kGuardBins + row * kBinsPerRow + column * kBinsPerCell;
      float* const bins = histogram.data() + firstBin;
      bins[0] += bins[kOrientations];
      bins[1] += bins[kOrientations + 1];
      for (int k = 0; k < kOrientations; ++k) {
        values[next++] = bins[k];
      }
    }
  }
  return values;
}

float lengthOf(const std::array<float, kDescriptorLength>& values) {
  float sum = 0.0F;
  for (const float value : values) {
    sum += value * value;
  }
  return std::sqrt(sum);
}

/// Normalises, limits single large gradients, and rounds to whole numbers from 0 to 255.
void writeDescriptor(std::array<float, kDescriptorLength> values, float* row) {
  const float limit = lengthOf(values) * kMagnitudeLimit;
  for (float& value : values) {
    value = std::min(value, limit);
  }
  const float factor = kIntegerFactor / std::max(lengthOf(values), FLT_EPSILON);
  for (std::size_t k = 0; k < values.size(); ++k) {
    row[k] = cv::saturate_cast<uchar>(values[k] * factor);
  }
}

}  // namespace

cv::Mat describeCorners(const cv::Mat& grey, const std::vector<cv::KeyPoint>& keypoints) {
  if (keypoints.empty()) {
    return {};
  }
  const int count = static_cast<int>(keypoints.size());
  cv::Mat descriptors = cv::Mat::zeros(count, kDescriptorLength, CV_32F);
  const GradientPlanes gradient = gradientOf(secondOctaveImage(padded(grey)));
  const CornerWindow window = descriptorWindow();
  constexpr int kGroup = static_cast<int>(CornerWindow::kGroup);
  Platform::parallelFor(0, (count + kGroup - 1) / kGroup, [&](int group) {
    const int first = group * kGroup;
    const int members = std::min(kGroup, count - first);
    std::array<cv::Point, CornerWindow::kGroup> centres;
    std::array<CornerHistogram, CornerWindow::kGroup> histograms;
    for (int i = 0; i < members; ++i) {
      const cv::Point2f& pt = keypoints[static_cast<std::size_t>(first + i)].pt;
      centres[static_cast<std::size_t>(i)] = {cvRound(pt.x * kOctaveScale),
                                              cvRound(pt.y * kOctaveScale)};
    }
    window.histogramsAt(
        gradient, centres.data(), static_cast<std::size_t>(members), histograms.data());
    for (int i = 0; i < members; ++i) {
      writeDescriptor(foldedCells(histograms[static_cast<std::size_t>(i)]),
                      descriptors.ptr<float>(first + i));
    }
  });
  return descriptors;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
