// SPDX-License-Identifier: MIT
/// @file
/// Condenses the per-pair camera lists into four figures about the registration.
#ifndef ORV_MONTAGE_REGISTRATION_CAMERAS_QUALITY_FIGURES_H
#define ORV_MONTAGE_REGISTRATION_CAMERAS_QUALITY_FIGURES_H

#include <opencv2/core.hpp>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Root mean square length of the three-component errors, pixels; 0 for an empty list.
///
/// @param[in] residuals  seven `CV_64F` rows per record, the error in the last three.
double projectionErrorRmsOf(const cv::Mat& residuals);

/// Largest norm of a triple of Euler angles, radians; 0 for an empty list.
double largestRotationOf(const cv::Mat& angles);

struct FocalStatistics {
  double mean;
  double range;
};

/// Mean and largest minus smallest focal length, pixels; -1 both for an empty list.
FocalStatistics focalStatisticsOf(const cv::Mat& focals);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CAMERAS_QUALITY_FIGURES_H
