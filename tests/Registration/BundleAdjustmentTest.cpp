// SPDX-License-Identifier: MIT
#include "Registration.h"
#include "support/SyntheticFeatures.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>
#include <opencv2/stitching/detail/motion_estimators.hpp>

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

/// Cameras as OpenCV's own classes refine them from the same pairs.
std::vector<CameraParams> camerasOfOpenCv(const Matched& matched) {
  std::vector<CameraParams> cameras;
  cv::detail::HomographyBasedEstimator estimator(false);
  estimator(matched.features, matched.pairs, cameras);
  for (CameraParams& camera : cameras) {
    camera.R.convertTo(camera.R, CV_32F);
  }
  cv::detail::BundleAdjusterRay adjuster;
  adjuster.setConfThresh(kConfidence);
  EXPECT_TRUE(adjuster(matched.features, matched.pairs, cameras));
  return cameras;
}

TEST(BundleAdjustment, EqualsOpenCvToTheLastBit) {
  const cv::Matx33d K = intrinsics(520, kSize);
  const std::vector<cv::Matx33d> turns = {
      rotationOf({-9, 2, 1}), rotationOf({0, -3, -2}), rotationOf({8, 1, 3})};
  cv::RNG random(21);
  Matched matched = unmatched(3, kSize);
  for (const auto& [i, j] : {std::pair{0, 1}, {1, 2}, {0, 2}}) {
    const auto from = static_cast<std::size_t>(i), to = static_cast<std::size_t>(j);
    const cv::Matx33d H = K * turns[to].t() * turns[from] * K.inv();
    // So few that OpenCV multiplies them itself and not through a BLAS of unknown order.
    addMatches(matched, i, j, pointsCarriedBy(H, 16, 0.5, random));
  }
  const auto setConfidence = [&](std::size_t i, std::size_t j, double confidence) {
    matched.pairs[i * 3 + j].confidence = matched.pairs[j * 3 + i].confidence = confidence;
  };
  setConfidence(0, 2, 0.6);  // must not take part
  setConfidence(1, 2, 0.8);  // must
  std::vector<CameraParams> cameras;
  ASSERT_EQ(BundleAdjustment()(matched.features, matched.pairs, kConfidence, cameras), 0);
  const std::vector<CameraParams> expected = camerasOfOpenCv(matched);
  ASSERT_EQ(cameras.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(cameras[i].focal, expected[i].focal);
    EXPECT_EQ(cameras[i].ppx, expected[i].ppx);
    EXPECT_EQ(cameras[i].ppy, expected[i].ppy);
    EXPECT_EQ(cv::norm(cameras[i].R, expected[i].R, cv::NORM_INF), 0);
  }
}

TEST(BundleAdjustment, HoldsTheFocalLengthsOfAFlatScene) {
  // Whole pixels make the homographies exact, and the estimate goes beyond 10^9 pixels.
  const std::vector<cv::Point> places = {{0, 0}, {180, 5}, {-7, 130}, {171, 122}};
  cv::RNG random(31);
  Matched matched = unmatched(4, kSize);
  for (int i = 0; i < 4; ++i) {
    for (int j = i + 1; j < 4; ++j) {
      const cv::Point2f shift(places[static_cast<std::size_t>(i)] -
                              places[static_cast<std::size_t>(j)]);
      PointPairs points;
      for (int k = 0; k < 60; ++k) {
        const cv::Point2f source(static_cast<float>(random.uniform(0, kSize.width)),
                                 static_cast<float>(random.uniform(0, kSize.height)));
        points.emplace_back(source, source + shift);
      }
      addMatches(matched, i, j, points);
    }
  }
  std::vector<CameraParams> cameras;
  ASSERT_EQ(BundleAdjustment()(matched.features, matched.pairs, kConfidence, cameras), 0);
  const auto rayFromPixel = [](const CameraParams& camera) {
    return cv::Matx33d(cv::Matx33f(camera.R)) * cv::Matx33d(cv::Mat(camera.K())).inv();
  };
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(cameras[i].focal, 1e5);
    cv::Matx33d firstFromHere = rayFromPixel(cameras[0]).inv() * rayFromPixel(cameras[i]);
    firstFromHere *= 1 / firstFromHere(2, 2);
    const cv::Matx33d shift(1, 0, places[i].x, 0, 1, places[i].y, 0, 0, 1);
    EXPECT_LT(cv::norm(firstFromHere - shift, cv::NORM_INF), 0.05) << "image " << i;
  }
}

TEST(BundleAdjustment, CannotTellTheCameraOfASingleImage) {
  Matched matched = unmatched(1, kSize);
  std::vector<CameraParams> cameras;
  EXPECT_EQ(BundleAdjustment()(matched.features, matched.pairs, kConfidence, cameras), 2);
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
