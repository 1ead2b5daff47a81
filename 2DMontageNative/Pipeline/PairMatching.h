// SPDX-License-Identifier: MIT
/// @file
/// Matching any pair of a set of images, each laid out for the search once.
#ifndef ORV_MONTAGE_PIPELINE_PAIR_MATCHING_H
#define ORV_MONTAGE_PIPELINE_PAIR_MATCHING_H

#include "Registration/ExactMatcher.h"
#include "montage/Features.h"

#include <vector>

namespace montage {

/// More points of a pair than these tell its cameras nothing new.
constexpr int kMostPlacedPoints = 300;

/// Holds the descriptors of all images as the search wants them. Several threads may match pairs at
/// once.
class PairMatching {
 public:
  /// @param[in] features  of one kind; borrowed for the constructor.
  PairMatching(const std::vector<const Features*>& features, const MatchOptions& options);

  PairMatching(const PairMatching&) = delete;
  PairMatching& operator=(const PairMatching&) = delete;

  /// The pair of images `first` and `second`, with these numbers.
  [[nodiscard]] PairMatches match(int first, int second) const;

 private:
  [[nodiscard]] std::vector<cv::Point2f> shiftsOf(const PairMatches& pair) const;

  std::vector<cv::detail::ImageFeatures> records_;
  std::vector<cv::Mat> images_;
  bool refine_;
  mutable ORV::Common::Algorithms::Montage::Registration::ExactMatcher matcher_;
};

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PAIR_MATCHING_H
