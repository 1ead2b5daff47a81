// SPDX-License-Identifier: MIT
#include "Composition/BlockGains.h"
#include "Composition/PlainComposition.h"
#include "Composition/PlaneWarper.h"
#include "Composition/SlabComposer.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>
#include <tbb/global_control.h>

#include <cmath>
#include <stdexcept>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

using cv::detail::Blender;
using cv::detail::ExposureCompensator;

constexpr float kScale = 300;

BlendOptions optionsOf(int kind) {
  return blendOptionsOf(kind).value();
}

cv::Mat turned(double pan, double tilt, double roll) {
  const cv::Matx33d about(
      std::cos(roll), -std::sin(roll), 0, std::sin(roll), std::cos(roll), 0, 0, 0, 1);
  const cv::Matx33d up(
      1, 0, 0, 0, std::cos(tilt), -std::sin(tilt), 0, std::sin(tilt), std::cos(tilt));
  const cv::Matx33d side(
      std::cos(pan), 0, std::sin(pan), 0, 1, 0, -std::sin(pan), 0, std::cos(pan));
  return cv::Mat(cv::Matx33f(side * up * about));
}

/// Three overlapping views of 260 x 190 pixels.
struct Scene {
  SlabGeometry geometry;
  SlabSeams seams;
  std::vector<cv::Mat> images;
  cv::Ptr<cv::detail::RotationWarper> warper = cv::makePtr<ParallelPlaneWarper>(kScale);

  explicit Scene(double composeScale = 1, int type = CV_8UC3) {
    geometry.composeScale = composeScale;
    cv::RNG random(0x1234);
    for (int i = 0; i < 3; ++i) {
      cv::Mat image(190, 260, type);
      random.fill(image, cv::RNG::UNIFORM, 0, 256);
      cv::blur(image, image, cv::Size(3, 3));
      images.push_back(image);
      cv::detail::CameraParams camera;
      camera.focal = 280 * composeScale;
      camera.ppx = 130 * composeScale;
      camera.ppy = 95 * composeScale;
      camera.R = turned(0.3 * (i - 1), 0.1 * i, 0.05 * i - 0.02);
      const cv::Size size(cvRound(260 * composeScale), cvRound(190 * composeScale));
      const cv::Rect roi = warper->warpRoi(size, intrinsicsOf(camera), camera.R);
      geometry.cameras.push_back(camera);
      geometry.corners.push_back(roi.tl());
      geometry.sizes.push_back(roi.size());
      cv::Mat mask = cv::Mat::zeros(60, 90, CV_8UC1);
      cv::circle(mask, {40, 30}, 40, cv::Scalar(255), cv::FILLED);
      seams.masks.push_back(mask);
    }
    useCompensator(ExposureCompensator::GAIN_BLOCKS);
  }

  /// Feeds the gains from random images, so that they differ from block to block.
  void useCompensator(int type) {
    cv::RNG random(9);
    std::vector<cv::Point> corners;
    std::vector<cv::UMat> shown;
    std::vector<cv::UMat> masks;
    for (int i = 0; i < 3; ++i) {
      cv::Mat image(80, 110, CV_8UC3);
      random.fill(image, cv::RNG::UNIFORM, 20 * i, 255 - 40 * i);
      corners.emplace_back(40 * i, 10 * i);
      image.copyTo(shown.emplace_back());
      cv::Mat(80, 110, CV_8U, cv::Scalar(255)).copyTo(masks.emplace_back());
    }
    seams.compensator = ExposureCompensator::createDefault(type);
    seams.compensator->feed(corners, shown, masks);
  }

  cv::Mat plain(int kind, bool withSeams) const {
    cv::detail::PlaneWarper plane(kScale);
    const auto cut = withSeams ? std::optional<SlabSeams>(seams) : std::nullopt;
    return composePlainly(plane, geometry, cut, *makeBlender(optionsOf(kind), false), images);
  }

  SlabComposer composer(int kind, bool withSeams) const {
    return withSeams ? SlabComposer(warper, geometry, seams, optionsOf(kind))
                     : SlabComposer(warper, geometry, optionsOf(kind));
  }

  /// Composes twice, with any kind of blending, and expects the plain montage.
  void expectPlain(const char* what) const {
    for (const int kind : {Blender::NO, Blender::FEATHER, Blender::MULTI_BAND}) {
      for (const bool withSeams : {true, false}) {
        const cv::Mat expected = plain(kind, withSeams);
        SlabComposer composing = composer(kind, withSeams);
        for (const char* slab : {"first", "second"}) {
          const cv::Mat montage = composing.compose(images);
          ASSERT_EQ(montage.type(), expected.type());
          ASSERT_EQ(montage.size(), expected.size());
          EXPECT_EQ(cv::norm(montage, expected, cv::NORM_INF), 0)
              << what << ", kind " << kind << ", seams " << withSeams << ", " << slab;
        }
      }
    }
  }
};

TEST(SlabComposer, EqualsWholeImagesWarpedCompensatedAndBlendedInTurn) {
  Scene().expectPlain("colour");
  Scene(1, CV_8UC1).expectPlain("grey");
  Scene(0.7).expectPlain("resampled");
  Scene(1.08).expectPlain("counts as full resolution");
}

TEST(SlabComposer, TakesTheChannelsOfTheFirstImage) {
  Scene mixed;
  cv::cvtColor(mixed.images[1], mixed.images[1], cv::COLOR_BGR2GRAY);
  mixed.expectPlain("colour first");
  std::swap(mixed.images[0], mixed.images[1]);
  mixed.expectPlain("grey first");
}

TEST(SlabComposer, CropsImagesThatExceedTheirPredictedFootprint) {
  Scene scene;
  scene.geometry.sizes[0] -= cv::Size(1, 0);
  scene.geometry.sizes[1] -= cv::Size(2, 1);
  scene.geometry.sizes[2] += cv::Size(1, 4);
  scene.expectPlain("other sizes");
}

TEST(SlabComposer, FollowsSlabsOfOtherSizesAndChannels) {
  Scene scene;
  SlabComposer composing = scene.composer(Blender::MULTI_BAND, true);
  static_cast<void>(composing.compose(scene.images));
  scene.images[1] = scene.images[1](cv::Rect(5, 0, 250, 185)).clone();
  EXPECT_EQ(cv::norm(composing.compose(scene.images), scene.plain(Blender::MULTI_BAND, true)), 0);
  for (cv::Mat& image : scene.images) {
    cv::cvtColor(image, image, cv::COLOR_BGR2GRAY);
  }
  EXPECT_EQ(cv::norm(composing.compose(scene.images), scene.plain(Blender::MULTI_BAND, true)), 0);
}

TEST(SlabComposer, GivesNewMemoryAndLeavesTheImagesAlone) {
  const Scene scene;
  std::vector<cv::Mat> copies;
  for (const cv::Mat& image : scene.images) {
    copies.push_back(image.clone());
  }
  SlabComposer composing = scene.composer(Blender::FEATHER, true);
  const cv::Mat first = composing.compose(scene.images);
  const cv::Mat second = composing.compose(scene.images);
  EXPECT_NE(first.data, second.data);
  for (std::size_t i = 0; i < copies.size(); ++i) {
    EXPECT_EQ(cv::norm(copies[i], scene.images[i], cv::NORM_INF), 0);
  }
}

TEST(SlabComposer, DoesNotDependOnTheNumberOfThreads) {
  const Scene scene(3);  // several tiles of every kind
  for (const int kind : {Blender::NO, Blender::FEATHER, Blender::MULTI_BAND}) {
    const cv::Mat parallel = scene.composer(kind, true).compose(scene.images);
    const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
    EXPECT_EQ(cv::norm(parallel, scene.composer(kind, true).compose(scene.images)), 0);
  }
}

/// A plane warper of the host's own, which shifts nothing but counts.
struct CountingWarper : cv::detail::PlaneWarper {
  CountingWarper() : PlaneWarper(kScale) {}
  cv::Point warp(cv::InputArray source,
                 cv::InputArray K,
                 cv::InputArray R,
                 int interpolation,
                 int border,
                 cv::OutputArray warped) override {
    ++warps;
    return PlaneWarper::warp(source, K, R, interpolation, border, warped);
  }
  int warps = 0;
};

TEST(SlabComposer, WarpsThroughAWarperOfAnotherKind) {
  const auto counting = cv::makePtr<CountingWarper>();
  Scene scene;
  scene.warper = counting;
  SlabComposer composing = scene.composer(Blender::NO, true);
  static_cast<void>(composing.compose(scene.images));
  EXPECT_EQ(counting->warps, 3);
  scene.expectPlain("other warper");
}

TEST(SlabComposer, AppliesCompensatorsOfOtherKinds) {
  Scene scene;
  for (const int type : {ExposureCompensator::NO,
                         ExposureCompensator::GAIN,
                         ExposureCompensator::CHANNELS,
                         ExposureCompensator::CHANNELS_BLOCKS}) {
    scene.useCompensator(type);
    scene.expectPlain("other compensator");
  }
  scene.seams.compensator = ExposureCompensator::createDefault(ExposureCompensator::GAIN_BLOCKS);
  EXPECT_THROW(static_cast<void>(scene.composer(Blender::NO, true).compose(scene.images)),
               std::out_of_range);
}

TEST(BlockGains, EqualTheCompensatorOnAnyPart) {
  cv::RNG random(0x6a1);
  for (int round = 0; round < 200; ++round) {
    cv::Mat gains(random.uniform(1, 8), random.uniform(1, 8), CV_32FC1);
    random.fill(gains, cv::RNG::UNIFORM, 0.1, round % 2 == 0 ? 1.5 : 6.0);
    cv::Mat image(random.uniform(1, 90), random.uniform(1, 90), CV_8UC3);
    random.fill(image, cv::RNG::UNIFORM, 0, 256);
    cv::detail::BlocksGainCompensator compensator;
    std::vector<cv::Mat> all{gains};
    compensator.setMatGains(all);
    cv::Mat expected = image.clone();
    compensator.apply(0, {}, expected, cv::noArray());

    const cv::Point first(random.uniform(0, image.cols), random.uniform(0, image.rows));
    const cv::Rect area(first, cv::Point(image.cols, image.rows));
    cv::Mat part = image(area).clone();
    BlockGains(gains, image.size(), 3).apply(area, part);
    ASSERT_EQ(cv::norm(part, expected(area), cv::NORM_INF), 0) << gains << image.size();
    cv::Mat grey;
    cv::extractChannel(image(area), grey, 1);
    BlockGains(gains, image.size(), 1).apply(area, grey);
    cv::Mat expectedGrey;
    cv::extractChannel(expected(area), expectedGrey, 1);
    ASSERT_EQ(cv::norm(grey, expectedGrey, cv::NORM_INF), 0) << gains << image.size();
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Composition
