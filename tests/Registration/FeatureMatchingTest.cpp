// SPDX-License-Identifier: MIT
#include "Registration.h"
#include "support/SyntheticFeatures.h"
#include "support/ThreadLimit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using cv::detail::ImageFeatures;
using cv::detail::MatchesInfo;
using ORV::Common::Algorithms::Montage::Registration::FeatureMatching;

constexpr float kMatchConf = 0.3F;
constexpr int kDescriptorLength = 128;

/// Keypoints anywhere, with random descriptors that no other keypoint resembles.
ImageFeatures randomFeatures(int count, cv::RNG& random) {
  ImageFeatures features;
  features.img_size = {640, 480};
  for (int k = 0; k < count; ++k) {
    features.keypoints.emplace_back(
        random.uniform(0.0F, 640.0F), random.uniform(0.0F, 480.0F), 7.0F);
  }
  if (count == 0) {
    return features;
  }
  cv::Mat descriptors(count, kDescriptorLength, CV_32F);
  random.fill(descriptors, cv::RNG::UNIFORM, 0, 256);
  for (float& value : cv::Mat_<float>(descriptors)) {
    value = std::floor(value);
  }
  descriptors.copyTo(features.descriptors);
  return features;
}

/// The same keypoints moved sideways, with the same descriptors.
ImageFeatures shifted(const ImageFeatures& original, float dx) {
  ImageFeatures moved;
  moved.img_size = original.img_size;
  moved.keypoints = original.keypoints;
  for (cv::KeyPoint& keypoint : moved.keypoints) {
    keypoint.pt.x += dx;
  }
  original.descriptors.copyTo(moved.descriptors);
  return moved;
}

std::vector<MatchesInfo> match(std::vector<ImageFeatures> features) {
  std::vector<MatchesInfo> pairs;
  EXPECT_EQ(FeatureMatching()(features, pairs, false, kMatchConf), 0);
  EXPECT_EQ(pairs.size(), features.size() * features.size());
  return pairs;
}

TEST(FeatureMatching, ScoresWithoutAnUpperBound) {
  cv::RNG random(1);
  const ImageFeatures first = randomFeatures(400, random);
  const auto pairs = match({first, shifted(first, 25)});
  // 400 of 400 give 400 / 128; OpenCV's own matcher would write 0 above 3.
  for (const std::size_t entry : {1U, 2U}) {
    EXPECT_EQ(pairs[entry].src_img_idx, entry == 1 ? 0 : 1);
    EXPECT_EQ(pairs[entry].dst_img_idx, entry == 1 ? 1 : 0);
    EXPECT_EQ(pairs[entry].num_inliers, 400);
    EXPECT_EQ(pairs[entry].confidence, 3.125);
  }
  EXPECT_EQ(pairs[0].src_img_idx, -1);
  EXPECT_EQ(pairs[0].confidence, 0.0);
}

TEST(FeatureMatching, CountsOutliersAgainstThePair) {
  cv::RNG random(2);
  const ImageFeatures first = randomFeatures(120, random);
  ImageFeatures second = shifted(first, 10);
  for (std::size_t k = 60; k < 120; ++k) {  // right descriptor, wrong place
    second.keypoints[k].pt = {random.uniform(0.0F, 640.0F), random.uniform(0.0F, 480.0F)};
  }
  const auto pairs = match({first, second});
  EXPECT_GE(pairs[1].num_inliers, 50);
  EXPECT_LT(pairs[1].num_inliers, 75);
  EXPECT_EQ(pairs[1].matches.size(), 120U);
  EXPECT_EQ(pairs[1].confidence, pairs[1].num_inliers / 44.0);
}

TEST(FeatureMatching, FewerThanSixInliersCountAsNone) {
  cv::RNG random(3);
  for (const int count : {2, 4, 5}) {
    const ImageFeatures first = randomFeatures(count, random);
    const auto pairs = match({first, shifted(first, 10)});
    EXPECT_EQ(pairs[1].confidence, 0.0) << count << " keypoints";
    EXPECT_EQ(pairs[1].src_img_idx, 0);
    EXPECT_TRUE(pairs[1].H.empty());
  }
  const ImageFeatures six = randomFeatures(6, random);
  const auto pairs = match({six, shifted(six, 10)});
  EXPECT_EQ(pairs[1].num_inliers, 6);
  EXPECT_DOUBLE_EQ(pairs[1].confidence, 0.612244897959183673);

  // Seven matches of which two lie elsewhere: a homography, but five inliers.
  ImageFeatures seven = randomFeatures(7, random);
  ImageFeatures moved = shifted(seven, 10);
  moved.keypoints[0].pt.y += 200;
  moved.keypoints[1].pt.y -= 150;
  const auto few = match({seven, moved});
  EXPECT_EQ(few[1].num_inliers, 5);
  EXPECT_EQ(few[1].confidence, 0.0);
}

TEST(FeatureMatching, AcceptsImagesWithNoOrOneKeypoint) {
  cv::RNG random(4);
  const ImageFeatures first = randomFeatures(100, random);
  const ImageFeatures none = randomFeatures(0, random), one = randomFeatures(1, random);
  const auto pairs = match({none, first, one, shifted(first, 5)});
  const auto undisturbed = match({first, shifted(first, 5)});
  EXPECT_EQ(pairs[1 * 4 + 3].matches.size(), undisturbed[1].matches.size());
  EXPECT_GT(pairs[1 * 4 + 3].confidence, 1.0);
  EXPECT_EQ(pairs[0 * 4 + 1].src_img_idx, -1) << "a pair with an image without keypoints";
  for (const auto& [from, to] : {std::pair{1, 2}, {2, 1}}) {
    const MatchesInfo& pair = pairs[from == 1 ? 1 * 4 + 2 : 2 * 4 + 1];
    EXPECT_EQ(pair.src_img_idx, from);
    EXPECT_EQ(pair.dst_img_idx, to);
    EXPECT_EQ(pair.confidence, 0.0);
    EXPECT_TRUE(pair.matches.empty());
  }
}

TEST(FeatureMatching, AcceptsNoImageAndOneImage) {
  cv::RNG random(5);
  EXPECT_TRUE(match({}).empty());
  const auto pairs = match({randomFeatures(50, random)});
  EXPECT_EQ(pairs[0].src_img_idx, -1);
  EXPECT_EQ(pairs[0].confidence, 0.0);
}

TEST(FeatureMatching, RepeatsItselfAndLeavesTheCallersRandomStateAlone) {
  cv::RNG random(6);
  const ImageFeatures first = randomFeatures(500, random);
  ImageFeatures second = shifted(first, 40);
  cv::Mat noisy, noise(500, kDescriptorLength, CV_32F);
  second.descriptors.copyTo(noisy);
  random.fill(noise, cv::RNG::NORMAL, 0, 40);
  noisy += noise;
  noisy.copyTo(second.descriptors);

  // Three images: OpenCV seeds the generator anew for every pair.
  const ImageFeatures third = shifted(second, 30);
  cv::theRNG().state = 12345;
  const auto once = match({first, second, third});
  EXPECT_EQ(cv::theRNG().state, 12345U);
  cv::theRNG().state = 987654321;
  const ORV::TestSupport::ThreadLimit alone(1);
  const auto again = match({first, second, third});
  ASSERT_EQ(once[1].matches.size(), again[1].matches.size());
  for (std::size_t m = 0; m < once[1].matches.size(); ++m) {
    EXPECT_EQ(once[1].matches[m].queryIdx, again[1].matches[m].queryIdx);
    EXPECT_EQ(once[1].matches[m].trainIdx, again[1].matches[m].trainIdx);
  }
  EXPECT_EQ(once[1].inliers_mask, again[1].inliers_mask);
}

}  // namespace
