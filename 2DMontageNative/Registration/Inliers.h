// SPDX-License-Identifier: MIT
/// @file
/// Which matches of a pair of images are inliers.
#ifndef ORV_MONTAGE_REGISTRATION_INLIERS_H
#define ORV_MONTAGE_REGISTRATION_INLIERS_H

#include <opencv2/stitching/detail/matchers.hpp>

#include <cstddef>

namespace ORV::Common::Algorithms::Montage::Registration {

/// True if match `index` of the pair is an inlier; a mask shorter than the match list has no more.
inline bool isInlier(const cv::detail::MatchesInfo& pair, std::size_t index) {
  return index < pair.inliers_mask.size() && pair.inliers_mask[index] != 0;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_INLIERS_H
