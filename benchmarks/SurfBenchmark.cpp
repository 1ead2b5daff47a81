// SPDX-License-Identifier: MIT
// SURF on a photograph of one megapixel, one thread; the rival is OpenCV's SIFT on the same image.
//
// Counters: time per pixel of detection, time per keypoint of orientation and description,
// keypoints.
#include "Registration/IntegralImage.h"
#include "Registration/SurfDescriptor.h"
#include "Registration/SurfDetector.h"
#include "Registration/SurfFeaturesFinder.h"
#include "Registration/SurfOrientation.h"

#include <benchmark/benchmark.h>
#include <opencv2/features2d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <tbb/global_control.h>

#include <cmath>
#include <string>

namespace {

using namespace ORV::Common::Algorithms::Montage::Registration;

constexpr double kPixels = 1e6;
constexpr SurfScaleSpace kDefaultScaleSpace{3, 4};
constexpr float kDefaultThreshold = 300.0F;

/// The photograph at one megapixel; empty, with the benchmark marked as failed, if it is missing.
cv::Mat photograph(benchmark::State& state) {
  const std::string path = std::string(MONTAGE_TEST_DATA) + "/scenes/life_by_Aitzol_Berasategi.jpg";
  const cv::Mat image = cv::imread(path, cv::IMREAD_GRAYSCALE);
  cv::Mat scaled;
  if (image.empty()) {
    state.SkipWithError(("no photograph at " + path).c_str());
  } else {
    const double scale = std::sqrt(kPixels / static_cast<double>(image.total()));
    cv::resize(image, scaled, cv::Size(), scale, scale, cv::INTER_AREA);
  }
  return scaled;
}

/// Keeps OpenCV and the library on the calling thread.
class SingleThread {
 public:
  SingleThread() { cv::setNumThreads(1); }
  ~SingleThread() { cv::setNumThreads(-1); }
  SingleThread(const SingleThread&) = delete;
  SingleThread& operator=(const SingleThread&) = delete;

 private:
  tbb::global_control limit_{tbb::global_control::max_allowed_parallelism, 1};
};

/// Time per pixel or per keypoint, of which an iteration treats `count`.
benchmark::Counter timePerOne(std::size_t count) {
  return benchmark::Counter(
      static_cast<double>(count),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void surfWhole(benchmark::State& state) {
  const SingleThread singleThread;
  const cv::Mat image = photograph(state);
  const SurfFeaturesFinder finder;
  std::vector<cv::KeyPoint> keypoints;
  cv::Mat descriptors;
  for (auto _ : state) {
    finder.find(image, keypoints, descriptors);
  }
  state.counters["keypoints"] = static_cast<double>(keypoints.size());
}
BENCHMARK(surfWhole)->Unit(benchmark::kMillisecond);

void siftWhole(benchmark::State& state) {
  const SingleThread singleThread;
  const cv::Mat image = photograph(state);
  std::vector<cv::KeyPoint> keypoints;
  cv::Mat descriptors;
  for (auto _ : state) {
    cv::SIFT::create()->detectAndCompute(image, cv::noArray(), keypoints, descriptors);
  }
  state.counters["keypoints"] = static_cast<double>(keypoints.size());
}
BENCHMARK(siftWhole)->Unit(benchmark::kMillisecond);

void surfDetection(benchmark::State& state) {
  const SingleThread singleThread;
  const cv::Mat image = photograph(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        detectSurfKeypoints(IntegralImage(image), kDefaultScaleSpace, kDefaultThreshold));
  }
  state.counters["perPixel"] = timePerOne(image.total());
}
BENCHMARK(surfDetection)->Unit(benchmark::kMillisecond);

void surfDescription(benchmark::State& state) {
  const SingleThread singleThread;
  const cv::Mat image = photograph(state);
  const IntegralImage integral(image);
  const auto detected = detectSurfKeypoints(integral, kDefaultScaleSpace, kDefaultThreshold);
  for (auto _ : state) {
    auto keypoints = detected;
    assignSurfOrientations(integral, keypoints);
    benchmark::DoNotOptimize(describeSurfKeypoints(image, keypoints));
  }
  state.counters["perKeypoint"] = timePerOne(detected.size());
}
BENCHMARK(surfDescription)->Unit(benchmark::kMillisecond);

}  // namespace
