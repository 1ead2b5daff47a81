// SPDX-License-Identifier: MIT
#include "correct/PlaneFrame.h"

#include "ExitCode.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <sstream>

namespace orv2d {
namespace {

constexpr double kRadiansPerDegree = 0.017453292519943295;

PlaneFrame rangeFrame(const LensValues& values) {
  const double margin = values.at("margin-deg") * kRadiansPerDegree;
  const double low = values.at("min-angle-deg") * kRadiansPerDegree;
  const double high = values.at("max-angle-deg") * kRadiansPerDegree;
  const auto lowEnd = [&](double view) { return std::tan((low - (view + margin)) * 0.5); };
  const auto highEnd = [&](double view) { return std::tan((high - (view - margin)) * 0.5); };
  const double yaw = values.at("yaw");
  const double pitch = values.at("pitch");
  return {lowEnd(yaw), highEnd(yaw), -lowEnd(pitch), -highEnd(pitch)};
}

/// Ry(yaw) Rx(pitch) Rz(roll).
cv::Matx33d outlineRotation(double yaw, double pitch, double roll) {
  const cv::Matx33d ry(std::cos(yaw), 0, std::sin(yaw), 0, 1, 0, -std::sin(yaw), 0, std::cos(yaw));
  const cv::Matx33d rx(
      1, 0, 0, 0, std::cos(pitch), -std::sin(pitch), 0, std::sin(pitch), std::cos(pitch));
  const cv::Matx33d rz(
      std::cos(roll), -std::sin(roll), 0, std::sin(roll), std::cos(roll), 0, 0, 0, 1);
  return ry * rx * rz;
}

PlaneFrame fovFrame(const LensValues& values) {
  constexpr int kOutlinePoints = 360;
  const double halfCone = values.at("cone-angle-deg") * kRadiansPerDegree *
                          (values.at("margin-percent") * 0.01 + 1.0) * 0.5;
  const cv::Matx33d rotation =
      outlineRotation(values.at("yaw"), values.at("pitch"), values.at("roll"));
  PlaneFrame frame{1.0, -1.0, 1.0, -1.0};
  for (int i = 0; i < kOutlinePoints; ++i) {
    const double a = std::tan(std::cos(i * kRadiansPerDegree) * halfCone);
    const double b = std::tan(std::sin(i * kRadiansPerDegree) * halfCone);
    const double t = 1.0 / (a * a + b * b + 1.0);
    const cv::Vec3d p = rotation * cv::Vec3d(2 * a * t, 2 * b * t, (a * a + b * b - 1.0) * t);
    const double x = p[0] / (1.0 - p[2]);
    const double y = p[1] / (1.0 - p[2]);
    frame.firstColumn = std::min(frame.firstColumn, x);
    frame.lastColumn = std::max(frame.lastColumn, x);
    frame.firstRow = std::min(frame.firstRow, y);
    frame.lastRow = std::max(frame.lastRow, y);
  }
  return frame;
}

}  // namespace

bool PlaneFrame::insideUnitSquare() const {
  return halfExtent() <= 1.0;
}

double PlaneFrame::halfExtent() const {
  return std::max(
      {std::abs(firstColumn), std::abs(lastColumn), std::abs(firstRow), std::abs(lastRow)});
}

PlaneFrame planeFrame(CorrectMode mode, const LensValues& values) {
  switch (mode) {
    case CorrectMode::kRange:
      return rangeFrame(values);
    case CorrectMode::kFov:
      return fovFrame(values);
    default:
      return {};
  }
}

void requirePossibleSize(CorrectMode mode, const LensValues& values) {
  if (mode != CorrectMode::kRange && mode != CorrectMode::kFov) {
    return;
  }
  const PlaneFrame frame = planeFrame(mode, values);
  if (mode == CorrectMode::kFov && !frame.insideUnitSquare()) {
    return;  // the library refuses it with a reason of its own
  }
  constexpr double kMinSide = 2;
  constexpr double kMaxSide = 32766;
  const double density = values.at("pixels-per-unit");
  const double width = std::abs(frame.lastColumn - frame.firstColumn) * density;
  const double height = std::abs(frame.lastRow - frame.firstRow) * density;
  if (std::min(width, height) < kMinSide || std::max(width, height) > kMaxSide) {
    std::ostringstream message;
    message << "the result would have " << std::round(width) << " x " << std::round(height)
            << " pixels at " << density << " pixels per unit; sides from 2 to 32766 are possible, "
            << "choose another --pixels-per-unit or range";
    throw HostError(ExitCode::Usage, message.str());
  }
}

}  // namespace orv2d
