// SPDX-License-Identifier: MIT
/// @file
/// Corners of one image and their descriptors.
#ifndef ORV_MONTAGE_REGISTRATION_CORNER_FEATURES_H
#define ORV_MONTAGE_REGISTRATION_CORNER_FEATURES_H

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

struct CornerFeatures {
  cv::Size imageSize;  ///< in which the corners lie
  std::vector<cv::KeyPoint> keypoints;
  cv::Mat descriptors;          ///< `CV_32F`, a row per keypoint; empty without keypoints
  bool detectorFailed = false;  ///< for want of memory: then there are no keypoints
};

/// Finds and describes the corners of an image scaled by `scale`, as `FeatureFinding` does.
/// @param[in] image  `CV_8UC1` or `CV_8UC3`.
[[nodiscard]] CornerFeatures findCornerFeatures(const cv::Mat& image, float scale);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CORNER_FEATURES_H
