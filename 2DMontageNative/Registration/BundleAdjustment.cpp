// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Platform/Status.h"
#include "Registration.h"
#include "Registration/RayAdjuster.h"

#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

using Cameras = std::vector<cv::detail::CameraParams>;

void convertRotationsToFloat(Cameras& cameras) {
  for (cv::detail::CameraParams& camera : cameras) {
    cv::Mat rotation;
    camera.R.convertTo(rotation, CV_32F);
    camera.R = rotation;
  }
}

/// Views of a flat scene fit any focal length that is long enough, so the estimate may run off to
/// billions of pixels, where rotations place nothing any more. Held here instead, views of some
/// thousand pixels cannot tell it from a longer one, and the squares of their angles, from which
/// wave correction finds the horizon, still show in single precision.
constexpr double kLongestFocal = 1e5;

/// Holds the focal lengths that are too long and are not held yet; false if there is none.
bool holdLongFocals(Cameras& cameras, std::vector<bool>& held) {
  bool anyTooLong = false;
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    if (!held[i] && cameras[i].focal > kLongestFocal) {
      cameras[i].focal = kLongestFocal;
      held[i] = true;
      anyTooLong = true;
    }
  }
  return anyTooLong;
}

/// Rotations from the pairwise homographies and the cameras' focal lengths.
void estimateRotations(const std::vector<cv::detail::ImageFeatures>& features,
                       const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                       Cameras& cameras) {
  for (cv::detail::CameraParams& camera : cameras) {
    camera.R = cv::Mat::eye(3, 3, CV_64F);
  }
  cv::detail::HomographyBasedEstimator estimator(true);
  estimator(features, pairwiseMatches, cameras);
}

/// Refines all cameras together; false if that fails. OpenCV 4.6 then leaves them finite and
/// unrefined: only the result tells.
bool adjust(const std::vector<cv::detail::ImageFeatures>& features,
            const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
            float confThresh,
            const std::vector<bool>& heldFocals,
            Cameras& cameras) {
  convertRotationsToFloat(cameras);
  RayAdjuster adjuster(heldFocals);
  adjuster.setConfThresh(confThresh);
  return adjuster(features, pairwiseMatches, cameras);
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
    return Platform::kSuccess;
  }
  if (features.size() == 1) {
    return Platform::kNoCameras;  // OpenCV's takes the median of no focal length
  }
  cv::detail::HomographyBasedEstimator estimator(false);
  estimator(features, pairwiseMatches, cameras);

  std::vector<bool> held(cameras.size(), false);
  if (holdLongFocals(cameras, held)) {
    estimateRotations(features, pairwiseMatches, cameras);
  }
  bool adjusted = adjust(features, pairwiseMatches, confThresh, held, cameras);
  while (adjusted && holdLongFocals(cameras, held)) {
    estimateRotations(features, pairwiseMatches, cameras);
    adjusted = adjust(features, pairwiseMatches, confThresh, held, cameras);
  }

  const bool allFinite =
      std::all_of(cameras.begin(), cameras.end(), [](const cv::detail::CameraParams& camera) {
        return std::isfinite(camera.focal);
      });
  return adjusted && allFinite ? Platform::kSuccess : Platform::kNoCameras;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
