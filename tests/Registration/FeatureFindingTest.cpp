// SPDX-License-Identifier: MIT
#include "Registration.h"
#include "support/Checksum.h"
#include "support/ImageMatchers.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>
#include <opencv2/features2d.hpp>

#include <algorithm>
#include <vector>

namespace {

using cv::detail::ImageFeatures;
using ORV::Common::Algorithms::Montage::Registration::FeatureFinding;
using namespace ORV::TestSupport;

constexpr double kMinDistancePx = 5.0;
constexpr std::size_t kCapacity = 5000;

ImageFeatures featuresOf(const cv::Mat& image, float scale = 1.0F) {
  std::vector<cv::Mat> images = {image};
  std::vector<ImageFeatures> features(1);
  EXPECT_EQ(FeatureFinding()(images, scale, features), 0);
  return features[0];
}

cv::Mat descriptorsOf(const ImageFeatures& features) {
  cv::Mat descriptors;
  features.descriptors.copyTo(descriptors);
  return descriptors;
}

void expectSameFeatures(const ImageFeatures& actual, const ImageFeatures& expected) {
  EXPECT_EQ(actual.img_size, expected.img_size);
  ASSERT_EQ(actual.keypoints.size(), expected.keypoints.size());
  for (std::size_t k = 0; k < actual.keypoints.size(); ++k) {
    ASSERT_EQ(actual.keypoints[k].pt, expected.keypoints[k].pt) << "keypoint " << k;
    ASSERT_EQ(actual.keypoints[k].response, expected.keypoints[k].response) << "keypoint " << k;
  }
  EXPECT_THAT(descriptorsOf(actual), EqualsImage(descriptorsOf(expected)));
}

/// The contrast stretch by sorting: 2.5 % of the pixels lie at or beyond either bound.
cv::Mat stretchedBySorting(const cv::Mat& grey) {
  std::vector<uchar> sorted(grey.begin<uchar>(), grey.end<uchar>());
  std::sort(sorted.begin(), sorted.end());
  const auto tail = static_cast<std::size_t>(0.025 * static_cast<double>(sorted.size()));
  const int low = sorted[tail - 1], high = sorted[sorted.size() - tail];
  cv::Mat stretched = grey.clone();
  for (uchar& value : cv::Mat_<uchar>(stretched)) {
    const double moved = (value - low) * (255.0 / (high - low));
    value = static_cast<uchar>(std::clamp(moved, 0.0, 255.0));
  }
  return stretched;
}

TEST(FeatureFinding, MarksCornersTheWaySiftDescribesThem) {
  const ImageFeatures features = featuresOf(makePicture({320, 240}, 11));
  EXPECT_EQ(features.img_idx, 0);
  EXPECT_EQ(features.img_size, cv::Size(320, 240));
  ASSERT_GT(features.keypoints.size(), 100U);
  for (const cv::KeyPoint& keypoint : features.keypoints) {
    EXPECT_EQ(keypoint.size, 7.0F);
    EXPECT_EQ(keypoint.angle, -1.0F);
    EXPECT_EQ(keypoint.octave, 1);
    EXPECT_EQ(keypoint.class_id, -1);
    EXPECT_TRUE(cv::Rect2f(0, 0, 320, 240).contains(keypoint.pt));
  }
  const cv::Mat descriptors = descriptorsOf(features);
  EXPECT_EQ(descriptors.type(), CV_32FC1);
  EXPECT_EQ(descriptors.size(), cv::Size(128, static_cast<int>(features.keypoints.size())));
}

TEST(FeatureFinding, KeepsTheStrongestFirstAndApart) {
  const auto keypoints = featuresOf(makePicture({320, 240}, 12)).keypoints;
  for (std::size_t a = 0; a < keypoints.size(); ++a) {
    for (std::size_t b = a + 1; b < keypoints.size(); ++b) {
      ASSERT_GE(keypoints[a].response, keypoints[b].response);
      ASSERT_GE(cv::norm(keypoints[a].pt - keypoints[b].pt), kMinDistancePx);
    }
  }
}

TEST(FeatureFinding, StopsAtItsCapacity) {
  cv::Mat noise(600, 800, CV_8UC1);
  cv::RNG(3).fill(noise, cv::RNG::UNIFORM, 0, 256);
  EXPECT_EQ(featuresOf(noise).keypoints.size(), kCapacity);
}

TEST(FeatureFinding, DescribesTheStretchedImageBySift) {
  cv::Mat dull;
  greyOf(makePicture({200, 150}, 13)).convertTo(dull, CV_8U, 0.4, 60);
  const ImageFeatures features = featuresOf(dull);
  ASSERT_GT(features.keypoints.size(), 30U);
  auto keypoints = features.keypoints;
  cv::Mat expected;
  cv::SIFT::create(0, 3, 0.04, 10.0, 1.6)->compute(stretchedBySorting(dull), keypoints, expected);
  EXPECT_THAT(descriptorsOf(features), EqualsImage(expected));
}

TEST(FeatureFinding, LooksAtTheGreenChannelOnly) {
  const cv::Mat picture = makePicture({240, 200}, 14);
  std::vector<cv::Mat> channels;
  cv::split(picture, channels);
  const ImageFeatures expected = featuresOf(channels[1]);
  expectSameFeatures(featuresOf(picture), expected);
  cv::Mat others;
  cv::merge(std::vector<cv::Mat>{255 - channels[0], channels[1], channels[1]}, others);
  expectSameFeatures(featuresOf(others), expected);
}

TEST(FeatureFinding, ResizesFirst) {
  const cv::Mat picture = makePicture({333, 251}, 15);
  cv::Mat half;
  cv::resize(picture, half, cv::Size(), 0.61F, 0.61F, cv::INTER_LINEAR);
  expectSameFeatures(featuresOf(picture, 0.61F), featuresOf(half));
}

TEST(FeatureFinding, NeverWritesTheImages) {
  const std::vector<cv::Mat> originals = {greyOf(makePicture({160, 120}, 16)),
                                          makePicture({160, 120}, 17)};
  for (const float scale : {1.0F, 0.999F, 0.5F}) {
    std::vector<cv::Mat> images = {originals[0].clone(), originals[1].clone()};
    std::vector<ImageFeatures> features(2);
    FeatureFinding()(images, scale, features);
    EXPECT_EQ(checksum(images), checksum(originals)) << "at scale " << scale;
  }
}

TEST(FeatureFinding, NumbersTheImagesAndLeavesFurtherEntriesAlone) {
  std::vector<cv::Mat> images;
  for (unsigned seed = 20; seed < 25; ++seed) {
    images.push_back(makePicture({100 + static_cast<int>(seed), 90}, seed));
  }
  std::vector<ImageFeatures> features(7);
  features[6].img_idx = 42;
  ASSERT_EQ(FeatureFinding()(images, 1.0F, features), 0);
  for (std::size_t i = 0; i < images.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(features[i].img_idx, static_cast<int>(i));
    expectSameFeatures(features[i], featuresOf(images[i]));
  }
  EXPECT_EQ(features[6].img_idx, 42);
  EXPECT_TRUE(features[6].keypoints.empty());
}

TEST(FeatureFinding, AcceptsAnEmptyList) {
  std::vector<cv::Mat> images;
  std::vector<ImageFeatures> features(1);
  features[0].img_idx = 42;
  EXPECT_EQ(FeatureFinding()(images, 0.5F, features), 0);
  EXPECT_EQ(features[0].img_idx, 42);
}

TEST(FeatureFinding, FindsNothingInImagesWithoutGradientOrOfFewPixels) {
  for (const cv::Size& size : {cv::Size(64, 48), {1, 1}, {2, 1}, {1, 9}, {2, 2}}) {
    std::vector<cv::Mat> images = {cv::Mat(size, CV_8UC1, cv::Scalar(90))};
    std::vector<ImageFeatures> features(1);
    features[0].keypoints.resize(3);
    cv::Mat(3, 128, CV_32F, cv::Scalar(1)).copyTo(features[0].descriptors);
    ASSERT_EQ(FeatureFinding()(images, 1.0F, features), 0) << size;
    EXPECT_TRUE(features[0].keypoints.empty()) << size;
    EXPECT_TRUE(features[0].descriptors.empty()) << size;
    EXPECT_EQ(features[0].img_size, size);
  }
}

TEST(FeatureFinding, SurvivesTinyImages) {
  cv::RNG random(9);
  for (int rows = 1; rows <= 13; ++rows) {
    for (int cols = 1; cols <= 13; ++cols) {
      cv::Mat image(rows, cols, CV_8UC1);
      random.fill(image, cv::RNG::UNIFORM, 0, 256);
      const ImageFeatures features = featuresOf(image);
      EXPECT_EQ(descriptorsOf(features).rows, static_cast<int>(features.keypoints.size()));
    }
  }
}

}  // namespace
