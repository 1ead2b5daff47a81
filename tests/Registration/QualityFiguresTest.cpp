// SPDX-License-Identifier: MIT
#include "Registration/Cameras/QualityFigures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using namespace ORV::Common::Algorithms::Montage::Registration;

cv::Mat column(std::vector<double> values) {
  return values.empty() ? cv::Mat(0, 1, CV_64F) : cv::Mat(values, true);
}

TEST(QualityFigures, ErrorIsTheRootMeanSquareLengthOfTheRecords) {
  // Lengths 3 and 5; the first four values of a record do not count.
  EXPECT_DOUBLE_EQ(projectionErrorRmsOf(column({9, 9, 9, 9, 1, 2, 2, 8, 8, 8, 8, 0, -3, 4})),
                   std::sqrt((9.0 + 25.0) / 2));
  EXPECT_EQ(projectionErrorRmsOf(column({})), 0.0);
}

TEST(QualityFigures, RotationIsTheLargestNormOfATriple) {
  EXPECT_DOUBLE_EQ(largestRotationOf(column({0.1, 0, 0, -2, 1, -2, 0, 0, 1})), 3.0);
  EXPECT_EQ(largestRotationOf(column({})), 0.0);
}

TEST(QualityFigures, FocalsGiveMeanAndRange) {
  const FocalStatistics statistics = focalStatisticsOf(column({500, 400, 900}));
  EXPECT_DOUBLE_EQ(statistics.mean, 600);
  EXPECT_DOUBLE_EQ(statistics.range, 500);
  // The running maximum starts at the smallest positive number, so it stays there.
  EXPECT_DOUBLE_EQ(focalStatisticsOf(column({-3, -5})).range, 5 + 2.2250738585072014e-308);
  EXPECT_EQ(focalStatisticsOf(column({})).mean, -1.0);
  EXPECT_EQ(focalStatisticsOf(column({})).range, -1.0);
}

}  // namespace
