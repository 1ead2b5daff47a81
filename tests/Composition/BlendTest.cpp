// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "support/CompositionSpies.h"
#include "support/ImageMatchers.h"
#include "support/StandardOutput.h"

#include <gtest/gtest.h>
#include <opencv2/stitching/detail/blenders.hpp>

#include <climits>
#include <string>
#include <vector>

namespace {

using cv::detail::Blender;
using namespace ORV::Common::Algorithms::Montage::Composition;
using namespace ORV::TestSupport;

constexpr char kUnrecognized[] = "Unrecognized blend type. Montaging unable to continue.\n";
constexpr int kWidth = 40, kHeight = 30;

/// Two flat images (100 and 200) whose places on the plane are dictated; gains are halves.
class BlendTest : public testing::Test {
 protected:
  BlendTest()
      : cameras_(2), warp_(cameras_, 1.0), compensate_(cv::detail::ExposureCompensator::NO) {
    cameras_[0].ppx = 0;
    cameras_[1].ppx = 1;
    compensate_.compensator = compensator_;
    placeAt({-10, 2, kWidth, kHeight}, {kWidth, -3, kWidth, kHeight});
    useImages(CV_8UC3, CV_8UC3);
  }

  void placeAt(const cv::Rect& first, const cv::Rect& second) {
    corners_ = {first.tl(), second.tl()};
    sizes_ = {first.size(), second.size()};
    warper_ = cv::makePtr<SpyWarper>([=](cv::Size, float x) { return x == 0 ? first : second; });
    warp_.warper = warper_;
    masks_ = {cv::Mat(first.size(), CV_8UC1, cv::Scalar(255)),
              cv::Mat(second.size(), CV_8UC1, cv::Scalar(255))};
  }

  void useImages(int firstType, int secondType) {
    images_ = {cv::Mat(kHeight, kWidth, firstType, cv::Scalar::all(100)),
               cv::Mat(kHeight, kWidth, secondType, cv::Scalar::all(200))};
  }

  int call(const std::string& seamType, int blendType, double composeScale = 1.0) {
    Blend blend(warp_, compensate_);
    EXPECT_TRUE(blend.blender.empty());
    const int status = blend(images_,
                             masks_,
                             corners_,
                             cameras_,
                             sizes_,
                             composeScale,
                             false,
                             seamType,
                             blendType,
                             result_);
    blender_ = blend.blender;
    return status;
  }

  std::vector<cv::detail::CameraParams> cameras_;
  Warp warp_;
  Compensate compensate_;
  cv::Ptr<SpyCompensator> compensator_ = cv::makePtr<SpyCompensator>();
  cv::Ptr<SpyWarper> warper_;
  std::vector<cv::Mat> images_, masks_;
  std::vector<cv::Point> corners_;
  std::vector<cv::Size> sizes_;
  cv::Ptr<Blender> blender_;
  cv::Mat result_;
};

TEST_F(BlendTest, TypesSelectTheBlenderAndItsSetting) {
  ASSERT_EQ(call("no", Blender::NO), 0);
  const Blender& plain = *blender_;
  EXPECT_EQ(typeid(plain), typeid(Blender));
  ASSERT_EQ(call("no", Blender::FEATHER), 0);
  EXPECT_EQ(dynamic_cast<cv::detail::FeatherBlender&>(*blender_).sharpness(), 0.1F);
  placeAt({0, 0, 400, 300}, {300, 0, 400, 300});  // large enough for more bands
  useImages(CV_8UC3, CV_8UC3);
  ASSERT_EQ(call("gc_color", Blender::MULTI_BAND), 0);
  EXPECT_EQ(dynamic_cast<cv::detail::MultiBandBlender&>(*blender_).numBands(), 3);
}

TEST_F(BlendTest, RefusesOtherTypesAndTouchesNothing) {
  for (const int blendType : {-1, 3, 100}) {
    SCOPED_TRACE(blendType);
    const cv::Mat before(3, 3, CV_8UC1, cv::Scalar(9));
    result_ = before;
    const StandardOutput output;
    EXPECT_EQ(call("no", blendType), 1);
    EXPECT_EQ(output.text(), kUnrecognized);
    EXPECT_EQ(result_.data, before.data);
    EXPECT_EQ(cv::countNonZero(before == 9), 9);
  }
}

TEST_F(BlendTest, PlacesImagesSideBySideOnBlack) {
  // Seam masks apply the gain of one half; plain footprints do not.
  for (const auto& [seamType, factor] : {std::pair{"gc_color", 0.5}, {"no", 1.0}}) {
    for (const int blendType : {Blender::NO, Blender::FEATHER}) {
      SCOPED_TRACE(std::string(seamType) + " " + std::to_string(blendType));
      ASSERT_EQ(call(seamType, blendType), 0);
      cv::Mat expected = cv::Mat::zeros(35, 90, CV_8UC3);
      expected(cv::Rect(0, 5, kWidth, kHeight)) = cv::Scalar::all(100 * factor);
      expected(cv::Rect(50, 0, kWidth, kHeight)) = cv::Scalar::all(200 * factor);
      EXPECT_THAT(result_, ImageNear(expected, blendType == Blender::NO ? 0 : 1));
    }
  }
}

TEST_F(BlendTest, SeamMasksDecideAndGainsAreAskedForByIndex) {
  placeAt({0, 0, kWidth, kHeight}, {0, 0, kWidth, kHeight});
  masks_[0].colRange(kWidth / 2, kWidth) = 0;
  masks_[1].colRange(0, kWidth / 2) = 0;
  ASSERT_EQ(call("voronoi", Blender::NO), 0);
  cv::Mat expected(kHeight, kWidth, CV_8UC3, cv::Scalar::all(50));
  expected.colRange(kWidth / 2, kWidth) = cv::Scalar::all(100);
  EXPECT_THAT(result_, EqualsImage(expected));
  using Applied = std::vector<std::pair<int, cv::Point>>;
  EXPECT_EQ(compensator_->applied, (Applied{{0, corners_[0]}, {1, corners_[1]}}));
}

TEST_F(BlendTest, ResamplesSeamMasksToTheWarpedSize) {
  masks_[0] = cv::Mat(kHeight / 2, kWidth / 2, CV_8UC1, cv::Scalar(255));
  masks_[1] = cv::Mat(kHeight / 3, kWidth / 4, CV_8UC1, cv::Scalar(0));
  ASSERT_EQ(call("gc_color", Blender::NO), 0);
  EXPECT_EQ(cv::countNonZero(result_.reshape(1) == 50), 3 * kWidth * kHeight);
  EXPECT_EQ(cv::countNonZero(result_.reshape(1) == 100), 0);
}

TEST_F(BlendTest, WithoutSeamsReadsNoMasksAndAppliesNoGains) {
  masks_.clear();
  ASSERT_EQ(call("no", Blender::NO), 0);
  EXPECT_TRUE(compensator_->applied.empty());
}

TEST_F(BlendTest, FirstImageDecidesTheChannels) {
  struct Case {
    int first, second, expected;
  };
  for (const Case& each : {Case{CV_8UC1, CV_8UC1, CV_8UC1},
                           Case{CV_8UC1, CV_8UC3, CV_8UC1},
                           Case{CV_8UC3, CV_8UC1, CV_8UC3}}) {
    for (const char* seamType : {"no", "gc_color"}) {
      SCOPED_TRACE(seamType);
      useImages(each.first, each.second);
      ASSERT_EQ(call(seamType, Blender::NO), 0);
      EXPECT_EQ(result_.type(), each.expected);
      EXPECT_EQ(result_.at<uchar>(5, 0), seamType == std::string("no") ? 100 : 50);
    }
  }
  for (const int type : compensator_->appliedTypes) {
    EXPECT_EQ(type, CV_8UC3);
  }
}

TEST_F(BlendTest, ResamplesOnlyWhenTheScaleIsFurtherThanATenthFromOne) {
  const struct {
    double scale;
    cv::Size source;
  } cases[] = {{1.08, {kWidth, kHeight}},
               {0.95, {kWidth, kHeight}},
               {static_cast<double>(0.9F), {36, 27}},
               {0.5, {20, 15}}};
  for (const auto& each : cases) {
    for (const char* seamType : {"no", "gc_color"}) {
      SCOPED_TRACE(each.scale);
      warper_->calls.clear();
      ASSERT_EQ(call(seamType, Blender::NO, each.scale), 0);
      ASSERT_FALSE(warper_->calls.empty());
      for (const SpyWarper::Call& warped : warper_->calls) {
        EXPECT_EQ(warped.source, each.source);
      }
    }
  }
}

TEST_F(BlendTest, WarpsWithTheInterpolationOfEachRoad) {
  ASSERT_EQ(call("gc_color", Blender::NO), 0);
  for (const SpyWarper::Call& each : warper_->calls) {
    EXPECT_EQ(each.interpolation, static_cast<int>(cv::INTER_CUBIC));
    EXPECT_EQ(each.border, static_cast<int>(cv::BORDER_CONSTANT));
  }
  warper_->calls.clear();
  ASSERT_EQ(call("no", Blender::NO), 0);
  ASSERT_EQ(warper_->calls.size(), 4U);
  for (const SpyWarper::Call& each : warper_->calls) {
    const bool isMask = each.type == CV_8UC1;
    EXPECT_EQ(each.interpolation, static_cast<int>(isMask ? cv::INTER_NEAREST : cv::INTER_LINEAR));
    EXPECT_EQ(each.border, static_cast<int>(isMask ? cv::BORDER_CONSTANT : cv::BORDER_REFLECT));
  }
}

TEST_F(BlendTest, CropsWarpedImagesLargerThanAnnounced) {
  // Two roundings of one size may differ by a pixel; the blenders do not test.
  for (const char* seamType : {"no", "gc_color"}) {
    for (const int blendType : {Blender::NO, Blender::FEATHER, Blender::MULTI_BAND}) {
      SCOPED_TRACE(std::string(seamType) + " " + std::to_string(blendType));
      placeAt({0, 0, kWidth + 1, kHeight + 1}, {kWidth, 0, kWidth + 1, kHeight + 1});
      sizes_ = {{kWidth, kHeight}, {kWidth, kHeight}};
      ASSERT_EQ(call(seamType, blendType), 0);
      EXPECT_EQ(result_.size(), cv::Size(2 * kWidth, kHeight));
    }
  }
}

TEST_F(BlendTest, WritesIntoNewMemoryAndLeavesTheInputsAlone) {
  const cv::Mat shared(35, 90, CV_8UC3, cv::Scalar::all(7));
  result_ = shared;
  const cv::Mat first = images_[0].clone(), mask = masks_[0].clone();
  ASSERT_EQ(call("gc_color", Blender::FEATHER), 0);
  EXPECT_EQ(cv::countNonZero(shared.reshape(1) == 7), 3 * 35 * 90);
  EXPECT_THAT(images_[0], EqualsImage(first));
  EXPECT_THAT(masks_[0], EqualsImage(mask));
}

TEST_F(BlendTest, LimitsFootprintsButNotTheMontage) {
  for (const int blendType : {Blender::NO, Blender::FEATHER, Blender::MULTI_BAND}) {
    placeAt({0, 0, kWidth, kHeight}, {40000 - kWidth, 3, kWidth, kHeight});
    ASSERT_EQ(call("no", blendType), 0);
    ASSERT_EQ(result_.size(), cv::Size(40000, kHeight + 3));
    EXPECT_NEAR(result_.at<cv::Vec3b>(kHeight / 2, kWidth / 2)[0], 100, 1);
    EXPECT_NEAR(result_.at<cv::Vec3b>(kHeight / 2, 40000 - kWidth / 2)[0], 200, 1);
  }
  for (const cv::Rect& degenerate : {cv::Rect(0, 0, 32767, kHeight),
                                     cv::Rect(0, 0, kWidth, 0),
                                     cv::Rect(INT_MIN, 0, kWidth, kHeight),
                                     cv::Rect(0, (1 << 24) - kHeight + 1, kWidth, kHeight)}) {
    placeAt({0, 0, kWidth, kHeight}, degenerate);
    EXPECT_THROW(call("no", Blender::NO), cv::Exception) << degenerate;
  }
}

}  // namespace
