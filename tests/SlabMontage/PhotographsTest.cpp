// SPDX-License-Identifier: MIT
// Sample sets that tests and benchmarks share: photographs by hand, and rendered ones with truth.
#include "support/MontageCall.h"
#include "support/PositionTruth.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace ORV::TestSupport;

struct SampleSet {
  const char* folder;
  int slabCount;
  double tolerancePx;  ///< of positions, where the truth is known
};

/// In the names that test listings show.
void PrintTo(const SampleSet& set, std::ostream* out) {
  *out << set.folder;
}

std::vector<cv::Mat> readImages(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".jpg" || entry.path().extension() == ".png") {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());  // slab after slab
  std::vector<cv::Mat> images;
  images.reserve(files.size());
  for (const fs::path& file : files) {
    images.push_back(cv::imread(file.string(), cv::IMREAD_UNCHANGED));
  }
  return images;
}

/// The cameras of a rendered set.
ViewSet readTruth(const fs::path& file, cv::Size size) {
  const cv::FileStorage storage(file.string(),
                                cv::FileStorage::READ | cv::FileStorage::FORMAT_JSON);
  ViewSet set;
  set.size = size;
  set.K = intrinsics(static_cast<double>(storage["focal"]), size);
  for (const cv::FileNode& image : storage["images"]) {
    cv::Matx33d rotation;
    for (int row = 0; row < 3; ++row) {
      for (int col = 0; col < 3; ++col) {
        rotation(row, col) = static_cast<double>(image["R"][row][col]);
      }
    }
    set.worldFromView.push_back(rotation);
  }
  return set;
}

class Photographs : public testing::TestWithParam<SampleSet> {};

// A rotation is good to 0.17 degrees in sim_life5 (one row, weak overlaps), 7 px at its focal
// length, and to 0.02 degrees in sim_stream_4x3.
INSTANTIATE_TEST_SUITE_P(Samples,
                         Photographs,
                         testing::Values(SampleSet{"petra3", 1, 0},
                                         SampleSet{"arches3", 1, 0},
                                         SampleSet{"river2", 1, 0},
                                         SampleSet{"sim_life5", 1, 8},
                                         SampleSet{"sim_stream_4x3", 3, 2}),
                         [](const auto& each) { return std::string(each.param.folder); });

TEST_P(Photographs, BecomeMontagesWithBothPipelines) {
  const fs::path folder = fs::path(MONTAGE_TEST_DATA) / GetParam().folder;
  if (!fs::exists(folder)) {
    GTEST_SKIP() << folder << " is not there";
  }
  const std::vector<cv::Mat> images = readImages(folder);
  MontageOptions options;
  options.slabCount = GetParam().slabCount;
  options.megapixels = {0.4, 0.03, -1};
  const bool rendered = GetParam().tolerancePx > 0;
  for (const Pipeline pipeline : {Pipeline::kBasic, Pipeline::kDiagnostic}) {
    if (rendered && pipeline == Pipeline::kDiagnostic) {
      options.graphCutSeams = false;
      options.megapixels[1] = -1;  // positions to the pixel
    }
    const MontageResult result = callMontage(pipeline, images, options);
    ASSERT_EQ(result.status, 0);
    const auto count = images.size() / static_cast<std::size_t>(options.slabCount);
    EXPECT_EQ(result.included, std::vector<int>(count, 1));
    for (const cv::Mat& montage : result.montages) {
      EXPECT_EQ(montage.size(), result.montages[0].size());
      EXPECT_GT(montage.size().area(), images[0].size().area());
    }
    if (rendered) {
      const ViewSet truth = readTruth(folder / "truth.json", images[0].size());
      std::vector<int> all(count);
      std::iota(all.begin(), all.end(), 0);
      const FrameFit fit = pipeline == Pipeline::kBasic
                               ? fitBasicFrame(truth, all, result.positions)
                               : fitDiagnosticFrame(truth, all, result.positions);
      EXPECT_LT(fit.worstErrorPx, GetParam().tolerancePx);
    }
  }
}

}  // namespace
