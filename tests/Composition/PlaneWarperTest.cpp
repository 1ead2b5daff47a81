// SPDX-License-Identifier: MIT
#include "Composition/PlaneWarper.h"

#include <gtest/gtest.h>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>
#include <tbb/global_control.h>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

struct Camera {
  cv::Mat K;
  cv::Mat R;
};

/// A camera somewhere near the usual: a field of view of 20 to 90 degrees, turned by some tenths of
/// a radian and rolled freely.
Camera randomCamera(cv::Size size, cv::RNG& random) {
  const float focal = static_cast<float>(size.width) * random.uniform(0.5F, 3.F);
  const cv::Matx33f K(focal,
                      0,
                      static_cast<float>(size.width) * random.uniform(0.4F, 0.6F),
                      0,
                      focal * random.uniform(0.95F, 1.05F),
                      static_cast<float>(size.height) * random.uniform(0.4F, 0.6F),
                      0,
                      0,
                      1);
  const cv::Vec3d tilt(random.uniform(-0.3, 0.3), random.uniform(-0.3, 0.3), 0);
  const cv::Vec3d roll(0, 0, random.uniform(-3.0, 3.0));
  cv::Matx33d tilted;
  cv::Matx33d rolled;
  cv::Rodrigues(tilt, tilted);
  cv::Rodrigues(roll, rolled);
  return {cv::Mat(K), cv::Mat(cv::Matx33f(tilted * rolled))};
}

cv::Mat randomImage(cv::Size size, int type, cv::RNG& random) {
  cv::Mat image(size, type);
  random.fill(image, cv::RNG::UNIFORM, 0, 256);
  return image;
}

testing::AssertionResult sameBytes(const cv::Mat& actual, const cv::Mat& expected) {
  if (actual.size() != expected.size() || actual.type() != expected.type()) {
    return testing::AssertionFailure()
           << actual.size() << " and " << expected.size() << " or types differ";
  }
  for (int row = 0; row < actual.rows; ++row) {
    const std::size_t length = static_cast<std::size_t>(actual.cols) * actual.elemSize();
    if (!std::equal(actual.ptr(row), actual.ptr(row) + length, expected.ptr(row))) {
      return testing::AssertionFailure() << "row " << row << " differs";
    }
  }
  return testing::AssertionSuccess();
}

struct Modes {
  Sampling image;
  Sampling mask;
};

/// The pairs that the seam and blending stages use.
const Modes kModes[] = {
    {{cv::INTER_CUBIC, cv::BORDER_CONSTANT}, {cv::INTER_CUBIC, cv::BORDER_CONSTANT}},
    {{cv::INTER_LINEAR, cv::BORDER_REFLECT}, {cv::INTER_NEAREST, cv::BORDER_CONSTANT}}};

TEST(PlaneWarper, GivesTheBytesOfOpenCv) {
  for (std::uint64_t seed = 1; seed <= 24; ++seed) {
    SCOPED_TRACE(seed);
    cv::RNG random(seed);
    const cv::Size size(random.uniform(2, 500), random.uniform(2, 400));
    const auto camera = randomCamera(size, random);
    const float scale = camera.K.at<float>(0, 0) * random.uniform(0.5F, 1.5F);
    const cv::Mat image = randomImage(size, seed % 2 == 0 ? CV_8UC1 : CV_8UC3, random);
    const cv::Mat allValid(size, CV_8UC1, cv::Scalar(255));
    const auto modes = kModes[seed / 2 % 2];

    cv::detail::PlaneWarper rival(scale);
    cv::Mat expected;
    cv::Mat expectedMask;
    cv::Mat expectedX;
    cv::Mat expectedY;
    const cv::Point corner = rival.warp(
        image, camera.K, camera.R, modes.image.interpolation, modes.image.border, expected);
    rival.warp(
        allValid, camera.K, camera.R, modes.mask.interpolation, modes.mask.border, expectedMask);
    const cv::Rect area = rival.buildMaps(size, camera.K, camera.R, expectedX, expectedY);

    const auto warper = ParallelPlaneWarperCreator().create(scale);
    cv::Mat warped;
    cv::Mat both;
    cv::Mat mask;
    cv::Mat x;
    cv::Mat y;
    EXPECT_EQ(warper->getScale(), scale);
    EXPECT_EQ(warper->warpRoi(size, camera.K, camera.R), rival.warpRoi(size, camera.K, camera.R));
    EXPECT_EQ(warper->warp(
                  image, camera.K, camera.R, modes.image.interpolation, modes.image.border, warped),
              corner);
    EXPECT_EQ(warpWithMask(*warper, image, camera.K, camera.R, modes.image, modes.mask, both, mask),
              corner);
    EXPECT_EQ(warper->buildMaps(size, camera.K, camera.R, x, y), area);
    EXPECT_TRUE(sameBytes(x, expectedX));
    EXPECT_TRUE(sameBytes(y, expectedY));
    EXPECT_TRUE(sameBytes(warped, expected));
    EXPECT_TRUE(sameBytes(both, expected));
    EXPECT_TRUE(sameBytes(mask, expectedMask));
  }
}

TEST(PlaneWarper, GivesTheSameForAnyWarperAndThreadCount) {
  cv::RNG random(77);
  const cv::Size size(700, 450);
  const auto camera = randomCamera(size, random);
  const float scale = camera.K.at<float>(0, 0);
  const cv::Mat image = randomImage(size, CV_8UC3, random);
  const auto warp = [&](cv::detail::RotationWarper& warper) {
    std::pair<cv::Mat, cv::Mat> result;
    warpWithMask(warper,
                 image,
                 camera.K,
                 camera.R,
                 kModes[0].image,
                 kModes[0].mask,
                 result.first,
                 result.second);
    return result;
  };
  ParallelPlaneWarper warper(scale);
  cv::detail::PlaneWarper rival(scale);
  const auto parallel = warp(warper);
  const auto other = warp(rival);
  const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
  const auto serial = warp(warper);
  EXPECT_TRUE(sameBytes(parallel.first, other.first));
  EXPECT_TRUE(sameBytes(parallel.second, other.second));
  EXPECT_TRUE(sameBytes(parallel.first, serial.first));
  EXPECT_TRUE(sameBytes(parallel.second, serial.second));
}

TEST(PlaneWarper, WarpsWithTranslationAndInPlace) {
  cv::RNG random(5);
  const cv::Size size(150, 90);
  const auto camera = randomCamera(size, random);
  const cv::Mat T = (cv::Mat_<float>(3, 1) << 0.1F, -0.05F, 0.2F);
  const cv::Mat image = randomImage(size, CV_8UC1, random);
  const cv::Mat identity = cv::Mat::eye(3, 3, CV_32F);
  ParallelPlaneWarper warper(100);
  cv::detail::PlaneWarper rival(100);
  cv::Mat warped;
  cv::Mat expected;
  EXPECT_EQ(
      warper.warp(image, camera.K, camera.R, T, cv::INTER_LINEAR, cv::BORDER_REFLECT, warped),
      rival.warp(image, camera.K, camera.R, T, cv::INTER_LINEAR, cv::BORDER_REFLECT, expected));
  EXPECT_TRUE(sameBytes(warped, expected));

  // A half turn in the plane keeps the size, so the destination may be the source itself.
  const cv::Mat halfTurn = (cv::Mat_<float>(3, 3) << -1, 0, 0, 0, -1, 0, 0, 0, 1);
  cv::Mat inPlace = image.clone();
  ParallelPlaneWarper unit(1);
  cv::detail::PlaneWarper unitRival(1);
  unitRival.warp(image, identity, halfTurn, cv::INTER_NEAREST, cv::BORDER_CONSTANT, expected);
  unit.warp(inPlace, identity, halfTurn, cv::INTER_NEAREST, cv::BORDER_CONSTANT, inPlace);
  ASSERT_EQ(expected.size(), size);
  EXPECT_TRUE(sameBytes(inPlace, expected));
}

TEST(PlaneWarper, RefusesAFootprintThatRemapCouldNotFillBeforeTakingMemory) {
  const cv::Mat K = (cv::Mat_<float>(3, 3) << 1, 0, 0, 0, 1, 0, 0, 0, 1);
  const cv::Mat R = cv::Mat::eye(3, 3, CV_32F);
  const cv::Mat image(3, 101, CV_8UC1, cv::Scalar(1));
  const auto sideOf = [&](float scale) {  // 100 * scale + 1 columns
    ParallelPlaneWarper warper(scale);
    cv::Mat warped;
    warper.warp(image, K, R, cv::INTER_NEAREST, cv::BORDER_CONSTANT, warped);
    return warped.cols;
  };
  EXPECT_EQ(sideOf(327.65F), 32766);
  for (const float scale : {327.66F, 1e6F, 1e30F}) {
    SCOPED_TRACE(scale);
    try {
      static_cast<void>(sideOf(scale));
      FAIL() << "not refused";
    } catch (const cv::Exception& error) {
      EXPECT_EQ(error.code, cv::Error::StsOutOfRange);
    }
  }
  ParallelPlaneWarper warper(1e5F);
  cv::Mat x;
  cv::Mat y;
  EXPECT_THROW(warper.buildMaps(image.size(), K, R, x, y), cv::Exception);
  EXPECT_TRUE(x.empty());
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Composition
