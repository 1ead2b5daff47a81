// SPDX-License-Identifier: MIT
/// @file
/// Feature sets and match lists of turning cameras, computed from the truth instead of from pixels.
#ifndef ORV_TESTS_SUPPORT_SYNTHETIC_FEATURES_H
#define ORV_TESTS_SUPPORT_SYNTHETIC_FEATURES_H

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/matchers.hpp>

#include <utility>
#include <vector>

namespace ORV::TestSupport {

/// Everything registration hands from stage to stage, consistent as the stages leave it.
struct Matched {
  std::vector<cv::detail::ImageFeatures> features;
  std::vector<cv::detail::MatchesInfo> pairs;  ///< n * n, also both directions
};

/// Pixels of one scene point in two images.
using PointPairs = std::vector<std::pair<cv::Point2f, cv::Point2f>>;

/// One direction of a pair whose matches are all inliers.
inline cv::detail::MatchesInfo matchesOf(int source,
                                         int destination,
                                         const std::vector<cv::DMatch>& matches,
                                         const cv::Mat& H) {
  cv::detail::MatchesInfo info;
  info.src_img_idx = source;
  info.dst_img_idx = destination;
  info.matches = matches;
  info.inliers_mask.assign(matches.size(), 1);
  info.num_inliers = static_cast<int>(matches.size());
  info.H = H;
  info.confidence =
      static_cast<double>(matches.size()) / (8 + 0.3 * static_cast<double>(matches.size()));
  return info;
}

/// Adds the points to both images' keypoints and fills both directions of their pair.
inline void addMatches(Matched& matched, int first, int second, const PointPairs& points) {
  const auto imageCount = matched.features.size();
  auto& firstKeypoints = matched.features[static_cast<std::size_t>(first)].keypoints;
  auto& secondKeypoints = matched.features[static_cast<std::size_t>(second)].keypoints;
  std::vector<cv::DMatch> forward, backward;
  std::vector<cv::Point2f> sources, destinations;
  for (const auto& [source, destination] : points) {
    const int query = static_cast<int>(firstKeypoints.size());
    const int train = static_cast<int>(secondKeypoints.size());
    firstKeypoints.emplace_back(source, 7.0F);
    secondKeypoints.emplace_back(destination, 7.0F);
    forward.emplace_back(query, train, 0.0F);
    backward.emplace_back(train, query, 0.0F);
    sources.push_back(source);
    destinations.push_back(destination);
  }
  const cv::Mat H = cv::findHomography(sources, destinations);
  const auto entry = [&](int from, int to) -> cv::detail::MatchesInfo& {
    return matched
        .pairs[static_cast<std::size_t>(from) * imageCount + static_cast<std::size_t>(to)];
  };
  entry(first, second) = matchesOf(first, second, forward, H);
  entry(second, first) = matchesOf(second, first, backward, H.inv());
}

/// Feature sets without keypoints and pairs without matches for n images of one size.
inline Matched unmatched(int imageCount, cv::Size size) {
  Matched matched;
  matched.features.resize(static_cast<std::size_t>(imageCount));
  matched.pairs.resize(matched.features.size() * matched.features.size());
  for (int i = 0; i < imageCount; ++i) {
    matched.features[static_cast<std::size_t>(i)].img_idx = i;
    matched.features[static_cast<std::size_t>(i)].img_size = size;
  }
  return matched;
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_SYNTHETIC_FEATURES_H
