// SPDX-License-Identifier: MIT
/// @file
/// The search for a fisheye lens's circle: drawn pictures, and photographs.
#include "correct/ContentCircle.h"
#include "hosts/HostScene.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace orv2d::tests {
namespace {

/// A scene in a circle on a surround of noise up to level 12.
cv::Mat fisheye(const cv::Size& size, const Circle& circle) {
  cv::Mat picture(size, CV_8UC3);
  cv::RNG(4).fill(picture, cv::RNG::UNIFORM, 0, 13);
  cv::Mat inside = cv::Mat::zeros(size, CV_8UC1);
  cv::circle(inside, circle.centre, cvRound(circle.radius), cv::Scalar(255), cv::FILLED);
  texturedScene(size, 6).copyTo(picture, inside);
  return picture;
}

void expectFound(const cv::Mat& picture, const Circle& circle, double tolerance) {
  const std::optional<Circle> found = findContentCircle(picture);
  ASSERT_TRUE(found);
  EXPECT_NEAR(found->centre.x, circle.centre.x, tolerance);
  EXPECT_NEAR(found->centre.y, circle.centre.y, tolerance);
  EXPECT_NEAR(found->radius, circle.radius, tolerance);
}

TEST(ContentCircle, IsFoundWholeOffCentreAndCutOffByTheFrame) {
  expectFound(fisheye({640, 480}, {{300, 250}, 200}), {{300, 250}, 200}, 4);
  expectFound(fisheye({1500, 1500}, {{740, 765}, 800}), {{740, 765}, 800}, 12);
  cv::Mat grey;
  cv::cvtColor(fisheye({480, 640}, {{260, 330}, 210}), grey, cv::COLOR_BGR2GRAY);
  expectFound(grey, {{260, 330}, 210}, 4);
}

TEST(ContentCircle, IgnoresAStampInACornerAndHotPixels) {
  cv::Mat picture = fisheye({640, 480}, {{330, 240}, 190});
  cv::putText(picture, "12:00", {1, 12}, cv::FONT_HERSHEY_PLAIN, 0.7, cv::Scalar::all(255));
  picture.at<cv::Vec3b>(470, 620) = {255, 255, 255};
  expectFound(picture, {{330, 240}, 190}, 6);
}

TEST(ContentCircle, IsNotFoundWherePicturesFillTheFrameOrAreBlack) {
  EXPECT_FALSE(findContentCircle(texturedScene({640, 480}, 2)));
  EXPECT_FALSE(findContentCircle(cv::Mat::zeros(480, 640, CV_8UC3)));
  EXPECT_FALSE(findContentCircle(cv::Mat::zeros(1, 1, CV_8UC1)));
}

TEST(ContentCircle, IsFoundInCircularFisheyePhotographsOnly) {
  const auto photograph = [](const std::string& name) {
    return cv::imread(MONTAGE_TEST_DATA "/fisheye/" + name + ".jpg", cv::IMREAD_ANYCOLOR);
  };
  const cv::Mat hall = photograph("hall_circular");
  if (hall.empty()) {
    GTEST_SKIP() << "photographs are missing in " MONTAGE_TEST_DATA;
  }
  expectFound(hall, {{800, 815}, 860}, 25);  // its rim glows, and the frame cuts it off
  expectFound(photograph("hall_circular_gray"), {{800, 815}, 860}, 25);
  // A canopy in the dark: what shows of it.
  expectFound(photograph("chestnut_circular"), {{1125, 930}, 725}, 60);
  EXPECT_FALSE(findContentCircle(photograph("beech_fullframe")));
  EXPECT_FALSE(findContentCircle(photograph("beech_fullframe_gray")));
}

}  // namespace
}  // namespace orv2d::tests
