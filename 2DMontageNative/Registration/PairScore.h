// SPDX-License-Identifier: MIT
/// @file
/// How sure it is that two images show the same scene.
#ifndef ORV_MONTAGE_REGISTRATION_PAIR_SCORE_H
#define ORV_MONTAGE_REGISTRATION_PAIR_SCORE_H

#include <opencv2/stitching/detail/matchers.hpp>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Matches needed for a homography, and inliers needed to estimate it again.
constexpr int kMatchesForHomography = 6;

/// Inliers / (8 + 0.3 matches), 0 below 6 inliers: the probability model of M. Brown and D. Lowe,
/// "Automatic panoramic image stitching using invariant features", IJCV 74(1), 2007, in which a
/// true pair has more than 8 + 0.3 * matches inliers.
inline double confidenceOf(const cv::detail::MatchesInfo& pair) {
  constexpr double kOffset = 8.0;
  constexpr double kSlope = 0.3;
  constexpr int kFewestInliers = 6;
  const auto matchCount = static_cast<double>(pair.matches.size());
  return pair.num_inliers < kFewestInliers ? 0.0
                                           : pair.num_inliers / (kOffset + kSlope * matchCount);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_PAIR_SCORE_H
