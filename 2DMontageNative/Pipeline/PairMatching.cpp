// SPDX-License-Identifier: MIT
#include "Pipeline/PairMatching.h"

#include "Pipeline/Records.h"
#include "Platform/OpenCvScope.h"
#include "Registration/PairScore.h"

#include <algorithm>
#include <stdexcept>

namespace montage {
namespace {

namespace stages = ORV::Common::Algorithms::Montage::Registration;

std::vector<cv::detail::ImageFeatures> recordsOf(const std::vector<const Features*>& features) {
  const ORV::Common::Platform::CpuOnly cpuOnly;
  std::vector<cv::detail::ImageFeatures> records;
  records.reserve(features.size());
  for (std::size_t i = 0; i < features.size(); ++i) {
    records.push_back(featureRecord(*features[i], static_cast<int>(i)));
  }
  return records;
}

}  // namespace

PairMatching::PairMatching(const std::vector<const Features*>& features,
                           const MatchOptions& options)
    : records_(recordsOf(features)),
      matcher_(static_cast<float>(options.strictness), stages::kMatchesForHomography, stages::kMatchesForHomography) {
  const ORV::Common::Platform::CpuOnly cpuOnly;
  matcher_.prepare(records_);
  for (cv::detail::ImageFeatures& record : records_) {
    record.descriptors.release();  // four times what the search holds
  }
}

PairMatches PairMatching::match(int first, int second) const {
  const ORV::Common::Platform::CpuOnly cpuOnly;
  const cv::detail::ImageFeatures& a = records_[static_cast<std::size_t>(first)];
  const cv::detail::ImageFeatures& b = records_[static_cast<std::size_t>(second)];
  cv::detail::MatchesInfo record;
  // Two nearest neighbours need two keypoints on either side.
  if (a.keypoints.size() >= 2 && b.keypoints.size() >= 2) {
    matcher_(a, b, record);
  }
  record.src_img_idx = first;
  record.dst_img_idx = second;
  record.confidence = stages::confidenceOf(record);
  return pairOf(record);
}

PairMatches match(const Features& first, const Features& second, const MatchOptions& options) {
  check(options);
  if (first.kind != second.kind) {
    throw std::invalid_argument("second: features of the same kind as the first are expected");
  }
  PairMatches pair = PairMatching({&first, &second}, options).match(0, 1);
  pair.first = -1;
  pair.second = -1;
  return pair;
}

}  // namespace montage
