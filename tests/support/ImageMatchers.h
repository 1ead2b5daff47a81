// SPDX-License-Identifier: MIT
/// @file
/// Matchers that compare images and name the worst pixel.
///
/// @code
/// EXPECT_THAT(actual, EqualsImage(expected));
/// EXPECT_THAT(actual, ImageNear(expected, 1));
/// @endcode
#ifndef ORV_TESTS_SUPPORT_IMAGE_MATCHERS_H
#define ORV_TESTS_SUPPORT_IMAGE_MATCHERS_H

#include <gmock/gmock.h>
#include <opencv2/core.hpp>

#include <ostream>

namespace cv {

/// GoogleTest would print every pixel of a failed image.
inline void PrintTo(const Mat& image, std::ostream* stream) {
  *stream << "an image of " << image.size() << ", type " << typeToString(image.type());
}

}  // namespace cv

namespace ORV::TestSupport {

/// The worst sample must differ by at most `tolerance`; type and size must agree.
MATCHER_P2(ImageNear, expected, tolerance, "equals the expected image within the tolerance") {
  const cv::Mat actualImage = arg, expectedImage = expected;
  if (actualImage.type() != expectedImage.type() || actualImage.size() != expectedImage.size()) {
    *result_listener << "is " << actualImage.size() << " of type "
                     << cv::typeToString(actualImage.type()) << ", expected "
                     << expectedImage.size() << " of type "
                     << cv::typeToString(expectedImage.type());
    return false;
  }
  if (actualImage.empty()) {
    return true;
  }
  cv::Mat difference;
  cv::absdiff(actualImage.reshape(1), expectedImage.reshape(1), difference);
  double worst = 0;
  cv::Point place;
  cv::minMaxLoc(difference, nullptr, &worst, nullptr, &place);
  if (worst <= static_cast<double>(tolerance)) {
    return true;
  }
  const int channels = actualImage.channels();
  const cv::Rect sample(place, cv::Size(1, 1));
  *result_listener << "differs in " << cv::countNonZero(difference > tolerance) << " of "
                   << difference.total() << " samples, most at column " << place.x / channels
                   << ", row " << place.y << ", channel " << place.x % channels << ": "
                   << cv::sum(actualImage.reshape(1)(sample))[0] << " instead of "
                   << cv::sum(expectedImage.reshape(1)(sample))[0];
  return false;
}

template <class Image>
auto EqualsImage(const Image& expected) {
  return ImageNear(expected, 0);
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_IMAGE_MATCHERS_H
