// SPDX-License-Identifier: MIT
#include "SlabMontage/ConnectedSet.h"

#include "Registration.h"

#include <opencv2/stitching/detail/motion_estimators.hpp>

namespace ORV::Common::Algorithms::Montage {
namespace {

/// Ratio test of the matcher: the best distance must be below 0.7 times the second best.
constexpr float kMatchConfidence = 0.3F;

}  // namespace

Scaler scalerFor(std::vector<cv::Mat>& images, const Resolutions& megapixels) {
  Scaler scaler(images);
  scaler.processParams(static_cast<float>(megapixels.work),
                       static_cast<float>(megapixels.seam),
                       static_cast<float>(megapixels.compose));
  return scaler;
}

ConnectedSet findConnectedSet(std::vector<cv::Mat>& images, float workScale, bool tryGpu) {
  ConnectedSet connected;
  connected.features.resize(images.size());
  connected.featureStatus = Registration::FeatureFinding()(images, workScale, connected.features);
  if (connected.featureStatus != 0) {
    return connected;
  }
  connected.matchStatus = Registration::FeatureMatching()(
      connected.features, connected.pairwiseMatches, tryGpu, kMatchConfidence);
  connected.componentIndices = cv::detail::leaveBiggestComponent(
      connected.features, connected.pairwiseMatches, kConfidenceThreshold);
  return connected;
}

}  // namespace ORV::Common::Algorithms::Montage
