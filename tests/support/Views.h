// SPDX-License-Identifier: MIT
/// @file
/// Sets of rendered views for the application interface, and how far cameras are from their truth.
#ifndef ORV_TESTS_SUPPORT_VIEWS_H
#define ORV_TESTS_SUPPORT_VIEWS_H

#include "montage/Montage.h"
#include "support/SyntheticScene.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace ORV::TestSupport {

/// Two rows of four views that overlap by about a half, in no order by place.
inline const ViewSet& eightViews() {
  static const ViewSet kViews = [] {
    std::vector<Gaze> gazes;
    for (int i = 0; i < 8; ++i) {
      const int place = 3 * i % 8;
      gazes.push_back({-27.0 + 18.0 * (place % 4), -7.0 + 14.0 * (place / 4), (i % 3) - 1.0});
    }
    return renderViews(makePicture({1100, 620}, 5), gazes);
  }();
  return kViews;
}

/// The largest distance, over all pairs of images that are used, between where the cameras and the
/// truth put a pixel of one image in the other, full-resolution pixels.
///
/// @param[in] order  image to view.
inline double worstCameraError(const montage::Registration& registration,
                               const ViewSet& views,
                               const std::vector<int>& order) {
  const auto pixelFromRay = [](const montage::Camera& camera) {
    return cv::Matx33d(camera.focal, 0, camera.ppx, 0, camera.focal, camera.ppy, 0, 0, 1);
  };
  double worst = 0;
  for (const int a : registration.used) {
    for (const int b : registration.used) {
      const montage::Camera from = registration.fullResolution(a);
      const montage::Camera to = registration.fullResolution(b);
      const cv::Matx33d found = pixelFromRay(to) * to.worldFromCamera.t() * from.worldFromCamera *
                                pixelFromRay(from).inv();
      const cv::Matx33d truth =
          views.homography(order[static_cast<std::size_t>(a)], order[static_cast<std::size_t>(b)]);
      for (int y = 0; y < views.size.height; y += 20) {
        for (int x = 0; x < views.size.width; x += 20) {
          const cv::Vec3d expected = truth * cv::Vec3d(x, y, 1);
          const cv::Vec3d actual = found * cv::Vec3d(x, y, 1);
          const cv::Point2d place(expected[0] / expected[2], expected[1] / expected[2]);
          if (expected[2] > 0 &&
              cv::Rect2d(cv::Point2d(), cv::Size2d(views.size)).contains(place)) {
            worst = std::max(
                worst,
                std::hypot(actual[0] / actual[2] - place.x, actual[1] / actual[2] - place.y));
          }
        }
      }
    }
  }
  return worst;
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_VIEWS_H
