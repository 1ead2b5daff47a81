// SPDX-License-Identifier: MIT
/// @file
/// Feature finding without checks of its arguments.
#ifndef ORV_MONTAGE_PIPELINE_FIND_FEATURES_H
#define ORV_MONTAGE_PIPELINE_FIND_FEATURES_H

#include "montage/Features.h"

namespace montage {

/// describe() at any scale, with a hash of 0.
Features findFeatures(const cv::Mat& image, const FeatureOptions& options, float scale);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_FIND_FEATURES_H
