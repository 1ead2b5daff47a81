// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlainCorrection.h"
#include "DistortCorrect/PlaneFrame.h"
#include "DistortCorrect/PlaneProjection.h"
#include "DistortCorrect/SamplingGrid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

PlaneProjection stereographic(const plain::View& view, cv::Size source) {
  return PlaneProjection(Lift::kStereographic,
                         LensModel(view.halfFieldAngle, view.cubicCoeff, view.linearCoeff),
                         Orientation{view.yaw, view.pitch, view.roll},
                         PixelAxis::ofHalfSize(source.width),
                         PixelAxis::ofHalfSize(source.height));
}

TEST(PlaneProjection, AgreesWithTheClosedFormOfTheLens) {
  // A ray at polar angle a meets the plane at radius tan(a / 2) and the sphere at radius sin(a).
  plain::View view;
  view.halfFieldAngle = 1.1;
  view.linearCoeff = 0.9;
  view.cubicCoeff = 0.2;
  const cv::Size source(1000, 600);
  const PlaneProjection projection = stereographic(view, source);
  for (const double polar : {0.0, 0.3, 0.8, 1.5707963267948966, 2.0}) {
    for (const double azimuth : {0.0, 0.7, 2.0, 4.5}) {
      const double radius = std::tan(polar / 2.0);
      const SourcePosition position =
          projection.sourceFromPlane(static_cast<float>(radius * std::cos(azimuth)),
                                     static_cast<float>(radius * std::sin(azimuth)));
      const double rho = std::sin(polar);
      const double lens = rho * (0.9 + 0.2 * rho * rho) / std::sin(1.1);
      EXPECT_NEAR(position.col, 500.0 + 500.0 * lens * std::cos(azimuth), 1e-3);
      EXPECT_NEAR(position.row, 300.0 + 300.0 * lens * std::sin(azimuth), 1e-3);
    }
  }
}

TEST(PlaneProjection, TurnsTheViewByYawPitchAndRoll) {
  // The plane's centre looks along +z; yaw moves it to x = sin(yaw), pitch to y = -sin(pitch).
  plain::View view;
  view.halfFieldAngle = 1.5707963267948966;
  const cv::Size source(200, 100);
  view.yaw = 0.5;
  EXPECT_NEAR(
      stereographic(view, source).sourceFromPlane(0, 0).col, 100 + 100 * std::sin(0.5), 1e-4);
  view.yaw = 0.0;
  view.pitch = 0.5;
  EXPECT_NEAR(stereographic(view, source).sourceFromPlane(0, 0).row, 50 - 50 * std::sin(0.5), 1e-4);
  view.pitch = 0.0;
  view.roll = 1.5707963267948966;  // x turns to y
  const SourcePosition rolled = stereographic(view, source).sourceFromPlane(1, 0);
  EXPECT_NEAR(rolled.col, 100.0, 1e-4);
  EXPECT_NEAR(rolled.row, 100.0, 1e-4);
}

TEST(PlaneProjection, RectLiftHasNoFactorTwo) {
  const PlaneProjection projection(Lift::kRect,
                                   LensModel(1.5707963267948966, 0.0, 1.0),
                                   Orientation{0.0, 0.0, 0.0},
                                   PixelAxis::ofSize(200),
                                   PixelAxis::ofSize(100));
  EXPECT_EQ(projection.sourceFromPlane(0, 0).col, 100.0F);
  EXPECT_EQ(projection.sourceFromPlane(0, 0).row, 50.0F);
  EXPECT_FLOAT_EQ(projection.sourceFromPlane(0.5F, 0).col, (0.5F / 1.25F + 1) * 100);
  const PlaneProjection turned(Lift::kRect,
                               LensModel(1.5707963267948966, 0.0, 1.0),
                               Orientation{0.5, 0.0, 0.0},
                               PixelAxis::ofSize(200),
                               PixelAxis::ofSize(100));
  EXPECT_NEAR(turned.sourceFromPlane(0.5F, 0).col,
              100 + 100 * (0.4 * std::cos(0.5) + 0.8 * std::sin(0.5)),
              1e-4);
}

TEST(PlaneProjection, RowsAreBitEqualToTheScalarFormula) {
  cv::RNG random(7);
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    plain::View view{
        random.uniform(0.3, 2.8), random.uniform(-1.0, 1.0), random.uniform(-1.0, 2.0)};
    if (round % 2 == 1) {
      view.yaw = random.uniform(-2.0, 2.0);
      view.pitch = round % 10 == 9 ? kNaN : random.uniform(-2.0, 2.0);
      view.roll = random.uniform(-2.0, 2.0);
    }
    const Lift lift = round % 4 < 2 ? Lift::kStereographic : Lift::kRect;
    const PlaneProjection projection(
        lift,
        LensModel(view.halfFieldAngle, view.cubicCoeff, view.linearCoeff),
        Orientation{view.yaw, view.pitch, view.roll},
        PixelAxis::ofHalfSize(641),
        PixelAxis::ofSize(479));
    const int count = 1 + round;
    std::vector<float> xs(static_cast<std::size_t>(count));
    random.fill(xs, cv::RNG::UNIFORM, -2.0, 2.0);
    const float y = random.uniform(-2.0F, 2.0F);
    std::vector<float> cols(xs.size());
    std::vector<float> rows(xs.size());
    Extent extent;
    projection.sourceFromPlaneRow(xs.data(), count, y, cols.data(), rows.data(), extent);
    for (std::size_t i = 0; i < xs.size(); ++i) {
      const SourcePosition expected = projection.sourceFromPlane(xs[i], y);
      EXPECT_TRUE(cols[i] == expected.col || (std::isnan(cols[i]) && std::isnan(expected.col)));
      EXPECT_TRUE(rows[i] == expected.row || (std::isnan(rows[i]) && std::isnan(expected.row)));
    }
    if (!std::isnan(cols[0])) {
      EXPECT_EQ(extent.minX, *std::min_element(cols.begin(), cols.end()));
      EXPECT_EQ(extent.maxX, *std::max_element(cols.begin(), cols.end()));
      EXPECT_EQ(extent.minY, *std::min_element(rows.begin(), rows.end()));
      EXPECT_EQ(extent.maxY, *std::max_element(rows.begin(), rows.end()));
    } else {
      EXPECT_TRUE(extent.empty());
    }
  }
}

TEST(SterProject, ExportsMapsBitEqualToThePlainLoop) {
  constexpr int kSize = 53;
  const std::vector<float> axis = plain::grid(-1.5F, 1.5F, kSize);
  for (const double yaw : {0.0, 0.4, 1e-12}) {
    plain::View view{1.3, 0.1, 0.8, yaw, 0.0, 0.0};
    const plain::Maps expected = plain::maps(view, axis, axis, {321, 123});
    cv::Mat cols(kSize, kSize, CV_32F);
    cv::Mat rows(kSize, kSize, CV_32F);
    std::vector<float*> colTable;
    std::vector<float*> rowTable;
    for (int r = 0; r < kSize; ++r) {
      colTable.push_back(cols.ptr<float>(r));
      rowTable.push_back(rows.ptr<float>(r));
    }
    EXPECT_EQ(0,
              SterProject()(1.3,
                            0.1,
                            0.8,
                            view.yaw,
                            view.pitch,
                            0.0,
                            kSize,
                            1.5,
                            1,
                            321,
                            123,
                            colTable.data(),
                            rowTable.data()));
    EXPECT_EQ(view.yaw, yaw);
    EXPECT_TRUE(samePixels(cols, expected.cols));
    EXPECT_TRUE(samePixels(rows, expected.rows));
  }
  double yaw = 0.0;
  double pitch = 0.0;
  EXPECT_EQ(0,
            SterProject()(1.3, 0.1, 0.8, yaw, pitch, 0.0, 0, 1.5, 1, 321, 123, nullptr, nullptr));
}

TEST(Orientation, OnlyExactZerosDoNotRotate) {
  EXPECT_FALSE((Orientation{0.0, -0.0, 0.0}.rotates()));
  EXPECT_TRUE((Orientation{0.0, 0.0, 1e-12}.rotates()));
  EXPECT_TRUE((Orientation{0.0, kNaN, 0.0}.rotates()));
}

TEST(SterProject, LinSpaceAddsTheStepRepeatedly) {
  std::vector<float> values(1001, -7.0F);
  SterProject().LinSpace(-1.0F, 1.0F, 1000, values.data());
  const float step = 2.0F / 999.0F;
  float sum = -1.0F;
  for (std::size_t i = 0; i < 1000; ++i, sum += step) {
    ASSERT_EQ(values[i], sum) << i;
  }
  EXPECT_NE(values[999], 1.0F);  // the additions' rounding stays
  EXPECT_EQ(values[1000], -7.0F);
  SterProject().LinSpace(3.0F, 4.0F, 1, values.data());
  EXPECT_EQ(values[0], 3.0F);
  SterProject().LinSpace(5.0F, 6.0F, 0, values.data());
  EXPECT_EQ(values[0], 3.0F);
}

TEST(SterProject, MatMultAccumulatesIntoTheResult) {
  float a[] = {1, 2, 3, 4, 5, 6};     // 2 x 3
  float b[] = {7, 8, 9, 10, 11, 12};  // 3 x 2
  float c[] = {1, 0, 0, -1};
  SterProject().MatMult(a, b, c, 2, 2, 3);
  EXPECT_EQ(std::vector<float>(c, c + 4), (std::vector<float>{59, 64, 139, 153}));
  SterProject().MatMult(a, b, c, 0, 2, 3);
  EXPECT_EQ(c[0], 59.0F);
}

TEST(PlaneFrame, RangeSpansTheTangentsOfHalfAngles) {
  const PlaneFrame straight = frameOfRange(0.0, 0.0, 0, -90.0, 90.0);
  EXPECT_NEAR(straight.left, -1.0, 1e-12);
  EXPECT_NEAR(straight.right, 1.0, 1e-12);
  EXPECT_NEAR(straight.top, 1.0, 1e-12);  // the first row lies at positive y
  EXPECT_NEAR(straight.bottom, -1.0, 1e-12);

  const double degree = 3.14159265358979 / 180.0;
  const PlaneFrame turned = frameOfRange(10 * degree, -20 * degree, 5, -30.0, 40.0);
  EXPECT_NEAR(turned.left, std::tan(-22.5 * degree), 1e-12);
  EXPECT_NEAR(turned.right, std::tan(17.5 * degree), 1e-12);
  EXPECT_NEAR(turned.top, -std::tan(-7.5 * degree), 1e-12);
  EXPECT_NEAR(turned.bottom, -std::tan(32.5 * degree), 1e-12);
}

TEST(PlaneFrame, ConeOfAHalfSphereJustFitsTheUnitSquare) {
  const PlaneFrame half = frameOfCone({0.0, 0.0, 0.0}, 0, 90.0);
  EXPECT_FALSE(leavesUnitSquare(half));
  EXPECT_EQ(pixelCount(half.right - half.left, 1000.0), 1999);
  EXPECT_TRUE(leavesUnitSquare(frameOfCone({0.0, 0.0, 0.0}, 10, 90.0)));
  EXPECT_TRUE(leavesUnitSquare(frameOfCone({0.2, 0.0, 0.0}, 0, 90.0)));

  const PlaneFrame turned = frameOfCone({0.2, 0.0, 0.0}, 20, 30.0);
  EXPECT_NEAR(
      turned.right - turned.left, std::tan(0.1 + 0.314159265) + std::tan(0.314159265 - 0.1), 1e-6);
  EXPECT_LT(turned.top, turned.bottom);
}

TEST(PlaneFrame, ConeIsRolledThenPitchedThenYawed) {
  // A cone without width is the point opposite the lens axis: Ry(yaw) Rx(pitch) (0, 0, -1), which
  // no roll moves; projected from (0, 0, 1).
  const double yaw = 0.3;
  const double pitch = -0.2;
  const PlaneFrame point = frameOfCone({yaw, pitch, 0.7}, 0, 1e-9);
  const double scale = 1.0 / (1.0 + std::cos(yaw) * std::cos(pitch));
  EXPECT_NEAR(point.left, -std::sin(yaw) * std::cos(pitch) * scale, 1e-6);
  EXPECT_NEAR(point.right, point.left, 1e-6);
  EXPECT_NEAR(point.top, std::sin(pitch) * scale, 1e-6);
  EXPECT_NEAR(point.bottom, point.top, 1e-6);
  // The outline is narrower across its diagonals, where both tangents are those of h / sqrt(2).
  const double h = 0.7;
  const PlaneFrame rolled = frameOfCone({0.0, 0.0, 0.25 * CV_PI}, 0, 2.0 * h * 180.0 / CV_PI);
  EXPECT_NEAR(rolled.right, std::sqrt(2.0) * std::tan(h / std::sqrt(2.0)), 1e-6);
}

TEST(PlaneFrame, PixelCountTruncatesAndRefusesWhatNoIntHolds) {
  EXPECT_EQ(pixelCount(1.999, 1.0), 1);
  EXPECT_EQ(pixelCount(-0.999, 1.0), 0);
  EXPECT_EQ(pixelCount(-5.0, 1.0), 0);
  EXPECT_EQ(pixelCount(1e300, 1.0), 0);
  EXPECT_EQ(pixelCount(kNaN, 1.0), 0);
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
