// SPDX-License-Identifier: MIT
/// @file
/// Turning all cameras together so that the montage is upright and faces its plane.
#ifndef ORV_MONTAGE_PIPELINE_ORIENTATION_H
#define ORV_MONTAGE_PIPELINE_ORIENTATION_H

#include "montage/Options.h"

#include <opencv2/core.hpp>

#include <vector>

namespace montage {

/// Turns the common frame so that its z axis is the mean viewing direction and its x axis, which
/// becomes the montage's rows, lies as `straighten` says.
///
/// @param[in,out] worldFromCamera  not empty.
void faceMeanDirection(std::vector<cv::Matx33d>& worldFromCamera, Straighten straighten);

/// Straightens as OpenCV's wave correction does (Brown and Lowe 2007), in single precision; the
/// reference image stays the one that the plane faces.
void straightenOnly(std::vector<cv::Matx33d>& worldFromCamera, Straighten straighten);

/// The largest angle between the z axis and a ray of the image, radians; the rays of its corners are
/// the outermost ones.
double outermostAngle(const cv::Matx33d& worldFromPixel, cv::Size size);

/// The angle between the z axis and the camera's viewing direction, radians.
double axisAngle(const cv::Matx33d& worldFromCamera);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_ORIENTATION_H
