// SPDX-License-Identifier: MIT
/// @file
/// The circle that a fisheye lens throws onto a dark surround.
#ifndef ORV2D_CONTENT_CIRCLE_H
#define ORV2D_CONTENT_CIRCLE_H

#include <opencv2/core.hpp>

#include <optional>

namespace orv2d {

/// In pixels; whole numbers at pixel centres. It may reach beyond the image.
struct Circle {
  cv::Point2d centre;
  double radius = 0.0;
};

/// The smallest circle that holds the bright pixels of `image`, but for one in a thousand and small
/// groups that lie apart; none where the corners of the image are not dark, or hardly anything lies
/// outside the circle.
///
/// One corner may be bright (a time stamp). A circle that the frame cuts off is found from the rest
/// of its rim, a dim one from whatever light lies near it.
/// @param[in] image  `CV_8UC1` or `CV_8UC3`.
std::optional<Circle> findContentCircle(const cv::Mat& image);

}  // namespace orv2d

#endif  // ORV2D_CONTENT_CIRCLE_H
