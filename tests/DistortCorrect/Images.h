// SPDX-License-Identifier: MIT
/// @file
/// Test pictures of the distortion correction and their comparison.
#ifndef ORV_MONTAGE_TESTS_DISTORT_CORRECT_IMAGES_H
#define ORV_MONTAGE_TESTS_DISTORT_CORRECT_IMAGES_H

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cstring>
#include <string>

/// Seeded noise.
inline cv::Mat noise(int rows, int cols, int type, unsigned seed) {
  cv::Mat image(rows, cols, type);
  cv::RNG(seed).fill(image, cv::RNG::UNIFORM, 0, 256);
  return image;
}

/// A region of a larger matrix of 77s that holds a copy of `image`; `frame` owns the pixels.
inline cv::Mat asRegion(const cv::Mat& image, cv::Mat& frame) {
  frame = cv::Mat(image.rows + 7, image.cols + 9, image.type(), cv::Scalar::all(77));
  cv::Mat region = frame(cv::Rect(4, 3, image.cols, image.rows));
  image.copyTo(region);
  return region;
}

/// Whether the pixels of `frame` around its region are still 77.
inline testing::AssertionResult surroundingsUntouched(const cv::Mat& frame) {
  cv::Mat outside = frame.clone();
  outside(cv::Rect(4, 3, frame.cols - 9, frame.rows - 7)) = cv::Scalar::all(77);
  const int touched = cv::countNonZero(outside.reshape(1) != 77);
  return touched == 0 ? testing::AssertionSuccess()
                      : testing::AssertionFailure() << touched << " bytes outside changed";
}

/// Same size, type and pixels; names the first pixel that differs.
inline testing::AssertionResult samePixels(const cv::Mat& a, const cv::Mat& b) {
  if (a.size() != b.size() || a.type() != b.type()) {
    return testing::AssertionFailure()
           << a.size() << " type " << a.type() << " against " << b.size() << " type " << b.type();
  }
  for (int row = 0; row < a.rows; ++row) {
    const auto rowBytes = static_cast<std::size_t>(a.cols) * a.elemSize();
    if (std::memcmp(a.ptr(row), b.ptr(row), rowBytes) == 0) {
      continue;
    }
    for (int col = 0; col < a.cols; ++col) {
      if (std::memcmp(a.ptr(row, col), b.ptr(row, col), a.elemSize()) != 0) {
        const cv::Rect pixel(col, row, 1, 1);
        return testing::AssertionFailure() << "row " << row << ", column " << col << ": "
                                           << a(pixel) << " against " << b(pixel);
      }
    }
  }
  return testing::AssertionSuccess();
}

#endif  // ORV_MONTAGE_TESTS_DISTORT_CORRECT_IMAGES_H
