// SPDX-License-Identifier: MIT
#include "Registration/CornerDescriptors.h"

#include "Platform/ParallelLoop.h"
#include "Registration/CornerKeypoint.h"

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
constexpr int kCells = 4;
constexpr int kOrientations = 8;
constexpr int kDescriptorLength = kCells * kCells * kOrientations;
constexpr float kCellWidthFactor = 3.0F;
constexpr float kMagnitudeLimit = 0.2F;
constexpr float kIntegerFactor = 512.0F;

/// Corners are described in the second octave, at half the resolution.
constexpr float kOctaveScale = 0.5F;

/// The histogram has a border of one cell on every side and two more orientations, so that
/// interpolation never tests for edges.
constexpr int kBinsPerCell = kOrientations + 2;
constexpr int kRowOfCells = (kCells + 2) * kBinsPerCell;
/// Orientation -1 (rounding at 360 degrees) of the first cell needs one bin before the histogram.
constexpr int kGuardBins = 1;
constexpr int kHistogramLength = kGuardBins + (kCells + 2) * kRowOfCells;

/// One pixel of the descriptor window, relative to the keypoint.
struct Sample {
  int dx;
  int dy;
  std::ptrdiff_t offset;  ///< of its gradient from that of the keypoint
  int bin;                ///< first histogram bin of its cell
  float rowFraction;      ///< towards the next cell down
  float columnFraction;   ///< towards the next cell to the right
  float weight;           ///< Gaussian
};

struct Gradient {
  float magnitude;
  float orientationFraction;  ///< towards the next orientation
  int orientation;            ///< -1 to 7
};

/// The gradient of every pixel of the octave image; border pixels have none.
struct GradientImage {
  cv::Size size;
  std::vector<Gradient> pixels;  ///< row by row

  [[nodiscard]] const Gradient* at(int x, int y) const {
    return pixels.data() + static_cast<std::ptrdiff_t>(y) * size.width + x;
  }
};

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

GradientImage gradientOf(const cv::Mat& image) {
  const cv::Rect inner(1, 1, image.cols - 2, image.rows - 2);
  const cv::Point right(1, 0);
  const cv::Point down(0, 1);
  const cv::Mat dx = image(inner + right) - image(inner - right);
  const cv::Mat dy = image(inner - down) - image(inner + down);
  cv::Mat magnitude;
  cv::Mat angle;
  cv::cartToPolar(dx, dy, magnitude, angle, true);

  GradientImage gradient{image.size(), std::vector<Gradient>(image.total())};
  constexpr float kBinsPerDegree = kOrientations / 360.0F;
  const float descriptorAngleDeg = descriptorAngle();
  Gradient* row = gradient.pixels.data() + image.cols + 1;
  for (int y = 0; y < inner.height; ++y, row += image.cols) {
    const float* const magnitudes = magnitude.ptr<float>(y);
    const float* const angles = angle.ptr<float>(y);
    for (int x = 0; x < inner.width; ++x) {
      const float bin = (angles[x] - descriptorAngleDeg) * kBinsPerDegree;
      const float lower = std::floor(bin);
      row[x] = {magnitudes[x], bin - lower, static_cast<int>(lower) + kOrientations};
    }
  }
  return gradient;
}

struct Pattern {
  std::vector<Sample> samples;
  int radius;  ///< no sample is farther along x or y
};

/// The pixels of the window turned by the keypoints' angle, row by row.
/// @param[in] width  of the octave image.
Pattern samplingPattern(int width) {
  const float cellWidth = kCellWidthFactor * (kKeypointSize * kOctaveScale * 0.5F);
  const float angle = descriptorAngle() * static_cast<float>(CV_PI / 180);
  const float cosine = std::cos(angle) / cellWidth;
  const float sine = std::sin(angle) / cellWidth;
  const int radius = cvRound(cellWidth * 1.4142135623730951F * (kCells + 1) * 0.5F);
  constexpr int kHalfCells = kCells / 2;
  constexpr float kFirstCell = static_cast<float>(kHalfCells) - 0.5F;
  constexpr float kExponentScale = -1.0F / (kCells * kCells * 0.5F);
  const auto withinWindow = [](float bin) { return bin > -1 && bin < static_cast<float>(kCells); };

  Pattern pattern{{}, radius};
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
      pattern.samples.push_back(
          {dx,
           dy,
           static_cast<std::ptrdiff_t>(dy) * width + dx,
           kGuardBins + (firstRow + 1) * kRowOfCells + (firstColumn + 1) * kBinsPerCell,
           row - static_cast<float>(firstRow),
           column - static_cast<float>(firstColumn),
           0.0F});
      exponents.push_back((turnedColumn * turnedColumn + turnedRow * turnedRow) * kExponentScale);
    }
  }
  cv::exp(exponents, exponents);
  for (std::size_t k = 0; k < pattern.samples.size(); ++k) {
    pattern.samples[k].weight = exponents[k];
  }
  return pattern;
}

using Histogram = std::array<float, kHistogramLength>;

/// Adds one pixel to the eight nearest bins by trilinear interpolation.
inline void addSample(Histogram& histogram, const Sample& sample, const Gradient& gradient) {
  const float magnitude = gradient.magnitude * sample.weight;
  const float toNextOrientation = gradient.orientationFraction;
  const float row1 = magnitude * sample.rowFraction;
  const float row0 = magnitude - row1;
  const float row1column1 = row1 * sample.columnFraction;
  const float row1column0 = row1 - row1column1;
  const float row0column1 = row0 * sample.columnFraction;
  const float row0column0 = row0 - row0column1;
  const auto addPair = [toNextOrientation](float* bins, float value) {
    const float next = value * toNextOrientation;
    bins[0] += value - next;
    bins[1] += next;
  };
  float* const bins = histogram.data() + sample.bin + gradient.orientation;
  addPair(bins, row0column0);
  addPair(bins + kBinsPerCell, row0column1);
  addPair(bins + kRowOfCells, row1column0);
  addPair(bins + kRowOfCells + kBinsPerCell, row1column1);
}

/// Folds the extra orientations back and takes the inner cells.
std::array<float, kDescriptorLength> foldedCells(Histogram& histogram) {
  std::array<float, kDescriptorLength> values{};
  std::size_t next = 0;
  for (int row = 1; row <= kCells; ++row) {
    for (int column = 1; column <= kCells; ++column) {
      const int firstBin = kGuardBins + row * kRowOfCells + column * kBinsPerCell;
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

void describe(const GradientImage& gradient,
              const Pattern& pattern,
              const cv::Point2f& pt,
              float* row) {
  const cv::Point centre(cvRound(pt.x * kOctaveScale), cvRound(pt.y * kOctaveScale));
  const cv::Rect withGradient(1, 1, gradient.size.width - 2, gradient.size.height - 2);
  const cv::Point reach(pattern.radius, pattern.radius);
  const bool isInside =
      withGradient.contains(centre - reach) && withGradient.contains(centre + reach);
  const Gradient* const middle = gradient.at(centre.x, centre.y);
  Histogram histogram{};
  for (const Sample& sample : pattern.samples) {
    if (isInside || withGradient.contains({centre.x + sample.dx, centre.y + sample.dy})) {
      addSample(histogram, sample, middle[sample.offset]);
    }
  }
  writeDescriptor(foldedCells(histogram), row);
}

}  // namespace

cv::Mat describeCorners(const cv::Mat& grey, const std::vector<cv::KeyPoint>& keypoints) {
  if (keypoints.empty()) {
    return {};
  }
  const int count = static_cast<int>(keypoints.size());
  cv::Mat descriptors = cv::Mat::zeros(count, kDescriptorLength, CV_32F);
  const GradientImage gradient = gradientOf(secondOctaveImage(padded(grey)));
  const Pattern pattern = samplingPattern(gradient.size.width);
  Platform::parallelFor(0, count, [&](int k) {
    describe(
        gradient, pattern, keypoints[static_cast<std::size_t>(k)].pt, descriptors.ptr<float>(k));
  });
  return descriptors;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
