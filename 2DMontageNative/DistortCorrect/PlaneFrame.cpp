// SPDX-License-Identifier: MIT
#include "DistortCorrect/PlaneFrame.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

constexpr double kRadiansPerDegree = 0.01745329251994278;

struct PlanePoint {
  double x;
  double y;
};

/// Lifts a plane point onto the sphere (seen from the opposite pole), rotates it there and projects
/// it back.
PlanePoint rotatedOnSphere(const Matrix3f& rotation, double a, double b) {
  const double squaredRadius = a * a + b * b;
  const double t = 1.0 / (squaredRadius + 1.0);
  const double px = 2.0 * a * t;
  const double py = 2.0 * b * t;
  const double pz = (squaredRadius - 1.0) * t;
  const auto row = [&](std::size_t first) {
    return static_cast<double>(rotation[first]) * px +
           static_cast<double>(rotation[first + 1]) * py +
           static_cast<double>(rotation[first + 2]) * pz;
  };
  const double x = row(0);
  const double y = row(3);
  const double z = row(6);
  return {x / (1.0 - z), y / (1.0 - z)};
}

}  // namespace

PlaneFrame frameOfRange(
    double yaw, double pitch, int marginDeg, double minAngleDeg, double maxAngleDeg) {
  const double margin = marginDeg * kRadiansPerDegree;
  const double low = minAngleDeg * kRadiansPerDegree;
  const double high = maxAngleDeg * kRadiansPerDegree;
  const double left = std::tan((low - (yaw + margin)) * 0.5);
  const double right = std::tan((high - (yaw - margin)) * 0.5);
  const double lower = std::tan((low - (pitch + margin)) * 0.5);
  const double upper = std::tan((high - (pitch - margin)) * 0.5);
  return {left, right, -lower, -upper};
}

PlaneFrame frameOfCone(const Orientation& orientation, int marginPercent, double coneAngleDeg) {
  constexpr int kOutlinePoints = 360;
  const double enlargement = (marginPercent * 0.01 + 1.0) * 0.5;
  const double coneAngle = coneAngleDeg * kRadiansPerDegree;
  const Matrix3f rotation = outlineRotation(orientation);
  PlaneFrame frame{1.0, -1.0, 1.0, -1.0};
  for (int i = 0; i < kOutlinePoints; ++i) {
    const double azimuth = i * kRadiansPerDegree;
    const double a = std::tan(std::cos(azimuth) * coneAngle * enlargement);
    const double b = std::tan(std::sin(azimuth) * coneAngle * enlargement);
    const PlanePoint point = rotatedOnSphere(rotation, a, b);
    frame.left = std::min(frame.left, point.x);
    frame.right = std::max(frame.right, point.x);
    frame.top = std::min(frame.top, point.y);
    frame.bottom = std::max(frame.bottom, point.y);
  }
  return frame;
}

bool leavesUnitSquare(const PlaneFrame& frame) {
  return std::abs(frame.left) > 1.0 || std::abs(frame.right) > 1.0 || std::abs(frame.top) > 1.0 ||
         std::abs(frame.bottom) > 1.0;
}

int pixelCount(double extent, double pixelsPerUnit) {
  const double pixels = extent * pixelsPerUnit;
  return pixels > -1.0 && pixels <= INT_MAX ? static_cast<int>(pixels) : 0;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
