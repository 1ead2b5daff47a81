// SPDX-License-Identifier: MIT
#include "Composition/ExposureGains.h"
#include "Composition/GainEquations.h"
#include "RandomViews.h"
#include "support/ImageMatchers.h"

#include <gtest/gtest.h>
#include <opencv2/stitching/detail/exposure_compensate.hpp>

#include <atomic>
#include <stdexcept>

namespace {

using namespace ORV::Common::Algorithms::Montage::Composition;
using namespace ORV::TestSupport;

std::vector<cv::Mat> gainsByOpenCv(const SeamViews& views) {
  const auto compensator =
      cv::detail::ExposureCompensator::createDefault(cv::detail::ExposureCompensator::GAIN_BLOCKS);
  compensator->feed(views.corners, views.colour, views.masks);
  std::vector<cv::Mat> gains;
  compensator->getMatGains(gains);
  return gains;
}

TEST(ExposureGains, HaveTheBitsOfOpenCv) {
  cv::RNG random(21);
  int gainsOffOne = 0;
  for (int set = 0; set < 60; ++set) {
    SCOPED_TRACE(set);
    const SeamViews views = randomViews(random);
    std::atomic<int> steps{0};
    const std::vector<cv::Mat> gains = exposureGains(views, [&] { ++steps; });
    const std::vector<cv::Mat> expected = gainsByOpenCv(views);
    ASSERT_EQ(gains.size(), expected.size());
    for (std::size_t i = 0; i < gains.size(); ++i) {
      EXPECT_THAT(gains[i], EqualsImage(expected[i]));
      gainsOffOne += cv::countNonZero(gains[i] != 1);
    }
    EXPECT_EQ(static_cast<std::size_t>(steps), overlappingPairs(views).size());
  }
  EXPECT_GT(gainsOffOne, 300);
}

TEST(ExposureGains, EndWhenAStepThrows) {
  cv::RNG random(5);
  const SeamViews views = randomViews(random);
  ASSERT_FALSE(overlappingPairs(views).empty());
  EXPECT_THROW(exposureGains(views, [] { throw std::runtime_error("stop"); }), std::runtime_error);
}

/// The error of Brown and Lowe, whose least value the gains have.
double errorOf(const std::vector<double>& gains,
               const std::vector<int>& pixels,
               const std::vector<BlockCoupling>& couplings) {
  const auto fromOne = [&](std::size_t block) { return (1 - gains[block]) * (1 - gains[block]); };
  double error = 0;
  for (std::size_t block = 0; block < pixels.size(); ++block) {
    error += 100 * pixels[block] * fromOne(block);
  }
  for (const BlockCoupling& each : couplings) {
    const auto first = static_cast<std::size_t>(each.first);
    const auto second = static_cast<std::size_t>(each.second);
    const double difference = each.firstMean * gains[first] - each.secondMean * gains[second];
    error += each.sharedPixels *
             (0.02 * difference * difference + 100 * (fromOne(first) + fromOne(second)));
  }
  return error;
}

TEST(ExposureGains, OfManyBlocksAreTheBestToDoublePrecision) {
  cv::RNG random(3);
  constexpr int kBlocks = 400;
  constexpr int kAlone = 7;
  std::vector<int> pixels;
  std::vector<BlockCoupling> couplings;
  for (int i = 0; i < kBlocks; ++i) {
    pixels.push_back(random.uniform(1, 1024));
    for (const int j : {i + 1, i + 20, i + 150}) {
      if (j < kBlocks && i != kAlone && j != kAlone) {
        couplings.push_back(
            {i, j, random.uniform(1, 500), random.uniform(1.0, 400.0), random.uniform(1.0, 400.0)});
      }
    }
  }
  const std::vector<double> best = solveGains(pixels, couplings, 0);
  const std::vector<double> byFloats = solveGains(pixels, couplings, kBlocks);
  EXPECT_EQ(best[kAlone], 1.0);
  const double h = 1e-3;
  for (std::size_t block = 0; block < best.size(); ++block) {
    EXPECT_NEAR(best[block], byFloats[block], 2e-5);
    // The error is a parabola in each gain: its slope and curvature say how far off the least is.
    std::vector<double> moved = best;
    const double here = errorOf(moved, pixels, couplings);
    moved[block] = best[block] + h;
    const double above = errorOf(moved, pixels, couplings) - here;
    moved[block] = best[block] - h;
    const double below = errorOf(moved, pixels, couplings) - here;
    EXPECT_LT(std::abs(above - below) / (above + below) * h / 2, 1e-9) << "block " << block;
  }
}

}  // namespace
