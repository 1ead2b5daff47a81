// SPDX-License-Identifier: MIT
#include "Registration/ContrastStretch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <utility>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using Pixels = std::vector<unsigned char>;

constexpr double kPercentKept = 95.0;

std::pair<int, int> bounds(const Pixels& pixels, double percentKept = kPercentKept) {
  unsigned char low = 77;
  unsigned char high = 77;
  calcPercentileBounds(pixels.data(), static_cast<int>(pixels.size()), percentKept, low, high);
  return {low, high};
}

Pixels everyLevelOnce() {
  Pixels levels(256);
  std::iota(levels.begin(), levels.end(), static_cast<unsigned char>(0));
  return levels;
}

Pixels stretched(Pixels pixels, int fromLow, int fromHigh, int toLow = 0, int toHigh = 255) {
  const auto byte = [](int value) { return static_cast<unsigned char>(value); };
  stretchContrast(pixels.data(),
                  static_cast<int>(pixels.size()),
                  byte(fromLow),
                  byte(fromHigh),
                  byte(toLow),
                  byte(toHigh));
  return pixels;
}

TEST(PercentileBounds, CutTheTailOfAnEvenHistogram) {
  EXPECT_THAT(bounds(everyLevelOnce()), Pair(5, 250));  // tail 6.4, cut to 6
  EXPECT_THAT(bounds(everyLevelOnce(), 100.0), Pair(0, 255));
  EXPECT_THAT(bounds(everyLevelOnce(), 0.0), Pair(127, 128));
}

TEST(PercentileBounds, FewerThanFortyPixelsHaveNoTail) {
  EXPECT_THAT(bounds(Pixels(39, 100)), Pair(0, 255));
  EXPECT_THAT(bounds(Pixels(40, 100)), Pair(100, 100));
  EXPECT_THAT(bounds({}), Pair(0, 255));
}

TEST(PercentileBounds, ConstantImagesGiveTheirLevel) {
  for (const unsigned char level : everyLevelOnce()) {
    EXPECT_THAT(bounds(Pixels(1000, level)), Pair(level, level));
  }
}

TEST(PercentileBounds, AFullTailOfOutliersCounts) {
  Pixels pixels(1000, 100);  // tail 25
  std::fill_n(pixels.begin(), 24, static_cast<unsigned char>(3));
  std::fill_n(pixels.rbegin(), 24, static_cast<unsigned char>(200));
  EXPECT_THAT(bounds(pixels), Pair(100, 100));
  pixels[24] = 3;
  pixels[975] = 200;
  EXPECT_THAT(bounds(pixels), Pair(3, 200));
}

TEST(ContrastStretch, MapsLinearlyAndCutsFractionsOff) {
  // Factor 1.7.
  EXPECT_THAT(stretched({0, 49, 50, 51, 53, 125, 199, 200, 201, 255}, 50, 200),
              ElementsAre(0, 0, 0, 1, 5, 127, 253, 255, 255, 255));
  EXPECT_THAT(stretched({0, 10, 15, 20, 255}, 10, 20, 100, 200),
              ElementsAre(100, 100, 150, 200, 200));
  EXPECT_EQ(stretched(everyLevelOnce(), 0, 255), everyLevelOnce());
}

TEST(ContrastStretch, EqualBoundsSplitTheLevels) {
  EXPECT_THAT(stretched({0, 99, 100, 101, 255}, 100, 100), ElementsAre(0, 0, 0, 255, 255));
  EXPECT_THAT(stretched({0, 1}, 0, 0), ElementsAre(0, 255));
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
