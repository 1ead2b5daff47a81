// SPDX-License-Identifier: MIT
// Corners and descriptors of one image beside the same steps made of OpenCV's routines.
#include "Registration.h"
#include "support/SyntheticScene.h"

#include <benchmark/benchmark.h>
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>

#include <vector>

namespace {

const std::vector<cv::Mat>& images() {
  static const std::vector<cv::Mat> pictures{ORV::TestSupport::makePicture({894, 671}, 3)};
  return pictures;
}

void featuresOurs(benchmark::State& state) {
  using ORV::Common::Algorithms::Montage::Registration::FeatureFinding;
  std::vector<cv::Mat> input = images();
  std::vector<cv::detail::ImageFeatures> features(1);
  for (auto _ : state) {
    FeatureFinding()(input, 1.0F, features);
  }
  state.counters["keypoints"] = static_cast<double>(features[0].keypoints.size());
}

void featuresPlain(benchmark::State& state) {
  std::vector<cv::KeyPoint> keypoints;
  cv::Mat descriptors;
  for (auto _ : state) {
    cv::Mat grey;
    cv::extractChannel(images()[0], grey, 1);
    std::vector<cv::Point2f> corners;
    cv::goodFeaturesToTrack(grey, corners, 5000, 1e-4, 5.0, cv::noArray(), 5);
    keypoints.clear();
    for (const cv::Point2f& corner : corners) {
      keypoints.emplace_back(corner, 7.0F, -1.0F, 1.0F, 1, -1);
    }
    cv::SIFT::create(0, 3, 0.04, 10.0, 1.6)->compute(grey, keypoints, descriptors);
  }
  state.counters["keypoints"] = static_cast<double>(keypoints.size());
}

}  // namespace

BENCHMARK(featuresOurs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(featuresPlain)->Unit(benchmark::kMillisecond)->UseRealTime();
