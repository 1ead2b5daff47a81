// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/CorrectionStatus.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// Pixels above this grey value are content.
constexpr double kContentThreshold = 10.0;

/// First to one past the last non-zero byte of a row or column; empty if there is none.
cv::Range extentOf(const cv::Mat& line) {
  const auto first = line.begin<unsigned char>();
  const auto last = line.end<unsigned char>();
  const auto isContent = [](unsigned char value) { return value != 0; };
  const auto start = std::find_if(first, last, isContent);
  auto end = last;
  while (end != start && !isContent(*(end - 1))) {
    --end;
  }
  return {static_cast<int>(start - first), static_cast<int>(end - first)};
}

/// Smallest rectangle around the content; empty if there is none.
cv::Rect contentRect(const cv::Mat& image) {
  cv::Mat grey = image;
  if (image.channels() == 3) {
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
  }
  const cv::Mat content = grey > kContentThreshold;
  // Not cv::boundingRect: OpenCV 4.6 gives a wrong rectangle for a mask whose content lies in its
  // first few columns, and a list of all points would outweigh the image.
  cv::Mat columns;
  cv::Mat rows;
  cv::reduce(content, columns, 0, cv::REDUCE_MAX);
  cv::reduce(content, rows, 1, cv::REDUCE_MAX);
  const cv::Range xs = extentOf(columns);
  const cv::Range ys = extentOf(rows);
  return {xs.start, ys.start, xs.size(), ys.size()};
}

}  // namespace

int SterProject::operator()(std::vector<double> params, cv::Mat& image) {
  constexpr std::size_t kParameterCount = 11;
  if (params.size() != kParameterCount) {
    return kRefused;
  }
  return Process(params[0],
                 params[1],
                 params[2],
                 params[3],
                 params[4],
                 params[5],
                 params[6],
                 params[7],
                 params[8],
                 params[9],
                 params[10],
                 image);
}

int SterProject::Process(double k1,
                         double k2,
                         double k3,
                         double p1,
                         double p2,
                         double centreX,
                         double centreY,
                         double scale,
                         double focalX,
                         double focalY,
                         double angleDeg,
                         cv::Mat& image) {
  if (focalX == 0.0 || focalY == 0.0 || scale == 0.0) {
    return kRefused;
  }
  const cv::Point2f centre(static_cast<float>(centreX), static_cast<float>(centreY));
  const cv::Mat rotatedFromImage = cv::getRotationMatrix2D(centre, angleDeg, scale);
  cv::Mat rotated;
  cv::warpAffine(image,
                 rotated,
                 rotatedFromImage,
                 image.size(),
                 cv::INTER_LINEAR,
                 cv::BORDER_CONSTANT,
                 cv::Scalar());

  const cv::Matx33d camera(focalX, 0.0, centreX, 0.0, focalY, centreY, 0.0, 0.0, 1.0);
  const cv::Matx<double, 1, 5> distortion(k1, k2, p1, p2, k3);  // OpenCV's order
  cv::Mat undistorted;
  cv::undistort(rotated, undistorted, camera, distortion);

  const cv::Rect content = contentRect(undistorted);
  if (content.empty()) {
    return kRefused;
  }
  image = undistorted(content).clone();
  return kCorrected;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
