// SPDX-License-Identifier: MIT
// Both pipelines against the public stages called in turn: what one does and the other does not.
#include "Composition.h"
#include "Composition/BrightnessNormalisation.h"
#include "Registration.h"
#include "Scaler.h"
#include "support/ImageMatchers.h"
#include "support/MontageCall.h"
#include "support/StandardOutput.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>
#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace ORV::Common::Algorithms::Montage;
using namespace ORV::TestSupport;
using Images = std::vector<cv::Mat>;

constexpr float kConfidence = 0.7F;

/// Two slabs of three views and, second, one that shows something else. The outer views overlap just
/// enough to be connected, and differ in brightness.
const Images& slabs() {
  static const Images kSlabs = [] {
    ViewSettings settings;
    settings.gains = {1.1, 0.9, 1.0};
    settings.noiseSigma = 6;
    Images first =
        renderViews(
            makePicture({900, 600}, 6), {{-18.4, 1, 1}, {18.4, 0, -2}, {0, -2, 0}}, settings)
            .images;
    first.insert(first.begin() + 1,
                 renderViews(makePicture({500, 400}, 77), {{0, 0, 0}}).images[0]);
    Images all = first;
    for (const cv::Mat& image : first) {
      all.emplace_back(255 - image);
    }
    return all;
  }();
  return kSlabs;
}

std::array<double, 4> figuresOf(std::vector<cv::detail::ImageFeatures>& features,
                                std::vector<cv::detail::MatchesInfo>& pairs,
                                std::vector<cv::detail::CameraParams>& cameras) {
  SlabMontage montage;
  cv::Mat residuals, angles, focals;
  montage.calcProjError(features, pairs, kConfidence, cameras, residuals);
  montage.calcRotations(pairs, kConfidence, cameras, angles);
  montage.calcFocals(pairs, kConfidence, cameras, focals);
  const cv::Mat errors = residuals.reshape(0, residuals.rows / 7).colRange(4, 7).clone();
  double rotation = 0, low = 0, high = 0;
  for (int row = 0; row < angles.rows; row += 3) {
    rotation = std::max(rotation, cv::norm(angles.rowRange(row, row + 3)));
  }
  cv::minMaxLoc(focals, &low, &high);
  return {std::sqrt(errors.dot(errors) / errors.rows), cv::mean(focals)[0], high - low, rotation};
}

MontageResult byStages(Pipeline pipeline, const Images& images, const MontageOptions& options) {
  const bool diagnostic = pipeline == Pipeline::kDiagnostic;
  const std::size_t count = images.size() / static_cast<std::size_t>(options.slabCount);
  MontageResult result;

  // Registration of the first slab.
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  if (diagnostic) {
    std::reverse(order.begin(), order.end());
  }
  Images first;
  for (const std::size_t constituent : order) {
    first.push_back(images[constituent]);
  }
  Scaler scaler(first);
  const auto [work, seam, compose] = options.megapixels;
  scaler.processParams(
      static_cast<float>(work), static_cast<float>(seam), static_cast<float>(compose));
  std::vector<cv::detail::ImageFeatures> features(count);
  std::vector<cv::detail::MatchesInfo> pairs;
  std::vector<cv::detail::CameraParams> cameras;
  Registration::FeatureFinding()(first, scaler.workScale, features);
  Registration::FeatureMatching()(features, pairs, false, 0.3F);
  const std::vector<int> kept = cv::detail::leaveBiggestComponent(features, pairs, kConfidence);
  EXPECT_TRUE(std::any_of(pairs.begin(), pairs.end(), [](const auto& pair) {
    return pair.confidence > kConfidence && pair.confidence < 1;
  })) << "no pair tells thresholds apart";
  result.status = Registration::BundleAdjustment()(features, pairs, kConfidence, cameras);
  if (diagnostic) {
    result.figures = figuresOf(features, pairs, cameras);
  } else {
    Images rotations;
    for (const auto& camera : cameras) {
      rotations.push_back(camera.R);
    }
    cv::detail::waveCorrect(rotations, cv::detail::WAVE_CORRECT_HORIZ);
    for (std::size_t i = 0; i < cameras.size(); ++i) {
      cameras[i].R = rotations[i];
    }
  }

  // Gains and seams on the first slab.
  const auto keptOf = [&](int slab) {
    Images chosen;
    for (const int index : kept) {
      chosen.push_back(
          images[order[static_cast<std::size_t>(index)] + static_cast<std::size_t>(slab) * count]);
    }
    return chosen;
  };
  Images chosen = keptOf(0), masks(kept.size());
  scaler.updateSizes(chosen);
  const std::vector<cv::Size> sizes = scaler.sizes;
  Composition::Warp warp(cameras, scaler.seamWorkAspect);
  Composition::Compensate compensate(cv::detail::ExposureCompensator::GAIN_BLOCKS);
  const std::string seamType = options.graphCutSeams ? "gc_color" : "no";
  std::vector<cv::Point> corners(kept.size()), centres;
  Composition::Seam(warp, compensate)(chosen,
                                      masks,
                                      corners,
                                      cameras,
                                      scaler.seamScale,
                                      scaler.seamWorkAspect,
                                      seamType,
                                      diagnostic,
                                      centres);

  // Every slab.
  const int blending = !options.blend ? cv::detail::Blender::NO
                       : diagnostic   ? cv::detail::Blender::FEATHER
                                      : cv::detail::Blender::MULTI_BAND;
  for (int slab = 0; slab < options.slabCount; ++slab) {
    auto atComposeScale = cameras;
    chosen = keptOf(slab);
    scaler.sizes = sizes;
    scaler.blendScale(atComposeScale, warp, corners);
    cv::Mat& montage = result.montages.emplace_back();
    Composition::Blend(warp, compensate)(chosen,
                                         masks,
                                         corners,
                                         atComposeScale,
                                         scaler.sizes,
                                         scaler.composeScale,
                                         false,
                                         seamType,
                                         blending,
                                         montage);
    if (diagnostic) {
      Composition::normaliseBrightness(montage);
    }
  }

  result.included.assign(count, 0);
  result.positions.assign(2 * count, 0);
  for (std::size_t j = 0; j < kept.size(); ++j) {
    const std::size_t constituent = order[static_cast<std::size_t>(kept[j])];
    const cv::Point place = diagnostic ? centres[j] : corners[j];
    result.included[constituent] = 1;
    result.positions[2 * constituent] = place.x;
    result.positions[2 * constituent + 1] = place.y;
  }
  return result;
}

/// Without the warning about the image that is left out.
MontageResult callQuietly(Pipeline pipeline, const Images& images, const MontageOptions& options) {
  const StandardOutput output;
  return callMontage(pipeline, images, options);
}

TEST(PipelineStages, CalledInTurnGiveWhatEachPipelineGives) {
  for (const Pipeline pipeline : {Pipeline::kBasic, Pipeline::kDiagnostic}) {
    for (const auto& [seams, blend] :
         {std::pair{false, false}, {true, false}, {false, true}, {true, true}}) {
      SCOPED_TRACE(testing::Message() << (pipeline == Pipeline::kBasic ? "basic" : "diagnostic")
                                      << ", seams " << seams << ", blending " << blend);
      MontageOptions options;
      options.slabCount = 2;
      options.graphCutSeams = seams;
      options.blend = blend;
      options.megapixels = {0.06, 0.02, 0.05};
      options.trailingFlag = blend;  // has no effect
      const MontageResult expected = byStages(pipeline, slabs(), options);
      const MontageResult result = callQuietly(pipeline, slabs(), options);
      ASSERT_EQ(result.status, 0);
      ASSERT_EQ(expected.included, (std::vector<int>{1, 0, 1, 1}));
      EXPECT_EQ(result.included, expected.included);
      EXPECT_EQ(result.positions, expected.positions);
      for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(result.figures[i], expected.figures[i], 1e-6 * std::abs(expected.figures[i]));
      }
      for (std::size_t slab = 0; slab < 2; ++slab) {
        EXPECT_THAT(result.montages[slab], EqualsImage(expected.montages[slab]));
      }
    }
  }
}

}  // namespace
