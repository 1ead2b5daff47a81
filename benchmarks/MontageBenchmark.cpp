// SPDX-License-Identifier: MIT
// Whole montages beside OpenCV's own stitcher with the same resolutions, SIFT, ray adjuster, block
// gains, graph-cut colour seams and multi-band blending; and the growth of the cost with the task.
//
// MONTAGE_BENCHMARK_DATA names a folder with sets of overlapping photographs, one subfolder each;
// without it only rendered views are montaged.
#include "RivalStitcher.h"
#include "SlabMontage.h"
#include "montage/Montage.h"
#include "support/SyntheticScene.h"

#include <benchmark/benchmark.h>
#include <opencv2/features2d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/stitching.hpp>
#include <tbb/global_control.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using ORV::Common::Algorithms::Montage::SlabMontage;
using Images = std::vector<cv::Mat>;

using ORV::Benchmarks::kFullResolution;
using ORV::Benchmarks::kSeamMegapixels;
using ORV::Benchmarks::kWorkMegapixels;
using ORV::Benchmarks::makeStitcher;

/// Views in a grid of `columns`, each overlapping its neighbours by about 40 %.
Images renderedGrid(int count, int columns, double megapixels) {
  const int height = cvRound(std::sqrt(megapixels * 1e6 * 3 / 4));
  const cv::Size size(height * 4 / 3, height);
  const double focal = 3.0 * size.width;
  const double stepDeg = 0.6 * size.width / focal * 180 / CV_PI;
  const int rows = (count + columns - 1) / columns;
  std::vector<ORV::TestSupport::Gaze> gazes;
  for (int i = 0; i < count; ++i) {
    gazes.push_back({(i % columns - (columns - 1) / 2.0) * stepDeg,
                     (i / columns - (rows - 1) / 2.0) * stepDeg * 0.75,
                     i % 3 - 1.0});
  }
  const cv::Size pictureSize(size.width * (columns + 1), size.height * (rows + 1));
  ORV::TestSupport::ViewSettings settings;
  settings.size = size;
  settings.focal = focal;
  return ORV::TestSupport::renderViews(
             ORV::TestSupport::makePicture(pictureSize, 5), gazes, settings)
      .images;
}

/// One montage per slab with the basic pipeline; every slab is the same images again.
int montageSlabs(const Images& images, int slabCount, std::vector<cv::Mat>& montages) {
  const int count = static_cast<int>(images.size());
  std::vector<unsigned char*> buffers;
  std::vector<int> widths;
  std::vector<int> heights;
  std::vector<int> channels;
  for (int slab = 0; slab < slabCount; ++slab) {
    for (const cv::Mat& image : images) {
      buffers.push_back(image.data);
      widths.push_back(image.cols);
      heights.push_back(image.rows);
      channels.push_back(image.channels());
    }
  }
  double megapixels[3] = {kWorkMegapixels, kSeamMegapixels, kFullResolution};
  bool options[3] = {true, true, false};
  std::vector<int> included(images.size());
  std::vector<int> positions(2 * images.size());
  montages.assign(static_cast<std::size_t>(slabCount), cv::Mat());
  return SlabMontage()(buffers,
                       widths.data(),
                       heights.data(),
                       channels.data(),
                       count * slabCount,
                       count,
                       slabCount,
                       megapixels,
                       options,
                       included.data(),
                       positions.data(),
                       montages);
}

void wholeOurs(benchmark::State& state, const Images& images) {
  std::vector<cv::Mat> montages;
  for (auto _ : state) {
    if (montageSlabs(images, 1, montages) != 0) {
      state.SkipWithError("no montage");
    }
  }
  state.counters["megapixels"] = static_cast<double>(montages[0].total()) / 1e6;
}

/// The picture pipeline through the application interface.
void wholePicture(benchmark::State& state, const Images& images) {
  const montage::MatSource source(images);
  cv::Mat picture;
  for (auto _ : state) {
    const montage::Registration registration = montage::registerImages(source);
    const montage::MontagePlan plan = montage::planMontage(registration, source);
    if (plan.status != montage::PlanStatus::ok) {
      state.SkipWithError("no montage");
      break;
    }
    picture = montage::compose(plan, source);
  }
  state.counters["megapixels"] = static_cast<double>(picture.total()) / 1e6;
}

void wholeStitcher(benchmark::State& state, const Images& images) {
  cv::Mat panorama;
  for (auto _ : state) {
    if (makeStitcher()->stitch(images, panorama) != cv::Stitcher::OK) {
      state.SkipWithError("no panorama");
    }
  }
  state.counters["megapixels"] = static_cast<double>(panorama.total()) / 1e6;
}

void growthOfMontage(
    benchmark::State& state, int count, double megapixels, int slabCount, int threads) {
  const Images images = renderedGrid(count, 4, megapixels);
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                  static_cast<std::size_t>(threads));
  std::vector<cv::Mat> montages;
  for (auto _ : state) {
    if (montageSlabs(images, slabCount, montages) != 0) {
      state.SkipWithError("no montage");
    }
  }
}

void registerGrowth(
    const std::string& axis, double value, int count, double megapixels, int slabs, int threads) {
  const std::string name = "growth/" + axis + "/" + std::to_string(value).substr(0, 4);
  benchmark::RegisterBenchmark(name.c_str(), growthOfMontage, count, megapixels, slabs, threads)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

void registerPair(const std::string& set, const Images& images) {
  for (const auto& [name, run] : {std::pair{"wholeOurs/", wholeOurs},
                                  {"wholePicture/", wholePicture},
                                  {"wholeStitcher/", wholeStitcher}}) {
    benchmark::RegisterBenchmark((name + set).c_str(), run, images)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
}

/// The photographs of a folder in the order of their names.
Images photographsIn(const std::filesystem::path& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string extension = entry.path().extension().string();
    if (extension == ".jpg" || extension == ".png") {
      files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  Images images;
  for (const std::string& file : files) {
    images.push_back(cv::imread(file));
  }
  return images;
}

/// A folder whose photographs are not of one size is no set.
bool isSet(const Images& images) {
  return images.size() > 1 && std::all_of(images.begin(), images.end(), [&](const cv::Mat& image) {
           return image.size() == images[0].size();
         });
}

void registerPhotographs() {
  const char* const folder = std::getenv("MONTAGE_BENCHMARK_DATA");
  if (folder == nullptr) {
    return;
  }
  std::vector<std::filesystem::path> sets;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_directory()) {
      sets.push_back(entry.path());
    }
  }
  std::sort(sets.begin(), sets.end());
  for (const std::filesystem::path& set : sets) {
    const Images images = photographsIn(set);
    if (isSet(images)) {
      registerPair(set.filename().string(), images);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  registerPhotographs();
  registerPair("rendered_12x2MP", renderedGrid(12, 4, 2.0));
  for (const int count : {2, 4, 8, 16, 24}) {
    registerGrowth("images", count, count, 0.5, 1, 2);
  }
  for (const double megapixels : {0.5, 1.0, 3.0, 6.0, 12.0}) {
    registerGrowth("megapixels", megapixels, 4, megapixels, 1, 2);
  }
  for (const int slabs : {1, 5, 10, 20}) {
    registerGrowth("slabs", slabs, 4, 1.0, slabs, 2);
  }
  for (const int threads : {1, 2}) {
    registerGrowth("threads", threads, 6, 1.0, 1, threads);
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
