// SPDX-License-Identifier: MIT
#include "Registration.h"
#include "Registration/SurfFeaturesFinder.h"
#include "SurfTestImages.h"

#include <gtest/gtest.h>

#include <cfloat>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

const std::vector<float> kDefaults = {300.0F, 3.0F, 4.0F, 3.0F, 4.0F};

cv::detail::ImageFeatures findOne(const cv::Mat& image,
                                  const std::vector<float>& parameters = kDefaults,
                                  float scale = 1.0F,
                                  bool useMask = false) {
  std::vector<cv::Mat> images = {image};
  std::vector<cv::detail::ImageFeatures> features(1);
  EXPECT_EQ(FeatureFinding()(images, parameters, scale, useMask, features), 0);
  return features[0];
}

double difference(const cv::detail::ImageFeatures& a, const cv::detail::ImageFeatures& b) {
  return a.keypoints.size() != b.keypoints.size()
             ? DBL_MAX
             : cv::norm(a.descriptors, b.descriptors, cv::NORM_INF);
}

TEST(SurfOverload, FillsOneRecordPerImageAndNoMore) {
  std::vector<cv::Mat> images;
  for (unsigned seed = 0; seed < 3; ++seed) {
    images.push_back(SurfTestImages::blobs(100 + 10 * static_cast<int>(seed), 120, seed));
  }
  std::vector<cv::detail::ImageFeatures> features(5);
  for (int i = 0; i < 5; ++i) {
    features[static_cast<std::size_t>(i)].img_idx = 100 + i;
  }
  EXPECT_EQ(FeatureFinding()(images, kDefaults, 1.0F, false, features), 0);
  for (std::size_t i = 0; i < images.size(); ++i) {
    cv::detail::ImageFeatures expected;
    SurfFeaturesFinder()(images[i], expected);
    EXPECT_EQ(difference(features[i], expected), 0.0);
    EXPECT_EQ(features[i].img_size, images[i].size());
    EXPECT_EQ(features[i].img_idx, 100 + static_cast<int>(i));
  }
  EXPECT_TRUE(features[3].keypoints.empty());
  EXPECT_EQ(features[4].img_idx, 104);

  std::vector<cv::Mat> none;
  EXPECT_EQ(FeatureFinding()(none, kDefaults, 1.0F, true, features), 0);
}

TEST(SurfOverload, TruncatesItsParameters) {
  const cv::Mat image = SurfTestImages::blobs(130, 130, 1);
  const auto truncated = findOne(image, {300.0F, 2.0F, 3.0F, 2.0F, 3.0F});
  EXPECT_EQ(difference(findOne(image, {300.9F, 2.9F, 3.9F, 2.5F, 3.1F}), truncated), 0.0);
  EXPECT_FALSE(findOne(image, {-0.9F, 2.0F, 3.0F, 2.0F, 3.0F}).keypoints.empty());
  EXPECT_THROW(findOne(image, {300.0F, 0.9F, 3.0F, 2.0F, 3.0F}), cv::Exception);
}

TEST(SurfOverload, SearchesTheSecondChannelAtTheGivenScale) {
  const cv::Mat green = SurfTestImages::blobs(200, 240, 2);
  cv::Mat colour;
  cv::merge(std::vector<cv::Mat>{SurfTestImages::blobs(200, 240, 3), green, green * 0.5}, colour);
  const cv::Mat untouched = colour.clone();
  cv::Mat half;
  cv::resize(green, half, cv::Size(), 0.5, 0.5, cv::INTER_LINEAR);
  const auto found = findOne(colour, kDefaults, 0.5F);
  EXPECT_EQ(found.img_size, cv::Size(120, 100));
  EXPECT_FALSE(found.keypoints.empty());
  EXPECT_EQ(difference(found, findOne(half)), 0.0);
  EXPECT_EQ(cv::norm(colour, untouched, cv::NORM_INF), 0.0);
}

/// Whether two steps within the structuring element lead from a pixel to background; a step out of
/// the image leads nowhere.
bool isNearBackground(const cv::Mat& image, cv::Point pixel, int side) {
  const cv::Mat element = cv::getStructuringElement(cv::MORPH_ELLIPSE, {side, side});
  std::vector<cv::Point> steps;
  cv::findNonZero(element, steps);
  const cv::Rect inside({}, image.size());
  const cv::Point centre(side / 2, side / 2);
  for (const cv::Point& first : steps) {
    for (const cv::Point& second : steps) {
      const cv::Point half = pixel + first - centre;
      const cv::Point end = half + second - centre;
      if (inside.contains(half) && inside.contains(end) && image.at<uchar>(end) == 0) {
        return true;
      }
    }
  }
  return false;
}

TEST(SurfOverload, MaskDisablesDescriptorsNearBackgroundOnly) {
  cv::Mat image = cv::max(SurfTestImages::blobs(200, 300, 4), 1);
  image.colRange(0, 60).setTo(0);
  cv::circle(image, {190, 80}, 25, cv::Scalar(0), cv::FILLED);
  const std::vector<float> many = {5.0F, 3.0F, 4.0F, 3.0F, 4.0F};
  const auto plain = findOne(image, many);
  const auto masked = findOne(image, many, 1.0F, true);
  ASSERT_EQ(masked.keypoints.size(), plain.keypoints.size());
  const cv::Mat before = plain.descriptors.getMat(cv::ACCESS_READ);
  const cv::Mat after = masked.descriptors.getMat(cv::ACCESS_READ);
  int disabled = 0;
  for (int k = 0; k < after.rows; ++k) {
    const cv::Point2f place = masked.keypoints[static_cast<std::size_t>(k)].pt;
    EXPECT_EQ(place, plain.keypoints[static_cast<std::size_t>(k)].pt);
    const cv::Point pixel(static_cast<int>(place.x), static_cast<int>(place.y));
    const bool isDisabled = isNearBackground(image, pixel, 200 / 20);
    disabled += isDisabled ? 1 : 0;
    const cv::Mat expected = isDisabled ? cv::Mat(1, 64, CV_32F, cv::Scalar(2)) : before.row(k);
    ASSERT_EQ(cv::norm(after.row(k), expected, cv::NORM_INF), 0.0) << place;
  }
  EXPECT_GT(disabled, 50);
  EXPECT_LT(disabled, after.rows - 100);
}

TEST(SurfOverload, MaskNeedsTwentyRows) {
  const cv::Mat low(19, 60, CV_8U, cv::Scalar(50));
  EXPECT_THROW(findOne(low, kDefaults, 1.0F, true), cv::Exception);
  EXPECT_TRUE(findOne(low, kDefaults, 1.0F, false).keypoints.empty());
  EXPECT_TRUE(
      findOne(cv::Mat(20, 60, CV_8U, cv::Scalar(50)), kDefaults, 1.0F, true).keypoints.empty());
}

TEST(SurfOverload, LeavesRecordsThatShareTheOldDescriptorsAlone) {
  const cv::Mat image = SurfTestImages::blobs(130, 130, 5);
  std::vector<cv::Mat> images = {image};
  std::vector<cv::detail::ImageFeatures> features(1);
  FeatureFinding()(images, kDefaults, 1.0F, false, features);
  features[0].descriptors.setTo(7.0F);
  const cv::UMat shared = features[0].descriptors;
  FeatureFinding()(images, kDefaults, 1.0F, false, features);
  EXPECT_EQ(cv::norm(shared, cv::NORM_INF), 7.0);
  EXPECT_LE(cv::norm(features[0].descriptors, cv::NORM_INF), 1.0);
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
