// SPDX-License-Identifier: MIT
/// @file
/// Cutting a montage to its content.
#ifndef ORV_MONTAGE_PIPELINE_CROP_H
#define ORV_MONTAGE_PIPELINE_CROP_H

#include "montage/MontagePlan.h"

namespace montage {

/// Cuts the plan's montage as its options say; without any content it stays as it is.
void crop(MontagePlan& plan);

/// The largest rectangle of non-zero pixels, in time proportional to their number; empty without
/// one. @param[in] covered  `CV_8UC1`.
cv::Rect largestRectangle(const cv::Mat& covered);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_CROP_H
