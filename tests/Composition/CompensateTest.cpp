// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "support/ImageMatchers.h"

#include <gtest/gtest.h>
#include <opencv2/stitching/detail/exposure_compensate.hpp>

#include <cmath>
#include <vector>

namespace {

using cv::detail::ExposureCompensator;
using ORV::Common::Algorithms::Montage::Composition::Compensate;
using namespace ORV::TestSupport;

constexpr int kDark = 80, kBright = 160;

/// Two flat images, the second twice as bright, half on top of each other.
struct FlatPair {
  std::vector<cv::Mat> images = {cv::Mat(64, 128, CV_8UC3, cv::Scalar::all(kDark)),
                                 cv::Mat(64, 128, CV_8UC3, cv::Scalar::all(kBright))};
  std::vector<cv::Mat> masks = {cv::Mat(64, 128, CV_8UC1, cv::Scalar(255)),
                                cv::Mat(64, 128, CV_8UC1, cv::Scalar(255))};
  std::vector<cv::Point> corners = {{-10, 5}, {54, 5}};
};

class EveryCompensator : public testing::TestWithParam<int> {};

TEST_P(EveryCompensator, SharesItsGainsWithCopies) {
  FlatPair pair;
  Compensate fed(GetParam());
  Compensate copy(fed);
  Compensate assigned(ExposureCompensator::NO);
  assigned = fed;
  EXPECT_EQ(copy.compensator, fed.compensator);
  fed.feed(pair.images, pair.corners, pair.masks);
  // Column 100 of the first image and 30 of the second lie in the overlap.
  copy.apply(pair.images[0], 0, pair.corners[0], pair.masks[0]);
  assigned.apply(pair.images[1], 1, pair.corners[1], pair.masks[1]);
  const int first = pair.images[0].at<cv::Vec3b>(32, 100)[0];
  const int second = pair.images[1].at<cv::Vec3b>(32, 30)[0];
  EXPECT_GT(first, kDark);
  EXPECT_LT(second, kBright);
  EXPECT_LT(std::abs(first - second), (kBright - kDark) / 3);
}

INSTANTIATE_TEST_SUITE_P(Kinds,
                         EveryCompensator,
                         testing::Values(static_cast<int>(ExposureCompensator::GAIN),
                                         static_cast<int>(ExposureCompensator::GAIN_BLOCKS)));

TEST(Compensate, OfKindNoneLeavesImagesAsTheyAre) {
  FlatPair pair;
  Compensate none(ExposureCompensator::NO);
  none.feed(pair.images, pair.corners, pair.masks);
  const cv::Mat before = pair.images[1].clone();
  none.apply(pair.images[1], 1, pair.corners[1], pair.masks[1]);
  EXPECT_THAT(pair.images[1], EqualsImage(before));
}

}  // namespace
