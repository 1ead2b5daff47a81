// SPDX-License-Identifier: MIT
#include "Registration/Cameras/CameraLists.h"

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr double kSingularBound = 1e-6;

/// Angles about x, y, z of R = Rz Ry Rx; z is 0 where the decomposition is singular.
cv::Vec3d eulerAngles(const cv::Matx33d& R) {
  const double sy = std::sqrt(R(0, 0) * R(0, 0) + R(1, 0) * R(1, 0));
  if (sy > kSingularBound) {
    return {std::atan2(R(2, 1), R(2, 2)), std::atan2(-R(2, 0), sy), std::atan2(R(1, 0), R(0, 0))};
  }
  return {std::atan2(-R(1, 2), R(1, 1)), std::atan2(-R(2, 0), sy), 0.0};
}

}  // namespace

bool isConfidentPair(const cv::detail::MatchesInfo& pair, float confThresh) {
  return !(static_cast<double>(confThresh) > pair.confidence) && pair.src_img_idx >= 0;
}

cv::Mat columnOf(const std::vector<double>& values) {
  cv::Mat column(static_cast<int>(values.size()), 1, CV_64F);
  std::copy(values.begin(), values.end(), column.begin<double>());
  return column;
}

cv::Mat listFocals(const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                   float confThresh,
                   const std::vector<cv::detail::CameraParams>& cameras) {
  std::vector<double> focals;
  for (const cv::detail::MatchesInfo& pair : pairwiseMatches) {
    if (isConfidentPair(pair, confThresh)) {
      const cv::Mat K = cameras[static_cast<std::size_t>(pair.src_img_idx)].K();
      focals.push_back(K.at<double>(0, 0));
    }
  }
  return columnOf(focals);
}

cv::Mat listRotations(const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                      float confThresh,
                      const std::vector<cv::detail::CameraParams>& cameras) {
  std::vector<double> angles;
  for (const cv::detail::MatchesInfo& pair : pairwiseMatches) {
    if (isConfidentPair(pair, confThresh)) {
      cv::Mat R;
      cameras[static_cast<std::size_t>(pair.src_img_idx)].R.convertTo(R, CV_64F);
      const cv::Vec3d xyz = eulerAngles(R);
      angles.insert(angles.end(), {xyz[0], xyz[1], xyz[2]});
    }
  }
  return columnOf(angles);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
