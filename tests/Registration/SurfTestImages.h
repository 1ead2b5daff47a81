// SPDX-License-Identifier: MIT
#ifndef ORV_MONTAGE_TESTS_SURF_TEST_IMAGES_H
#define ORV_MONTAGE_TESTS_SURF_TEST_IMAGES_H

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace SurfTestImages {

/// Smoothed noise: many blobs of many sizes.
inline cv::Mat blobs(int rows, int cols, unsigned seed) {
  cv::RNG random(seed);
  cv::Mat fine(rows, cols, CV_32F);
  cv::Mat coarse((rows + 7) / 8, (cols + 7) / 8, CV_32F);
  random.fill(fine, cv::RNG::NORMAL, 0.0, 100.0);
  random.fill(coarse, cv::RNG::NORMAL, 0.0, 40.0);
  cv::GaussianBlur(fine, fine, cv::Size(), 1.5);
  cv::Mat smooth;
  cv::resize(coarse, smooth, fine.size(), 0, 0, cv::INTER_CUBIC);
  cv::Mat image;
  cv::Mat(fine + smooth).convertTo(image, CV_8U, 1.0, 120.0);
  return image;
}

/// One Gaussian blob on a plain background.
inline cv::Mat gaussianBlob(cv::Size size, cv::Point2d centre, double sigma, double height) {
  cv::Mat image(size, CV_8U);
  const double background = height > 0 ? 30.0 : 220.0;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const double squared = std::pow(x - centre.x, 2) + std::pow(y - centre.y, 2);
      image.at<uchar>(y, x) =
          cv::saturate_cast<uchar>(background + height * std::exp(-squared / (2 * sigma * sigma)));
    }
  }
  return image;
}

}  // namespace SurfTestImages

#endif  // ORV_MONTAGE_TESTS_SURF_TEST_IMAGES_H
