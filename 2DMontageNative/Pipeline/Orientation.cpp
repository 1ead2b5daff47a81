// SPDX-License-Identifier: MIT
#include "Pipeline/Orientation.h"

#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <algorithm>
#include <cmath>

namespace montage {
namespace {

// Views spread along one direction if they reach this far along it, and so much further than across.
constexpr double kSpreadRadians = 0.5;
constexpr double kSpreadRatio = 2.0;

cv::Vec3d axisOf(const cv::Matx33d& rotation, int axis) {
  return {rotation(0, axis), rotation(1, axis), rotation(2, axis)};
}

cv::Vec3d sumOfAxes(const std::vector<cv::Matx33d>& rotations, int axis) {
  cv::Vec3d sum;
  for (const cv::Matx33d& rotation : rotations) {
    sum += axisOf(rotation, axis);
  }
  return sum;
}

/// The direction that is as perpendicular as can be to the given axis of all cameras.
cv::Vec3d commonNormal(const std::vector<cv::Matx33d>& rotations, int axis) {
  cv::Matx33d moment = cv::Matx33d::zeros();
  for (const cv::Matx33d& rotation : rotations) {
    moment += axisOf(rotation, axis) * axisOf(rotation, axis).t();
  }
  cv::Matx31d values;
  cv::Matx33d vectors;
  cv::eigen(moment, values, vectors);  // descending, in rows
  return {vectors(2, 0), vectors(2, 1), vectors(2, 2)};
}

cv::Vec3d perpendicularTo(const cv::Vec3d& z, const cv::Vec3d& vector) {
  return cv::normalize(vector - z * vector.dot(z));
}

/// How far the viewing directions reach along a direction, radians.
double spreadAlong(const std::vector<cv::Matx33d>& rotations,
                   const cv::Vec3d& z,
                   const cv::Vec3d& direction) {
  double least = 0.0;
  double greatest = 0.0;
  for (const cv::Matx33d& rotation : rotations) {
    const cv::Vec3d view = axisOf(rotation, 2);
    const double angle = std::atan2(view.dot(direction), view.dot(z));
    least = std::min(least, angle);
    greatest = std::max(greatest, angle);
  }
  return greatest - least;
}

Straighten chosenFor(const std::vector<cv::Matx33d>& rotations,
                     const cv::Vec3d& z,
                     const cv::Vec3d& meanX) {
  const double across = spreadAlong(rotations, z, meanX);
  const double down = spreadAlong(rotations, z, z.cross(meanX));
  if (across > kSpreadRadians && across > kSpreadRatio * down) {
    return Straighten::horizontal;
  }
  if (down > kSpreadRadians && down > kSpreadRatio * across) {
    return Straighten::vertical;
  }
  return Straighten::automatic;
}

/// The montage's x axis in the common frame.
cv::Vec3d rowsOf(const std::vector<cv::Matx33d>& rotations,
                 const cv::Vec3d& z,
                 Straighten straighten) {
  if (straighten == Straighten::none) {
    return perpendicularTo(z, {1.0, 0.0, 0.0});
  }
  const cv::Vec3d meanX = perpendicularTo(z, sumOfAxes(rotations, 0));
  if (straighten == Straighten::automatic) {
    straighten = chosenFor(rotations, z, meanX);
  }
  if (straighten == Straighten::horizontal) {
    cv::Vec3d down = commonNormal(rotations, 0);
    down *= down.dot(sumOfAxes(rotations, 1)) < 0.0 ? -1.0 : 1.0;
    return perpendicularTo(z, down.cross(z));
  }
  if (straighten == Straighten::vertical) {
    const cv::Vec3d across = commonNormal(rotations, 1);
    return perpendicularTo(z, across * (across.dot(meanX) < 0.0 ? -1.0 : 1.0));
  }
  return meanX;
}

}  // namespace

void faceMeanDirection(std::vector<cv::Matx33d>& worldFromCamera, Straighten straighten) {
  const cv::Vec3d z = cv::normalize(sumOfAxes(worldFromCamera, 2));
  const cv::Vec3d x = rowsOf(worldFromCamera, z, straighten);
  const cv::Vec3d y = z.cross(x);
  const cv::Matx33d planeFromWorld(x[0], x[1], x[2], y[0], y[1], y[2], z[0], z[1], z[2]);
  if (!cv::checkRange(cv::Mat(planeFromWorld))) {
    return;  // views all around: no direction is the mean one
  }
  for (cv::Matx33d& rotation : worldFromCamera) {
    rotation = planeFromWorld * rotation;
  }
}

void straightenOnly(std::vector<cv::Matx33d>& worldFromCamera, Straighten straighten) {
  if (straighten == Straighten::automatic) {
    const cv::Vec3d z = cv::normalize(sumOfAxes(worldFromCamera, 2));
    straighten = chosenFor(worldFromCamera, z, perpendicularTo(z, sumOfAxes(worldFromCamera, 0)));
  }
  if (straighten != Straighten::horizontal && straighten != Straighten::vertical) {
    return;
  }
  std::vector<cv::Mat> rotations(worldFromCamera.size());
  for (std::size_t i = 0; i < rotations.size(); ++i) {
    cv::Mat(worldFromCamera[i]).convertTo(rotations[i], CV_32F);
  }
  cv::detail::waveCorrect(rotations,
                          straighten == Straighten::horizontal ? cv::detail::WAVE_CORRECT_HORIZ
                                                               : cv::detail::WAVE_CORRECT_VERT);
  for (std::size_t i = 0; i < rotations.size(); ++i) {
    cv::Mat precise;
    rotations[i].convertTo(precise, CV_64F);
    worldFromCamera[i] = precise;
  }
}

double axisAngle(const cv::Matx33d& worldFromCamera) {
  return std::acos(std::clamp(worldFromCamera(2, 2), -1.0, 1.0));
}

double outermostAngle(const cv::Matx33d& worldFromPixel, cv::Size size) {
  double outermost = 0.0;
  for (const double x : {-0.5, size.width - 0.5}) {
    for (const double y : {-0.5, size.height - 0.5}) {
      const cv::Vec3d ray = worldFromPixel * cv::Vec3d(x, y, 1.0);
      outermost = std::max(outermost, std::atan2(std::hypot(ray[0], ray[1]), ray[2]));
    }
  }
  return outermost;
}

}  // namespace montage
