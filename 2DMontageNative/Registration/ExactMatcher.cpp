// SPDX-License-Identifier: MIT
#include "Registration/ExactMatcher.h"

#include "Registration/NearestTwo.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

using cv::detail::ImageFeatures;
using cv::detail::MatchesInfo;

/// The matrix lives only inside the call: one that outlived its `cv::UMat` would end the process.
template <class Use>
auto withDescriptors(const ImageFeatures& features, const Use& use) {
  const cv::Mat descriptors = features.descriptors.getMat(cv::ACCESS_READ);
  return use(descriptors);
}

DescriptorKind kindOf(const ImageFeatures& features) {
  return withDescriptors(features, [](const cv::Mat& d) { return descriptorKind(d); });
}

DescriptorPanels pack(const ImageFeatures& features, DescriptorKind kind) {
  return withDescriptors(features, [&](const cv::Mat& d) { return packDescriptors(d, kind); });
}

/// Matches the descriptors of two images and leaves homographies alone.
void matchDescriptors(const MutualNearest& neighbours,
                      float largestRatio,
                      std::vector<cv::DMatch>& matches) {
  const auto isDistinct = [&](const NearestTwo& found) {
    return found.second < std::numeric_limits<float>::infinity() &&
           found.nearest < largestRatio * found.second;
  };
  matches.clear();
  for (std::size_t query = 0; query < neighbours.ofFirst.size(); ++query) {
    const auto& found = neighbours.ofFirst[query];
    if (isDistinct(found)) {
      matches.emplace_back(static_cast<int>(query), found.index, 0, found.nearest);
    }
  }
  for (std::size_t train = 0; train < neighbours.ofSecond.size(); ++train) {
    const auto& found = neighbours.ofSecond[train];
    if (!isDistinct(found)) {
      continue;
    }
    const auto& reverse = neighbours.ofFirst[static_cast<std::size_t>(found.index)];
    const bool alreadyFound = reverse.index == static_cast<int>(train) && isDistinct(reverse);
    if (!alreadyFound) {
      matches.emplace_back(found.index, static_cast<int>(train), found.nearest);
    }
  }
}

}  // namespace

/// The part of OpenCV's matcher that is replaced: descriptor matches of one pair of images.
class NearestTwoMatcher : public cv::detail::FeaturesMatcher {
 public:
  explicit NearestTwoMatcher(float matchConf)
      : FeaturesMatcher(true), largestRatio_(1.F - matchConf) {}

  /// Lays out the descriptors of images that will be matched by reference to these elements.
  void prepare(const std::vector<ImageFeatures>& features) {
    auto kind = DescriptorKind::kWhole;
    for (const auto& image : features) {
      kind = std::max(kind, kindOf(image));  // the later ones hold for more; bits and numbers clash
    }
    for (const auto& image : features) {
      prepared_[&image] = pack(image, kind);
    }
  }

  void prepare(const ImageFeatures& image, DescriptorPanels panels) {
    prepared_[&image] = std::move(panels);
  }

  void collectGarbage() override { prepared_.clear(); }

 protected:
  void match(const ImageFeatures& first, const ImageFeatures& second, MatchesInfo& info) override {
    const auto packedFirst = prepared_.find(&first);
    const auto packedSecond = prepared_.find(&second);
    if (packedFirst != prepared_.end() && packedSecond != prepared_.end()) {
      matchDescriptors(
          findNearestTwo(packedFirst->second, packedSecond->second), largestRatio_, info.matches);
      return;
    }
    const auto kind = std::max(kindOf(first), kindOf(second));
    matchDescriptors(
        findNearestTwo(pack(first, kind), pack(second, kind)), largestRatio_, info.matches);
  }

 private:
  float largestRatio_;
  std::map<const ImageFeatures*, DescriptorPanels> prepared_;  // only looked up, never iterated
};

ExactMatcher::ExactMatcher(float matchConf, int fewestMatches, int fewestInliers)
    : BestOf2NearestMatcher(false, matchConf, fewestMatches, fewestInliers),
      nearestTwo_(cv::makePtr<NearestTwoMatcher>(matchConf)) {
  impl_ = nearestTwo_;
  is_thread_safe_ = impl_->isThreadSafe();
}

void ExactMatcher::prepare(const ImageFeatures& features, DescriptorPanels panels) {
  nearestTwo_->prepare(features, std::move(panels));
}

void ExactMatcher::operator()(const std::vector<ImageFeatures>& features,
                              std::vector<MatchesInfo>& pairwiseMatches,
                              const cv::UMat& mask) {
  // Addresses identify the images only during this call, also if it ends by an exception.
  struct DropPrepared {
    NearestTwoMatcher& matcher;
    ~DropPrepared() { matcher.collectGarbage(); }
  };
  const DropPrepared dropPrepared{*nearestTwo_};
  nearestTwo_->prepare(features);
  BestOf2NearestMatcher::operator()(features, pairwiseMatches, mask);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
