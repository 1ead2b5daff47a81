// SPDX-License-Identifier: MIT
#include "Pipeline/Adjustment.h"
#include "Pipeline/Records.h"
#include "Registration.h"

#include <opencv2/stitching/detail/motion_estimators.hpp>

namespace montage {
namespace {

namespace stages = ORV::Common::Algorithms::Montage::Registration;

std::vector<cv::detail::ImageFeatures> keypointRecords(const std::vector<Features>& features) {
  std::vector<cv::detail::ImageFeatures> records;
  records.reserve(features.size());
  for (std::size_t i = 0; i < features.size(); ++i) {
    records.push_back(keypointRecord(features[i], static_cast<int>(i)));
  }
  return records;
}

/// Entry i * count + j is the ordered pair (i, j), as OpenCV's matcher leaves them.
std::vector<cv::detail::MatchesInfo> allOrderedPairs(std::size_t count,
                                                     const std::vector<PairMatches>& pairs) {
  std::vector<cv::detail::MatchesInfo> records(count * count);
  for (const PairMatches& pair : pairs) {
    const auto first = static_cast<std::size_t>(pair.first);
    const auto second = static_cast<std::size_t>(pair.second);
    records[first * count + second] = matchRecord(pair);
    records[second * count + first] = reverseOf(records[first * count + second]);
  }
  return records;
}

}  // namespace

Adjustment adjustPlainly(const std::vector<Features>& features,
                         const std::vector<PairMatches>& pairs,
                         const AdjustOptions& options) {
  Adjustment adjustment;
  adjustment.pairs.assign(pairs.size(), PairVerdict::used);
  if (features.empty()) {
    return adjustment;
  }
  std::vector<cv::detail::ImageFeatures> records = keypointRecords(features);
  std::vector<cv::detail::MatchesInfo> matches = allOrderedPairs(features.size(), pairs);
  const auto threshold = static_cast<float>(options.confidence);
  const std::vector<int> connected = cv::detail::leaveBiggestComponent(records, matches, threshold);
  if (connected.size() < 2) {
    return adjustment;
  }
  adjustment.used = connected;
  std::vector<cv::detail::CameraParams> cameras;
  const int status = stages::BundleAdjustment()(records, matches, threshold, cameras);
  for (const cv::detail::CameraParams& camera : cameras) {
    adjustment.cameras.push_back(cameraOf(camera));
  }
  adjustment.status = status == 0 ? RegistrationStatus::ok : RegistrationStatus::notFinite;
  return adjustment;
}

}  // namespace montage
