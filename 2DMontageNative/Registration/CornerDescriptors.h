// SPDX-License-Identifier: MIT
/// @file
/// SIFT descriptors at the corners of a grey image.
#ifndef ORV_MONTAGE_REGISTRATION_CORNER_DESCRIPTORS_H
#define ORV_MONTAGE_REGISTRATION_CORNER_DESCRIPTORS_H

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Describes every keypoint by SIFT (D. Lowe, "Distinctive image features from scale-invariant
/// keypoints", IJCV 60(2), 2004).
///
/// The values are those of `cv::SIFT::create(0, 3, 0.04, 10.0, 1.6)->compute` for keypoints of size
/// 7, angle -1, octave 1; a rare one may differ by 1 where OpenCV's build fuses multiply and add.
/// Because size and angle are the same for all corners, the sampling pattern with its weights is
/// made once per image and the gradient once per pixel, instead of once per keypoint.
///
/// @param[in] grey  `CV_8UC1`, any size.
/// @param[in] keypoints  inside the image, all of the kind above; every one keeps its place.
/// @return one row of 128 `CV_32F` whole numbers from 0 to 255 per keypoint, all zero where there
///   is no gradient; empty without keypoints.
/// @note Re-entrant; keypoints are described in parallel.
cv::Mat describeCorners(const cv::Mat& grey, const std::vector<cv::KeyPoint>& keypoints);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CORNER_DESCRIPTORS_H
