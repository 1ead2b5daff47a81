// SPDX-License-Identifier: MIT
// Block gains and graph-cut seams beside OpenCV's classes, on views that overlap by half.
#include "Composition/ExposureGains.h"
#include "Composition/GraphCutSeams.h"
#include "support/SyntheticScene.h"

#include <benchmark/benchmark.h>
#include <opencv2/stitching/detail/exposure_compensate.hpp>
#include <opencv2/stitching/detail/seam_finders.hpp>

#include <cmath>
#include <vector>

namespace {

using namespace ORV::Common::Algorithms::Montage::Composition;

/// A grid of views of 4 : 3, each a little brighter or darker and noisy, with tilted borders.
SeamViews viewsInGrid(int count, double megapixels) {
  const int columns = count < 4 ? count : (count < 12 ? (count + 1) / 2 : 4);
  const int rows = (count + columns - 1) / columns;
  const int height = cvRound(std::sqrt(megapixels * 1e6 * 3 / 4));
  const cv::Size size(height * 4 / 3, height);
  const cv::Mat picture = ORV::TestSupport::makePicture(
      {size.width * (columns + 2) / 2, size.height * (rows + 2) / 2}, 7);
  cv::RNG random(3);
  SeamViews views;
  for (int i = 0; i < count; ++i) {
    const cv::Point corner(i % columns * size.width / 2 + random.uniform(0, 9),
                           i / columns * size.height / 2 + random.uniform(0, 9));
    cv::Mat image = picture(cv::Rect(corner, size)).clone();
    cv::Mat noise(size, CV_8UC3);
    random.fill(noise, cv::RNG::UNIFORM, 0, 6);
    image = image * random.uniform(0.8, 1.2) + noise;
    const cv::Mat tilt =
        cv::getRotationMatrix2D(cv::Point2f(cv::Point(size / 2)), random.uniform(-3.0, 3.0), 1.0);
    cv::Mat mask;
    cv::warpAffine(cv::Mat(size, CV_8UC1, cv::Scalar(255)), mask, tilt, size, cv::INTER_NEAREST);
    views.corners.push_back(corner);
    views.sizes.push_back(size);
    views.colour.emplace_back();
    image.copyTo(views.colour.back(), mask);
    views.masks.emplace_back();
    mask.copyTo(views.masks.back());
  }
  return views;
}

SeamViews viewsOf(const benchmark::State& state) {
  return viewsInGrid(static_cast<int>(state.range(0)), static_cast<double>(state.range(1)) / 1000);
}

void gainsOurs(benchmark::State& state) {
  const SeamViews views = viewsOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(exposureGains(views, [] {}));
  }
}

void gainsOpenCv(benchmark::State& state) {
  const SeamViews views = viewsOf(state);
  for (auto _ : state) {
    cv::detail::ExposureCompensator::createDefault(cv::detail::ExposureCompensator::GAIN_BLOCKS)
        ->feed(views.corners, views.colour, views.masks);
  }
}

template <class Cut>
void cutFresh(benchmark::State& state, const Cut& cut) {
  SeamViews views = viewsOf(state);
  std::vector<cv::UMat> uncut;
  for (const cv::UMat& mask : views.masks) {
    uncut.push_back(mask.clone());
  }
  for (auto _ : state) {
    for (std::size_t i = 0; i < uncut.size(); ++i) {
      uncut[i].copyTo(views.masks[i]);
    }
    cut(views);
  }
}

void seamsOurs(benchmark::State& state) {
  cutFresh(state, [](SeamViews& views) {
    cutSeams(
        views, SeamSearch::kExact, [] {}, [] {});
  });
}

void seamsCoarseToFine(benchmark::State& state) {
  cutFresh(state, [](SeamViews& views) {
    cutSeams(
        views, SeamSearch::kCoarseToFine, [] {}, [] {});
  });
}

void seamsOpenCv(benchmark::State& state) {
  cutFresh(state, [](SeamViews& views) {
    cv::detail::GraphCutSeamFinder(
        static_cast<int>(cv::detail::GraphCutSeamFinderBase::COST_COLOR), 10000.0F, 1000.0F)
        .find(views.inSinglePrecision(), views.corners, views.masks);
  });
}

/// Views, and thousandths of a megapixel of each.
void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"views", "kilopixels"})->Unit(benchmark::kMillisecond)->UseRealTime();
  for (const auto& [views, kilopixels] : {std::pair{4, 100}, {6, 100}, {12, 100}, {24, 100}}) {
    benchmark->Args({views, kilopixels});
  }
  benchmark->Args({4, 700});
}

BENCHMARK(gainsOurs)->Apply(sizes);
BENCHMARK(gainsOpenCv)->Apply(sizes);
BENCHMARK(seamsOurs)->Apply(sizes);
BENCHMARK(seamsCoarseToFine)->Apply(sizes);
BENCHMARK(seamsOpenCv)->Apply(sizes);

}  // namespace
