// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlainCorrection.h"
#include "DistortCorrect/PlaneFrame.h"

#include <gtest/gtest.h>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

constexpr double kEntry = -123.0;

/// Outputs of a correction that frames a part of the plane.
struct Outputs {
  int status = 0;
  double yaw = 0.0;
  double pitch = 0.0;
  cv::Vec4d bounds = cv::Vec4d::all(kEntry);
};

Outputs byRange(const plain::View& view,
                int marginDeg,
                double low,
                double high,
                double density,
                cv::Mat& image) {
  Outputs out;
  out.yaw = view.yaw;
  out.pitch = view.pitch;
  out.status = SterProject()(view.halfFieldAngle,
                             view.cubicCoeff,
                             view.linearCoeff,
                             out.yaw,
                             out.pitch,
                             view.roll,
                             marginDeg,
                             low,
                             high,
                             density,
                             out.bounds[0],
                             out.bounds[1],
                             out.bounds[2],
                             out.bounds[3],
                             image);
  return out;
}

Outputs byField(
    const plain::View& view, int marginPercent, double coneDeg, double density, cv::Mat& image) {
  Outputs out;
  out.yaw = view.yaw;
  out.pitch = view.pitch;
  out.status = SterProject()(view.halfFieldAngle,
                             view.cubicCoeff,
                             view.linearCoeff,
                             out.yaw,
                             out.pitch,
                             view.roll,
                             marginPercent,
                             coneDeg,
                             density,
                             out.bounds[0],
                             out.bounds[1],
                             out.bounds[2],
                             out.bounds[3],
                             image);
  return out;
}

/// A bright, noisy disc on black: its correction lies inside the plane's unit square.
cv::Mat disc(int type) {
  cv::Mat mask = cv::Mat::zeros(200, 240, CV_8UC1);
  cv::circle(mask, {120, 100}, 70, cv::Scalar(255), cv::FILLED);
  cv::Mat image = cv::Mat::zeros(mask.size(), type);
  noise(200, 240, type, 3).copyTo(image, mask);
  return image;
}

const plain::View kView{1.5, 0.0, 1.0, 0.1, -0.05, 0.3};

TEST(RangeCorrection, CropsTheSmoothedSourceSampledThroughWholeMaps) {
  for (const int type : {CV_8UC1, CV_8UC3}) {
    cv::Mat image = disc(type);
    const cv::Mat source = plain::smoothed(image, {1, 1}, {3, 3});
    const PlaneFrame f = frameOfRange(kView.yaw, kView.pitch, 7, -90.0, 90.0);
    const int w = static_cast<int>((f.right - f.left) * 200.0);
    const int h = static_cast<int>((f.top - f.bottom) * 200.0);
    const plain::Maps m =
        plain::maps(kView,
                    plain::grid(static_cast<float>(f.left), static_cast<float>(f.right), w),
                    plain::grid(static_cast<float>(f.top), static_cast<float>(f.bottom), h),
                    image.size());
    const cv::Mat output = plain::sampled(source, m);
    const std::vector<int> columns = plain::averages(output, 0);
    const auto bright = [](int value) { return value > 0; };
    const auto left = std::find_if(columns.begin(), columns.end(), bright);
    const auto right = std::find_if_not(left, columns.end(), bright);
    const std::vector<int> rows = plain::averages(output, 1);
    const auto top = std::find_if(rows.begin(), rows.end(), bright);
    const auto bottom = std::find_if_not(top, rows.end(), bright);
    const cv::Rect crop(
        cv::Point(static_cast<int>(left - columns.begin()), static_cast<int>(top - rows.begin())),
        cv::Point(static_cast<int>(right - columns.begin()),
                  static_cast<int>(bottom - rows.begin())));

    const Outputs out = byRange(kView, 7, -90.0, 90.0, 200.0, image);
    ASSERT_EQ(out.status, 0);
    EXPECT_TRUE(samePixels(image, output(crop)));
    EXPECT_EQ(out.yaw, ((w * 0.5 - crop.x) * 2 - crop.width) / crop.width);
    EXPECT_EQ(out.pitch, ((h * 0.5 - crop.y) * 2 - crop.height) / crop.height);
    EXPECT_NEAR(out.bounds[0], f.left + (f.right - f.left) * crop.x / w, 1e-12);
    EXPECT_NEAR(out.bounds[1], -(f.top + (f.bottom - f.top) * (crop.y + crop.height) / h), 1e-12);
    EXPECT_NEAR(out.bounds[2], f.left + (f.right - f.left) * (crop.x + crop.width) / w, 1e-12);
    EXPECT_NEAR(out.bounds[3], -(f.top + (f.bottom - f.top) * crop.y / h), 1e-12);
  }
}

TEST(RangeCorrection, ContentAtTheBorderSmoothsTheSourceAndNothingElse) {
  cv::Mat image = disc(CV_8UC3);
  const cv::Mat expected = plain::smoothed(image, {1, 1}, {3, 3});
  const unsigned char* const buffer = image.data;
  const Outputs out = byRange(kView, 0, -20.0, 20.0, 200.0, image);
  EXPECT_EQ(out.status, 1);
  EXPECT_EQ(image.data, buffer);
  EXPECT_TRUE(samePixels(image, expected));
  EXPECT_EQ(out.yaw, kView.yaw);
  EXPECT_EQ(out.pitch, kView.pitch);
  EXPECT_EQ(out.bounds, cv::Vec4d::all(kEntry));

  cv::Mat black = cv::Mat::zeros(20, 20, CV_8UC1);
  EXPECT_EQ(byRange({}, 0, -90.0, 90.0, 100.0, black).status, 1);
}

TEST(RangeCorrection, SizesBelowOnePixelRaiseOpenCvsException) {
  cv::Mat image = disc(CV_8UC1);
  const cv::Mat before = image.clone();
  EXPECT_THROW(byRange(kView, 0, -90.0, 90.0, 0.4, image), cv::Exception);
  EXPECT_THROW(byRange(kView, 0, 90.0, -90.0, 100.0, image), cv::Exception);
  EXPECT_THROW(byField(kView, 0, 60.0, -1.0, image), cv::Exception);
  EXPECT_TRUE(samePixels(image, before));
  cv::Mat none;
  EXPECT_THROW(byRange(kView, 0, -90.0, 90.0, 100.0, none), cv::Exception);
}

TEST(RangeCorrection, ARegionOfALargerMatrixIsSmoothedInPlaceAndNothingAround) {
  cv::Mat clone = disc(CV_8UC3);
  cv::Mat frame;
  cv::Mat image = asRegion(clone, frame);
  const cv::Mat source = image;
  const Outputs out = byRange(kView, 7, -90.0, 90.0, 150.0, image);
  const cv::Mat smoothed = plain::smoothed(clone, {1, 1}, {3, 3});
  const Outputs expected = byRange(kView, 7, -90.0, 90.0, 150.0, clone);
  EXPECT_EQ(out.status, 0);
  EXPECT_EQ(out.bounds, expected.bounds);
  EXPECT_TRUE(samePixels(image, clone));
  EXPECT_TRUE(samePixels(source, smoothed));
  EXPECT_TRUE(surroundingsUntouched(frame));
}

TEST(FieldOfViewCorrection, FramesTheOutlineOfTheCone) {
  // Without rotation the outline is (tan(h cos), tan(h sin)) with h half the enlarged angle.
  const plain::View straight{1.5, 0.0, 1.0};
  cv::Mat image = disc(CV_8UC1);
  const Outputs out = byField(straight, 20, 70.0, 300.0, image);
  ASSERT_EQ(out.status, 0);
  const double edge = std::tan(70.0 * 1.2 * 0.5 * 3.14159265358979 / 180.0);
  const int size = static_cast<int>(2.0 * edge * 300.0);
  // The disc's centre is the picture's; row 0 is the outline's smallest y, yet the bounds negate.
  EXPECT_NEAR(out.yaw, 0.0, 0.02);
  EXPECT_NEAR(out.bounds[0] + edge, (size - image.cols) / 2 * 2.0 * edge / size, 0.02);
  EXPECT_LT(out.bounds[1], out.bounds[3]);
}

TEST(FieldOfViewCorrection, RefusesAViewBeyondTheUnitSquareWithoutTouchingTheImage) {
  cv::Mat image = disc(CV_8UC3);
  const cv::Mat before = image.clone();
  const Outputs out = byField(kView, 10, 90.0, 300.0, image);
  EXPECT_EQ(out.status, 1);
  EXPECT_TRUE(samePixels(image, before));
  EXPECT_EQ(out.yaw, kView.yaw);
  EXPECT_EQ(out.bounds, cv::Vec4d::all(kEntry));
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
