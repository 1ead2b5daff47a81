// SPDX-License-Identifier: MIT
/// @file
/// The points of a pair of images that their cameras are found from, and how well cameras fit them.
#ifndef ORV_MONTAGE_PIPELINE_PAIR_POINTS_H
#define ORV_MONTAGE_PIPELINE_PAIR_POINTS_H

#include "Registration/Cameras/RayBundle.h"
#include "montage/Features.h"

#include <vector>

namespace montage {

/// Of the scaled image; pixel centres lie at integers.
cv::Point2d principalPointOf(const Features& features);

/// The inlier matches, from the principal points; of those that could be placed by their
/// surroundings only these, if they are enough.
std::vector<ORV::Common::Algorithms::Montage::Registration::PointPair> inlierPoints(
    const std::vector<Features>& features, const PairMatches& pair);

/// Whether the second image shows what the first one shows, in the same place.
bool areAlike(const std::vector<Features>& features, const PairMatches& pair);

/// The errors of a pair's points under two cameras, registration pixels.
///
/// @param[in] cameras  by the numbers in `pair`.
std::vector<double> errorsOf(
    const ORV::Common::Algorithms::Montage::Registration::CameraPair& pair,
    const std::vector<ORV::Common::Algorithms::Montage::Registration::TurningCamera>& cameras);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PAIR_POINTS_H
