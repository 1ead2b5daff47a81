// SPDX-License-Identifier: MIT
#include "hosts/HostScene.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace orv2d::tests {

cv::Mat texturedScene(const cv::Size& size, int seed) {
  constexpr int kShapes = 2500;
  cv::RNG random(static_cast<std::uint64_t>(seed));
  cv::Mat scene(size, CV_8UC3, cv::Scalar::all(90));
  for (int i = 0; i < kShapes; ++i) {
    const cv::Point at(random.uniform(0, size.width), random.uniform(0, size.height));
    const cv::Size half(random.uniform(3, 25), random.uniform(3, 25));
    const cv::Scalar colour(
        random.uniform(20, 255), random.uniform(20, 255), random.uniform(20, 255));
    if (i % 2 == 0) {
      cv::ellipse(scene, at, half, random.uniform(0, 180), 0, 360, colour, cv::FILLED);
    } else {
      cv::rectangle(scene, {at, half}, colour, cv::FILLED);
    }
  }
  cv::GaussianBlur(scene, scene, {3, 3}, 0.8);
  return scene;
}

cv::Mat viewOf(const cv::Mat& scene, const cv::Size& size, double yawDeg) {
  constexpr double kFocal = 500.0;
  const double yaw = yawDeg * CV_PI / 180.0;
  const auto camera = [&](const cv::Size& picture) {
    return cv::Matx33d(
        kFocal, 0, (picture.width - 1) / 2.0, 0, kFocal, (picture.height - 1) / 2.0, 0, 0, 1);
  };
  const cv::Matx33d viewFromScene(
      std::cos(yaw), 0, -std::sin(yaw), 0, 1, 0, std::sin(yaw), 0, std::cos(yaw));
  cv::Mat view;
  cv::warpPerspective(
      scene, view, cv::Mat(camera(size) * viewFromScene * camera(scene.size()).inv()), size);
  return view;
}

std::vector<cv::Mat> overlappingViews(int count) {
  constexpr double kStepDeg = 12.0;
  const cv::Mat scene = texturedScene({1500, 600}, 7);
  std::vector<cv::Mat> views;
  for (int i = 0; i < count; ++i) {
    views.push_back(viewOf(scene, {400, 300}, (i - (count - 1) / 2.0) * kStepDeg));
  }
  return views;
}

cv::Mat disc(int side, double radius, int channels) {
  cv::Mat picture = texturedScene({side, side}, 3);
  cv::Mat outside(picture.size(), CV_8UC1, cv::Scalar::all(255));
  const int radiusPx = cvRound(radius * side / 2.0);
  cv::circle(outside, {side / 2, side / 2}, radiusPx, cv::Scalar::all(0), cv::FILLED);
  picture.setTo(cv::Scalar::all(0), outside);
  if (channels == 1) {
    cv::cvtColor(picture, picture, cv::COLOR_BGR2GRAY);
  }
  return picture;
}

}  // namespace orv2d::tests
