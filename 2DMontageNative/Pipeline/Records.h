// SPDX-License-Identifier: MIT
/// @file
/// The values of the application interface as the records of OpenCV's stitching module, and back.
#ifndef ORV_MONTAGE_PIPELINE_RECORDS_H
#define ORV_MONTAGE_PIPELINE_RECORDS_H

#include "montage/Features.h"
#include "montage/Registration.h"

#include <opencv2/stitching/detail/camera.hpp>
#include <opencv2/stitching/detail/matchers.hpp>

#include <vector>

namespace montage {

/// Keypoints and size of an image; no descriptors.
cv::detail::ImageFeatures keypointRecord(const Features& features, int index);

/// The same with descriptors, `CV_32F`.
cv::detail::ImageFeatures featureRecord(const Features& features, int index);

/// The pair as OpenCV's record of (first, second).
cv::detail::MatchesInfo matchRecord(const PairMatches& pair);

/// Only the numbers of its images and its confidence.
cv::detail::MatchesInfo confidenceRecord(const PairMatches& pair);

/// The pair seen from its second image: swapped matches, inverse homography.
cv::detail::MatchesInfo reverseOf(const cv::detail::MatchesInfo& pair);

PairMatches pairOf(const cv::detail::MatchesInfo& record);

cv::detail::CameraParams cameraRecord(const Camera& camera);
Camera cameraOf(const cv::detail::CameraParams& record);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_RECORDS_H
