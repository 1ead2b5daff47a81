// SPDX-License-Identifier: MIT
#include "correct/ContentCircle.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <iterator>
#include <vector>

namespace orv2d {
namespace {

constexpr int kSearchSide = 500;  // of the reduced image in which the circle is searched

/// Level of the brightest channel.
cv::Mat levels(const cv::Mat& image) {
  if (image.channels() == 1) {
    return image;
  }
  cv::Mat brightest;
  cv::reduce(image.reshape(1, static_cast<int>(image.total())), brightest, 1, cv::REDUCE_MAX);
  return brightest.reshape(1, image.rows);
}

/// The level that `share` of the pixels do not exceed.
int quantile(const cv::Mat& level, double share) {
  std::vector<unsigned char> values(level.begin<unsigned char>(), level.end<unsigned char>());
  const auto rank =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), rank, values.end());
  return *rank;
}

/// What the surround hardly exceeds, judged by the corners.
int surroundLevel(const cv::Mat& level) {
  constexpr int kCornersPerSide = 20;
  constexpr double kShare = 0.99;
  const int side = std::max(1, std::min(level.cols, level.rows) / kCornersPerSide);
  const int right = level.cols - side;
  const int bottom = level.rows - side;
  std::vector<int> corners;
  for (const cv::Point& corner : {cv::Point(0, 0), {right, 0}, {0, bottom}, {right, bottom}}) {
    corners.push_back(quantile(level(cv::Rect(corner, cv::Size(side, side))), kShare));
  }
  std::sort(corners.begin(), corners.end());
  return corners[2];  // the brightest may hold something else
}

/// Pixels clearly brighter than the surround, and than the glow around a bright picture.
std::vector<cv::Point> brightPixels(const cv::Mat& level, int surround) {
  constexpr int kAboveSurround = 24;
  constexpr double kHighlights = 0.9;
  constexpr int kGlow = 4;  // of the highlights' level, as a divisor
  std::vector<cv::Point> bright;
  cv::Mat values;
  cv::findNonZero(level > surround + kAboveSurround, bright);
  for (const cv::Point& point : bright) {
    values.push_back(level.at<unsigned char>(point));
  }
  if (!bright.empty()) {
    cv::findNonZero(
        level > std::max(surround + kAboveSurround, quantile(values, kHighlights) / kGlow), bright);
  }
  return bright;
}

/// Without the small groups that lie apart: a time stamp, pixels that always glow.
std::vector<cv::Point> withoutStrays(const std::vector<cv::Point>& bright, const cv::Size& size) {
  constexpr int kGapsPerSide = 30;  // wider gaps part two groups
  constexpr std::size_t kPerStray = 100;
  cv::Mat picture = cv::Mat::zeros(size, CV_8UC1);
  for (const cv::Point& point : bright) {
    picture.at<unsigned char>(point) = 255;
  }
  const int gap = std::max(size.width, size.height) / kGapsPerSide + 1;
  cv::dilate(picture, picture, cv::getStructuringElement(cv::MORPH_RECT, {gap, gap}));
  cv::Mat labels;
  std::vector<std::size_t> counts(
      static_cast<std::size_t>(cv::connectedComponents(picture, labels)));
  const auto countAt = [&](const cv::Point& point) -> std::size_t& {
    return counts[static_cast<std::size_t>(labels.at<int>(point))];
  };
  for (const cv::Point& point : bright) {
    ++countAt(point);
  }
  std::vector<cv::Point> kept;
  std::copy_if(bright.begin(), bright.end(), std::back_inserter(kept), [&](const cv::Point& point) {
    return countAt(point) * kPerStray > bright.size();
  });
  return kept;
}

std::size_t countOutside(const std::vector<cv::Point>& points, const Circle& circle) {
  return static_cast<std::size_t>(std::count_if(points.begin(), points.end(), [&](const auto& p) {
    return cv::norm(cv::Point2d(p) - circle.centre) > circle.radius;
  }));
}

Circle enclosing(const std::vector<cv::Point>& points) {
  std::vector<cv::Point> hull;
  cv::convexHull(points, hull);
  cv::Point2f centre;
  float radius = 0.0F;
  cv::minEnclosingCircle(hull, centre, radius);
  return {centre, radius};
}

/// The enclosing circle, shrunk for as long as it loses no more than one point in a thousand.
Circle shrunkAround(std::vector<cv::Point> bright) {
  constexpr std::size_t kPerLostPoint = 1000;
  constexpr double kRim = 0.995;  // what lies further out is given up in one step
  const std::vector<cv::Point> all = bright;
  Circle circle = enclosing(bright);
  for (;;) {
    const auto outside = [&](const cv::Point& point) {
      return cv::norm(cv::Point2d(point) - circle.centre) > kRim * circle.radius;
    };
    bright.erase(std::remove_if(bright.begin(), bright.end(), outside), bright.end());
    if (bright.empty()) {
      return circle;
    }
    const Circle smaller = enclosing(bright);
    if (countOutside(all, smaller) > all.size() / kPerLostPoint) {
      return circle;
    }
    circle = smaller;
  }
}

}  // namespace

std::optional<Circle> findContentCircle(const cv::Mat& image) {
  constexpr int kDarkSurround = 32;
  constexpr double kLeastOutside = 0.03;  // share of the image
  const double scale = std::min(1.0, kSearchSide / double(std::max(image.cols, image.rows)));
  cv::Mat level;
  cv::resize(levels(image), level, {}, scale, scale, cv::INTER_AREA);
  const int surround = surroundLevel(level);
  if (surround > kDarkSurround) {
    return std::nullopt;
  }
  const std::vector<cv::Point> bright = withoutStrays(brightPixels(level, surround), level.size());
  if (bright.empty()) {
    return std::nullopt;
  }
  const Circle circle = shrunkAround(bright);
  cv::Mat disc = cv::Mat::zeros(level.size(), CV_8UC1);
  cv::circle(disc, circle.centre, cvCeil(circle.radius), cv::Scalar(255), cv::FILLED);
  const auto pixels = static_cast<double>(disc.total());
  if (pixels - cv::countNonZero(disc) < kLeastOutside * pixels) {
    return std::nullopt;
  }
  const cv::Point2d halfPixel(0.5, 0.5);
  return Circle{(circle.centre + halfPixel) / scale - halfPixel, (circle.radius + 1.0) / scale};
}

}  // namespace orv2d
