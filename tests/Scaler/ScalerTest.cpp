// SPDX-License-Identifier: MIT
#include "Scaler.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ORV::Common::Algorithms::Montage::Scaler;
using ORV::Common::Algorithms::Montage::Composition::Warp;

Scaler scalerFor(const std::vector<cv::Size>& sizes) {
  std::vector<cv::Mat> images;
  images.reserve(sizes.size());
  for (const cv::Size& size : sizes) {
    images.emplace_back(size, CV_8UC1);
  }
  return {images};
}

TEST(Scaler, TurnsMegapixelsIntoScales) {
  Scaler scaler = scalerFor({{2000, 1000}});
  ASSERT_EQ(scaler.processParams(0.6F, 0.1F, -1.0F), 0);
  EXPECT_EQ(scaler.workScale, 0.54772258F);
  EXPECT_EQ(scaler.seamScale, 0.2236068F);
  EXPECT_EQ(scaler.composeScale, 1.0F);
  EXPECT_EQ(scaler.seamWorkAspect, 0.40824828F);
  EXPECT_EQ(scaler.composeWorkAspect, 1.8257418F);
}

TEST(Scaler, NeverEnlarges) {
  Scaler scaler = scalerFor({{2000, 1000}});
  ASSERT_EQ(scaler.processParams(5.0F, 2.0F, -0.001F), 0);
  EXPECT_EQ(scaler.workScale, 1.0F);
  EXPECT_EQ(scaler.seamScale, 1.0F);
  EXPECT_EQ(scaler.composeScale, 1.0F);
}

TEST(Scaler, LooksAtTheFirstImageOnly) {
  Scaler alone = scalerFor({{640, 480}});
  Scaler withOthers = scalerFor({{640, 480}, {4000, 3000}, {10, 10}});
  ASSERT_EQ(alone.processParams(0.1F, 0.05F, 0.2F), 0);
  ASSERT_EQ(withOthers.processParams(0.1F, 0.05F, 0.2F), 0);
  EXPECT_EQ(withOthers.workScale, alone.workScale);
  EXPECT_EQ(withOthers.seamScale, alone.seamScale);
  EXPECT_EQ(withOthers.composeScale, alone.composeScale);
  EXPECT_EQ(withOthers.sizes, (std::vector<cv::Size>{{640, 480}, {4000, 3000}, {10, 10}}));
}

TEST(Scaler, RefusesAnEmptyListAndKeepsItsValues) {
  Scaler scaler = scalerFor({});
  EXPECT_EQ(scaler.workScale, 1.0F);
  scaler.workScale = 0.25F;
  scaler.composeWorkAspect = 3.0F;
  EXPECT_EQ(scaler.processParams(0.6F, 0.1F, -1.0F), 1);
  EXPECT_EQ(scaler.workScale, 0.25F);
  EXPECT_EQ(scaler.composeWorkAspect, 3.0F);
}

TEST(Scaler, UpdatesSizesWithoutTouchingScales) {
  Scaler scaler = scalerFor({{2000, 1000}, {30, 20}, {5, 5}});
  scaler.processParams(0.6F, 0.1F, -1.0F);
  scaler.updateSizes({cv::Mat(7, 9, CV_8UC3)});
  EXPECT_EQ(scaler.sizes, (std::vector<cv::Size>{{9, 7}}));
  EXPECT_EQ(scaler.workScale, 0.54772258F);
}

TEST(Scaler, CopiesDeeply) {
  Scaler original = scalerFor({{2000, 1000}});
  original.processParams(0.6F, 0.1F, -1.0F);
  Scaler copy(original);
  Scaler assigned = scalerFor({});
  assigned = original;
  original.sizes[0] = {1, 1};
  original.workScale = 0.5F;
  for (const Scaler& other : {copy, assigned}) {
    EXPECT_EQ(other.sizes, (std::vector<cv::Size>{{2000, 1000}}));
    EXPECT_EQ(other.workScale, 0.54772258F);
    EXPECT_EQ(other.composeWorkAspect, 1.8257418F);
  }
}

/// A camera that looks straight at the montage plane; its footprint at composition scale is then
/// the image itself, moved by the principal point. Half-pixel principal points keep away from ties.
class BlendScale : public testing::Test {
 protected:
  static constexpr double kComposeWorkAspect = 2.0;

  BlendScale() : cameras_(2) {
    for (auto& camera : cameras_) {
      camera.focal = 300;
      camera.aspect = 1.25;
      camera.R = cv::Mat::eye(3, 3, CV_32F);
    }
    cameras_[0].ppx = 50.25;  // 100.5 at composition scale
    cameras_[0].ppy = 40.25;
    cameras_[1].ppx = -20.25;
    cameras_[1].ppy = 10.25;
  }

  /// Truncated corner coordinates of an identity warp, both ends included.
  static cv::Rect identityFootprint(cv::Size size, cv::Point2d principal) {
    const cv::Point topLeft(static_cast<int>(-principal.x), static_cast<int>(-principal.y));
    const cv::Point bottomRight(static_cast<int>(size.width - 1 - principal.x),
                                static_cast<int>(size.height - 1 - principal.y));
    return {topLeft, bottomRight + cv::Point(1, 1)};
  }

  void expectFootprintsOf(float composeScale, const std::vector<cv::Size>& resized) {
    SCOPED_TRACE(composeScale);
    Scaler scaler = scalerFor({{1001, 751}, {200, 100}});
    scaler.composeScale = composeScale;
    scaler.composeWorkAspect = static_cast<float>(kComposeWorkAspect);
    auto cameras = cameras_;
    for (auto& camera : cameras) {
      camera.aspect = 1;
    }
    Warp warp(cameras, 0.5);
    std::vector<cv::Point> corners(3, cv::Point(-1, -1));
    scaler.blendScale(cameras, warp, corners);
    for (std::size_t i = 0; i < 2; ++i) {
      const cv::Rect expected = identityFootprint(
          resized[i],
          cv::Point2d(cameras_[i].ppx * kComposeWorkAspect, cameras_[i].ppy * kComposeWorkAspect));
      EXPECT_EQ(corners[i], expected.tl());
      EXPECT_EQ(scaler.sizes[i], expected.size());
    }
    EXPECT_EQ(corners[2], cv::Point(-1, -1));
  }

  std::vector<cv::detail::CameraParams> cameras_;
};

TEST_F(BlendScale, RoundsResizedSizesHalfToEven) {
  expectFootprintsOf(0.5F, {{500, 376}, {100, 50}});
}

TEST_F(BlendScale, LeavesImagesNearFullScaleAsTheyAre) {
  expectFootprintsOf(1.05F, {{1001, 751}, {200, 100}});
  expectFootprintsOf(0.95F, {{1001, 751}, {200, 100}});
  expectFootprintsOf(0.9F, {{901, 676}, {180, 90}});  // 0.9 as a float is more than 0.1 away
}

TEST_F(BlendScale, CarriesCamerasAndWarperToTheCompositionScale) {
  Scaler scaler = scalerFor({{1001, 751}, {200, 100}});
  scaler.composeWorkAspect = static_cast<float>(kComposeWorkAspect);
  Warp warp(cameras_, 0.5);
  const auto before = cameras_;
  std::vector<cv::Point> corners(2);
  scaler.blendScale(cameras_, warp, corners);
  EXPECT_EQ(warp.warper->getScale(), 600.0F);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(cameras_[i].focal, 600);
    EXPECT_EQ(cameras_[i].ppx, before[i].ppx * kComposeWorkAspect);
    EXPECT_EQ(cameras_[i].ppy, before[i].ppy * kComposeWorkAspect);
    EXPECT_EQ(cameras_[i].aspect, before[i].aspect);
    EXPECT_EQ(cv::norm(cameras_[i].R, before[i].R), 0);
  }
}

}  // namespace
