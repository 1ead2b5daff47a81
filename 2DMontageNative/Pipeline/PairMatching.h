// SPDX-License-Identifier: MIT
/// @file
/// Matching any pair of a set of images, each laid out for the search once.
#ifndef ORV_MONTAGE_PIPELINE_PAIR_MATCHING_H
#define ORV_MONTAGE_PIPELINE_PAIR_MATCHING_H

#include "Registration/ExactMatcher.h"
#include "montage/Features.h"

#include <mutex>
#include <vector>

namespace montage {

/// More points of a pair than these tell its cameras nothing new.
constexpr int kMostPlacedPoints = 300;

/// Holds the descriptors of all images as the search wants them. Several threads may match pairs at
/// once.
class PairMatching {
 public:
  PairMatching(int imageCount, const MatchOptions& options);

  PairMatching(const PairMatching&) = delete;
  PairMatching& operator=(const PairMatching&) = delete;

  /// Lays out the features of an image, of one kind for all; keeps its grey image. Several threads
  /// may add images at once.
  void add(int image, const Features& features);

  /// The pair of images `first` and `second`, with these numbers; both have been added.
  [[nodiscard]] PairMatches match(int first, int second) const;

 private:
  [[nodiscard]] std::vector<cv::Point2f> shiftsOf(const PairMatches& pair) const;

  std::vector<cv::detail::ImageFeatures> records_;
  std::vector<cv::Mat> images_;
  bool refine_;
  std::mutex adding_;
  mutable ORV::Common::Algorithms::Montage::Registration::ExactMatcher matcher_;
};

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PAIR_MATCHING_H
