// SPDX-License-Identifier: MIT
// Parts of the pipeline against closed forms and plain loops.
#include "Pipeline/Crop.h"
#include "Registration/Cameras/RayDifferences.h"
#include "Registration/NormalEquations.h"
#include "Registration/PatchAlignment.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>

namespace {

using namespace ORV::TestSupport;
namespace stages = ORV::Common::Algorithms::Montage::Registration;

TEST(CondensedErrors, KeepTheLossesAndTheirSlopes) {
  cv::RNG random(6);
  std::vector<stages::PointPair> points;
  for (int i = 0; i < 40; ++i) {
    const cv::Point2d point(random.uniform(-300.0, 300.0), random.uniform(-200.0, 200.0));
    points.push_back({point, point + cv::Point2d(random.gaussian(1.0), random.gaussian(1.0))});
  }
  constexpr double kLossScale = 0.7;
  std::array<double, 8> at = {1.25, 0.02, -0.01, 0.004, 1.2, 0.0, 0.0, 0.0};
  const auto errorsAt = [&](const std::array<double, 8>& p, bool withDerivatives) {
    return stages::condensedErrors(points,
                                   {p[0], {p[1], p[2], p[3]}},
                                   {p[4], {p[5], p[6], p[7]}},
                                   kLossScale,
                                   withDerivatives);
  };
  const auto costOf = [](const stages::CondensedErrors& condensed) {
    double squares = 0.0;
    for (const double error : condensed.errors) {
      squares += error * error;
    }
    return squares / 2;
  };
  const stages::CondensedErrors condensed = errorsAt(at, true);
  EXPECT_NEAR(costOf(condensed), costOf(errorsAt(at, false)), 1e-9);
  for (std::size_t parameter = 0; parameter < at.size(); ++parameter) {
    double slope = 0.0;
    for (std::size_t error = 0; error < condensed.errors.size(); ++error) {
      slope += condensed.errors[error] * condensed.derivatives[error][parameter];
    }
    constexpr double kStep = 1e-6;
    std::array<double, 8> before = at;
    std::array<double, 8> after = at;
    before[parameter] -= kStep;
    after[parameter] += kStep;
    const double expected =
        (costOf(errorsAt(after, false)) - costOf(errorsAt(before, false))) / (2 * kStep);
    EXPECT_NEAR(slope, expected, 1e-3 * std::max(1.0, std::abs(expected))) << parameter;
  }
}

TEST(LargestRectangle, EqualsTryingAll) {
  cv::RNG random(2);
  for (int round = 0; round < 60; ++round) {
    cv::Mat covered(random.uniform(1, 9), random.uniform(1, 9), CV_8UC1);
    random.fill(covered, cv::RNG::UNIFORM, 0, 100);
    covered = covered < 75;
    int largest = 0;
    for (int y = 0; y < covered.rows; ++y) {
      for (int x = 0; x < covered.cols; ++x) {
        for (int h = 1; y + h <= covered.rows; ++h) {
          for (int w = 1; x + w <= covered.cols; ++w) {
            const bool full = cv::countNonZero(covered(cv::Rect(x, y, w, h))) == w * h;
            largest = std::max(largest, full ? w * h : 0);
          }
        }
      }
    }
    const cv::Rect found = montage::largestRectangle(covered);
    EXPECT_EQ(found.area(), largest) << covered;
    EXPECT_EQ(found.empty() ? 0 : cv::countNonZero(covered(found)), largest);
  }
}

TEST(PatchAlignment, FindsShiftsOfAFractionOfAPixel) {
  cv::Mat picture = greyOf(makePicture({300, 240}, 12));
  cv::RNG random(4);
  int found = 0;
  for (int round = 0; round < 40; ++round) {
    const cv::Point2d shift(random.uniform(-1.2, 1.2), random.uniform(-1.2, 1.2));
    const cv::Matx23d move(1, 0, shift.x, 0, 1, shift.y);
    cv::Mat moved;
    cv::warpAffine(picture, moved, move, picture.size(), cv::INTER_CUBIC, cv::BORDER_REFLECT);
    moved = moved * 0.7 + 20;  // brightness and contrast do not matter
    const cv::Point2d point(random.uniform(30, 270), random.uniform(30, 210));
    const auto aligned = stages::alignPatch(picture, moved, point, point, cv::Matx22d::eye());
    if (aligned) {
      ++found;
      EXPECT_LT(cv::norm(*aligned - point - shift), 0.12);
    }
  }
  EXPECT_GT(found, 20);
  const cv::Mat flat(240, 300, CV_8UC1, cv::Scalar(9));
  EXPECT_FALSE(stages::alignPatch(flat, flat, {99, 99}, {99, 99}, cv::Matx22d::eye()));
  EXPECT_FALSE(stages::alignPatch(picture, picture, {3, 99}, {3, 99}, cv::Matx22d::eye()));
}

TEST(NormalEquations, AgreeWithTheDenseOnes) {
  for (const int blocks : {3, 9}) {
    cv::RNG random(7);
    stages::NormalEquations equations(blocks);
    cv::Mat jacobian = cv::Mat::zeros(0, 4 * blocks, CV_64F);
    cv::Mat errors(0, 1, CV_64F);
    for (int first = 0; first < blocks; ++first) {
      for (int second = first + 1; second < std::min(blocks, first + 3); ++second) {
        cv::Mat derivatives(12, 8, CV_64F), edgeErrors(12, 1, CV_64F);
        random.fill(derivatives, cv::RNG::NORMAL, 0, 1);
        random.fill(edgeErrors, cv::RNG::NORMAL, 0, 1);
        equations.add(first, second, derivatives, edgeErrors.ptr<double>());
        cv::Mat rows = cv::Mat::zeros(12, 4 * blocks, CV_64F);
        derivatives.colRange(0, 4).copyTo(rows.colRange(4 * first, 4 * first + 4));
        derivatives.colRange(4, 8).copyTo(rows.colRange(4 * second, 4 * second + 4));
        jacobian.push_back(rows);
        errors.push_back(edgeErrors);
      }
    }
    cv::Mat dense = jacobian.t() * jacobian;
    dense.diag() *= 1.01;
    cv::Mat expected;
    cv::solve(dense, jacobian.t() * errors, expected, cv::DECOMP_SVD);
    EXPECT_LT(cv::norm(equations.solve(0.01), expected, cv::NORM_INF), 1e-10);
  }
}

}  // namespace
