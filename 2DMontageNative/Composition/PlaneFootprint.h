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

/// Raises a `cv::Exception` (`StsOutOfRange`) unless an image can be warped there: both sides lie
/// in [1, 32767), and all pixels within 2^24 of the plane's origin, where single precision tells
/// them apart.
///
/// OpenCV's resampling refuses larger sides only after gigabytes of maps have been taken, and
/// degenerate cameras give footprints of millions of pixels, at the end of the range of `int`.
///
/// @param[in] width, height  not yet narrowed: corners at both ends of that range are further apart
///   than an `int` holds.
void requireFootprint(cv::Point corner, long long width, long long height);

/// The same for every footprint of a montage; there must be one. Their union has no limit of its
/// own.
void requireFootprints(const std::vector<cv::Point>& corners, const std::vector<cv::Size>& sizes);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_PLANE_FOOTPRINT_H
