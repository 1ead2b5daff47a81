// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Registration.h"
#include "Registration/Inliers.h"
#include "Scaler.h"
#include "SlabMontage.h"

#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <algorithm>
#include <numeric>
#include <utility>

namespace ORV::Common::Algorithms::Montage {
namespace {

/// Ratio test of the matcher: the best distance must be below 0.7 times the second best.
constexpr float kMatchConfidence = 0.3F;

/// Confidence from which two images count as connected (Brown and Lowe 2007).
constexpr float kConfidenceThreshold = 0.7F;

/// The largest set of images connected by confident pairs.
struct ConnectedSet {
  int featureStatus = 0;  ///< of feature finding; the rest is empty unless 0
  std::vector<cv::detail::MatchesInfo> pairwiseMatches;  ///< between the kept images
  std::vector<int> componentIndices;                     ///< the kept images, ascending
};

ConnectedSet findConnectedSet(std::vector<cv::Mat>& images, float workScale, bool tryGpu) {
  ConnectedSet connected;
  std::vector<cv::detail::ImageFeatures> features(images.size());
  connected.featureStatus = Registration::FeatureFinding()(images, workScale, features);
  if (connected.featureStatus == 0) {
    Registration::FeatureMatching()(features, connected.pairwiseMatches, tryGpu, kMatchConfidence);
    connected.componentIndices = cv::detail::leaveBiggestComponent(
        features, connected.pairwiseMatches, kConfidenceThreshold);
  }
  return connected;
}

/// Inlier matches of every connected image, counted over the pairs of which it is the source.
std::vector<int> inlierTotals(const ConnectedSet& connected) {
  std::vector<int> totals(connected.componentIndices.size(), 0);
  for (const cv::detail::MatchesInfo& pair : connected.pairwiseMatches) {
    for (std::size_t k = 0; k < pair.matches.size(); ++k) {
      totals[static_cast<std::size_t>(pair.src_img_idx)] += Registration::isInlier(pair, k) ? 1 : 0;
    }
  }
  return totals;
}

/// Images by ascending total. A selection by exchanges, which is not stable: the order among equal
/// totals is that of the exchanges.
std::vector<std::size_t> rankByTotal(const std::vector<int>& totals) {
  std::vector<std::size_t> rank(totals.size());
  std::iota(rank.begin(), rank.end(), std::size_t{0});
  for (std::size_t i = 0; i < rank.size(); ++i) {
    for (std::size_t r = i + 1; r < rank.size(); ++r) {
      if (totals[rank[i]] > totals[rank[r]]) {
        std::swap(rank[i], rank[r]);
      }
    }
  }
  return rank;
}

}  // namespace

int SlabMontage::getOrder(std::vector<cv::Mat>& images,
                          int imageCount,
                          double workMegapixels,
                          double seamMegapixels,
                          double composeMegapixels,
                          bool tryGpu,
                          std::vector<std::vector<int>>& order) {
  const Platform::CpuOnly cpuOnly;
  std::vector<cv::Mat> ordered(images.begin(), images.begin() + std::max(imageCount, 0));
  Scaler scaler(ordered);
  scaler.processParams(static_cast<float>(workMegapixels),
                       static_cast<float>(seamMegapixels),
                       static_cast<float>(composeMegapixels));
  const ConnectedSet connected = findConnectedSet(ordered, scaler.workScale, tryGpu);
  if (connected.featureStatus != 0) {
    return connected.featureStatus;
  }
  const std::vector<std::size_t> rank = rankByTotal(inlierTotals(connected));
  order.clear();
  for (std::size_t i = 0; i < rank.size(); ++i) {
    order.push_back({connected.componentIndices[i], connected.componentIndices[rank[i]]});
  }
  return 0;
}

}  // namespace ORV::Common::Algorithms::Montage
