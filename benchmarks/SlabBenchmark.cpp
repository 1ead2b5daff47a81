// SPDX-License-Identifier: MIT
// Composition of further slabs: the tile-wise composer against whole images warped, compensated and
// blended in turn by OpenCV, and ten slabs against cv::Stitcher. 12 made-up views of 2 megapixels.
#include "Composition/PlainComposition.h"
#include "Composition/PlaneWarper.h"
#include "Composition/SlabComposer.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/stitching.hpp>

#include <cmath>

namespace {

using cv::detail::Blender;
using namespace ORV::Common::Algorithms::Montage::Composition;

const cv::Size kImageSize(1632, 1224);
const cv::Size kSeamSize(366, 274);
constexpr int kAcross = 4;
constexpr int kDown = 3;
constexpr double kFocal = 2600;
constexpr double kStepAcross = 0.38;
constexpr double kStepDown = 0.34;
constexpr int kSlabs = 10;

cv::Mat rotationOf(double pan, double tilt, double roll) {
  cv::Matx33d turn = cv::Matx33d::eye();
  const cv::Vec3d angles(tilt, pan, roll);
  for (int axis = 0; axis < 3; ++axis) {
    const int a = (axis + 1) % 3;
    const int b = (axis + 2) % 3;
    cv::Matx33d about = cv::Matx33d::eye();
    about(a, a) = about(b, b) = std::cos(angles[axis]);
    about(b, a) = std::sin(angles[axis]);
    about(a, b) = -about(b, a);
    turn = about * turn;
  }
  return cv::Mat(cv::Matx33f(turn));
}

cv::Mat madeUpImage(cv::RNG& random) {
  cv::Mat coarse(kImageSize / 8, CV_8UC3);
  random.fill(coarse, cv::RNG::UNIFORM, 0, 256);
  cv::Mat image;
  cv::resize(coarse, image, kImageSize, 0, 0, cv::INTER_CUBIC);
  return image;
}

/// A grid of views with seams half-way between their centres and gains from block to block.
struct Scene {
  SlabGeometry geometry;
  SlabSeams seams;
  std::vector<cv::Mat> images;

  Scene() {
    cv::RNG random(12);
    geometry.composeScale = 1;
    cv::detail::PlaneWarper warper(static_cast<float>(kFocal));
    for (int i = 0; i < kAcross * kDown; ++i) {
      cv::detail::CameraParams camera;
      camera.focal = kFocal;
      camera.ppx = kImageSize.width / 2.0;
      camera.ppy = kImageSize.height / 2.0;
      camera.R = rotationOf(kStepAcross * (i % kAcross - (kAcross - 1) / 2.0),
                            kStepDown * (i / kAcross - (kDown - 1) / 2.0),
                            random.uniform(-0.03, 0.03));
      const cv::Rect roi = warper.warpRoi(kImageSize, intrinsicsOf(camera), camera.R);
      geometry.cameras.push_back(camera);
      geometry.corners.push_back(roi.tl());
      geometry.sizes.push_back(roi.size());
      images.push_back(madeUpImage(random));
    }
    cutSeams();
    std::vector<cv::Mat> gains(images.size());
    for (cv::Mat& blocks : gains) {
      blocks.create(9, 12, CV_32FC1);
      random.fill(blocks, cv::RNG::UNIFORM, 0.9, 1.1);
    }
    const auto compensator = cv::makePtr<cv::detail::BlocksGainCompensator>();
    compensator->setMatGains(gains);
    seams.compensator = compensator;
  }

 private:
  cv::Point2d centreOf(std::size_t i) const {
    return cv::Point2d(geometry.corners[i]) +
           cv::Point2d(geometry.sizes[i].width / 2.0, geometry.sizes[i].height / 2.0);
  }

  /// Every pixel of the montage goes to the image with the nearest centre.
  void cutSeams() {
    for (std::size_t i = 0; i < images.size(); ++i) {
      cv::Mat mask = cv::Mat::zeros(kSeamSize, CV_8UC1);
      for (int y = 0; y < mask.rows; ++y) {
        for (int x = 0; x < mask.cols; ++x) {
          const cv::Point2d place =
              cv::Point2d(geometry.corners[i]) +
              cv::Point2d(x * geometry.sizes[i].width / static_cast<double>(mask.cols),
                          y * geometry.sizes[i].height / static_cast<double>(mask.rows));
          const double own = cv::norm(place - centreOf(i));
          double nearest = own;
          for (std::size_t k = 0; k < images.size(); ++k) {
            nearest = std::min(nearest, cv::norm(place - centreOf(k)));
          }
          mask.at<uchar>(y, x) = own <= nearest ? 255 : 0;
        }
      }
      cv::dilate(mask, mask, cv::Mat());
      seams.masks.push_back(mask);
    }
  }
};

const Scene& scene() {
  static const Scene made;
  return made;
}

cv::Ptr<cv::detail::RotationWarper> ourWarper() {
  return cv::makePtr<ParallelPlaneWarper>(static_cast<float>(kFocal));
}

BlendOptions optionsOf(const benchmark::State& state) {
  return blendOptionsOf(static_cast<int>(state.range(0))).value();
}

SlabComposer composerFor(const BlendOptions& blending, bool withSeams) {
  return withSeams ? SlabComposer(ourWarper(), scene().geometry, scene().seams, blending)
                   : SlabComposer(ourWarper(), scene().geometry, blending);
}

/// Arguments: kind of blender, with seams or not.
void furtherSlab(benchmark::State& state) {
  SlabComposer composer = composerFor(optionsOf(state), state.range(1) != 0);
  benchmark::DoNotOptimize(composer.compose(scene().images));
  for ([[maybe_unused]] const auto _ : state) {
    benchmark::DoNotOptimize(composer.compose(scene().images));
  }
}

void furtherSlabPlain(benchmark::State& state) {
  const auto blender = makeBlender(optionsOf(state), false);
  cv::detail::PlaneWarper warper(static_cast<float>(kFocal));
  const auto seams = state.range(1) != 0 ? std::optional<SlabSeams>(scene().seams) : std::nullopt;
  for ([[maybe_unused]] const auto _ : state) {
    benchmark::DoNotOptimize(
        composePlainly(warper, scene().geometry, seams, *blender, scene().images));
  }
}

/// From nothing to the last of ten montages, which are kept.
void tenSlabs(benchmark::State& state) {
  for ([[maybe_unused]] const auto _ : state) {
    SlabComposer composer = composerFor({BlendKind::kMultiBand}, true);
    std::vector<cv::Mat> montages;
    for (int slab = 0; slab < kSlabs; ++slab) {
      montages.push_back(composer.compose(scene().images));
    }
    benchmark::DoNotOptimize(montages);
  }
}

/// As cv::Stitcher composes: it cuts the seams anew for every slab.
void tenSlabsStitcher(benchmark::State& state) {
  const auto stitcher = cv::Stitcher::create(cv::Stitcher::PANORAMA);
  stitcher->setWarper(cv::makePtr<cv::PlaneWarper>());
  stitcher->setExposureCompensator(cv::makePtr<cv::detail::BlocksGainCompensator>());
  stitcher->setSeamFinder(
      cv::makePtr<cv::detail::GraphCutSeamFinder>(cv::detail::GraphCutSeamFinderBase::COST_COLOR));
  stitcher->setBlender(makeBlender({BlendKind::kMultiBand}, false));
  stitcher->setRegistrationResol(cv::Stitcher::ORIG_RESOL);
  stitcher->setSeamEstimationResol(0.1);
  stitcher->setCompositingResol(cv::Stitcher::ORIG_RESOL);
  if (stitcher->setTransform(scene().images, scene().geometry.cameras) != cv::Stitcher::OK) {
    state.SkipWithError("cv::Stitcher does not take the cameras");
    return;
  }
  for ([[maybe_unused]] const auto _ : state) {
    for (int slab = 0; slab < kSlabs; ++slab) {
      cv::Mat montage;
      if (stitcher->composePanorama(scene().images, montage) != cv::Stitcher::OK) {
        state.SkipWithError("cv::Stitcher does not compose");
        return;
      }
    }
  }
}

void kindsAndSeams(benchmark::internal::Benchmark* slab) {
  for (const int withSeams : {1, 0}) {
    for (const int kind : {Blender::NO, Blender::FEATHER, Blender::MULTI_BAND}) {
      slab->Args({kind, withSeams});
    }
  }
  slab->ArgNames({"kind", "seams"})->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(furtherSlab)->Apply(kindsAndSeams);
BENCHMARK(furtherSlabPlain)->Apply(kindsAndSeams);
BENCHMARK(tenSlabs)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(tenSlabsStitcher)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
