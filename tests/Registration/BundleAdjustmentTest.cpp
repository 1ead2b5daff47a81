// SPDX-License-Identifier: MIT
#include "Registration.h"
#include "support/SyntheticFeatures.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using cv::detail::CameraParams;
using ORV::Common::Algorithms::Montage::Registration::BundleAdjustment;
using namespace ORV::TestSupport;

constexpr float kConfidence = 0.7F;
const cv::Size kSize(480, 360);

/// Up to `count` random points of the first image that the homography carries into the second.
PointPairs pointsCarriedBy(
    const cv::Matx33d& H, int count, double noise, cv::RNG& random, cv::Size size = kSize) {
  PointPairs points;
  for (int tries = 0; tries < 100 * count && static_cast<int>(points.size()) < count; ++tries) {
    const cv::Vec3d source(
        random.uniform(0.0, size.width - 1.0), random.uniform(0.0, size.height - 1.0), 1);
    const cv::Vec3d mapped = H * source;
    const cv::Point2d destination(mapped[0] / mapped[2] + random.gaussian(noise),
                                  mapped[1] / mapped[2] + random.gaussian(noise));
    if (cv::Rect2d(0, 0, size.width, size.height).contains(destination)) {
      points.emplace_back(cv::Point2f(static_cast<float>(source[0]), static_cast<float>(source[1])),
                          cv::Point2f(destination));
    }
  }
  return points;
}

double angleBetween(const cv::Matx33d& a, const cv::Matx33d& b) {
  const double cosine = (cv::trace(a.t() * b) - 1) / 2;
  return std::acos(std::min(1.0, std::max(-1.0, cosine)));
}

TEST(BundleAdjustment, RecoversFocalLengthAndRotations) {
  constexpr double kFocal = 520;
  const cv::Matx33d K = intrinsics(kFocal, kSize);
  const std::vector<cv::Matx33d> truth = {rotationOf({-14, 2, 1}),
                                          rotationOf({0, -3, -2}),
                                          rotationOf({13, 1, 3}),
                                          rotationOf({-2, 12, 0})};
  cv::RNG random(8);
  Matched matched = unmatched(4, kSize);
  for (int i = 0; i < 4; ++i) {
    for (int j = i + 1; j < 4; ++j) {
      const cv::Matx33d H =
          K * truth[static_cast<std::size_t>(j)].t() * truth[static_cast<std::size_t>(i)] * K.inv();
      addMatches(matched, i, j, pointsCarriedBy(H, 120, 0.05, random));
    }
  }
  std::vector<CameraParams> cameras(4);
  cameras[2].focal = std::nan("");  // whatever comes in is replaced
  cameras[3].R = cv::Mat();
  ASSERT_EQ(BundleAdjustment()(matched.features, matched.pairs, kConfidence, cameras), 0);
  ASSERT_EQ(cameras.size(), 4U);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(cameras[i].focal, kFocal, 0.005 * kFocal);
    EXPECT_EQ(cameras[i].R.type(), CV_32FC1);
    const cv::Matx33d relative =
        cv::Matx33d(cv::Matx33f(cameras[0].R)).t() * cv::Matx33d(cv::Matx33f(cameras[i].R));
    EXPECT_LT(angleBetween(relative, truth[0].t() * truth[i]), 0.001) << "camera " << i;
  }
}

TEST(BundleAdjustment, ReportsCamerasThatDiverge) {
  // No camera turns into its own mirror image: the adjustment runs into NaN.
  cv::RNG random(4);
  const cv::Matx33d mirror(-1, 0, kSize.width - 1, 0, 1, 0, 0, 0, 1);
  Matched matched = unmatched(2, kSize);
  addMatches(matched, 0, 1, pointsCarriedBy(mirror, 200, 0.3, random));
  std::vector<CameraParams> cameras;
  EXPECT_EQ(BundleAdjustment()(matched.features, matched.pairs, kConfidence, cameras), 2);
}

}  // namespace
