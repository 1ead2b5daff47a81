// SPDX-License-Identifier: MIT
/// @file
/// What the corrections take of memory, and what they do when there is none.
#include "DistortCorrect.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlaneRendering.h"
#include "DistortCorrect/SamplingGrid.h"
#include "support/FaultyMemory.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <atomic>
#include <cmath>
#include <new>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

using TestSupport::FaultyMemory;

constexpr double kQuarterTurn = 1.5707963267948966;

/// A disc of 60 px, whose corrections lie well inside their frames.
cv::Mat smallDisc() {
  cv::Mat image = cv::Mat::zeros(300, 300, CV_8UC3);
  cv::circle(image, {150, 150}, 30, cv::Scalar(90, 150, 210), cv::FILLED);
  return image;
}

int byRange(double halfFieldAngle, double density, cv::Mat& image) {
  double yaw = 0, pitch = 0, left = 0, top = 0, right = 0, bottom = 0;
  return SterProject()(halfFieldAngle,
                       0.0,
                       1.0,
                       yaw,
                       pitch,
                       0.0,
                       0,
                       -90.0,
                       90.0,
                       density,
                       left,
                       top,
                       right,
                       bottom,
                       image);
}

TEST(Memory, OnlyTheCropIsHeldAndNotThePlane) {
  constexpr int kSize = 3000;
  // Column sums and crops are small beside the plane's 27 MB.
  constexpr std::size_t kWorkingBytes = 3'000'000;
  cv::Mat range = smallDisc();
  cv::Mat square = smallDisc();
  cv::Mat rect = smallDisc();
  double yaw = 0, pitch = 0, bounds[4] = {};
  const FaultyMemory memory;
  EXPECT_EQ(0, byRange(kQuarterTurn, kSize / 2.0, range));
  EXPECT_EQ(0,
            SterProject().Process(kQuarterTurn,
                                  0.0,
                                  1.0,
                                  yaw,
                                  pitch,
                                  0.0,
                                  kSize,
                                  1.0,
                                  bounds[0],
                                  bounds[1],
                                  bounds[2],
                                  bounds[3],
                                  square));
  yaw = pitch = 0.0;
  EXPECT_EQ(0,
            SterProject().RectProject(kQuarterTurn, 0.0, 1.0, yaw, pitch, 0.0, kSize, 1.0, rect));
  for (const cv::Mat& crop : {range, square, rect}) {
    EXPECT_GT(crop.total() * crop.elemSize(), 100000U);
    EXPECT_LT(crop.total() * crop.elemSize(), kWorkingBytes);
  }
  EXPECT_LT(memory.largestMatrix(), kWorkingBytes);
}

TEST(Memory, WhatCannotHaveContentIsNotRendered) {
  struct Case {
    double halfFieldAngle;
    double roll;
    double firstX;
    cv::Mat source;
    bool rendered;
  };
  const double nan = std::nan("");
  const cv::Mat black = cv::Mat::zeros(300, 300, CV_8UC3);
  for (const Case& view : {Case{kQuarterTurn, 0.1, -1.0, smallDisc(), true},
                           Case{nan, 0.1, -1.0, smallDisc(), false},
                           Case{0.0, 0.1, -1.0, smallDisc(), false},  // an infinite lens factor
                           Case{kQuarterTurn, nan, -1.0, smallDisc(), false},
                           Case{kQuarterTurn, 0.1, nan, smallDisc(), false},
                           Case{kQuarterTurn, 0.1, -1.0, black, false}}) {
    std::atomic<bool> rendered{false};
    const PlanePicture picture(PlaneProjection(Lift::kStereographic,
                                               LensModel(view.halfFieldAngle, 0.0, 1.0),
                                               Orientation{0.0, 0.0, view.roll},
                                               PixelAxis::ofHalfSize(300),
                                               PixelAxis::ofHalfSize(300)),
                               {samplingGrid(view.firstX, 1.0, 40), samplingGrid(-1.0, 1.0, 40)},
                               view.source,
                               [&](const cv::Mat&, const cv::Mat&, cv::Mat& tile) {
                                 rendered = true;
                                 tile.setTo(cv::Scalar());
                               });
    const ContentProfile profile = picture.contentProfile();
    EXPECT_EQ(profile.columns, std::vector<int>(40, 0));
    EXPECT_EQ(profile.rows, std::vector<int>(40, 0));
    EXPECT_EQ(rendered, view.rendered) << view.halfFieldAngle << ", " << view.roll;
  }
  cv::Mat image = smallDisc();
  EXPECT_EQ(1, byRange(nan, 25000.0, image));
  EXPECT_THROW(byRange(kQuarterTurn, 1e6, image), cv::Exception);
}

TEST(Memory, WithoutMemoryForTheSmoothingNothingIsCorrected) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "allocations cannot be made to fail under the thread sanitizer";
#endif
  // A band's buffers are longer than a row: 9000 bytes here. Nothing else of that size is wanted.
  cv::Mat source = noise(20, 3000, CV_8UC3, 3);
  const cv::Mat before = source.clone();
  cv::Mat map = cv::Mat::zeros(4, 4, CV_32F);
  float* rows[] = {map.ptr<float>(0), map.ptr<float>(1), map.ptr<float>(2), map.ptr<float>(3)};
  cv::Mat output = cv::Mat::zeros(4, 4, CV_8UC3);
  const float sigma[] = {1.0F, 1.0F};
  const int kernelSize[] = {3, 3};
  cv::Mat image = source;

  FaultyMemory memory;
  memory.failFrom(9000);
  EXPECT_THROW(SterProject().Interpolate(source.data, rows, rows, 3, 3000, 20, 4, output.data),
               std::bad_alloc);
  EXPECT_THROW(byRange(kQuarterTurn, 100.0, image), std::bad_alloc);
  EXPECT_EQ(-1, SterProject().GaussianSmooth(source.data, 20, 3000, 3, sigma, kernelSize));
  memory.failFrom(0);

  EXPECT_TRUE(samePixels(source, before));
  EXPECT_EQ(cv::countNonZero(output.reshape(1)), 0);
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
