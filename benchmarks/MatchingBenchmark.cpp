// SPDX-License-Identifier: MIT
// Matching: the exact matcher against OpenCV's own, on made-up SIFT-like descriptors and, with
// MONTAGE_BENCHMARK_DATA set to a folder of rendered views with a truth file, by right matches.
#include "Platform/OpenCvScope.h"
#include "Registration.h"
#include "Registration/ExactMatcher.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <cstdlib>
#include <string>

namespace {

using cv::detail::ImageFeatures;
using cv::detail::MatchesInfo;
using ORV::Common::Algorithms::Montage::Registration::ExactMatcher;
using ORV::Common::Algorithms::Montage::Registration::FeatureFinding;
using ORV::Common::Platform::FixedRandomState;

constexpr float kMatchConf = 0.3F;
constexpr int kFewestMatches = 6;

struct OpenCvMatcher : cv::detail::BestOf2NearestMatcher {
  OpenCvMatcher(float matchConf, int fewestMatches, int fewestInliers)
      : BestOf2NearestMatcher(false, matchConf, fewestMatches, fewestInliers) {}
};

/// Two images: every other descriptor of the second is one of the first with noise.
std::vector<ImageFeatures> madeUpFeatures(int count, int length, float largest) {
  cv::RNG random(static_cast<std::uint64_t>(count));
  cv::Mat first(count, length, CV_32F);
  cv::Mat second(count, length, CV_32F);
  for (int i = 0; i < count; ++i) {
    for (int k = 0; k < length; ++k) {
      first.at<float>(i, k) = static_cast<float>(random.uniform(0, 180)) * largest / 255;
      const float fresh = static_cast<float>(random.uniform(0, 180)) * largest / 255;
      const float noise = static_cast<float>(random.uniform(0, 20)) * largest / 255;
      second.at<float>(i, k) = i % 2 == 0 ? first.at<float>(i, k) + noise : fresh;
    }
  }
  std::vector<ImageFeatures> features(2);
  for (int i = 0; i < count; ++i) {
    const cv::Point2f place(static_cast<float>(random.uniform(0, 1000)),
                            static_cast<float>(random.uniform(0, 1000)));
    features[0].keypoints.emplace_back(place, 7.F);
    features[1].keypoints.emplace_back(place + cv::Point2f(400, 3), 7.F);
  }
  for (auto& image : features) {
    image.img_size = {1400, 1000};
  }
  first.copyTo(features[0].descriptors);
  second.copyTo(features[1].descriptors);
  return features;
}

template <class Matcher>
void matchMadeUp(benchmark::State& state, int length, float largest) {
  const auto features = madeUpFeatures(static_cast<int>(state.range(0)), length, largest);
  std::size_t matches = 0;
  for (auto _ : state) {
    const FixedRandomState fixedRandomState;
    Matcher matcher(kMatchConf, kFewestMatches, kFewestMatches);
    std::vector<MatchesInfo> pairs;
    matcher(features, pairs);
    matches = pairs[1].matches.size();
  }
  state.counters["matches"] = static_cast<double>(matches);
}

constexpr int kSiftLength = 128;
constexpr int kSurfLength = 64;

void siftExact(benchmark::State& state) {
  matchMadeUp<ExactMatcher>(state, kSiftLength, 255);
}
void siftOpenCv(benchmark::State& state) {
  matchMadeUp<OpenCvMatcher>(state, kSiftLength, 255);
}
void surfExact(benchmark::State& state) {
  matchMadeUp<ExactMatcher>(state, kSurfLength, 0.3F);
}
void surfOpenCv(benchmark::State& state) {
  matchMadeUp<OpenCvMatcher>(state, kSurfLength, 0.3F);
}
BENCHMARK(siftExact)->Arg(1500)->Arg(5000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(siftOpenCv)->Arg(1500)->Arg(5000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(surfExact)->Arg(5000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(surfOpenCv)->Arg(5000)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Rendered views with the homography of each overlapping pair, from `truth.json`.
struct RenderedViews {
  std::vector<ImageFeatures> features;
  struct Pair {
    int from;
    int to;
    cv::Matx33d toFromFrom;
  };
  std::vector<Pair> pairs;
};

RenderedViews loadRenderedViews(const std::string& folder) {
  RenderedViews views;
  const cv::FileStorage truth(folder + "/truth.json", cv::FileStorage::READ);
  CV_Assert(truth.isOpened());
  std::vector<cv::Mat> images;
  for (const auto& file : truth["slabs"][0]["files"]) {
    images.push_back(cv::imread(folder + "/" + static_cast<std::string>(file)));
  }
  views.features.resize(images.size());
  FeatureFinding()(images, 1.F, views.features);
  for (const auto& entry : truth["pairs"]) {
    RenderedViews::Pair pair{entry["i"], entry["j"], {}};
    for (int k = 0; k < 9; ++k) {
      pair.toFromFrom.val[k] = entry["H"][k / 3][k % 3];
    }
    if (pair.from < pair.to) {
      views.pairs.push_back(pair);
    }
  }
  return views;
}

/// Right: the true homography carries one feature to within two pixels of the other.
bool isRight(const cv::DMatch& match, const RenderedViews& views, const RenderedViews::Pair& pair) {
  constexpr double kTolerancePx = 2;
  const auto& from = views.features[static_cast<std::size_t>(pair.from)];
  const auto& to = views.features[static_cast<std::size_t>(pair.to)];
  const cv::Point2f a = from.keypoints[static_cast<std::size_t>(match.queryIdx)].pt;
  const cv::Point2f b = to.keypoints[static_cast<std::size_t>(match.trainIdx)].pt;
  const cv::Vec3d carried = pair.toFromFrom * cv::Vec3d(a.x, a.y, 1);
  return std::hypot(carried[0] / carried[2] - b.x, carried[1] / carried[2] - b.y) < kTolerancePx;
}

template <class Matcher>
void matchRendered(benchmark::State& state) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
  const char* folder = std::getenv("MONTAGE_BENCHMARK_DATA");
  if (folder == nullptr) {
    state.SkipWithError("MONTAGE_BENCHMARK_DATA is not set");
    return;
  }
  const auto views = loadRenderedViews(folder);
  std::vector<MatchesInfo> pairs;
  for (auto _ : state) {
    const FixedRandomState fixedRandomState;
    Matcher matcher(kMatchConf, kFewestMatches, kFewestMatches);
    matcher(views.features, pairs);
  }
  double right = 0;
  double all = 0;
  double inliers = 0;
  for (const auto& pair : views.pairs) {
    const auto& info = pairs[static_cast<std::size_t>(pair.from) * views.features.size() +
                             static_cast<std::size_t>(pair.to)];
    all += static_cast<double>(info.matches.size());
    inliers += info.num_inliers;
    for (const auto& match : info.matches) {
      right += isRight(match, views, pair) ? 1 : 0;
    }
  }
  double elsewhere = -all;  // of pairs that do not overlap
  for (std::size_t from = 0; from < views.features.size(); ++from) {
    for (std::size_t to = from + 1; to < views.features.size(); ++to) {
      elsewhere += static_cast<double>(pairs[from * views.features.size() + to].matches.size());
    }
  }
  state.counters["features"] = static_cast<double>(views.features[0].keypoints.size());
  state.counters["right"] = right;
  state.counters["wrong"] = all - right;
  state.counters["inliers"] = inliers;
  state.counters["elsewhere"] = elsewhere;
}

void renderedExact(benchmark::State& state) {
  matchRendered<ExactMatcher>(state);
}
void renderedOpenCv(benchmark::State& state) {
  matchRendered<OpenCvMatcher>(state);
}
BENCHMARK(renderedExact)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(renderedOpenCv)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
