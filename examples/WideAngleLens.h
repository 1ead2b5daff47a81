// SPDX-License-Identifier: MIT
/// @file
/// A wide-angle lens and what it sees of a photograph that lies on the stereographic plane.
#ifndef ORV_EXAMPLES_WIDE_ANGLE_LENS_H
#define ORV_EXAMPLES_WIDE_ANGLE_LENS_H

#include <opencv2/core.hpp>

namespace examples {

/// A ray at the polar angle a meets the image at the radius
/// sin(a) (linear + cubic sin(a)^2) / sin(halfFieldAngle), in half image sides from its centre.
struct WideAngleLens {
  double halfFieldAngle;  ///< radians
  double linear;          ///< positive
  double cubic;           ///< not negative
  double field;           ///< radians, below 90 degrees: rays further from the axis come out black
};

/// Radius of the field on the stereographic plane.
double planeRadius(const WideAngleLens& lens);

/// Point of the stereographic plane that the lens shows at a point of the image (half image sides
/// from the centre); outside the unit circle where the lens shows nothing.
///
/// Solves the lens model for sin(a) by Newton's method.
cv::Point2d planeFromImage(const WideAngleLens& lens, const cv::Point2d& image);

/// The photograph at points of the plane (two `CV_32F` matrices), bicubic.
///
/// The photograph lies upright and centred on the plane and just covers the lens's field.
cv::Mat photographAt(const cv::Mat& photograph,
                     const WideAngleLens& lens,
                     const cv::Mat& planeX,
                     const cv::Mat& planeY);

/// The square image that the lens makes of the photograph, black outside the field.
cv::Mat renderWideAngle(const cv::Mat& photograph, const WideAngleLens& lens, int side);

}  // namespace examples

#endif  // ORV_EXAMPLES_WIDE_ANGLE_LENS_H
