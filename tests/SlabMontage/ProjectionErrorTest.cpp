// SPDX-License-Identifier: MIT
#include "SlabMontage.h"
#include "support/SyntheticFeatures.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using cv::detail::CameraParams;
using ORV::Common::Algorithms::Montage::SlabMontage;
using namespace ORV::TestSupport;

constexpr int kValues = 7;

/// Two images with one or more matches, all inliers of confidence 1.
class ProjectionError : public testing::Test {
 protected:
  ProjectionError() : matched_(unmatched(2, {640, 480})), cameras_(2) {
    for (CameraParams& camera : cameras_) {
      camera.focal = 400;
      camera.ppx = 320;
      camera.ppy = 240;
      camera.R = cv::Mat::eye(3, 3, CV_32F);
    }
  }

  void match(const PointPairs& points) {
    for (const auto& [source, destination] : points) {
      for (const auto& [from, to] : {std::pair{0, 1}, {1, 0}}) {
        auto& pair = pairFrom(from);
        const int index = static_cast<int>(matched_.features[0].keypoints.size());
        pair.src_img_idx = from;
        pair.dst_img_idx = to;
        pair.confidence = 1.0;
        pair.matches.emplace_back(index, index, 0.0F);
        pair.inliers_mask.push_back(1);
      }
      matched_.features[0].keypoints.emplace_back(source, 7.0F);
      matched_.features[1].keypoints.emplace_back(destination, 7.0F);
    }
  }

  cv::detail::MatchesInfo& pairFrom(int source) { return matched_.pairs[source == 0 ? 1 : 2]; }

  /// One row of seven values per record.
  cv::Mat records(float threshold = 0.7F) {
    cv::Mat residuals;
    EXPECT_EQ(SlabMontage().calcProjError(
                  matched_.features, matched_.pairs, threshold, cameras_, residuals),
              0);
    EXPECT_EQ(residuals.type(), CV_64FC1);
    EXPECT_EQ(residuals.cols, 1);
    EXPECT_EQ(residuals.rows % kValues, 0);
    return residuals.empty() ? cv::Mat() : residuals.reshape(0, residuals.rows / kValues);
  }

  Matched matched_;
  std::vector<CameraParams> cameras_;
};

TEST_F(ProjectionError, IsZeroWhereTheCamerasAgree) {
  match({{{100, 50}, {100, 50}}, {{600, 400}, {600, 400}}});
  const cv::Mat list = records();
  ASSERT_EQ(list.rows, 4);
  EXPECT_EQ(cv::countNonZero(list.colRange(4, 7)), 0);
  const double first[] = {0, 1, 100, 50, 0, 0, 0};
  EXPECT_EQ(cv::norm(list.row(0), cv::Mat(1, kValues, CV_64F, const_cast<double*>(first))), 0);
}

TEST_F(ProjectionError, IsTheDifferenceOfUnitRaysTimesTheMeanFocalLength) {
  // The optical axis of both, the second camera turned by 30 degrees about y.
  cameras_[1].focal = 900;
  cameras_[1].R = cv::Mat(cv::Matx33f(rotationOf({30, 0, 0})));
  match({{{320, 240}, {320, 240}}});
  const cv::Mat list = records();
  ASSERT_EQ(list.rows, 2);
  constexpr double kMeanFocal = 600;
  EXPECT_NEAR(list.at<double>(0, 4), -kMeanFocal * 0.5, 1e-4);
  EXPECT_NEAR(list.at<double>(0, 5), 0, 1e-9);
  EXPECT_NEAR(list.at<double>(0, 6), kMeanFocal * (1 - std::sqrt(0.75)), 1e-4);
}

TEST_F(ProjectionError, GoesThroughTheIntrinsics) {
  cameras_[0].aspect = cameras_[1].aspect = 1.25;  // vertical focal length 500
  match({{{620, 240}, {320, 240}}, {{320, 615}, {320, 240}}});
  const cv::Mat list = records();
  // Rays (3/4, 0, 1) and (0, 3/4, 1) against (0, 0, 1).
  EXPECT_NEAR(list.at<double>(0, 4), 400 * 0.6, 1e-9);
  EXPECT_NEAR(list.at<double>(0, 6), 400 * (0.8 - 1), 1e-9);
  EXPECT_NEAR(list.at<double>(1, 5), 400 * 0.6, 1e-9);
}

TEST_F(ProjectionError, IsNegatedInTheOtherDirection) {
  cameras_[1].R = cv::Mat(cv::Matx33f(rotationOf({4, -3, 2})));
  match({{{101, 52}, {33, 71}}});
  const cv::Mat list = records();
  ASSERT_EQ(list.rows, 2);
  EXPECT_EQ(cv::norm(list.row(0).colRange(4, 7), -list.row(1).colRange(4, 7)), 0);
  EXPECT_EQ(list.at<double>(1, 0), 1);
  EXPECT_EQ(list.at<double>(1, 1), 0);
  EXPECT_EQ(list.at<double>(1, 2), 33);
  EXPECT_EQ(list.at<double>(1, 3), 71);
}

TEST_F(ProjectionError, ListsInliersOfConfidentPairsOnly) {
  match({{{1, 1}, {1, 1}}, {{2, 2}, {2, 2}}, {{3, 3}, {3, 3}}});
  pairFrom(0).inliers_mask = {0, 1};  // shorter than the matches: the third is none
  pairFrom(1).inliers_mask = {0, 0, 0};
  const cv::Mat list = records();
  ASSERT_EQ(list.rows, 1);
  EXPECT_EQ(list.at<double>(0, 2), 2);

  pairFrom(0).confidence = 0.7F;
  EXPECT_EQ(records(0.7F).rows, 1);
  pairFrom(0).confidence = std::nextafter(static_cast<double>(0.7F), 0.0);
  EXPECT_EQ(records(0.7F).rows, 0);
  pairFrom(0).confidence = 1;
  pairFrom(0).dst_img_idx = -1;
  EXPECT_EQ(records().rows, 0);
}

}  // namespace
