// SPDX-License-Identifier: MIT
/// @file
/// Cameras and footprints as the plane warper takes them.
#ifndef ORV_MONTAGE_COMPOSITION_PLANE_FOOTPRINT_H
#define ORV_MONTAGE_COMPOSITION_PLANE_FOOTPRINT_H

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/camera.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// The camera's intrinsic matrix, 3 x 3 `CV_32F`.
cv::Mat intrinsicsOf(const cv::detail::CameraParams& camera);

/// The same with focal lengths and principal point multiplied by `aspect`.
cv::Mat intrinsicsOf(const cv::detail::CameraParams& camera, double aspect);

/// Raises a `cv::Exception` (`StsOutOfRange`) unless both sides lie in [1, 32767).
///
/// OpenCV's resampling refuses larger sides only after gigabytes of maps have been taken, and
/// degenerate cameras give footprints of millions of pixels.
void requireMontageSize(long long width, long long height);

/// The same for the union of footprints, the area of a montage; raises it also without footprints.
void requireMontageSize(const std::vector<cv::Point>& corners, const std::vector<cv::Size>& sizes);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_PLANE_FOOTPRINT_H
