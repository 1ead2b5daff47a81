// SPDX-License-Identifier: MIT
#include "TileShifts.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <optional>

namespace examples {
namespace {

constexpr int kTile = 48;   // pixels
constexpr int kMargin = 4;  // around a tile, for shifting it
constexpr double kMinGradient =
    3;  // grey levels per pixel, root mean square in the weaker direction

/// The displacement of `picture` against `truth`, both a tile with its margin; none without
/// texture.
std::optional<cv::Vec2d> displacement(const cv::Mat& picture, const cv::Mat& truth) {
  constexpr int kSteps = 5;
  constexpr double kHalf = 0.5;  // central differences
  const cv::Rect inner(kMargin, kMargin, kTile, kTile);
  cv::Mat dx;
  cv::Mat dy;
  cv::Sobel(truth, dx, CV_64F, 1, 0, 1, kHalf);
  cv::Sobel(truth, dy, CV_64F, 0, 1, 1, kHalf);
  dx = dx(inner).clone();
  dy = dy(inner).clone();
  const cv::Matx22d normal(dx.dot(dx), dx.dot(dy), dx.dot(dy), dy.dot(dy));
  cv::Mat eigenvalues;
  cv::eigen(cv::Mat(normal), eigenvalues);
  if (eigenvalues.at<double>(1) < kMinGradient * kMinGradient * kTile * kTile) {
    return std::nullopt;
  }
  cv::Vec2d shift(0, 0);
  for (int step = 0; step < kSteps; ++step) {
    const cv::Matx23d moved(1, 0, shift[0], 0, 1, shift[1]);
    cv::Mat aligned;
    cv::warpAffine(picture,
                   aligned,
                   moved,
                   picture.size(),
                   cv::INTER_CUBIC | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);
    cv::Mat difference;
    cv::subtract(truth(inner), aligned(inner), difference, cv::noArray(), CV_64F);
    shift += normal.inv() * cv::Vec2d(dx.dot(difference), dy.dot(difference));
  }
  return shift;
}

}  // namespace

std::vector<double> tileShifts(const cv::Mat& picture, const cv::Mat& truth, const cv::Mat& mask) {
  cv::Mat pictureValues;
  cv::Mat truthValues;
  picture.convertTo(pictureValues, CV_32F);
  truth.convertTo(truthValues, CV_32F);
  constexpr int kOuter = kTile + 2 * kMargin;
  std::vector<double> lengths;
  for (int y = 0; y + kOuter <= picture.rows; y += kTile) {
    for (int x = 0; x + kOuter <= picture.cols; x += kTile) {
      const cv::Rect tile(x, y, kOuter, kOuter);
      if (cv::countNonZero(mask(tile)) < tile.area()) {
        continue;
      }
      if (const auto shift = displacement(pictureValues(tile), truthValues(tile))) {
        lengths.push_back(cv::norm(*shift));
      }
    }
  }
  return lengths;
}

double quantile(std::vector<double> values, double share) {
  const auto rank =
      static_cast<std::ptrdiff_t>(std::round(share * static_cast<double>(values.size() - 1)));
  std::nth_element(values.begin(), values.begin() + rank, values.end());
  return values[static_cast<std::size_t>(rank)];
}

}  // namespace examples
