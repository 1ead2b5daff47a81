// SPDX-License-Identifier: MIT
#include "TurningCamera.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace examples {

cv::Matx33d worldFromCamera(const Gaze& gaze) {
  const double radiansPerDegree = CV_PI / 180;
  const double yaw = gaze.yawDeg * radiansPerDegree;
  const double pitch = gaze.pitchDeg * radiansPerDegree;
  const double roll = gaze.rollDeg * radiansPerDegree;
  const cv::Matx33d aboutY(
      std::cos(yaw), 0, std::sin(yaw), 0, 1, 0, -std::sin(yaw), 0, std::cos(yaw));
  const cv::Matx33d aboutX(
      1, 0, 0, 0, std::cos(pitch), std::sin(pitch), 0, -std::sin(pitch), std::cos(pitch));
  const cv::Matx33d aboutZ(
      std::cos(roll), -std::sin(roll), 0, std::sin(roll), std::cos(roll), 0, 0, 0, 1);
  return aboutY * aboutX * aboutZ;
}

cv::Matx33d intrinsics(double focal, cv::Size size) {
  return {focal, 0, (size.width - 1) / 2.0, 0, focal, (size.height - 1) / 2.0, 0, 0, 1};
}

cv::Mat renderView(const cv::Mat& picture,
                   double focal,
                   const Gaze& gaze,
                   cv::Size size,
                   double exposure,
                   double noiseSigma,
                   cv::RNG& random) {
  const cv::Matx33d pictureFromView =
      intrinsics(focal, picture.size()) * worldFromCamera(gaze) * intrinsics(focal, size).inv();
  cv::Mat view;
  cv::warpPerspective(picture,
                      view,
                      pictureFromView,
                      size,
                      cv::INTER_CUBIC | cv::WARP_INVERSE_MAP,
                      cv::BORDER_REFLECT);
  cv::Mat noise(size, CV_32FC3);
  random.fill(noise, cv::RNG::NORMAL, 0.0, noiseSigma);
  view.convertTo(view, CV_32F, exposure);
  view += noise;
  view.convertTo(view, CV_8U);
  return view;
}

}  // namespace examples
