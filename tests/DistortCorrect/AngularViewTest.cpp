// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/AngularView.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlainCorrection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

TEST(AngularView, EqualsThePlainLoopsAndKeepsTheBuffer) {
  cv::RNG random(21);
  for (int round = 0; round < 24; ++round) {
    SCOPED_TRACE(round);
    const int type = round % 2 == 0 ? CV_8UC1 : CV_8UC3;
    cv::Mat image = noise(random.uniform(1, 300), random.uniform(1, 300), type, random.next());
    cv::Mat frame;
    cv::Mat region = asRegion(image, frame);
    const cv::Vec2d angles =
        round % 3 == 0 ? cv::Vec2d(0.0, 0.0)
                       : cv::Vec2d(random.uniform(-40.0, 40.0), random.uniform(-40.0, 40.0));
    const cv::Vec2d field(random.uniform(10.0, 160.0), random.uniform(10.0, 160.0));
    const double scale = random.uniform(0.0, 1.5);
    const double radial = random.uniform(-0.3, 0.3);
    const cv::Mat expected = plain::angularView(image, angles, field, scale, radial);
    const unsigned char* const buffer = image.data;
    for (cv::Mat* target : {&image, &region}) {
      EXPECT_EQ(
          0,
          SterProject()({}, {angles[0], angles[1]}, {field[0], field[1]}, scale, radial, *target));
      EXPECT_TRUE(samePixels(*target, expected));
    }
    EXPECT_EQ(image.data, buffer);
    EXPECT_TRUE(surroundingsUntouched(frame));
  }
}

TEST(AngularView, NarrowAndLowImagesEqualThePlainLoops) {
  // Fewer pixels in a band than the search for the extent takes side by side.
  for (const cv::Size size : {cv::Size(1, 1), {3, 2}, {2, 7}, {5, 3}, {3, 10925}, {15, 2185}}) {
    SCOPED_TRACE(size);
    cv::Mat image = noise(size.height, size.width, CV_8UC3, 5);
    const cv::Mat expected = plain::angularView(image, {20.0, -10.0}, {90.0, 70.0}, 1.0, 0.1);
    EXPECT_EQ(0, SterProject()({}, {20.0, -10.0}, {90.0, 70.0}, 1.0, 0.1, image));
    EXPECT_TRUE(samePixels(image, expected));
  }
}

TEST(AngularView, AViewWithoutTurnAndRadialTermIsTheTangentPlane) {
  // A plane point u on the axis lifts to 2u / (u^2 + 1) and projects back onto u.
  const Matrix3f identity{1, 0, 0, 0, 1, 0, 0, 0, 1};
  const AngularView view(AngleAxis(100, 100.0), AngleAxis(80, 100.0), identity, 0.0);
  EXPECT_EQ(view.planeFromPixel(40, 50), cv::Point2f(0, 0));
  EXPECT_NEAR(view.planeFromPixel(40, 90).x, std::tan(0.4), 1e-6);
  EXPECT_NEAR(view.planeFromPixel(10, 50).y, std::tan(-0.3), 1e-6);
  const AngularView radial(AngleAxis(100, 100.0), AngleAxis(80, 100.0), identity, 0.5);
  EXPECT_NEAR(radial.planeFromPixel(40, 90).x, std::tan(0.4) * (1 + 0.5 * 0.16), 1e-6);
}

TEST(AngularView, RowsThatOverflowDoNotCount) {
  // The radial term overflows in the outer rows, where no pixel has a place.
  const cv::Mat source = noise(200, 64, CV_8UC3, 3);
  const AngularView view(
      AngleAxis(64, 64 / 1.5), AngleAxis(200, 200 / 1.5), {1, 0, 0, 0, 1, 0, 0, 0, 1}, 4e19);
  EXPECT_TRUE(view.extentOfRow(0).empty());
  Extent both = view.extentOfRow(0);
  both.add(view.extentOfRow(120));
  both.add(view.extentOfRow(199));
  EXPECT_FALSE(both.empty());
  EXPECT_EQ(both.maxX, view.extentOfRow(120).maxX);
  EXPECT_EQ(both.minY, view.extentOfRow(120).minY);
  cv::Mat image = source.clone();
  EXPECT_EQ(0, SterProject()({}, {0.0, 0.0}, {90.0, 90.0}, 1.0, 4e19, image));
  EXPECT_TRUE(samePixels(image, plain::angularView(source, {0.0, 0.0}, {90.0, 90.0}, 1.0, 4e19)));
}

TEST(AngularView, UndefinedViewsAreBlack) {
  cv::Mat image = noise(20, 20, CV_8UC1, 1);
  EXPECT_EQ(0, SterProject()({}, {std::nan(""), 0.0}, {60.0, 60.0}, 1.0, 0.0, image));
  EXPECT_EQ(cv::countNonZero(image), 0);
}

TEST(AngularView, AnEmptyImageThrowsAPlainString) {
  for (cv::Mat image : {cv::Mat(), cv::Mat(0, 5, CV_8UC3), cv::Mat(5, 0, CV_8UC1)}) {
    try {
      SterProject()({}, {0.0, 0.0}, {60.0, 60.0}, 1.0, 0.0, image);
      FAIL() << "nothing thrown";
    } catch (const char* message) {
      EXPECT_EQ(std::string(message), "Invalid matrix dimensions");
    }
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
