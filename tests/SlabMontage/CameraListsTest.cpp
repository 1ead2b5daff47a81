// SPDX-License-Identifier: MIT
#include "SlabMontage.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using cv::detail::CameraParams;
using cv::detail::MatchesInfo;
using ORV::Common::Algorithms::Montage::SlabMontage;

MatchesInfo pairOf(int source, int destination, double confidence) {
  MatchesInfo pair;
  pair.src_img_idx = source;
  pair.dst_img_idx = destination;
  pair.confidence = confidence;
  return pair;
}

CameraParams cameraOf(double focal, const cv::Matx33d& R) {
  CameraParams camera;
  camera.focal = focal;
  camera.aspect = 1.25;  // has no part in any list
  camera.R = cv::Mat(cv::Matx33f(R));
  return camera;
}

std::vector<double> valuesOf(const cv::Mat& column) {
  EXPECT_EQ(column.type(), CV_64FC1);
  EXPECT_EQ(column.cols, 1);
  std::vector<double> values;
  values.reserve(column.total());
  for (int row = 0; row < column.rows; ++row) {
    values.push_back(column.at<double>(row));
  }
  return values;
}

std::vector<double> focalsOf(std::vector<MatchesInfo> pairs,
                             std::vector<CameraParams> cameras,
                             float threshold) {
  cv::Mat focals;
  EXPECT_EQ(SlabMontage().calcFocals(pairs, threshold, cameras, focals), 0);
  return valuesOf(focals);
}

std::vector<double> anglesOf(std::vector<MatchesInfo> pairs, std::vector<CameraParams> cameras) {
  cv::Mat angles;
  EXPECT_EQ(SlabMontage().calcRotations(pairs, 0.7F, cameras, angles), 0);
  return valuesOf(angles);
}

std::vector<double> anglesOf(const cv::Matx33d& R) {
  return anglesOf({pairOf(0, 1, 1.0)}, {cameraOf(1, R)});
}

const cv::Matx33d kIdentity = cv::Matx33d::eye();

TEST(CameraLists, UsePairsFromTheThresholdOnInListOrder) {
  const double threshold = 0.7F;  // widened
  const std::vector<MatchesInfo> pairs = {pairOf(-1, -1, 2.0),
                                          pairOf(0, 1, threshold),
                                          pairOf(0, 2, std::nextafter(threshold, 0.0)),
                                          pairOf(2, -1, 1.0),  // only the source counts
                                          pairOf(1, 0, 5.0)};
  const std::vector<CameraParams> cameras = {
      cameraOf(100, kIdentity), cameraOf(200, kIdentity), cameraOf(300, kIdentity)};
  EXPECT_EQ(focalsOf(pairs, cameras, 0.7F), (std::vector<double>{100, 300, 200}));
  EXPECT_EQ(anglesOf(pairs, cameras).size(), 9U);
}

TEST(CameraLists, AreEmptyColumnsWithoutAUsedPair) {
  EXPECT_TRUE(focalsOf({pairOf(0, 1, 0.5)}, {cameraOf(1, kIdentity)}, 0.7F).empty());
  EXPECT_TRUE(anglesOf({}, {}).empty());
}

TEST(CameraLists, OwnTheirValues) {
  std::vector<MatchesInfo> pairs = {pairOf(0, 1, 1.0)};
  std::vector<CameraParams> cameras = {cameraOf(123, kIdentity)};
  const cv::Mat before(1, 1, CV_64F, cv::Scalar(7));
  cv::Mat focals = before;
  SlabMontage().calcFocals(pairs, 0.7F, cameras, focals);
  EXPECT_EQ(focals.at<double>(0), 123);
  EXPECT_EQ(before.at<double>(0), 7);
  EXPECT_NE(focals.u, nullptr);
}

TEST(CameraLists, AnglesRebuildTheRotation) {
  cv::RNG random(6);
  for (int round = 0; round < 50; ++round) {
    const double x = random.uniform(-3.1, 3.1), y = random.uniform(-1.5, 1.5),
                 z = random.uniform(-3.1, 3.1);
    const cv::Matx33d aboutX(1, 0, 0, 0, std::cos(x), -std::sin(x), 0, std::sin(x), std::cos(x));
    const cv::Matx33d aboutY(std::cos(y), 0, std::sin(y), 0, 1, 0, -std::sin(y), 0, std::cos(y));
    const cv::Matx33d aboutZ(std::cos(z), -std::sin(z), 0, std::sin(z), std::cos(z), 0, 0, 0, 1);
    const auto angles = anglesOf(aboutZ * aboutY * aboutX);
    EXPECT_NEAR(angles[0], x, 1e-5);
    EXPECT_NEAR(angles[1], y, 1e-5);
    EXPECT_NEAR(angles[2], z, 1e-5);
  }
}

TEST(CameraLists, AnglesOfSpecialRotations) {
  EXPECT_EQ(anglesOf(kIdentity), (std::vector<double>{0, 0, 0}));
  const auto quarterTurn = anglesOf(cv::Matx33d(0, 0, 1, 0, 1, 0, -1, 0, 0));
  EXPECT_EQ(quarterTurn[0], 0);
  EXPECT_NEAR(quarterTurn[1], CV_PI / 2, 1e-12);
  EXPECT_EQ(quarterTurn[2], 0);
  // Singular with a turn about x: R(1,1) and R(1,2) carry it.
  const auto rolled = anglesOf(cv::Matx33d(0, 0.6, 0.8, 0, 0.8, -0.6, -1, 0, 0));
  EXPECT_NEAR(rolled[0], std::atan2(0.6, 0.8), 1e-6);
  EXPECT_NEAR(rolled[1], CV_PI / 2, 1e-6);
  EXPECT_EQ(rolled[2], 0);
}

TEST(CameraLists, ListsMatricesThatAreNoRotationsByTheSameFormulas) {
  const auto angles = anglesOf(cv::Matx33d(3, 0, 0, 4, 1, 0, -5, 2, 8));
  EXPECT_NEAR(angles[0], std::atan2(2, 8), 1e-12);
  EXPECT_NEAR(angles[1], std::atan2(5, 5), 1e-12);
  EXPECT_NEAR(angles[2], std::atan2(4, 3), 1e-12);
}

}  // namespace
