// SPDX-License-Identifier: MIT
/// @file
/// The first half of registration: features, matches and the largest connected set of images.
#ifndef ORV_MONTAGE_SLAB_MONTAGE_CONNECTED_SET_H
#define ORV_MONTAGE_SLAB_MONTAGE_CONNECTED_SET_H

#include "Scaler.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/matchers.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage {

/// Confidence from which two images count as connected, and above which a pair refines the cameras
/// (Brown and Lowe 2007).
constexpr float kConfidenceThreshold = 0.7F;

/// Resolutions of the three stages in megapixels; negative means full resolution.
struct Resolutions {
  double work;
  double seam;
  double compose;
};

/// The scales of a run over these images; all scales stay 1 for an empty list.
Scaler scalerFor(std::vector<cv::Mat>& images, const Resolutions& megapixels);

/// The images that belong together.
struct ConnectedSet {
  int featureStatus = 0;  ///< of feature finding; the rest is empty unless 0
  int matchStatus = 0;    ///< of matching
  std::vector<cv::detail::ImageFeatures> features;       ///< of the kept images
  std::vector<cv::detail::MatchesInfo> pairwiseMatches;  ///< between the kept images
  std::vector<int> componentIndices;                     ///< the kept images, ascending
};

/// Finds and matches features at registration scale and keeps the largest set of images connected
/// by confident pairs.
///
/// @param[in] images  `CV_8UC1` or `CV_8UC3`; never written.
ConnectedSet findConnectedSet(std::vector<cv::Mat>& images, float workScale, bool tryGpu);

}  // namespace ORV::Common::Algorithms::Montage

#endif  // ORV_MONTAGE_SLAB_MONTAGE_CONNECTED_SET_H
