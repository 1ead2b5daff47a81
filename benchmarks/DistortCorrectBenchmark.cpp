// SPDX-License-Identifier: MIT
/// @file
/// The distortion correction beside the plain way: row-parallel loops, whole maps, OpenCV's remap
/// and reduce. Ratios of `plain` to `ours` are the figures; the source is an 8-megapixel picture.
#include "DistortCorrect.h"
#include "DistortCorrect/PlainCorrection.h"
#include "DistortCorrect/PlaneFrame.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

using ORV::Common::Algorithms::DistortCorrect::frameOfCone;
using ORV::Common::Algorithms::DistortCorrect::PlaneFrame;
using ORV::Common::Algorithms::DistortCorrect::SterProject;

constexpr int kSide = 9200;

/// Seeded noise, blurred to the detail of a photograph, with a black rim.
cv::Mat photograph(int channels) {
  cv::Mat image(2448, 3264, CV_8UC(channels));
  cv::RNG(1).fill(image, cv::RNG::UNIFORM, 0, 256);
  cv::GaussianBlur(image, image, cv::Size(0, 0), 2.0);
  cv::rectangle(image, cv::Rect({0, 0}, image.size()), cv::Scalar(), 60);
  return image;
}

plain::View viewOf(bool rotated) {
  plain::View view{1.5, 0.05, 1.0};
  if (rotated) {
    view.yaw = 0.02;
    view.pitch = -0.01;
    view.roll = 0.3;
  }
  return view;
}

/// Arguments: channels, rotated.
void squareOurs(benchmark::State& state) {
  const cv::Mat image = photograph(static_cast<int>(state.range(0)));
  const plain::View view = viewOf(state.range(1) != 0);
  for (auto _ : state) {
    cv::Mat result = image;
    plain::Result out{0, {}, view.yaw, view.pitch, {}};
    out.status = SterProject()(view.halfFieldAngle,
                               view.cubicCoeff,
                               view.linearCoeff,
                               out.yaw,
                               out.pitch,
                               view.roll,
                               out.bounds[0],
                               out.bounds[1],
                               out.bounds[2],
                               out.bounds[3],
                               result);
    benchmark::DoNotOptimize(result.data);
    state.counters["status"] = out.status;
  }
}
void squarePlain(benchmark::State& state) {
  const cv::Mat image = photograph(static_cast<int>(state.range(0)));
  const plain::View view = viewOf(state.range(1) != 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(plain::square(view, kSide, 1.0, image).image.data);
  }
}

/// Argument: side of the output; colour, not rotated.
void growth(benchmark::State& state) {
  const cv::Mat image = photograph(3);
  const plain::View view = viewOf(false);
  for (auto _ : state) {
    cv::Mat result = image;
    plain::Result out{0, {}, view.yaw, view.pitch, {}};
    SterProject().Process(view.halfFieldAngle,
                          view.cubicCoeff,
                          view.linearCoeff,
                          out.yaw,
                          out.pitch,
                          view.roll,
                          static_cast<int>(state.range(0)),
                          1.0,
                          out.bounds[0],
                          out.bounds[1],
                          out.bounds[2],
                          out.bounds[3],
                          result);
    benchmark::DoNotOptimize(result.data);
  }
}

BENCHMARK(squareOurs)->ArgsProduct({{1, 3}, {0, 1}})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(squarePlain)->ArgsProduct({{1, 3}, {0, 1}})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(growth)
    ->ArgName("output side")
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Arg(8000)
    ->Arg(16000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

/// A frame of about 9000 x 9000 pixels, as the angular range and the field of view choose it.
constexpr double kConeDeg = 89.0;
constexpr double kDensity = 4600.0;

/// A circular fisheye picture: its content lies wholly inside that frame.
cv::Mat circularPhotograph(int channels) {
  cv::Mat image = photograph(channels);
  cv::Mat outside(image.size(), CV_8UC1, cv::Scalar(255));
  const cv::Size axes(image.cols * 46 / 100, image.rows * 46 / 100);
  cv::ellipse(
      outside, {image.cols / 2, image.rows / 2}, axes, 0, 0, 360, cv::Scalar(0), cv::FILLED);
  image.setTo(cv::Scalar(), outside);
  return image;
}

void fieldOfViewOurs(benchmark::State& state) {
  cv::Mat image = circularPhotograph(static_cast<int>(state.range(0)));
  const plain::View view = viewOf(false);
  for (auto _ : state) {
    cv::Mat result = image;  // smoothed again in every round; the work is the same
    plain::Result out{};
    out.status = SterProject()(view.halfFieldAngle,
                               view.cubicCoeff,
                               view.linearCoeff,
                               out.yaw,
                               out.pitch,
                               view.roll,
                               0,
                               kConeDeg,
                               kDensity,
                               out.bounds[0],
                               out.bounds[1],
                               out.bounds[2],
                               out.bounds[3],
                               result);
    benchmark::DoNotOptimize(result.data);
    state.counters["status"] = out.status;
  }
}
void fieldOfViewPlain(benchmark::State& state) {
  const cv::Mat image = circularPhotograph(static_cast<int>(state.range(0)));
  const plain::View view = viewOf(false);
  const PlaneFrame frame = frameOfCone({0.0, 0.0, 0.0}, 0, kConeDeg);
  const int width = static_cast<int>((frame.right - frame.left) * kDensity);
  const int height = static_cast<int>((frame.bottom - frame.top) * kDensity);
  const auto axis = [](double first, double last, int n) {
    return plain::grid(static_cast<float>(first), static_cast<float>(last), n);
  };
  for (auto _ : state) {
    const plain::Maps maps = plain::maps(view,
                                         axis(frame.left, frame.right, width),
                                         axis(frame.top, frame.bottom, height),
                                         image.size());
    const cv::Mat output = plain::sampled(plain::smoothed(image, {1, 1}, {3, 3}), maps);
    const std::vector<int> columns = plain::averages(output, 0);
    const std::vector<int> rows = plain::averages(output, 1);
    benchmark::DoNotOptimize(columns.data());
    benchmark::DoNotOptimize(rows.data());
    const cv::Rect inside(50, 50, width - 100, height - 100);
    benchmark::DoNotOptimize(output(inside).clone().data);
  }
}
BENCHMARK(fieldOfViewOurs)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(fieldOfViewPlain)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();

constexpr int kMiddleSide = 4600;

void rectOurs(benchmark::State& state) {
  const cv::Mat image = photograph(static_cast<int>(state.range(0)));
  const plain::View view = viewOf(false);
  for (auto _ : state) {
    cv::Mat result = image;
    double yaw = 0.0;
    double pitch = 0.0;
    SterProject().RectProject(view.halfFieldAngle,
                              view.cubicCoeff,
                              view.linearCoeff,
                              yaw,
                              pitch,
                              0.0,
                              kMiddleSide,
                              1.0,
                              result);
    benchmark::DoNotOptimize(result.data);
  }
}
void rectPlain(benchmark::State& state) {
  const cv::Mat image = photograph(static_cast<int>(state.range(0)));
  plain::View view = viewOf(false);
  view.lift = 1.0F;
  for (auto _ : state) {
    benchmark::DoNotOptimize(plain::square(view, kMiddleSide, 1.0, image).image.data);
  }
}
BENCHMARK(rectOurs)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(rectPlain)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();

void smoothOurs(benchmark::State& state) {
  cv::Mat image = photograph(static_cast<int>(state.range(0)));
  const float sigma[] = {1.0F, 1.0F};
  const int kernelSize[] = {3, 3};
  for (auto _ : state) {
    benchmark::DoNotOptimize(SterProject().GaussianSmooth(
        image.data, image.rows, image.cols, image.channels(), sigma, kernelSize));
  }
}
void smoothPlain(benchmark::State& state) {
  const cv::Mat image = photograph(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(plain::smoothed(image, {1, 1}, {3, 3}).data);
  }
}
BENCHMARK(smoothOurs)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(smoothPlain)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();

plain::Maps wholeMaps(int side = kSide) {
  return {cv::Mat::zeros(side, side, CV_32F), cv::Mat::zeros(side, side, CV_32F)};
}

std::vector<float*> rowsOf(cv::Mat& map) {
  std::vector<float*> rows;
  for (int r = 0; r < map.rows; ++r) {
    rows.push_back(map.ptr<float>(r));
  }
  return rows;
}

/// Argument: rotated.
void mapExportOurs(benchmark::State& state) {
  plain::View view = viewOf(state.range(0) != 0);
  plain::Maps maps = wholeMaps();
  std::vector<float*> cols = rowsOf(maps.cols);
  std::vector<float*> rows = rowsOf(maps.rows);
  for (auto _ : state) {
    benchmark::DoNotOptimize(SterProject()(view.halfFieldAngle,
                                           view.cubicCoeff,
                                           view.linearCoeff,
                                           view.yaw,
                                           view.pitch,
                                           view.roll,
                                           kSide,
                                           1.0,
                                           3,
                                           3264,
                                           2448,
                                           cols.data(),
                                           rows.data()));
  }
}
void mapExportPlain(benchmark::State& state) {
  const plain::View view = viewOf(state.range(0) != 0);
  plain::Maps maps = wholeMaps();
  const std::vector<float> axis = plain::grid(-1.0F, 1.0F, kSide);
  for (auto _ : state) {
    plain::fillMaps(view, axis, axis, {3264, 2448}, maps);
    benchmark::DoNotOptimize(maps.cols.data);
  }
}
BENCHMARK(mapExportOurs)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(mapExportPlain)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Exported maps, then the raw-buffer sampling through them; argument: channels.
void interpolateOurs(benchmark::State& state) {
  const cv::Mat image = photograph(static_cast<int>(state.range(0)));
  plain::View view = viewOf(true);
  plain::Maps maps = wholeMaps(kMiddleSide);
  std::vector<float*> cols = rowsOf(maps.cols);
  std::vector<float*> rows = rowsOf(maps.rows);
  cv::Mat output = cv::Mat::zeros(kMiddleSide, kMiddleSide, image.type());
  for (auto _ : state) {
    cv::Mat source = image.clone();  // smoothed in place
    SterProject()(view.halfFieldAngle,
                  view.cubicCoeff,
                  view.linearCoeff,
                  view.yaw,
                  view.pitch,
                  view.roll,
                  kMiddleSide,
                  1.0,
                  image.channels(),
                  image.cols,
                  image.rows,
                  cols.data(),
                  rows.data());
    SterProject().Interpolate(source.data,
                              cols.data(),
                              rows.data(),
                              image.channels(),
                              image.cols,
                              image.rows,
                              kMiddleSide,
                              output.data);
    benchmark::DoNotOptimize(output.data);
  }
}
void interpolatePlain(benchmark::State& state) {
  const cv::Mat image = photograph(static_cast<int>(state.range(0)));
  const plain::View view = viewOf(true);
  plain::Maps maps = wholeMaps(kMiddleSide);
  const std::vector<float> axis = plain::grid(-1.0F, 1.0F, kMiddleSide);
  cv::Mat output = cv::Mat::zeros(kMiddleSide, kMiddleSide, image.type());
  for (auto _ : state) {
    cv::Mat source;
    cv::GaussianBlur(image, source, {3, 3}, 1.0, 1.0, cv::BORDER_REPLICATE);
    plain::fillMaps(view, axis, axis, image.size(), maps);
    cv::remap(source, output, maps.cols, maps.rows, cv::INTER_CUBIC, cv::BORDER_TRANSPARENT);
    benchmark::DoNotOptimize(output.data);
  }
}
BENCHMARK(interpolateOurs)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(interpolatePlain)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();

void angularViewOurs(benchmark::State& state) {
  cv::Mat image = photograph(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    SterProject()({}, {10.0, 5.0}, {90.0, 70.0}, 1.0, 0.05, image);
    benchmark::DoNotOptimize(image.data);
  }
}
void angularViewPlain(benchmark::State& state) {
  cv::Mat image = photograph(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    plain::angularView(image, {10.0, 5.0}, {90.0, 70.0}, 1.0, 0.05).copyTo(image);
    benchmark::DoNotOptimize(image.data);
  }
}
BENCHMARK(angularViewOurs)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(angularViewPlain)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
