// SPDX-License-Identifier: MIT
#include "Pipeline/PairMatching.h"

#include "Pipeline/FeaturePanels.h"
#include "Pipeline/Records.h"
#include "Platform/OpenCvScope.h"
#include "Registration/PairScore.h"
#include "Registration/PatchAlignment.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <utility>

namespace montage {
namespace {

namespace stages = ORV::Common::Algorithms::Montage::Registration;

/// How a small step from `point` goes on in the second image: the derivatives of the homography.
cv::Matx22d shapeAt(const cv::Matx33d& homography, const cv::Point2d& point) {
  const cv::Vec3d mapped = homography * cv::Vec3d(point.x, point.y, 1.0);
  cv::Matx22d shape;
  for (int row = 0; row < 2; ++row) {
    for (int column = 0; column < 2; ++column) {
      shape(row, column) =
          (homography(row, column) * mapped[2] - homography(2, column) * mapped[row]) /
          (mapped[2] * mapped[2]);
    }
  }
  return shape;
}

/// Up to `kMostPlaced` inlier matches, spread over the first image: in each of its cells the first
/// one, then in each the second one and so on.
std::vector<std::size_t> spreadInliers(const PairMatches& pair,
                                       const cv::detail::ImageFeatures& first) {
  constexpr int kCells = 16;  // along each side
  std::array<int, std::size_t{kCells} * kCells> filled{};
  std::vector<std::pair<int, std::size_t>> byRound;
  for (std::size_t k = 0; k < pair.matches.size() && k < pair.inliers.size(); ++k) {
    if (pair.inliers[k] != 0) {
      const cv::Point2f point =
          first.keypoints[static_cast<std::size_t>(pair.matches[k].queryIdx)].pt;
      const int column = static_cast<int>(point.x) * kCells / std::max(first.img_size.width, 1);
      const int row = static_cast<int>(point.y) * kCells / std::max(first.img_size.height, 1);
      const int cell = std::clamp(row, 0, kCells - 1) * kCells + std::clamp(column, 0, kCells - 1);
      byRound.emplace_back(filled[static_cast<std::size_t>(cell)]++, k);
    }
  }
  std::sort(byRound.begin(), byRound.end());
  std::vector<std::size_t> spread;
  for (const auto& [round, match] : byRound) {
    if (spread.size() == static_cast<std::size_t>(kMostPlacedPoints)) {
      break;
    }
    spread.push_back(match);
  }
  return spread;
}

}  // namespace

PairMatching::PairMatching(int imageCount, const MatchOptions& options)
    : records_(static_cast<std::size_t>(imageCount)),
      images_(records_.size()),
      refine_(options.refine),
      matcher_(static_cast<float>(options.strictness),
               stages::kMatchesForHomography,
               stages::kMatchesForHomography) {}

void PairMatching::add(int image, const Features& features) {
  const ORV::Common::Platform::CpuOnly cpuOnly;
  cv::detail::ImageFeatures& record = records_[static_cast<std::size_t>(image)];
  record = keypointRecord(features, image);
  images_[static_cast<std::size_t>(image)] = features.image;
  stages::DescriptorPanels panels = panelsOf(features.kind, features.descriptors);
  const std::lock_guard<std::mutex> lock(adding_);
  matcher_.prepare(record, std::move(panels));
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
  PairMatches pair = pairOf(record);
  if (refine_ && pair.hasHomography && !images_[static_cast<std::size_t>(first)].empty() &&
      !images_[static_cast<std::size_t>(second)].empty()) {
    pair.shifts = shiftsOf(pair);
  }
  return pair;
}

std::vector<cv::Point2f> PairMatching::shiftsOf(const PairMatches& pair) const {
  const cv::detail::ImageFeatures& first = records_[static_cast<std::size_t>(pair.first)];
  const cv::detail::ImageFeatures& second = records_[static_cast<std::size_t>(pair.second)];
  const cv::Point2d centre(first.img_size.width * 0.5, first.img_size.height * 0.5);
  const float unknown = std::numeric_limits<float>::quiet_NaN();
  std::vector<cv::Point2f> shifts(pair.matches.size(), cv::Point2f(unknown, unknown));
  for (const std::size_t k : spreadInliers(pair, first)) {
    const cv::Point2d from = first.keypoints[static_cast<std::size_t>(pair.matches[k].queryIdx)].pt;
    const cv::Point2d to = second.keypoints[static_cast<std::size_t>(pair.matches[k].trainIdx)].pt;
    const auto aligned = stages::alignPatch(images_[static_cast<std::size_t>(pair.first)],
                                            images_[static_cast<std::size_t>(pair.second)],
                                            from,
                                            to,
                                            shapeAt(pair.secondFromFirst, from - centre));
    if (aligned) {
      shifts[k] = *aligned - to;
    }
  }
  return shifts;
}

PairMatches match(const Features& first, const Features& second, const MatchOptions& options) {
  check(options);
  if (first.kind != second.kind) {
    throw std::invalid_argument("second: features of the same kind as the first are expected");
  }
  PairMatching matching(2, options);
  matching.add(0, first);
  matching.add(1, second);
  PairMatches pair = matching.match(0, 1);
  pair.first = -1;
  pair.second = -1;
  return pair;
}

}  // namespace montage
