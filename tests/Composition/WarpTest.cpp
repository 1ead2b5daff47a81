// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "support/ImageMatchers.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ORV::Common::Algorithms::Montage::Composition::Warp;
using namespace ORV::TestSupport;

std::vector<cv::detail::CameraParams> camerasOfFocals(const std::vector<double>& focals) {
  std::vector<cv::detail::CameraParams> cameras(focals.size());
  for (std::size_t i = 0; i < focals.size(); ++i) {
    cameras[i].focal = focals[i];
  }
  return cameras;
}

TEST(Warp, TakesTheMedianFocalLength) {
  struct Case {
    std::vector<double> focals;
    float median;
  };
  const Case cases[] = {{{700, 400, 500}, 500.0F},
                        {{500, 700, 400}, 500.0F},
                        {{400, 500, 600, 900}, 550.0F},
                        {{900, 400, 600, 500}, 550.0F},
                        {{1000, 1001}, 1000.5F},
                        {{123.25}, 123.25F}};
  for (const Case& each : cases) {
    auto cameras = camerasOfFocals(each.focals);
    EXPECT_EQ(Warp(cameras, 1.0).warpedImageScale, each.median);
    EXPECT_EQ(cameras[0].focal, each.focals[0]) << "the list must not be sorted in place";
  }
}

TEST(Warp, ScalesFromTheMedianAndNotCumulatively) {
  auto cameras = camerasOfFocals({400, 500, 600});
  Warp warp(cameras, 0.5);
  EXPECT_EQ(warp.warper->getScale(), 250.0F);
  warp.scale(2.0);
  EXPECT_EQ(warp.warper->getScale(), 1000.0F);
  warp.scale(2.0);
  EXPECT_EQ(warp.warper->getScale(), 1000.0F);
  EXPECT_EQ(warp.warpedImageScale, 500.0F);
}

TEST(Warp, CopiesShareTheWarperUntilOneIsRescaled) {
  auto cameras = camerasOfFocals({500});
  Warp warp(cameras, 0.5);
  Warp before(warp);
  EXPECT_EQ(before.warper, warp.warper);
  EXPECT_EQ(before.warperCreator, warp.warperCreator);
  warp.scale(2.0);
  EXPECT_EQ(before.warper->getScale(), 250.0F);

  auto others = camerasOfFocals({7});
  Warp assigned(others, 1.0);
  assigned = warp;
  EXPECT_EQ(assigned.warper, warp.warper);
  EXPECT_EQ(assigned.warpedImageScale, 500.0F);
  const Warp& itself = assigned;
  assigned = itself;
  EXPECT_EQ(assigned.warper, warp.warper);
}

TEST(Warp, WarpsIntoTheFootprintItAnnounces) {
  auto cameras = camerasOfFocals({420});
  Warp warp(cameras, 1.0);
  const cv::Mat picture = makePicture({320, 240}, 5);
  cv::Size size = picture.size();
  cv::Mat K(cv::Matx33f(intrinsics(420, size)));
  cv::Mat R(cv::Matx33f(rotationOf({7, -4, 3})));
  cv::Mat source = picture, byMat, byTyped;
  cv::Mat_<float> typedK = K;
  const cv::Rect footprint = warp.roi(size, K, R);
  EXPECT_EQ(warp.transform(source, K, R, cv::INTER_LINEAR, cv::BORDER_REFLECT, byMat),
            footprint.tl());
  EXPECT_EQ(warp.transform(source, typedK, R, cv::INTER_LINEAR, cv::BORDER_REFLECT, byTyped),
            footprint.tl());
  EXPECT_EQ(byMat.size(), footprint.size());
  EXPECT_THAT(byTyped, EqualsImage(byMat));

  cv::Mat expected;
  EXPECT_EQ(cv::detail::PlaneWarper(420.0F).warp(
                source, K, R, cv::INTER_LINEAR, cv::BORDER_REFLECT, expected),
            footprint.tl());
  EXPECT_THAT(byMat, ImageNear(expected, 1));
}

TEST(Warp, RefusesFootprintsThatCannotBeResampled) {
  auto cameras = camerasOfFocals({420});
  Warp warp(cameras, 200.0);
  cv::Mat source(4, 320, CV_8UC1, cv::Scalar(1)), result;
  cv::Mat K(cv::Matx33f(intrinsics(420, source.size())));
  cv::Mat R = cv::Mat::eye(3, 3, CV_32F);
  EXPECT_THROW(warp.transform(source, K, R, cv::INTER_LINEAR, cv::BORDER_CONSTANT, result),
               cv::Exception);
}

}  // namespace
