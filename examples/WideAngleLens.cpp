// SPDX-License-Identifier: MIT
#include "WideAngleLens.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace examples {

double planeRadius(const WideAngleLens& lens) {
  return std::tan(lens.field / 2);
}

cv::Point2d planeFromImage(const WideAngleLens& lens, const cv::Point2d& image) {
  constexpr int kMaxSteps = 50;
  constexpr double kPrecision = 1e-12;
  const double sineOfHalfField = std::sin(lens.halfFieldAngle);
  const double target = std::hypot(image.x, image.y) * sineOfHalfField;
  double sine = target / lens.linear;  // from above, where no step overshoots
  for (int i = 0; i < kMaxSteps; ++i) {
    const double square = sine * sine;
    const double step = (sine * (lens.linear + lens.cubic * square) - target) /
                        (lens.linear + 3 * lens.cubic * square);
    sine -= step;
    if (std::abs(step) < kPrecision) {
      break;
    }
  }
  const double square = std::min(1.0, sine * sine);
  const double spherePerImage = sineOfHalfField / (lens.linear + lens.cubic * square);
  return image * (spherePerImage / (1 + std::sqrt(1 - square)));
}

cv::Mat photographAt(const cv::Mat& photograph,
                     const WideAngleLens& lens,
                     const cv::Mat& planeX,
                     const cv::Mat& planeY) {
  constexpr double kCoveredShare = 0.98;  // keeps the sampling clear of the photograph's border
  const double pixelsPerUnit =
      kCoveredShare * std::min(photograph.cols, photograph.rows) / (2 * planeRadius(lens));
  const cv::Mat cols = planeX * pixelsPerUnit + (photograph.cols - 1) / 2.0;
  const cv::Mat rows = planeY * pixelsPerUnit + (photograph.rows - 1) / 2.0;
  cv::Mat picture;
  cv::remap(photograph, picture, cols, rows, cv::INTER_CUBIC);
  return picture;
}

cv::Mat renderWideAngle(const cv::Mat& photograph, const WideAngleLens& lens, int side) {
  constexpr int kFiner = 2;  // samples per pixel and axis, averaged against aliasing
  const int samples = kFiner * side;
  const double radius = planeRadius(lens);
  cv::Mat planeX(samples, samples, CV_32F);
  cv::Mat planeY(samples, samples, CV_32F);
  cv::Mat outside(samples, samples, CV_8U);
  // The model puts the axis at pixel side / 2; the samples of a pixel lie evenly around it.
  const auto imagePosition = [&](int sample) {
    const double pixel = (sample - (kFiner - 1) / 2.0) / kFiner;
    return pixel / (side / 2.0) - 1;
  };
  for (int row = 0; row < samples; ++row) {
    for (int col = 0; col < samples; ++col) {
      const cv::Point2d plane = planeFromImage(lens, {imagePosition(col), imagePosition(row)});
      const bool visible = std::hypot(plane.x, plane.y) <= radius;
      planeX.at<float>(row, col) = visible ? static_cast<float>(plane.x) : 0;
      planeY.at<float>(row, col) = visible ? static_cast<float>(plane.y) : 0;
      outside.at<unsigned char>(row, col) = visible ? 0 : 1;
    }
  }
  cv::Mat fine = photographAt(photograph, lens, planeX, planeY);
  fine.setTo(0, outside);
  cv::Mat image;
  cv::resize(fine, image, {side, side}, 0, 0, cv::INTER_AREA);
  return image;
}

}  // namespace examples
