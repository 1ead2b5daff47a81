// SPDX-License-Identifier: MIT
/// @file
/// The descriptors of features as the nearest-neighbour search wants them.
#ifndef ORV_MONTAGE_PIPELINE_FEATURE_PANELS_H
#define ORV_MONTAGE_PIPELINE_FEATURE_PANELS_H

#include "Registration/DescriptorPanels.h"
#include "montage/Features.h"

namespace montage {

/// @param[in] descriptors  of such features, or some rows of them.
inline ORV::Common::Algorithms::Montage::Registration::DescriptorPanels panelsOf(
    FeatureKind kind, const cv::Mat& descriptors) {
  using ORV::Common::Algorithms::Montage::Registration::DescriptorKind;
  cv::Mat numbers;
  descriptors.convertTo(numbers, CV_32F);
  return packDescriptors(
      numbers, kind == FeatureKind::corners ? DescriptorKind::kWhole : DescriptorKind::kReal);
}

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_FEATURE_PANELS_H
