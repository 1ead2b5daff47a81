// SPDX-License-Identifier: MIT
#include "Preview.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace orv2d {

cv::Mat withGrid(const cv::Mat& source) {
  constexpr int kFields = 8;
  constexpr int kLinesPerSide = 400;  // a line's width in the side of the source
  constexpr double kDark = 32.0;
  const cv::Scalar lineColour(0, 255, 0);

  const bool isGrey = source.channels() == 1;
  cv::Mat grey = source;
  cv::Mat picture = source.clone();
  if (isGrey) {
    cv::cvtColor(source, picture, cv::COLOR_GRAY2BGR);
  } else {
    cv::cvtColor(source, grey, cv::COLOR_BGR2GRAY);
  }
  const int right = source.cols - 1;
  const int bottom = source.rows - 1;
  const int width = std::max(1, std::min(source.cols, source.rows) / kLinesPerSide);
  cv::Mat lines = cv::Mat::zeros(source.size(), CV_8UC1);
  for (int i = 0; i <= kFields; ++i) {
    const int x = right * i / kFields;
    const int y = bottom * i / kFields;
    cv::line(lines, {x, 0}, {x, bottom}, cv::Scalar::all(255), width);
    cv::line(lines, {0, y}, {right, y}, cv::Scalar::all(255), width);
  }
  picture.setTo(lineColour, (grey > kDark) & lines);
  return picture;
}

}  // namespace orv2d
