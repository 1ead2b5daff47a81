// SPDX-License-Identifier: MIT
#include "correct/ContentReach.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace orv2d {
namespace {

constexpr int kSamples = 256;  // per side of the frame
constexpr double kDegreesPerRadian = 57.29577951308232;

/// Rz(roll) Rx(pitch) Ry(yaw), from the view to the lens.
cv::Matx33d lensFromView(const LensValues& values) {
  const auto s = [&](const char* angle) { return std::sin(values.at(angle)); };
  const auto c = [&](const char* angle) { return std::cos(values.at(angle)); };
  const cv::Matx33d rz(c("roll"), -s("roll"), 0, s("roll"), c("roll"), 0, 0, 0, 1);
  const cv::Matx33d rx(1, 0, 0, 0, c("pitch"), -s("pitch"), 0, s("pitch"), c("pitch"));
  const cv::Matx33d ry(c("yaw"), 0, s("yaw"), 0, 1, 0, -s("yaw"), 0, c("yaw"));
  return rz * rx * ry;
}

/// Sine of the largest polar angle whose circle stays clear of the frame's border, where that must
/// be, and of every direction of the frame beyond the half sphere.
double sineOfReach(const cv::Matx33d& lens, const PlaneFrame& frame, bool borderStaysFree) {
  double sine = 1.0;
  for (int row = 0; row <= kSamples; ++row) {
    for (int col = 0; col <= kSamples; ++col) {
      const double x = frame.firstColumn + (frame.lastColumn - frame.firstColumn) * col / kSamples;
      const double y = frame.firstRow + (frame.lastRow - frame.firstRow) * row / kSamples;
      const double t = 1.0 / (x * x + y * y + 1.0);
      const cv::Vec3d ray = lens * cv::Vec3d(2 * x * t, 2 * y * t, (1 - x * x - y * y) * t);
      const bool onBorder = row == 0 || row == kSamples || col == 0 || col == kSamples;
      if (ray[2] < 0 || (onBorder && borderStaysFree)) {
        sine = std::min(sine, std::hypot(ray[0], ray[1]));
      }
    }
  }
  return sine;
}

/// Radius at which the lens model puts a ray of that sine.
double sourceRadius(const LensValues& values, double sine) {
  const double factor = values.at("linear") + values.at("cubic") * sine * sine;
  return std::abs(sine * factor / std::sin(values.at("half-field-angle")));
}

/// Squared radius of the source's pixel (col, row).
double squaredRadius(const cv::Size& size, int col, int row) {
  const double x = 2.0 * col / size.width - 1.0;
  const double y = 2.0 * row / size.height - 1.0;
  return x * x + y * y;
}

}  // namespace

double ContentReach::contentRadius(const cv::Size& sourceSize) const {
  constexpr double kRim = 0.99;
  constexpr double kSamplingPixels = 3.0;  // of the smoothing and the cubic kernel
  const int side = std::min(sourceSize.width, sourceSize.height);
  return std::max(0.0, kRim * radius - 2.0 * kSamplingPixels / side);
}

cv::Mat ContentReach::within(const cv::Size& sourceSize) const {
  const double limit = contentRadius(sourceSize);
  cv::Mat mask = cv::Mat::zeros(sourceSize, CV_8UC1);
  for (int row = 0; row < mask.rows; ++row) {
    for (int col = 0; col < mask.cols; ++col) {
      if (squaredRadius(sourceSize, col, row) < limit * limit) {
        mask.at<unsigned char>(row, col) = 255;
      }
    }
  }
  return mask;
}

ContentReach contentReach(CorrectMode mode, const LensValues& values, const PlaneFrame& frame) {
  const bool borderStaysFree = mode != CorrectMode::kSquare;
  const double sine = sineOfReach(lensFromView(values), frame, borderStaysFree);
  const double fullRadius = sourceRadius(values, 1.0);
  return narrowedTo(std::asin(sine) * kDegreesPerRadian, {0.0, 0.0, fullRadius}, values);
}

ContentReach narrowedTo(double angleDeg, const ContentReach& reach, const LensValues& values) {
  const double sine = std::sin(angleDeg / kDegreesPerRadian);
  // With a negative cubic term rays further out may come back to smaller radii.
  double radius = reach.fullRadius;
  for (int i = 0; i < kSamples; ++i) {
    radius = std::min(radius, sourceRadius(values, sine + (1.0 - sine) * i / kSamples));
  }
  return {angleDeg, radius, reach.fullRadius};
}

double contentShare(const cv::Mat& source, double innerRadius, double outerRadius) {
  constexpr int kContent = 10;
  cv::Mat grey = source;
  if (source.channels() == 3) {
    cv::cvtColor(source, grey, cv::COLOR_BGR2GRAY);
  }
  int all = 0;
  int between = 0;
  for (int row = 0; row < grey.rows; ++row) {
    for (int col = 0; col < grey.cols; ++col) {
      if (grey.at<unsigned char>(row, col) > kContent) {
        const double radius = std::sqrt(squaredRadius(grey.size(), col, row));
        ++all;
        between += radius > innerRadius && radius < outerRadius ? 1 : 0;
      }
    }
  }
  return all > 0 ? static_cast<double>(between) / all : 0.0;
}

}  // namespace orv2d
