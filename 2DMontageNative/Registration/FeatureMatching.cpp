// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Platform/Status.h"
#include "Registration.h"
#include "Registration/ExactMatcher.h"
#include "Registration/PairScore.h"

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// Pairs that can be matched at all: two nearest neighbours need two keypoints on either side.
cv::Mat matchablePairs(const std::vector<cv::detail::ImageFeatures>& features) {
  const int imageCount = static_cast<int>(features.size());
  cv::Mat pairs = cv::Mat::zeros(imageCount, imageCount, CV_8U);
  for (int i = 0; i < imageCount; ++i) {
    for (int j = 0; j < imageCount; ++j) {
      pairs.at<uchar>(i, j) = features[static_cast<std::size_t>(i)].keypoints.size() >= 2 &&
                              features[static_cast<std::size_t>(j)].keypoints.size() >= 2;
    }
  }
  return pairs;
}

/// Pairs left out for an image of one keypoint count as matched with nothing found.
void numberSkippedPairs(const std::vector<cv::detail::ImageFeatures>& features,
                        std::vector<cv::detail::MatchesInfo>& pairwiseMatches) {
  const std::size_t imageCount = features.size();
  for (std::size_t i = 0; i < imageCount; ++i) {
    for (std::size_t j = 0; j < imageCount; ++j) {
      if (i != j && !features[i].keypoints.empty() && !features[j].keypoints.empty()) {
        pairwiseMatches[i * imageCount + j].src_img_idx = static_cast<int>(i);
        pairwiseMatches[i * imageCount + j].dst_img_idx = static_cast<int>(j);
      }
    }
  }
}

void scorePairs(std::vector<cv::detail::MatchesInfo>& pairwiseMatches) {
  for (cv::detail::MatchesInfo& pair : pairwiseMatches) {
    if (pair.src_img_idx >= 0 && pair.dst_img_idx >= 0) {
      pair.confidence = confidenceOf(pair);
    }
  }
}

}  // namespace

FeatureMatching::FeatureMatching() = default;
FeatureMatching::FeatureMatching(const FeatureMatching&) = default;
FeatureMatching& FeatureMatching::operator=(const FeatureMatching&) = default;
FeatureMatching::~FeatureMatching() = default;

int FeatureMatching::operator()(std::vector<cv::detail::ImageFeatures>& features,
                                std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                                bool tryGpu,
                                float matchConf) {
  return Process(features, pairwiseMatches, tryGpu, matchConf);
}

int FeatureMatching::Process(std::vector<cv::detail::ImageFeatures>& features,
                             std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                             bool /*tryGpu*/,
                             float matchConf) {
  const Platform::CpuOnly cpuOnly;
  ExactMatcher matcher(matchConf, kMatchesForHomography, kMatchesForHomography);
  cv::UMat pairs;
  matchablePairs(features).copyTo(pairs);
  {
    // OpenCV's loop over the pairs seeds the thread's generator anew for each of them.
    const Platform::FixedRandomState hostsStateIsPutBack;
    matcher(features, pairwiseMatches, pairs);
  }
  matcher.collectGarbage();
  numberSkippedPairs(features, pairwiseMatches);
  scorePairs(pairwiseMatches);
  return Platform::kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
