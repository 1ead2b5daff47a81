// SPDX-License-Identifier: MIT
/// @file
/// OpenCV's "best of two nearest" matcher with an exact search in place of the approximate one.
#ifndef ORV_MONTAGE_REGISTRATION_EXACT_MATCHER_H
#define ORV_MONTAGE_REGISTRATION_EXACT_MATCHER_H

#include "Registration/DescriptorPanels.h"

#include <opencv2/stitching/detail/matchers.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

class NearestTwoMatcher;

/// Matches the features of every pair of images: two nearest neighbours both ways, ratio test,
/// union of both directions, homography and its inliers.
///
/// Ratio test of D. Lowe, "Distinctive image features from scale-invariant keypoints", IJCV 60(2),
/// 2004; all else, the result's form and the order of the matches as
/// `cv::detail::BestOf2NearestMatcher`, whose randomised trees miss some nearest neighbours and
/// depend on the state of `cv::theRNG()`. This one draws no random numbers and runs on the CPU.
///
/// @code
/// ExactMatcher matcher(matchConf, 6, 6);
/// matcher(features, pairwiseMatches, mask);
/// matcher.collectGarbage();
/// @endcode
///
/// Descriptors are n x length, of one type and length: `CV_32FC1`, finite, by their Euclidean
/// distance, or `CV_8UC1`, bits, by their Hamming distance (else `cv::Exception`). Whole numbers
/// from 0 to 255 (SIFT) and bits go through integer products. An image with fewer than two
/// descriptors gives no second neighbour, so nothing matches in its direction.
class ExactMatcher : public cv::detail::BestOf2NearestMatcher {
 public:
  /// @param[in] matchConf  a match counts if its distance is below (1 - matchConf) times that of
  ///   the second nearest.
  /// @param[in] fewestMatches  matches needed to estimate a homography.
  /// @param[in] fewestInliers  inliers needed to estimate it again from them.
  ExactMatcher(float matchConf, int fewestMatches, int fewestInliers);

  using FeaturesMatcher::operator();

  /// Takes over the laid out descriptors of an image, so that references to this very element match
  /// by them until `collectGarbage`; all images of one kind. Its own descriptors are not looked at.
  void prepare(const cv::detail::ImageFeatures& features, DescriptorPanels panels);

  /// Matches all pairs i < j where @p mask (n x n `CV_8U`, or empty for all) is not zero.
  ///
  /// Hides the base class's operator, to lay each image's descriptors out once and not once per
  /// pair; they are dropped on return.
  void operator()(const std::vector<cv::detail::ImageFeatures>& features,
                  std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                  const cv::UMat& mask = cv::UMat());

 private:
  cv::Ptr<NearestTwoMatcher> nearestTwo_;  // the same object as impl_
};

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_EXACT_MATCHER_H
