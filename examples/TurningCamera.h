// SPDX-License-Identifier: MIT
/// @file
/// Photographs a photograph: views of a picture at infinity by a camera that only turns.
#ifndef ORV_EXAMPLES_TURNING_CAMERA_H
#define ORV_EXAMPLES_TURNING_CAMERA_H

#include <opencv2/core.hpp>

namespace examples {

/// Where the camera looks, in degrees: to the right, downward, clockwise.
struct Gaze {
  double yawDeg;
  double pitchDeg;
  double rollDeg;
};

/// Rotation that turns rays of the camera into the world (x right, y down, z into the picture).
cv::Matx33d worldFromCamera(const Gaze& gaze);

/// Intrinsics with the principal point at the image centre; pixel centres lie at integers.
cv::Matx33d intrinsics(double focal, cv::Size size);

/// What the camera sees of a picture that was taken with the same focal length straight ahead.
///
/// @param[in] exposure  brightness factor.
/// @param[in] noiseSigma  standard deviation of Gaussian noise, grey levels, drawn from `random`.
/// @return `CV_8UC3` of the given size; the picture is mirrored beyond its border.
cv::Mat renderView(const cv::Mat& picture,
                   double focal,
                   const Gaze& gaze,
                   cv::Size size,
                   double exposure,
                   double noiseSigma,
                   cv::RNG& random);

}  // namespace examples

#endif  // ORV_EXAMPLES_TURNING_CAMERA_H
