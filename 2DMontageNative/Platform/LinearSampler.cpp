// SPDX-License-Identifier: MIT
#include "Platform/LinearSampler.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/LinearSampler.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

#include "Platform/FixedPositions-inl.h"

#ifndef ORV_MONTAGE_PLATFORM_LINEAR_SAMPLER_CPP
#define ORV_MONTAGE_PLATFORM_LINEAR_SAMPLER_CPP
namespace ORV::Common::Platform {
namespace {

constexpr int kFractionBits = 5;
constexpr int kFractions = 1 << kFractionBits;
constexpr int kWeightBits = 10;  // the weights of the four pixels sum to 2^10
constexpr int kHalf = 1 << (kWeightBits - 1);
constexpr int kColours = 3;

/// One pixel by its definition; position in 1/32 pixel.
void samplePixel(const cv::Mat& source, int fixedX, int fixedY, std::uint8_t* out) {
  const int column = fixedX >> kFractionBits;
  const int row = fixedY >> kFractionBits;
  const int right = fixedX & (kFractions - 1);
  const int below = fixedY & (kFractions - 1);
  int sums[kColours] = {kHalf, kHalf, kHalf};
  for (int dy = 0; dy < 2; ++dy) {
    for (int dx = 0; dx < 2; ++dx) {
      const int y = row + dy;
      const int x = column + dx;
      if (x < 0 || x >= source.cols || y < 0 || y >= source.rows) {
        continue;
      }
      const int weight =
          (dx == 0 ? kFractions - right : right) * (dy == 0 ? kFractions - below : below);
      const std::uint8_t* const pixel = source.ptr(y) + std::ptrdiff_t{x} * kColours;
      for (int channel = 0; channel < kColours; ++channel) {
        sums[channel] += pixel[channel] * weight;
      }
    }
  }
  for (int channel = 0; channel < kColours; ++channel) {
    out[channel] = static_cast<std::uint8_t>(sums[channel] >> kWeightBits);
  }
}

/// One pixel at a position in pixels; 0 where it is far away or no number.
void samplePixelAt(const cv::Mat& source, float x, float y, std::uint8_t* out) {
  constexpr float kFar = 65536.0F;  // beyond every source
  if (x > -kFar && x < kFar && y > -kFar && y < kFar) {
    samplePixel(source, cvRound(x * kFractions), cvRound(y * kFractions), out);
  } else {
    std::fill_n(out, kColours, std::uint8_t{0});
  }
}

}  // namespace
}  // namespace ORV::Common::Platform
#endif  // ORV_MONTAGE_PLATFORM_LINEAR_SAMPLER_CPP

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Platform::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

void sampleColours(
    const cv::Mat& source, const float* x, const float* y, int count, std::uint8_t* out) {
  for (int i = 0; i < count; ++i) {
    samplePixelAt(source, x[i], y[i], out + std::ptrdiff_t{i} * kColours);
  }
}

#else

using Words = hn::FixedTag<std::int16_t, 8>;
using Sums = hn::FixedTag<std::int32_t, 4>;
using Bytes4 = hn::FixedTag<std::uint8_t, 4>;
using Bytes8 = hn::FixedTag<std::uint8_t, 8>;

/// Pixels of a row that are read from the first one on: eight bytes are more than two pixels.
constexpr int kReadColumns = 3;

/// Where the pixels of a block find their source pixels, and their weights.
struct Taps {
  HWY_ALIGN std::int32_t pixels[kPositionsPerBlock];  // first byte; 0 where not readable
  HWY_ALIGN std::int32_t readable[kPositionsPerBlock];
  HWY_ALIGN std::int32_t right[kPositionsPerBlock];  // weights of both columns, 16 bits each
  HWY_ALIGN std::int32_t below[kPositionsPerBlock];  // of the lower row
  bool allReadable;
};

void locate(const cv::Mat& source, const float* x, const float* y, Taps& taps) {
  const PositionIndices di;
  const auto whole = hn::Set(di, kFractions);
  const auto stride = hn::Set(di, static_cast<std::int32_t>(source.step[0]));
  auto all = hn::Eq(whole, whole);
  for (std::size_t i = 0; i < kPositionsPerBlock; i += hn::Lanes(di)) {
    const FixedPositions column = fixedPositions(x + i);
    const FixedPositions row = fixedPositions(y + i);
    const auto readable = hn::And(within(column.pixel, 0, source.cols - kReadColumns + 1),
                                  within(row.pixel, 0, source.rows - 1));
    const auto pixel =
        hn::Add(hn::Mul(row.pixel, stride), hn::Mul(column.pixel, hn::Set(di, kColours)));
    hn::Store(hn::IfThenElseZero(readable, pixel), di, taps.pixels + i);
    hn::Store(hn::VecFromMask(di, readable), di, taps.readable + i);
    hn::Store(hn::Or(hn::ShiftLeft<16>(column.fraction), hn::Sub(whole, column.fraction)),
              di,
              taps.right + i);
    hn::Store(row.fraction, di, taps.below + i);
    all = hn::And(all, readable);
  }
  taps.allReadable = hn::AllTrue(di, all);
}

/// Blue, green and red of one pixel, and a fourth byte without meaning.
HWY_INLINE void storePixel(
    const std::uint8_t* pixels, std::size_t stride, int right, int below, std::uint8_t* out) {
  const Words words;
  const Sums sums;
  const auto row = [&](const std::uint8_t* bytes)
                       HWY_ATTR { return hn::PromoteTo(words, hn::LoadU(Bytes8(), bytes)); };
  const auto weight = [&](int value)
                          HWY_ATTR { return hn::Set(words, static_cast<std::int16_t>(value)); };
  // Vertically B G R of the left and of the right pixel; then left and right beside each other.
  const auto columns = hn::Add(hn::Mul(row(pixels), weight(kFractions - below)),
                               hn::Mul(row(pixels + stride), weight(below)));
  const auto pairs = hn::InterleaveLower(words, columns, hn::ShiftRightLanes<3>(words, columns));
  auto other = hn::Zero(sums);
  const auto sum = hn::ReorderWidenMulAccumulate(
      sums, pairs, hn::BitCast(words, hn::Set(sums, right)), hn::Zero(sums), other);
  const auto values = hn::Add(hn::RearrangeToOddPlusEven(sum, other), hn::Set(sums, kHalf));
  hn::StoreU(hn::DemoteTo(Bytes4(), hn::ShiftRight<kWeightBits>(values)), Bytes4(), out);
}

/// A block of positions; `out` takes the first `count` pixels.
void sampleBlock(
    const cv::Mat& source, const float* x, const float* y, int count, std::uint8_t* out) {
  Taps taps;
  locate(source, x, y, taps);
  std::uint8_t sampled[kPositionsPerBlock * kColours + 1];
  if (source.cols >= kReadColumns && source.rows >= 2) {
    for (int i = 0; i < count; ++i) {
      storePixel(source.data + taps.pixels[i],
                 source.step[0],
                 taps.right[i],
                 taps.below[i],
                 sampled + std::ptrdiff_t{i} * kColours);
    }
  }
  if (!taps.allReadable) {
    for (int i = 0; i < count; ++i) {
      if (taps.readable[i] == 0) {
        samplePixelAt(source, x[i], y[i], sampled + std::ptrdiff_t{i} * kColours);
      }
    }
  }
  std::memcpy(out, sampled, static_cast<std::size_t>(count) * kColours);
}

void sampleColours(
    const cv::Mat& source, const float* x, const float* y, int count, std::uint8_t* out) {
  constexpr int kBlock = kPositionsPerBlock;
  constexpr std::ptrdiff_t kBlockBytes = std::ptrdiff_t{kBlock} * kColours;
  for (; count >= kBlock; count -= kBlock, x += kBlock, y += kBlock, out += kBlockBytes) {
    sampleBlock(source, x, y, kBlock, out);
  }
  if (count > 0) {
    float paddedX[kBlock];
    float paddedY[kBlock];
    std::fill(std::copy_n(x, count, paddedX), paddedX + kBlock, x[0]);
    std::fill(std::copy_n(y, count, paddedY), paddedY + kBlock, y[0]);
    sampleBlock(source, paddedX, paddedY, count, out);
  }
}

#endif  // HWY_TARGET

}  // namespace
}  // namespace ORV::Common::Platform::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Platform {
namespace {

HWY_EXPORT(sampleColours);

/// Whether sides and byte offsets are such as the kernel takes them.
bool isServed(const cv::Mat& source, const cv::Mat& tile) {
  constexpr int kMaxSide = std::numeric_limits<short>::max();
  constexpr std::size_t kMaxBytes = std::numeric_limits<std::int32_t>::max();
  return source.type() == CV_8UC3 && !source.empty() && !tile.empty() && source.cols < kMaxSide &&
         source.rows < kMaxSide &&
         source.step[0] * static_cast<std::size_t>(source.rows) <= kMaxBytes;
}

}  // namespace

void sampleLinear(const cv::Mat& source,
                  const cv::Mat& mapCols,
                  const cv::Mat& mapRows,
                  cv::Mat& tile) {
  CV_Assert(mapCols.type() == CV_32FC1 && mapRows.type() == CV_32FC1);
  CV_Assert(mapCols.size() == tile.size() && mapRows.size() == tile.size());
  CV_Assert(tile.type() == source.type());
  if (!isServed(source, tile)) {
    cv::remap(source, tile, mapCols, mapRows, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    return;
  }
  for (int row = 0; row < tile.rows; ++row) {
    HWY_DYNAMIC_DISPATCH(sampleColours)
    (source, mapCols.ptr<float>(row), mapRows.ptr<float>(row), tile.cols, tile.ptr(row));
  }
}

}  // namespace ORV::Common::Platform
#endif  // HWY_ONCE
