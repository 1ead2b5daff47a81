// SPDX-License-Identifier: MIT
// Every result is compared with cv::remap, byte for byte, on every instruction set of the machine.
#include "Platform/CubicSampler.h"
#include "Platform/LinearSampler.h"

#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>
#include <opencv2/imgproc.hpp>

#include <array>
#include <cmath>
#include <limits>
#include <memory>

namespace ORV::Common::Platform {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Maps {
  cv::Mat cols;
  cv::Mat rows;
};

cv::Mat noise(cv::RNG& rng, int rows, int cols, int type) {
  cv::Mat image(rows, cols, type);
  rng.fill(image, cv::RNG::UNIFORM, 0, 256);
  return image;
}

/// Positions anywhere on the source and up to `margin` pixels around it.
Maps scatteredMaps(cv::RNG& rng, cv::Size tile, cv::Size source, double margin) {
  Maps maps{cv::Mat(tile, CV_32F), cv::Mat(tile, CV_32F)};
  rng.fill(maps.cols, cv::RNG::UNIFORM, -margin, source.width - 1 + margin);
  rng.fill(maps.rows, cv::RNG::UNIFORM, -margin, source.height - 1 + margin);
  return maps;
}

/// A rotated and scaled grid about the centre of the source.
Maps smoothMaps(cv::Size tile, cv::Size source, float scale, float angle) {
  Maps maps{cv::Mat(tile, CV_32F), cv::Mat(tile, CV_32F)};
  for (int row = 0; row < tile.height; ++row) {
    for (int col = 0; col < tile.width; ++col) {
      const float x = scale * (static_cast<float>(col) - static_cast<float>(tile.width) / 2);
      const float y = scale * (static_cast<float>(row) - static_cast<float>(tile.height) / 2);
      maps.cols.at<float>(row, col) =
          x * std::cos(angle) - y * std::sin(angle) + static_cast<float>(source.width) / 2;
      maps.rows.at<float>(row, col) =
          x * std::sin(angle) + y * std::cos(angle) + static_cast<float>(source.height) / 2;
    }
  }
  return maps;
}

cv::Mat remapped(const cv::Mat& source, const Maps& maps) {
  cv::Mat tile;
  cv::remap(source, tile, maps.cols, maps.rows, cv::INTER_CUBIC, cv::BORDER_CONSTANT, cv::Scalar());
  return tile;
}

/// Samples into a tile full of other values.
cv::Mat sampled(const cv::Mat& source, const Maps& maps) {
  cv::Mat tile(maps.cols.size(), source.type(), cv::Scalar::all(170));
  CubicSampler(source).sample(maps.cols, maps.rows, tile);
  return tile;
}

bool sameBytes(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0;
}

/// Runs each test once per instruction set, both channel counts inside.
class CubicSamplerOnTarget : public hwy::TestWithParamTarget {
 protected:
  cv::RNG rng_{0x5eed};
  static constexpr std::array<int, 2> kTypes{CV_8UC1, CV_8UC3};
};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(CubicSamplerOnTarget);

// A weight that is off by one shows in one pixel of a few hundred, so each fraction gets thousands.
TEST_P(CubicSamplerOnTarget, EveryFractionOfAPixelMatches) {
  constexpr int kFractions = 32;
  constexpr int kSide = 64 * kFractions;
  for (const int type : kTypes) {
    const cv::Mat source = noise(rng_, 40, 40, type) > 127;  // overshoots past 0 and 255
    Maps maps{cv::Mat(kSide, kSide, CV_32F), cv::Mat(kSide, kSide, CV_32F)};
    for (int row = 0; row < kSide; ++row) {
      for (int col = 0; col < kSide; ++col) {
        const auto at = [&](int fraction) {
          return static_cast<float>(rng_.uniform(1, 34)) +
                 static_cast<float>(fraction % kFractions) / kFractions;
        };
        maps.cols.at<float>(row, col) = at(col);
        maps.rows.at<float>(row, col) = at(row);
      }
    }
    EXPECT_TRUE(sameBytes(sampled(source, maps), remapped(source, maps)));
  }
}

TEST_P(CubicSamplerOnTarget, SourcesOfEverySmallSizeMatch) {
  for (const int type : kTypes) {
    for (int rows = 1; rows <= 70; rows += rows < 9 ? 1 : 7) {
      for (int cols = 1; cols <= 70; cols += cols < 9 ? 1 : 7) {
        // Exactly the image's bytes on the heap: a read past them is seen by the sanitizer.
        const cv::Mat pixels = noise(rng_, rows, cols, type);
        const auto buffer = std::make_unique<unsigned char[]>(pixels.total() * pixels.elemSize());
        const cv::Mat source(rows, cols, type, buffer.get());
        pixels.copyTo(source);
        const Maps maps = scatteredMaps(rng_, {67, 9}, source.size(), 4);
        ASSERT_TRUE(sameBytes(sampled(source, maps), remapped(source, maps)))
            << rows << " x " << cols << " type " << type;
      }
    }
  }
}

TEST_P(CubicSamplerOnTarget, TilesOfEveryWidthMatchAndLeaveTheRestOfTheOutputAlone) {
  constexpr int kRows = 5;
  constexpr int kMaxCols = 140;
  for (const int type : kTypes) {
    const cv::Mat source = noise(rng_, 50, 60, type);
    const Maps whole = scatteredMaps(rng_, {kMaxCols, kRows}, source.size(), 1);
    for (int cols = 1; cols < kMaxCols; ++cols) {
      const cv::Rect region(kMaxCols - cols, 1, cols, kRows - 2);
      const Maps maps{whole.cols(region), whole.rows(region)};
      cv::Mat output(kRows, kMaxCols + 8, type, cv::Scalar::all(170));
      cv::Mat expected = output.clone();
      cv::Mat tile = output(cv::Rect(4, 1, cols, kRows - 2));
      CubicSampler(source).sample(maps.cols, maps.rows, tile);
      remapped(source, maps).copyTo(expected(cv::Rect(4, 1, cols, kRows - 2)));
      ASSERT_TRUE(sameBytes(output, expected)) << cols << " columns, type " << type;
    }
  }
}

TEST_P(CubicSamplerOnTarget, RotationsAndScalesMatchAcrossTheRim) {
  for (const int type : kTypes) {
    const cv::Mat source = noise(rng_, 211, 307, type);
    for (const float scale : {0.11F, 0.37F, 1.0F, 2.9F}) {
      for (const float angle : {0.0F, 0.3F, 1.9F}) {
        const Maps maps = smoothMaps({401, 333}, source.size(), scale, angle);
        ASSERT_TRUE(sameBytes(sampled(source, maps), remapped(source, maps)))
            << "scale " << scale << " angle " << angle << " type " << type;
      }
    }
  }
}

TEST_P(CubicSamplerOnTarget, PositionsThatAreNotFiniteOrFarAwayMatch) {
  const std::array<float, 18> odd{std::numeric_limits<float>::quiet_NaN(),
                                  kInfinity,
                                  -kInfinity,
                                  std::numeric_limits<float>::max(),
                                  std::numeric_limits<float>::denorm_min(),
                                  -3.4e38F,
                                  1e9F,
                                  -1e9F,
                                  67108864.0F,
                                  -67108865.0F,
                                  65536.5F,
                                  32767.98F,
                                  32768.0F,
                                  -32768.0F,
                                  -32767.5F,
                                  -2.984375F,  // halfway between two fractions at the rim
                                  -1.015625F,
                                  -0.0F};
  for (const int type : kTypes) {
    const cv::Mat source = noise(rng_, 31, 33, type);
    Maps maps = scatteredMaps(rng_, {200, 40}, source.size(), 2);
    for (int i = 0; i < 3000; ++i) {
      cv::Mat& map = i % 2 == 0 ? maps.cols : maps.rows;
      map.at<float>(rng_.uniform(0, map.rows), rng_.uniform(0, map.cols)) =
          odd[static_cast<std::size_t>(i) % odd.size()];
    }
    EXPECT_TRUE(sameBytes(sampled(source, maps), remapped(source, maps)));
  }
}

TEST_P(CubicSamplerOnTarget, PositionsHalfwayBetweenFractionsRoundToEven) {
  for (const int type : kTypes) {
    const cv::Mat source = noise(rng_, 20, 30, type);
    Maps maps{cv::Mat(12, 900, CV_32F), cv::Mat(12, 900, CV_32F)};
    for (int i = 0; i < maps.cols.rows * maps.cols.cols; ++i) {
      maps.cols.at<float>(i / 900, i % 900) = static_cast<float>(rng_.uniform(-200, 2200)) / 64;
      maps.rows.at<float>(i / 900, i % 900) = static_cast<float>(rng_.uniform(-200, 1500)) / 64;
    }
    EXPECT_TRUE(sameBytes(sampled(source, maps), remapped(source, maps)));
  }
}

TEST_P(CubicSamplerOnTarget, RegionsOfALargerImageSeeNothingAroundThem) {
  for (const int type : kTypes) {
    cv::Mat whole = noise(rng_, 60, 90, type);
    const cv::Mat region = whole(cv::Rect(21, 17, 37, 23));
    const Maps maps = scatteredMaps(rng_, {150, 60}, region.size(), 3);
    const cv::Mat first = sampled(region, maps);
    const cv::Mat pixels = region.clone();
    whole = cv::Scalar::all(255);
    pixels.copyTo(region);
    EXPECT_TRUE(sameBytes(first, remapped(pixels, maps)));
    EXPECT_TRUE(sameBytes(first, sampled(region, maps)));
  }
}

TEST_P(CubicSamplerOnTarget, LongSourcesMatchUpToTheLimitOfRemapAndThrowBeyond) {
  constexpr int kLongest = std::numeric_limits<short>::max() - 1;
  for (const int type : kTypes) {
    for (const cv::Size size : {cv::Size(kLongest, 7), cv::Size(7, kLongest)}) {
      const cv::Mat source = noise(rng_, size.height, size.width, type);
      const Maps maps = scatteredMaps(rng_, {300, 20}, size, 5);
      EXPECT_TRUE(sameBytes(sampled(source, maps), remapped(source, maps)));
    }
    const cv::Mat tooWide(3, kLongest + 1, type, cv::Scalar());
    EXPECT_THROW(sampled(tooWide, scatteredMaps(rng_, {8, 8}, {8, 8}, 0)), cv::Exception);
    const cv::Mat tooHigh(kLongest + 1, 3, type, cv::Scalar());
    EXPECT_THROW(sampled(tooHigh, scatteredMaps(rng_, {8, 8}, {8, 8}, 0)), cv::Exception);
  }
}

TEST_P(CubicSamplerOnTarget, AnEmptySourceGivesZero) {
  const Maps maps = scatteredMaps(rng_, {70, 3}, {1, 1}, 5);
  EXPECT_EQ(cv::countNonZero(sampled(cv::Mat(), maps)), 0);
}

// Sources of all small sizes, positions across the rim, on and halfway between fractions, far away
// and undefined.
TEST_P(CubicSamplerOnTarget, LinearSamplesMatchToo) {
  const auto compare = [](const cv::Mat& source, const Maps& maps) {
    cv::Mat expected;
    cv::remap(source, expected, maps.cols, maps.rows, cv::INTER_LINEAR, cv::BORDER_CONSTANT, 0);
    cv::Mat tile(maps.cols.size(), source.type(), cv::Scalar::all(170));
    sampleLinear(source, maps.cols, maps.rows, tile);
    ASSERT_TRUE(sameBytes(tile, expected)) << source.size() << " type " << source.type();
  };
  const std::array<float, 8> odd{std::numeric_limits<float>::quiet_NaN(),
                                 kInfinity,
                                 -3.4e38F,
                                 1e9F,
                                 32768.0F,
                                 -1.0F,
                                 -0.0F,
                                 3e4F};
  for (int round = 0; round < 60; ++round) {
    const int rows = round < 30 ? rng_.uniform(1, 8) : rng_.uniform(8, 300);
    const int cols = round % 30 < 15 ? rng_.uniform(1, 8) : rng_.uniform(8, 300);
    const cv::Mat pixels = noise(rng_, rows, cols, round % 4 == 0 ? CV_8UC1 : CV_8UC3);
    // Exactly the image's bytes on the heap: a read past them is seen by the sanitizer.
    const auto buffer = std::make_unique<unsigned char[]>(pixels.total() * pixels.elemSize());
    const cv::Mat source(rows, cols, pixels.type(), buffer.get());
    pixels.copyTo(source);
    Maps maps = scatteredMaps(rng_, {rng_.uniform(1, 300), 9}, source.size(), 4);
    if (round % 3 == 0) {
      for (cv::Mat* map : {&maps.cols, &maps.rows}) {
        for (int i = 0; i < static_cast<int>(map->total()); ++i) {
          auto& position = map->ptr<float>()[i];
          position = i % 50 == 7 ? odd[static_cast<std::size_t>(i) % odd.size()]
                                 : static_cast<float>(cvRound(position * 64)) / 64;
        }
      }
    }
    compare(source, maps);
    compare(source,
            smoothMaps({200, 130}, source.size(), 0.4F + 0.1F * static_cast<float>(round), 0.3F));
  }
}

TEST(CubicSampler, RejectsImagesAndTilesThatDoNotFit) {
  EXPECT_THROW(CubicSampler(cv::Mat(4, 4, CV_8UC4)), cv::Exception);
  EXPECT_THROW(CubicSampler(cv::Mat(4, 4, CV_32F)), cv::Exception);
  const CubicSampler sampler(cv::Mat(8, 8, CV_8UC3, cv::Scalar()));
  const cv::Mat map(3, 5, CV_32F, cv::Scalar());
  cv::Mat narrow(3, 4, CV_8UC3);
  EXPECT_THROW(sampler.sample(map, map, narrow), cv::Exception);
  cv::Mat empty(0, 0, CV_8UC3);
  EXPECT_THROW(sampler.sample(cv::Mat(0, 0, CV_32F), cv::Mat(0, 0, CV_32F), empty), cv::Exception);
  cv::Mat grey(3, 5, CV_8UC1);
  EXPECT_THROW(sampler.sample(map, map, grey), cv::Exception);
}

}  // namespace
}  // namespace ORV::Common::Platform
