// SPDX-License-Identifier: MIT
// Warping an image of 2 megapixels and its mask onto the plane: the parallel plane warper against
// OpenCV's, which warps image and mask one after the other.
#include "Composition/PlaneWarper.h"

#include <benchmark/benchmark.h>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

namespace {

using ORV::Common::Algorithms::Montage::Composition::ParallelPlaneWarper;
using ORV::Common::Algorithms::Montage::Composition::Sampling;
using ORV::Common::Algorithms::Montage::Composition::warpWithMask;

const cv::Size kSize(1632, 1224);
constexpr float kFocal = 2400;

struct Scene {
  cv::Mat image;
  cv::Mat K;
  cv::Mat R;
};

Scene makeScene(int channels) {
  Scene scene;
  scene.image.create(kSize, CV_MAKETYPE(CV_8U, channels));
  cv::RNG(1).fill(scene.image, cv::RNG::UNIFORM, 0, 256);
  scene.K = (cv::Mat_<float>(3, 3) << kFocal, 0, 815.5F, 0, kFocal, 611.5F, 0, 0, 1);
  cv::Mat rotation;
  cv::Rodrigues(cv::Vec3d(0.05, 0.2, 0.03), rotation);
  rotation.convertTo(scene.R, CV_32F);
  return scene;
}

template <class Warper>
void warp(benchmark::State& state, Sampling imageSampling, Sampling maskSampling) {
  const auto scene = makeScene(static_cast<int>(state.range(0)));
  Warper warper(kFocal);
  for (auto _ : state) {
    cv::Mat warped;
    cv::Mat mask;
    warpWithMask(warper, scene.image, scene.K, scene.R, imageSampling, maskSampling, warped, mask);
    benchmark::DoNotOptimize(warped.data);
  }
  state.SetItemsProcessed(state.iterations() * kSize.area());
}

template <class Warper>
void maps(benchmark::State& state) {
  const auto scene = makeScene(1);
  Warper warper(kFocal);
  cv::Mat x;
  cv::Mat y;
  for (auto _ : state) {
    warper.buildMaps(kSize, scene.K, scene.R, x, y);
  }
  state.SetItemsProcessed(state.iterations() * kSize.area());
}

constexpr Sampling kCubic{cv::INTER_CUBIC, cv::BORDER_CONSTANT};
constexpr Sampling kLinear{cv::INTER_LINEAR, cv::BORDER_REFLECT};
constexpr Sampling kNearest{cv::INTER_NEAREST, cv::BORDER_CONSTANT};

void cubicOurs(benchmark::State& state) {
  warp<ParallelPlaneWarper>(state, kCubic, kCubic);
}
void cubicOpenCv(benchmark::State& state) {
  warp<cv::detail::PlaneWarper>(state, kCubic, kCubic);
}
void linearOurs(benchmark::State& state) {
  warp<ParallelPlaneWarper>(state, kLinear, kNearest);
}
void linearOpenCv(benchmark::State& state) {
  warp<cv::detail::PlaneWarper>(state, kLinear, kNearest);
}
void mapsOurs(benchmark::State& state) {
  maps<ParallelPlaneWarper>(state);
}
void mapsOpenCv(benchmark::State& state) {
  maps<cv::detail::PlaneWarper>(state);
}

BENCHMARK(cubicOurs)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(cubicOpenCv)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(linearOurs)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(linearOpenCv)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(mapsOurs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(mapsOpenCv)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
