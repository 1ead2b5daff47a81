// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlainCorrection.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <cmath>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

constexpr double kEntry = -123.0;

/// Runs the private square correction on a header of `image`.
plain::Result corrected(const plain::View& view, int n, double s, cv::Mat image) {
  plain::Result result;
  result.yaw = view.yaw;
  result.pitch = view.pitch;
  result.bounds = cv::Vec4d::all(kEntry);
  result.status = SterProject().Process(view.halfFieldAngle,
                                        view.cubicCoeff,
                                        view.linearCoeff,
                                        result.yaw,
                                        result.pitch,
                                        view.roll,
                                        n,
                                        s,
                                        result.bounds[0],
                                        result.bounds[1],
                                        result.bounds[2],
                                        result.bounds[3],
                                        image);
  result.image = image;
  return result;
}

void expectSame(const plain::Result& actual, const plain::Result& expected) {
  ASSERT_EQ(actual.status, expected.status);
  EXPECT_TRUE(samePixels(actual.image, expected.image));
  EXPECT_EQ(actual.yaw, expected.yaw);
  EXPECT_EQ(actual.pitch, expected.pitch);
  EXPECT_EQ(actual.bounds, expected.bounds);
}

TEST(SquareCorrection, TilesGiveWhatWholeMapsGive) {
  cv::RNG random(1);
  for (int round = 0; round < 24; ++round) {
    SCOPED_TRACE(round);
    const int type = round % 2 == 0 ? CV_8UC1 : CV_8UC3;
    cv::Mat image = noise(random.uniform(1, 300), random.uniform(1, 300), type, random.next());
    plain::View view{random.uniform(0.8, 1.5), random.uniform(-0.2, 0.2), random.uniform(0.6, 1.1)};
    if (round % 4 > 1) {
      view.yaw = random.uniform(-0.3, 0.3);
      view.pitch = random.uniform(-0.3, 0.3);
      view.roll = random.uniform(-3.0, 3.0);
    }
    const int n = random.uniform(2, 700);
    const double s = random.uniform(0.5, 1.6);
    expectSame(corrected(view, n, s, image.clone()), plain::square(view, n, s, image));
  }
}

TEST(SquareCorrection, FixedSizeIs9200OverTheUnitSquare) {
  cv::Mat image = noise(40, 60, CV_8UC1, 4);
  const plain::View view{1.5, 0.0, 2.0, 0.0, 1e-12, 0.0};  // content strictly inside
  const plain::Result expected = plain::square(view, 9200, 1.0, image);
  plain::Result result;
  double yaw = 0.0;
  double pitch = 1e-12;
  result.status = SterProject()(1.5,
                                0.0,
                                2.0,
                                yaw,
                                pitch,
                                0.0,
                                result.bounds[0],
                                result.bounds[1],
                                result.bounds[2],
                                result.bounds[3],
                                image);
  result.image = image;
  result.yaw = yaw;
  result.pitch = pitch;
  expectSame(result, expected);
  EXPECT_NEAR(result.yaw, 0.0, 0.05);
  EXPECT_GT(result.bounds[1], result.bounds[3]);  // the vertical axis points up
}

TEST(SquareCorrection, BrokenContentChangesNothing) {
  for (const bool columns : {true, false}) {
    cv::Mat image = cv::Mat::zeros(120, 120, CV_8UC3);
    image(cv::Rect(20, 20, 80, 80)) = cv::Scalar::all(200);
    (columns ? image.colRange(45, 75) : image.rowRange(45, 75)) = cv::Scalar::all(0);
    const cv::Mat before = image.clone();
    const plain::View view{1.5, 0.0, 1.0, 0.01, 0.02, 0.0};
    const plain::Result result = corrected(view, 200, 1.0, image);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.image.data, image.data);
    EXPECT_TRUE(samePixels(image, before));
    EXPECT_EQ(result.yaw, 0.01);
    EXPECT_EQ(result.pitch, 0.02);
    EXPECT_EQ(result.bounds, cv::Vec4d::all(kEntry));
  }
}

TEST(SquareCorrection, BlackAndUndefinedPositionsKeepAllButTheLastRowAndColumn) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const cv::Mat grey = noise(50, 50, CV_8UC1, 2);
  const plain::View views[] = {
      {1.2, 0.0, 1.0, nan, 0.0, 0.0}, {nan, 0.0, 1.0}, {1.2, nan, 1.0}, {0.0, 0.0, 0.0}};
  for (const plain::View& view : views) {
    const plain::Result result = corrected(view, 64, 1.0, grey.clone());
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(samePixels(result.image, cv::Mat::zeros(63, 63, CV_8UC1)));
    EXPECT_EQ(result.bounds, cv::Vec4d(-1.0, 1.0, 63 / 32.0 - 1.0, 1.0 - 63 / 32.0));
  }
  EXPECT_EQ(corrected({}, 64, 1.0, cv::Mat::zeros(9, 9, CV_8UC3)).image.size(), cv::Size(63, 63));
}

TEST(SquareCorrection, AnEmptyCropIsAnEmptyImageWithoutCentre) {
  const plain::Result result = corrected({}, 1, 1.0, noise(20, 20, CV_8UC1, 1));
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.image.empty());
  EXPECT_FALSE(std::isfinite(result.yaw));
  EXPECT_FALSE(std::isfinite(result.pitch));
}

TEST(SquareCorrection, BadInputRaisesOpenCvsExceptionAndChangesNothing) {
  const auto refused = [](cv::Mat image, int n) {
    const cv::Mat entry = image;
    const cv::Mat before = image.clone();
    double yaw = 0.5, pitch = 0.25, bounds[4] = {};
    EXPECT_THROW(SterProject().Process(1.2,
                                       0.0,
                                       1.0,
                                       yaw,
                                       pitch,
                                       0.0,
                                       n,
                                       1.0,
                                       bounds[0],
                                       bounds[1],
                                       bounds[2],
                                       bounds[3],
                                       image),
                 cv::Exception);
    EXPECT_EQ(yaw, 0.5);
    EXPECT_EQ(pitch, 0.25);
    EXPECT_EQ(image.data, entry.data);
    EXPECT_EQ(image.size(), entry.size());
    EXPECT_TRUE(image.empty() || samePixels(image, before));
  };
  refused(cv::Mat(), 64);
  refused(cv::Mat(0, 5, CV_8UC3), 64);
  refused(noise(9, 9, CV_8UC1, 1), 0);
  refused(noise(9, 9, CV_8UC1, 1), -3);
  refused(cv::Mat::zeros(9, 9, CV_32F), 64);
  refused(cv::Mat::zeros(1, 40000, CV_8UC1), 64);
}

TEST(SquareCorrection, ARegionOfALargerMatrixGivesTheResultOfItsClone) {
  for (const int type : {CV_8UC1, CV_8UC3}) {
    const cv::Mat clone = noise(90, 70, type, 8);
    cv::Mat frame;
    const cv::Mat region = asRegion(clone, frame);
    const plain::View view{1.3, 0.0, 1.0, 0.1, 0.0, 0.0};
    expectSame(corrected(view, 150, 1.0, region), corrected(view, 150, 1.0, clone.clone()));
    EXPECT_TRUE(surroundingsUntouched(frame));
    EXPECT_TRUE(samePixels(region, clone));  // the source's pixels are not written
  }
}

TEST(SquareCorrection, PhotographOfAFisheyeLensAgrees) {
  const cv::Mat photo = cv::imread(MONTAGE_TEST_DATA "/fisheye/hall_circular.jpg");
  if (photo.empty()) {
    GTEST_SKIP() << "photographs are missing in " MONTAGE_TEST_DATA;
  }
  const plain::View view{1.5, 0.0, 1.0, 0.2, -0.1, 0.05};
  expectSame(corrected(view, 1111, 1.0, photo.clone()), plain::square(view, 1111, 1.0, photo));
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
