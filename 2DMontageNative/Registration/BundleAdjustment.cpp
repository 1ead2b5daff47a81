// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Registration.h"
#include "Registration/RayAdjuster.h"

#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kSuccess = 0;
constexpr int kFocalNotFinite = 2;

/// Focal length, skew, principal point x; aspect, principal point y.
cv::Mat refinementMask() {
  cv::Mat mask = cv::Mat::zeros(3, 3, CV_8U);
  mask.at<uchar>(0, 0) = 1;
  mask.at<uchar>(0, 1) = 1;
  mask.at<uchar>(0, 2) = 1;
  mask.at<uchar>(1, 1) = 1;
  mask.at<uchar>(1, 2) = 1;
  return mask;
}

void convertRotationsToFloat(std::vector<cv::detail::CameraParams>& cameras) {
  for (cv::detail::CameraParams& camera : cameras) {
    cv::Mat rotation;
    camera.R.convertTo(rotation, CV_32F);
    camera.R = rotation;
  }
}

}  // namespace

BundleAdjustment::BundleAdjustment() = default;
BundleAdjustment& BundleAdjustment::operator=(const BundleAdjustment&) = default;
BundleAdjustment::~BundleAdjustment() = default;

int BundleAdjustment::operator()(std::vector<cv::detail::ImageFeatures>& features,
                                 std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                                 float confThresh,
                                 std::vector<cv::detail::CameraParams>& cameras) {
  return Process(features, pairwiseMatches, confThresh, cameras);
}

int BundleAdjustment::Process(std::vector<cv::detail::ImageFeatures>& features,
                              std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                              float confThresh,
                              std::vector<cv::detail::CameraParams>& cameras) {
  const Platform::CpuOnly cpuOnly;
  if (features.empty()) {
    cameras.clear();  // OpenCV's estimator reads the first element of an empty list
    return kSuccess;
  }
  cv::detail::HomographyBasedEstimator estimator(false);
  estimator(features, pairwiseMatches, cameras);
  convertRotationsToFloat(cameras);

  const cv::Ptr<cv::detail::BundleAdjusterBase> adjuster = cv::makePtr<RayAdjuster>();
  adjuster->setConfThresh(confThresh);
  adjuster->setRefinementMask(refinementMask());
  // On failure OpenCV 4.6 leaves finite, unrefined cameras: only the result tells.
  const bool adjusted = (*adjuster)(features, pairwiseMatches, cameras);

  const bool allFinite =
      std::all_of(cameras.begin(), cameras.end(), [](const cv::detail::CameraParams& camera) {
        return std::isfinite(camera.focal);
      });
  return adjusted && allFinite ? kSuccess : kFocalNotFinite;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
