// SPDX-License-Identifier: MIT
/// @file
/// What the homographies of pairs say about focal lengths and rotations.
#ifndef ORV_MONTAGE_REGISTRATION_CAMERAS_PAIR_ROTATIONS_H
#define ORV_MONTAGE_REGISTRATION_CAMERAS_PAIR_ROTATIONS_H

#include "Registration/Cameras/PairGraph.h"
#include "Registration/Cameras/RayBundle.h"

#include <opencv2/core.hpp>

#include <optional>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Median of the focal lengths that the homographies imply (R. Szeliski and H.-Y. Shum, "Creating
/// full view panoramic image mosaics and environment maps", SIGGRAPH 1997); none if too few of them
/// imply one.
///
/// @param[in] homographies  of pixels counted from the principal points.
std::optional<double> medianFocal(const std::vector<cv::Matx33d>& homographies);

/// The rotation that brings the rays of the first camera closest to those of the second, for one
/// focal length (K. S. Arun, T. S. Huang and S. D. Blostein, "Least-squares fitting of two 3-D
/// point sets", IEEE PAMI 9(5), 1987).
cv::Matx33d secondFromFirst(const CameraPair& pair, double focal);

/// The angle of a rotation, radians.
double angleOf(const cv::Matx33d& rotation);

/// Which edges lie in loops that close, and which only in loops that do not.
struct LoopVotes {
  std::vector<int> closing;  ///< loops through the edge whose rotations multiply to the identity
  std::vector<int> open;     ///< loops that do not
};

/// Goes around all triangles, and for edges without one around the shortest loop of up to eight
/// edges (C. Zach, M. Klopschitz and M. Pollefeys, "Disambiguating visual relations using loop
/// constraints", CVPR 2010).
///
/// @param[in] rotations  per edge, rays of `first` to rays of `second`.
/// @param[in] focal  pixels; says how many pixels a turn is worth.
LoopVotes voteByLoops(int nodeCount,
                      const std::vector<PairEdge>& edges,
                      const std::vector<cv::Matx33d>& rotations,
                      double focal);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CAMERAS_PAIR_ROTATIONS_H
