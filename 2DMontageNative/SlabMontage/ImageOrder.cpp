// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Registration/Inliers.h"
#include "SlabMontage.h"
#include "SlabMontage/ConnectedSet.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace ORV::Common::Algorithms::Montage {
namespace {

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
  const Scaler scaler = scalerFor(ordered, {workMegapixels, seamMegapixels, composeMegapixels});
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
