// SPDX-License-Identifier: MIT
/// @file
/// Bundle adjustment of cameras that only turn, under a robust loss.
#ifndef ORV_MONTAGE_REGISTRATION_CAMERAS_RAY_BUNDLE_H
#define ORV_MONTAGE_REGISTRATION_CAMERAS_RAY_BUNDLE_H

#include <opencv2/core.hpp>

#include <functional>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// A camera whose principal point is the origin of its pixels.
struct TurningCamera {
  double focal = 1.0;  ///< pixels
  cv::Matx33d worldFromCamera = cv::Matx33d::eye();
};

/// Where two images see the same point, pixels from the principal points.
struct PointPair {
  cv::Point2d first;
  cv::Point2d second;
};

/// What connects two cameras.
struct CameraPair {
  int first;
  int second;
  std::vector<PointPair> points;
};

/// No camera gets a longer focal length: up to here single-precision rotations place a pixel right.
constexpr double kLongestFocal = 2e5;

struct RayBundleSettings {
  /// Whose rotation stays as it is.
  int reference = 0;
  bool sharedFocal = false;  ///< one focal length for all
  bool fixedFocals = false;  ///< only rotations are refined
  double shortestFocal = 1.0;
  int mostIterations = 100;
  /// Called several times per iteration, from any thread; its exception ends the adjustment.
  std::function<void()> poll;
};

struct RayBundleResult {
  bool usable = false;  ///< finite, and no worse than at the start
  double cost = 0.0;    ///< half the sum of the robust squared errors, pixels squared
};

/// Minimises the lengths of sqrt(f1 f2) (ray of first - ray of second) over all points, unit rays
/// in the common frame (Brown and Lowe 2007), under a Cauchy loss of 0.7 pixels.
///
/// Levenberg and Marquardt over sparse normal equations (Ceres). A rotation is held as the pixels
/// by which it moves the picture, so that it stays right while the focal length changes: without
/// that a flat scene, whose focal length runs to its bound, would not converge. Focal lengths lie
/// in [shortestFocal, kLongestFocal] and are drawn together weakly, which holds one that its image
/// alone would not determine.
///
/// @param[in,out] cameras  start and result; unchanged unless usable.
/// @note Uses all cores; the same input gives the same bytes for any number of threads.
RayBundleResult adjustRays(std::vector<TurningCamera>& cameras,
                           const std::vector<CameraPair>& pairs,
                           const RayBundleSettings& settings);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CAMERAS_RAY_BUNDLE_H
