// SPDX-License-Identifier: MIT
/// @file
/// From pixels of a turning camera to rays in the common frame.
#ifndef ORV_MONTAGE_REGISTRATION_RAY_GEOMETRY_H
#define ORV_MONTAGE_REGISTRATION_RAY_GEOMETRY_H

#include <opencv2/core.hpp>

#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {

/// The map from homogeneous pixels to rays.
///
/// @param[in] R  from the camera to the common frame. @param[in] K  intrinsics. Both 3 x 3
///   `CV_64F`.
inline cv::Matx33d rayFromPixel(const cv::Mat& R, const cv::Mat& K) {
  const cv::Mat inverse = K.inv();
  return cv::Mat(R * inverse);
}

/// The ray of a pixel, of length 1.
inline cv::Vec3d unitRay(const cv::Matx33d& rayFromPixel, const cv::Point2f& pixel) {
  const cv::Matx33d& H = rayFromPixel;
  const double x = H(0, 0) * pixel.x + H(0, 1) * pixel.y + H(0, 2);
  const double y = H(1, 0) * pixel.x + H(1, 1) * pixel.y + H(1, 2);
  const double z = H(2, 0) * pixel.x + H(2, 1) * pixel.y + H(2, 2);
  const double length = std::sqrt(x * x + y * y + z * z);
  return {x / length, y / length, z / length};
}

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_RAY_GEOMETRY_H
