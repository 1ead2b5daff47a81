// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/Images.h"

#include <gtest/gtest.h>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <numeric>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// Parameters without distortion, turn and scaling.
std::vector<double> neutral(cv::Size size) {
  return {0, 0, 0, 0, 0, size.width / 2.0, size.height / 2.0, 1, 300, 300, 0};
}

TEST(PinholeCorrection, WithoutDistortionCropsToPixelsBrighterThanTen) {
  cv::Mat grey = cv::Mat(40, 50, CV_8UC1, cv::Scalar(10));
  grey.at<unsigned char>(7, 9) = 11;
  grey.at<unsigned char>(20, 30) = 200;
  for (cv::Mat image : {grey.clone(), cv::Mat()}) {
    if (image.empty()) {
      cv::cvtColor(grey, image, cv::COLOR_GRAY2BGR);
    }
    cv::Mat frame;
    cv::Mat region = asRegion(image, frame);
    const cv::Mat expected = image(cv::Rect(9, 7, 22, 14)).clone();
    EXPECT_EQ(0, SterProject()(neutral(image.size()), image));
    EXPECT_TRUE(samePixels(image, expected));
    EXPECT_EQ(0, SterProject()(neutral(region.size()), region));
    EXPECT_TRUE(samePixels(region, expected));
    EXPECT_TRUE(surroundingsUntouched(frame));
  }
}

TEST(PinholeCorrection, CropsContentInTheFirstColumnsOfAnyRow) {
  for (int width = 44; width < 48; ++width) {  // every alignment of a row's start
    for (int row = 0; row < 4; ++row) {
      cv::Mat image = cv::Mat::zeros(5, width, CV_8UC1);
      image.at<unsigned char>(row, 0) = 100;
      image.at<unsigned char>(row, 2) = 100;
      ASSERT_EQ(0, SterProject()(neutral(image.size()), image));
      EXPECT_EQ(image.size(), cv::Size(3, 1)) << width << ", row " << row;
    }
  }
}

TEST(PinholeCorrection, TurnsCounterClockwiseAndScalesAboutTheCentre) {
  cv::Mat image = cv::Mat::zeros(101, 101, CV_8UC1);
  image(cv::Rect(68, 49, 5, 3)) = 255;  // right of the centre
  std::vector<double> params = neutral({100, 100});
  params[7] = 0.5;
  params[10] = 90.0;
  ASSERT_EQ(0, SterProject()(params, image));
  EXPECT_LE(std::abs(image.cols - 2), 1);  // half the size, on its side
  EXPECT_LE(std::abs(image.rows - 3), 1);
}

TEST(PinholeCorrection, PutsMarksWhereTheModelHasThem) {
  // Two marks at the ideal points (300, 0) and (0, 200) from the centre. Where the lens shows them
  // follows from the tangential terms; turned clockwise before, they lie in the source.
  const double f = 600.0;
  const double p1 = 0.05;
  const double p2 = -0.03;
  const double x = 0.5;
  const double y = 1.0 / 3.0;
  const cv::Point2d seen[] = {{f * (x + 3 * p2 * x * x), f * p1 * x * x},
                              {f * p2 * y * y, f * (y + 3 * p1 * y * y)}};
  cv::Mat image = cv::Mat::zeros(1001, 1001, CV_8UC3);
  const cv::Scalar colours[] = {{250, 0, 0}, {0, 0, 250}};
  for (int i = 0; i < 2; ++i) {
    const cv::Point source(cvRound(500 - seen[i].y), cvRound(500 + seen[i].x));
    image(cv::Rect(source - cv::Point(3, 3), cv::Size(7, 7))) = colours[i];
  }
  ASSERT_EQ(0, SterProject()({0, 0, 0, p1, p2, 500, 500, 1, f, f, 90}, image));
  const auto middle = [&](int channel) {
    cv::Mat level;
    cv::extractChannel(image, level, channel);
    const cv::Moments m = cv::moments(level);
    return cv::Point2d(m.m10 / m.m00, m.m01 / m.m00);
  };
  const cv::Point2d apart = middle(0) - middle(2);
  EXPECT_NEAR(apart.x, 300.0, 1.5);
  EXPECT_NEAR(apart.y, -200.0, 1.5);
}

TEST(PinholeCorrection, RefusalsLeaveTheImage) {
  cv::Mat image = noise(20, 20, CV_8UC1, 3);
  const cv::Mat before = image.clone();
  EXPECT_EQ(1, SterProject()(std::vector<double>(10, 1.0), image));
  EXPECT_EQ(1, SterProject()(std::vector<double>(12, 1.0), image));
  for (const std::size_t zero : {7U, 8U, 9U}) {
    std::vector<double> params = neutral(image.size());
    params[zero] = 0.0;
    EXPECT_EQ(1, SterProject()(params, image));
  }
  EXPECT_TRUE(samePixels(image, before));
  cv::Mat dark(20, 20, CV_8UC3, cv::Scalar::all(10));
  EXPECT_EQ(1, SterProject()(neutral(dark.size()), dark));
  EXPECT_TRUE(samePixels(dark, cv::Mat(20, 20, CV_8UC3, cv::Scalar::all(10))));
}

/// Largest distance of an inner corner from the straight line through its row's end corners.
double rowBend(const cv::Mat& image) {
  const cv::Size board(9, 6);
  std::vector<cv::Point2f> corners;
  if (!cv::findChessboardCorners(image, board, corners)) {
    return -1.0;
  }
  cv::cornerSubPix(image,
                   corners,
                   {5, 5},
                   {-1, -1},
                   {cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 30, 0.01});
  double bend = 0.0;
  for (int row = 0; row < board.height; ++row) {
    const cv::Point2f* const line = &corners[static_cast<std::size_t>(row * board.width)];
    const cv::Point2f along = line[board.width - 1] - line[0];
    for (int i = 1; i < board.width - 1; ++i) {
      bend = std::max(bend, std::abs(along.cross(line[i] - line[0])) / cv::norm(along));
    }
  }
  return bend;
}

TEST(PinholeCorrection, StraightensThePhotographedChessboard) {
  for (const char* name : {"left01.jpg", "left04.jpg", "left08.jpg"}) {
    SCOPED_TRACE(name);
    cv::Mat image =
        cv::imread(std::string(MONTAGE_TEST_DATA "/chessboard_lens/") + name, cv::IMREAD_GRAYSCALE);
    if (image.empty()) {
      GTEST_SKIP() << "photographs are missing in " MONTAGE_TEST_DATA;
    }
    const double before = rowBend(image);
    ASSERT_EQ(0,
              SterProject()({-0.26637260909660682,
                             -0.038588898922304653,
                             0.23839153080878486,
                             0.0017831947042852964,
                             -0.00028122100441115472,
                             342.28315473308373,
                             235.57082909788173,
                             1.0,
                             535.91573396163199,
                             535.91573396163199,
                             0.0},
                            image));
    const double after = rowBend(image);
    ASSERT_GT(before, 1.0);
    ASSERT_GE(after, 0.0);
    EXPECT_LT(after, 0.5 * before);
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
