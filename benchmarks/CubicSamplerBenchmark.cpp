// SPDX-License-Identifier: MIT
// Bicubic sampling of one tile against cv::remap, both on one thread.
#include "Platform/CubicSampler.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <vector>

namespace {

namespace Platform = ORV::Common::Platform;

const cv::Size kSource(3456, 2304);  // 8 megapixels
const cv::Size kTile(256, 64);

/// Output pixels per source pixel and direction.
constexpr double kIdentityZoom = 1;
constexpr double kMagnifyingZoom = 3;

struct Maps {
  cv::Mat cols;
  cv::Mat rows;
};

/// One tile of a slightly rotated, slightly curved view: fresh in the caches, as maps are that were
/// just computed.
Maps makeMaps(double zoom) {
  constexpr double kAngle = 0.05;
  constexpr double kMargin = 20;  // all taps inside
  Maps maps{cv::Mat(kTile, CV_32F), cv::Mat(kTile, CV_32F)};
  for (int row = 0; row < kTile.height; ++row) {
    for (int col = 0; col < kTile.width; ++col) {
      const double x = col / zoom;
      const double y = row / zoom;
      maps.cols.at<float>(row, col) = static_cast<float>(
          kMargin + x * std::cos(kAngle) - y * std::sin(kAngle) + 5 * std::sin(y / 300));
      maps.rows.at<float>(row, col) = static_cast<float>(
          kMargin + x * std::sin(kAngle) + y * std::cos(kAngle) + 5 * std::sin(x / 300));
    }
  }
  return maps;
}

/// The parts of the source that one tile after the other shows.
std::vector<cv::Mat> sourceParts(const cv::Mat& source, double zoom) {
  constexpr int kMargins = 40;
  const cv::Size step(cvRound(kTile.width / zoom), cvRound(kTile.height / zoom));
  std::vector<cv::Mat> parts;
  for (int y = 0; y + step.height + kMargins <= source.rows; y += step.height) {
    for (int x = 0; x + step.width + kMargins <= source.cols; x += step.width) {
      parts.push_back(source(cv::Rect(x, y, step.width + kMargins, step.height + kMargins)));
    }
  }
  return parts;
}

/// Runs `sample(source, maps, tile)` over all parts and reports the time per output pixel.
template <class Sample>
void run(benchmark::State& state, int type, double zoom, const Sample& sample) {
  cv::setNumThreads(1);
  cv::Mat source(kSource, type);
  cv::RNG(1).fill(source, cv::RNG::UNIFORM, 0, 256);
  const std::vector<cv::Mat> parts = sourceParts(source, zoom);
  const Maps maps = makeMaps(zoom);
  cv::Mat tile(kTile, type);
  for (auto _ : state) {
    for (const cv::Mat& part : parts) {
      sample(part, maps, tile);
      benchmark::DoNotOptimize(tile.data);
    }
  }
  const double pixels = kTile.area() * static_cast<double>(parts.size());
  state.counters["per pixel"] = benchmark::Counter(
      pixels, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void CubicSamplerTiles(benchmark::State& state, int type, double zoom) {
  run(state, type, zoom, [](const cv::Mat& source, const Maps& maps, cv::Mat& tile) {
    Platform::CubicSampler(source).sample(maps.cols, maps.rows, tile);
  });
}

void OpenCvRemapTiles(benchmark::State& state, int type, double zoom) {
  run(state, type, zoom, [](const cv::Mat& source, const Maps& maps, cv::Mat& tile) {
    cv::remap(
        source, tile, maps.cols, maps.rows, cv::INTER_CUBIC, cv::BORDER_CONSTANT, cv::Scalar());
  });
}

BENCHMARK_CAPTURE(CubicSamplerTiles, GreyIdentity, CV_8UC1, kIdentityZoom);
BENCHMARK_CAPTURE(OpenCvRemapTiles, GreyIdentity, CV_8UC1, kIdentityZoom);
BENCHMARK_CAPTURE(CubicSamplerTiles, GreyMagnified, CV_8UC1, kMagnifyingZoom);
BENCHMARK_CAPTURE(OpenCvRemapTiles, GreyMagnified, CV_8UC1, kMagnifyingZoom);
BENCHMARK_CAPTURE(CubicSamplerTiles, ColourIdentity, CV_8UC3, kIdentityZoom);
BENCHMARK_CAPTURE(OpenCvRemapTiles, ColourIdentity, CV_8UC3, kIdentityZoom);
BENCHMARK_CAPTURE(CubicSamplerTiles, ColourMagnified, CV_8UC3, kMagnifyingZoom);
BENCHMARK_CAPTURE(OpenCvRemapTiles, ColourMagnified, CV_8UC3, kMagnifyingZoom);

}  // namespace
