// SPDX-License-Identifier: MIT
#include "correct/Preview.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace orv2d {
namespace {

/// 255 where the picture has content: its bright pixels and the dark ones enclosed by them, not the
/// dark surround. Found on a small copy, since only the outline at large matters.
cv::Mat contentOf(const cv::Mat& grey) {
  constexpr double kDark = 32.0;
  constexpr int kSmallSide = 400;
  constexpr int kGapsPerSide = 8;  // dark gaps up to this part of the side are closed
  const double scale =
      std::min(1.0, kSmallSide / static_cast<double>(std::min(grey.cols, grey.rows)));
  cv::Mat content;
  cv::resize(grey > kDark, content, {}, scale, scale, cv::INTER_NEAREST);
  const int gap = std::max(1, std::min(content.cols, content.rows) / kGapsPerSide);
  const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, {gap, gap});
  // Dark all around, or the closing would join content near the border to the border.
  const cv::Rect inner(cv::Point(gap, gap), content.size());
  cv::copyMakeBorder(content, content, gap, gap, gap, gap, cv::BORDER_CONSTANT);
  cv::morphologyEx(content, content, cv::MORPH_CLOSE, kernel);
  cv::resize(content(inner), content, grey.size(), 0, 0, cv::INTER_NEAREST);
  return content;
}

}  // namespace

cv::Mat withGrid(const cv::Mat& source) {
  constexpr int kFields = 8;
  constexpr int kLinesPerSide = 400;  // a line's width in the side of the source
  constexpr int kMinWidth = 3;        // outlives the smoothing of the corrections
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
  const int width = std::max(kMinWidth, std::min(source.cols, source.rows) / kLinesPerSide);
  cv::Mat lines = cv::Mat::zeros(source.size(), CV_8UC1);
  for (int i = 0; i <= kFields; ++i) {
    const int x = right * i / kFields;
    const int y = bottom * i / kFields;
    cv::line(lines, {x, 0}, {x, bottom}, cv::Scalar::all(255), width);
    cv::line(lines, {0, y}, {right, y}, cv::Scalar::all(255), width);
  }
  picture.setTo(lineColour, contentOf(grey) & lines);
  return picture;
}

}  // namespace orv2d
