// SPDX-License-Identifier: MIT
#include "Registration/Cameras/CameraLists.h"
#include "Registration/Inliers.h"
#include "Registration/RayGeometry.h"

#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// A camera's intrinsics and the map from its pixels to rays in the common frame.
struct RayCamera {
  cv::Matx33d K;
  cv::Matx33d rayFromPixel;
};

RayCamera rayCameraOf(const cv::detail::CameraParams& camera) {
  cv::Mat R;
  camera.R.convertTo(R, CV_64F);
  const cv::Mat K = camera.K();
  return {K, rayFromPixel(R, K)};
}

}  // namespace

cv::Mat listProjectionErrors(const std::vector<cv::detail::ImageFeatures>& features,
                             const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                             float confThresh,
                             const std::vector<cv::detail::CameraParams>& cameras) {
  std::vector<double> records;
  for (const cv::detail::MatchesInfo& pair : pairwiseMatches) {
    if (!isConfidentPair(pair, confThresh) || pair.dst_img_idx < 0) {
      continue;
    }
    const auto source = static_cast<std::size_t>(pair.src_img_idx);
    const auto destination = static_cast<std::size_t>(pair.dst_img_idx);
    const RayCamera sourceCamera = rayCameraOf(cameras[source]);
    const RayCamera destinationCamera = rayCameraOf(cameras[destination]);
    const double pixelsPerRay = std::sqrt(sourceCamera.K(0, 0) * destinationCamera.K(0, 0));

    for (std::size_t k = 0; k < pair.matches.size(); ++k) {
      if (!isInlier(pair, k)) {
        continue;
      }
      const auto query = static_cast<std::size_t>(pair.matches[k].queryIdx);
      const auto train = static_cast<std::size_t>(pair.matches[k].trainIdx);
      const cv::Point2f& sourcePoint = features[source].keypoints[query].pt;
      const cv::Point2f& destinationPoint = features[destination].keypoints[train].pt;
      const cv::Vec3d sourceRay = unitRay(sourceCamera.rayFromPixel, sourcePoint);
      const cv::Vec3d destinationRay = unitRay(destinationCamera.rayFromPixel, destinationPoint);
      records.insert(records.end(),
                     {static_cast<double>(pair.src_img_idx),
                      static_cast<double>(pair.dst_img_idx),
                      sourcePoint.x,
                      sourcePoint.y,
                      pixelsPerRay * (sourceRay[0] - destinationRay[0]),
                      pixelsPerRay * (sourceRay[1] - destinationRay[1]),
                      pixelsPerRay * (sourceRay[2] - destinationRay[2])});
    }
  }
  return columnOf(records);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
