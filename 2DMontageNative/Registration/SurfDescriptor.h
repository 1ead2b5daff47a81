// SPDX-License-Identifier: MIT
/// @file
/// SURF's descriptor: 64 sums of gradients around a keypoint.
#ifndef ORV_MONTAGE_REGISTRATION_SURF_DESCRIPTOR_H
#define ORV_MONTAGE_REGISTRATION_SURF_DESCRIPTOR_H

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Describes every keypoint by the gradients in a window of 21 scales turned to its angle.
///
/// H. Bay, A. Ess, T. Tuytelaars, L. Van Gool, "Speeded-up robust features (SURF)", CVIU 110(3),
/// 2008, section 4.2.
///
/// @param[in] grey  `CV_8UC1`.
/// @param[in] keypoints  position, size and angle (degrees) are read.
/// @return `CV_32F`, one row of 64 values per keypoint: 4 x 4 cells row by row, per cell the sums
///   of dx, dy, |dx|, |dy|; of length 1, or all zero where the window is flat. Empty without
///   keypoints.
/// @note Keypoints run in parallel; scratch memory is shared by the keypoints of a task.
cv::Mat describeSurfKeypoints(const cv::Mat& grey, const std::vector<cv::KeyPoint>& keypoints);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SURF_DESCRIPTOR_H
