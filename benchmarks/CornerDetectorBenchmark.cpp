// SPDX-License-Identifier: MIT
// The corner detector beside OpenCV's detector of the same response, with the settings of feature
// finding: 5000 corners, quality 0.0001, distance 5, window 5. Arguments: kilopixels, threads.
#include "Registration/CornerDetector.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <tbb/global_control.h>

#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kCapacity = 5000;
constexpr float kQualityLevel = 0.0001F;
constexpr float kMinDistance = 5.0F;
constexpr int kWindow = 5;

/// A photograph named by MONTAGE_BENCHMARK_PHOTO in grey, or noise smoothed at several scales.
cv::Mat scene() {
  if (const char* const file = std::getenv("MONTAGE_BENCHMARK_PHOTO")) {
    return cv::imread(file, cv::IMREAD_GRAYSCALE);
  }
  constexpr int kSceneSide = 4096;
  cv::Mat sum(kSceneSide, kSceneSide, CV_32FC1, cv::Scalar(0));
  cv::RNG random(1);
  for (int side = 32; side <= kSceneSide; side *= 2) {
    cv::Mat octave(side, side, CV_32FC1);
    random.fill(octave, cv::RNG::NORMAL, 0.0, 1.0);
    cv::resize(octave, octave, sum.size(), 0.0, 0.0, cv::INTER_CUBIC);
    sum += octave * (32.0 / side);
  }
  cv::Mat image;
  cv::normalize(sum, image, 0.0, 255.0, cv::NORM_MINMAX, CV_8U);
  return image;
}

/// The scene in float at the size and with the threads of the benchmark's arguments.
class Setting {
 public:
  explicit Setting(const benchmark::State& state)
      : threads_(tbb::global_control::max_allowed_parallelism,
                 static_cast<std::size_t>(state.range(1))) {
    cv::setNumThreads(static_cast<int>(state.range(1)));
    static const cv::Mat kScene = scene();
    const double pixels = static_cast<double>(state.range(0)) * 1000.0;
    const double scale = std::sqrt(pixels / static_cast<double>(kScene.total()));
    cv::resize(kScene, image, {}, scale, scale, scale < 1.0 ? cv::INTER_AREA : cv::INTER_CUBIC);
    image.convertTo(image, CV_32F);
  }
  cv::Mat image;

 private:
  tbb::global_control threads_;
};

void report(benchmark::State& state, const cv::Mat& image, double corners) {
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(image.total() * image.elemSize()));
  state.counters["corners"] = corners;
}

void findCorners(benchmark::State& state) {
  const Setting setting(state);
  const cv::Mat& image = setting.image;
  std::vector<float> points(2 * kCapacity);
  std::vector<float> responses(kCapacity);
  int count = 0;
  for (auto _ : state) {
    count = kCapacity;
    const int status =
        ORV::Common::Algorithms::Montage::Registration::findCorners(image.ptr<float>(),
                                                                    image.rows,
                                                                    image.cols,
                                                                    kQualityLevel,
                                                                    kMinDistance,
                                                                    points.data(),
                                                                    responses.data(),
                                                                    &count);
    if (status != 0) {
      state.SkipWithError("findCorners failed");
    }
  }
  report(state, image, count);
}

void goodFeaturesToTrack(benchmark::State& state) {
  const Setting setting(state);
  std::vector<cv::Point2f> corners;
  for (auto _ : state) {
    cv::goodFeaturesToTrack(setting.image,
                            corners,
                            kCapacity,
                            static_cast<double>(kQualityLevel),
                            static_cast<double>(kMinDistance),
                            cv::noArray(),
                            kWindow);
  }
  report(state, setting.image, static_cast<double>(corners.size()));
}

void sizesAndThreads(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"kilopixels", "threads"})
      ->ArgsProduct({{600, 8000}, {1, 2}})
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

BENCHMARK(findCorners)->Apply(sizesAndThreads);
BENCHMARK(goodFeaturesToTrack)->Apply(sizesAndThreads);

}  // namespace
