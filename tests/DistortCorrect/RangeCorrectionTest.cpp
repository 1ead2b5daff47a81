// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlainCorrection.h"
#include "DistortCorrect/PlaneFrame.h"

#include <gtest/gtest.h>

#include <functional>

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

/// Compares a correction of the disc with the crop of a whole rendering of `f`, h rows high.
void expectCropOfTheFrame(const PlaneFrame& f,
                          double density,
                          int h,
                          int type,
                          const std::function<Outputs(cv::Mat&)>& correct) {
  cv::Mat image = disc(type);
  const cv::Mat source = plain::smoothed(image, {1, 1}, {3, 3});
  const int w = static_cast<int>((f.right - f.left) * density);
  const plain::Maps m =
      plain::maps(kView,
                  plain::grid(static_cast<float>(f.left), static_cast<float>(f.right), w),
                  plain::grid(static_cast<float>(f.top), static_cast<float>(f.bottom), h),
                  image.size());
  const cv::Mat output = plain::sampled(source, m);
  const auto bandOf = [](const std::vector<int>& values) {
    const auto bright = [](int value) { return value > 0; };
    const auto first = std::find_if(values.begin(), values.end(), bright);
    const auto end = std::find_if_not(first, values.end(), bright);
    return cv::Range(static_cast<int>(first - values.begin()),
                     static_cast<int>(end - values.begin()));
  };
  const cv::Range columns = bandOf(plain::averages(output, 0));
  const cv::Range rows = bandOf(plain::averages(output, 1));

  const Outputs out = correct(image);
  ASSERT_EQ(out.status, 0);
  EXPECT_TRUE(samePixels(image, output(rows, columns)));
  EXPECT_EQ(out.yaw, ((w * 0.5 - columns.start) * 2 - columns.size()) / columns.size());
  EXPECT_EQ(out.pitch, ((h * 0.5 - rows.start) * 2 - rows.size()) / rows.size());
  EXPECT_NEAR(out.bounds[0], f.left + (f.right - f.left) * columns.start / w, 1e-12);
  EXPECT_NEAR(out.bounds[1], -(f.top + (f.bottom - f.top) * rows.end / h), 1e-12);
  EXPECT_NEAR(out.bounds[2], f.left + (f.right - f.left) * columns.end / w, 1e-12);
  EXPECT_NEAR(out.bounds[3], -(f.top + (f.bottom - f.top) * rows.start / h), 1e-12);
}

TEST(RangeCorrection, CropsTheSmoothedSourceSampledThroughWholeMaps) {
  const PlaneFrame f = frameOfRange(kView.yaw, kView.pitch, 7, -90.0, 90.0);
  const int h = static_cast<int>((f.top - f.bottom) * 200.0);
  for (const int type : {CV_8UC1, CV_8UC3}) {
    expectCropOfTheFrame(f, 200.0, h, type, [](cv::Mat& image) {
      return byRange(kView, 7, -90.0, 90.0, 200.0, image);
    });
  }
}

TEST(FieldOfViewCorrection, CropsTheSmoothedSourceSampledThroughWholeMaps) {
  // Turned as it is, the frame is not square.
  const PlaneFrame f = frameOfCone({kView.yaw, kView.pitch, kView.roll}, 10, 70.0);
  const int h = static_cast<int>((f.bottom - f.top) * 400.0);
  ASSERT_NE(h, static_cast<int>((f.right - f.left) * 400.0));
  for (const int type : {CV_8UC1, CV_8UC3}) {
    expectCropOfTheFrame(
        f, 400.0, h, type, [](cv::Mat& image) { return byField(kView, 10, 70.0, 400.0, image); });
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
