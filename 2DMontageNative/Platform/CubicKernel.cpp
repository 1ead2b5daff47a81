// SPDX-License-Identifier: MIT
#include "CubicKernel.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/CubicKernel.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which compiles this file once per instruction set.
#include "Platform/FixedPositions-inl.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Platform::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

template <int kChannels>
void sampleRun(const CubicSource& source,
               const float* x,
               const float* y,
               std::ptrdiff_t count,
               std::uint8_t* out) {
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    sampleCubicPixel(source, x[i], y[i], out + i * kChannels);
  }
}

#else

constexpr std::ptrdiff_t kBlock = kPositionsPerBlock;
constexpr int kGroup = 4;  // pixels whose grey sums are reduced together
/// Bytes that sampling writes past the last pixel: the rest of a group, or of four bytes.
constexpr int kSurplus = kGroup - 1;

/// Two 128-bit blocks per vector where the instruction set is known to have them, else one.
constexpr std::size_t kBlocks = HWY_MAX_BYTES >= 32 && !HWY_HAVE_SCALABLE ? 2 : 1;
constexpr std::size_t kHalves = 2;  // of the 4 x 4 weights: rows 0 and 1, rows 2 and 3
constexpr std::size_t kHalfWeights = kCubicWeights / kHalves;

using Bytes16 = hn::FixedTag<std::uint8_t, 16>;
using Bytes8 = hn::FixedTag<std::uint8_t, 8>;
using Bytes4 = hn::FixedTag<std::uint8_t, 4>;
using Sums4 = hn::FixedTag<std::int32_t, 4>;
using Sums = hn::FixedTag<std::int32_t, 4 * kBlocks>;
using Words = hn::FixedTag<std::int16_t, 8 * kBlocks>;
using Bytes = hn::FixedTag<std::uint8_t, 16 * kBlocks>;

/// Pixels per row that the kernel reads from the first tap on: three channels are read 16 bytes at
/// a time, which is more than four pixels.
template <int kChannels>
constexpr int kReadCols = kChannels == 1 ? kCubicTaps : 6;

/// Where the pixels of a block find their source pixels and weights.
struct Taps {
  HWY_ALIGN std::int32_t pixels[kBlock];   // first byte; 0 where not readable
  HWY_ALIGN std::int32_t weights[kBlock];  // first weight
  HWY_ALIGN std::int32_t onRim[kBlock];    // non-zero where the kernel may not read
  bool allReadable;
  bool anyReadable;
};

/// Finds the taps of a block of positions and which of them the kernel may read.
template <int kChannels>
void locate(const CubicSource& source, const float* x, const float* y, Taps& taps) {
  const PositionIndices di;
  const int colEnd = source.width - kReadCols<kChannels> + 1;
  const int rowEnd = source.height - kCubicTaps + 1;
  const auto stride = hn::Set(di, source.stride);
  const auto channels = hn::Set(di, kChannels);
  const auto one = hn::Set(di, 1);
  auto allReadable = hn::Eq(stride, stride);
  auto anyReadable = hn::Not(allReadable);
  for (std::size_t i = 0; i < kBlock; i += hn::Lanes(di)) {
    const FixedPositions col = fixedPositions(x + i);
    const FixedPositions row = fixedPositions(y + i);
    const auto firstCol = hn::Sub(col.pixel, one);
    const auto firstRow = hn::Sub(row.pixel, one);
    const auto readable = hn::And(within(firstCol, 0, colEnd), within(firstRow, 0, rowEnd));
    const auto pixel = hn::Add(hn::Mul(firstRow, stride), hn::Mul(firstCol, channels));
    const auto set = hn::Add(hn::ShiftLeft<kCubicFractionBits>(row.fraction), col.fraction);
    hn::Store(hn::IfThenElseZero(readable, pixel), di, taps.pixels + i);
    hn::Store(hn::ShiftLeft<kCubicWeightsLog2>(set), di, taps.weights + i);
    hn::Store(hn::VecFromMask(di, hn::Not(readable)), di, taps.onRim + i);
    allReadable = hn::And(allReadable, readable);
    anyReadable = hn::Or(anyReadable, readable);
  }
  taps.allReadable = hn::AllTrue(di, allReadable);
  taps.anyReadable = !hn::AllFalse(di, anyReadable);
}

/// Whether some position of a block has a tap inside the source.
bool anyTouching(const CubicSource& source, const float* x, const float* y) {
  constexpr int kFirst = 2 - kCubicTaps;  // the pixel of a position is its second tap
  const PositionIndices di;
  auto any = hn::Gt(hn::Zero(di), hn::Zero(di));
  for (std::size_t i = 0; i < kBlock; i += hn::Lanes(di)) {
    any = hn::Or(any,
                 hn::And(within(fixedPositions(x + i).pixel, kFirst, source.width + 1),
                         within(fixedPositions(y + i).pixel, kFirst, source.height + 1)));
  }
  return !hn::AllFalse(di, any);
}

HWY_INLINE hn::Vec<Sums> multiplyPairs(hn::Vec<Words> pixels,
                                       hn::Vec<Words> weights,
                                       hn::Vec<Sums> sum) {
  auto other = hn::Zero(Sums());
  sum = hn::ReorderWidenMulAccumulate(Sums(), pixels, weights, sum, other);
  return hn::Add(sum, other);
}

template <class D>
HWY_INLINE hn::Vec<Sums4> addBlocks(D /*sums*/, hn::Vec<D> sum) {
  if constexpr (kBlocks == 2) {
    return hn::Add(hn::LowerHalf(Sums4(), sum), hn::UpperHalf(Sums4(), sum));
  } else {
    return sum;
  }
}

HWY_INLINE hn::Vec<Bytes4> roundToBytes(hn::Vec<Sums4> sum) {
  const auto rounding = hn::Set(Sums4(), 1 << (kCubicWeightBits - 1));
  return hn::DemoteTo(Bytes4(), hn::ShiftRight<kCubicWeightBits>(hn::Add(sum, rounding)));
}

/// Four pixels of two neighbouring rows: 8 bytes.
HWY_INLINE hn::Vec<Bytes8> greyRowPair(const std::uint8_t* pixels, std::ptrdiff_t stride) {
  return hn::Combine(Bytes8(), hn::LoadU(Bytes4(), pixels + stride), hn::LoadU(Bytes4(), pixels));
}

/// Weighted sum of one grey pixel, spread over the lanes of the result.
template <class D>
HWY_INLINE hn::Vec<Sums> greySum(D words,
                                 const std::uint8_t* pixels,
                                 std::ptrdiff_t stride,
                                 const std::int16_t* weights) {
  const auto upper = greyRowPair(pixels, stride);
  const auto lower = greyRowPair(pixels + 2 * stride, stride);
  const auto sum = hn::Zero(Sums());
  if constexpr (kBlocks == 2) {
    const auto all = hn::PromoteTo(words, hn::Combine(Bytes16(), lower, upper));
    return multiplyPairs(all, hn::LoadU(words, weights), sum);
  } else {
    return multiplyPairs(
        hn::PromoteTo(words, lower),
        hn::LoadU(words, weights + kHalfWeights),
        multiplyPairs(hn::PromoteTo(words, upper), hn::LoadU(words, weights), sum));
  }
}

/// Adds the lanes of each block: block k of the result holds block k's sums of `a, b, c, d`.
HWY_INLINE hn::Vec<Sums> addLanes(hn::Vec<Sums> a,
                                  hn::Vec<Sums> b,
                                  hn::Vec<Sums> c,
                                  hn::Vec<Sums> d) {
  const hn::Repartition<std::int64_t, Sums> pairs;
  const auto ab = hn::Add(hn::InterleaveLower(Sums(), a, b), hn::InterleaveUpper(Sums(), a, b));
  const auto cd = hn::Add(hn::InterleaveLower(Sums(), c, d), hn::InterleaveUpper(Sums(), c, d));
  const auto abPairs = hn::BitCast(pairs, ab);
  const auto cdPairs = hn::BitCast(pairs, cd);
  return hn::Add(hn::BitCast(Sums(), hn::InterleaveLower(pairs, abPairs, cdPairs)),
                 hn::BitCast(Sums(), hn::InterleaveUpper(pairs, abPairs, cdPairs)));
}

void sampleGrey(const CubicSource& source,
                const std::int16_t* table,
                const Taps& taps,
                std::ptrdiff_t count,
                std::uint8_t* out) {
  const std::ptrdiff_t stride = source.stride;
  for (std::ptrdiff_t i = 0; i < count; i += kGroup) {
    const auto sumOf = [&](std::ptrdiff_t k) HWY_ATTR {
      return greySum(Words(), source.pixels + taps.pixels[k], stride, table + taps.weights[k]);
    };
    const auto sums = addLanes(sumOf(i), sumOf(i + 1), sumOf(i + 2), sumOf(i + 3));
    hn::StoreU(roundToBytes(addBlocks(Sums(), sums)), Bytes4(), out + i);
  }
}

/// 16 bytes of a row; with two blocks the row two below in the upper one.
template <class D>
HWY_INLINE hn::Vec<D> colourRows(D bytes, const std::uint8_t* pixels, std::ptrdiff_t stride) {
  if constexpr (kBlocks == 2) {
    return hn::Combine(
        bytes, hn::LoadU(Bytes16(), pixels + 2 * stride), hn::LoadU(Bytes16(), pixels));
  } else {
    return hn::LoadU(bytes, pixels);
  }
}

/// Selects from B0 G0 R0 B1 G1 R1 B2 ... the words B0 B1 G0 G1 R0 R1 0 0, or B2 B3 G2 G3 R2 R3 0 0.
struct PairSelectors {
  hn::Vec<Bytes> left;
  hn::Vec<Bytes> right;
};

HWY_INLINE PairSelectors pairSelectors() {
  constexpr std::uint8_t kZero = 0x80;
  HWY_ALIGN constexpr std::uint8_t kLeft[16] = {
      0, kZero, 3, kZero, 1, kZero, 4, kZero, 2, kZero, 5, kZero, kZero, kZero, kZero, kZero};
  HWY_ALIGN constexpr std::uint8_t kRight[16] = {
      6, kZero, 9, kZero, 7, kZero, 10, kZero, 8, kZero, 11, kZero, kZero, kZero, kZero, kZero};
  return {hn::LoadDup128(Bytes(), kLeft), hn::LoadDup128(Bytes(), kRight)};
}

/// Adds one row (per block) of colour pixels times its weights, which are pairs k and k + 1 of the
/// eight weights in each block of `weights`.
template <int kPair>
HWY_INLINE hn::Vec<Sums> addColourRow(hn::Vec<Bytes> row,
                                      hn::Vec<Sums> weights,
                                      const PairSelectors& select,
                                      hn::Vec<Sums> sum) {
  const auto words = [&](hn::Vec<Bytes> selector) HWY_ATTR {
    return hn::BitCast(Words(), hn::TableLookupBytesOr0(row, selector));
  };
  sum = multiplyPairs(words(select.left), hn::BitCast(Words(), hn::Broadcast<kPair>(weights)), sum);
  return multiplyPairs(
      words(select.right), hn::BitCast(Words(), hn::Broadcast<kPair + 1>(weights)), sum);
}

/// Weighted sums of one pixel: blue, green, red, 0.
HWY_INLINE hn::Vec<Sums4> colourSum(const std::uint8_t* pixels,
                                    std::ptrdiff_t stride,
                                    const std::int16_t* weights,
                                    const PairSelectors& select) {
  auto sum = hn::Zero(Sums());
  for (std::size_t half = 0; half < kHalves; half += kBlocks) {
    const auto pairs = hn::BitCast(Sums(), hn::LoadU(Words(), weights));
    sum = addColourRow<0>(colourRows(Bytes(), pixels, stride), pairs, select, sum);
    sum = addColourRow<2>(colourRows(Bytes(), pixels + stride, stride), pairs, select, sum);
    pixels += 2 * stride;
    weights += kHalfWeights;
  }
  return addBlocks(Sums(), sum);
}

void sampleColour(const CubicSource& source,
                  const std::int16_t* table,
                  const Taps& taps,
                  std::ptrdiff_t count,
                  std::uint8_t* out) {
  const PairSelectors select = pairSelectors();
  const std::ptrdiff_t stride = source.stride;
  for (std::ptrdiff_t i = 0; i < count; ++i, out += 3) {
    const auto sum =
        colourSum(source.pixels + taps.pixels[i], stride, table + taps.weights[i], select);
    hn::StoreU(roundToBytes(sum), Bytes4(), out);  // the fourth byte belongs to the next pixel
  }
}

/// Samples the first `count` pixels of a block, which may be followed by `kSurplus` further bytes.
template <int kChannels>
void sampleBlock(const CubicSource& source,
                 const std::int16_t* table,
                 const float* x,
                 const float* y,
                 std::ptrdiff_t count,
                 std::uint8_t* out) {
  Taps taps;
  locate<kChannels>(source, x, y, taps);
  if (taps.anyReadable) {
    if constexpr (kChannels == 1) {
      sampleGrey(source, table, taps, count, out);
    } else {
      sampleColour(source, table, taps, count, out);
    }
  } else if (!anyTouching(source, x, y)) {
    std::memset(out, 0, static_cast<std::size_t>(count) * kChannels);
    return;
  }
  if (!taps.allReadable) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
      if (taps.onRim[i] != 0) {
        sampleCubicPixel(source, x[i], y[i], out + i * kChannels);
      }
    }
  }
}

/// Samples the last whole block of a run and touches nothing beyond it.
template <int kChannels>
void sampleFinalBlock(const CubicSource& source,
                      const std::int16_t* table,
                      const float* x,
                      const float* y,
                      std::uint8_t* out) {
  std::uint8_t sampled[kBlock * kChannels + kSurplus];
  sampleBlock<kChannels>(source, table, x, y, kBlock, sampled);
  std::copy_n(sampled, kBlock * kChannels, out);
}

/// Samples the last pixels of a run, fewer than a block, and touches nothing beyond them.
template <int kChannels>
void sampleRest(const CubicSource& source,
                const std::int16_t* table,
                const float* x,
                const float* y,
                std::ptrdiff_t count,
                std::uint8_t* out) {
  float paddedX[kBlock];
  float paddedY[kBlock];
  std::uint8_t sampled[kBlock * kChannels + kSurplus];
  std::fill(std::copy(x, x + count, paddedX), paddedX + kBlock, x[0]);
  std::fill(std::copy(y, y + count, paddedY), paddedY + kBlock, y[0]);
  sampleBlock<kChannels>(source, table, paddedX, paddedY, count, sampled);
  std::copy_n(sampled, count * kChannels, out);
}

template <int kChannels>
void sampleRun(const CubicSource& source,
               const float* x,
               const float* y,
               std::ptrdiff_t count,
               std::uint8_t* out) {
  const std::int16_t* table = cubicWeightTable().data();
  // A block that is not the last may spill into the next, which is sampled after it.
  for (; count > kBlock; count -= kBlock) {
    sampleBlock<kChannels>(source, table, x, y, kBlock, out);
    x += kBlock;
    y += kBlock;
    out += kBlock * kChannels;
  }
  if (count == kBlock) {
    sampleFinalBlock<kChannels>(source, table, x, y, out);
  } else if (count > 0) {
    sampleRest<kChannels>(source, table, x, y, count, out);
  }
}

#endif  // HWY_TARGET == HWY_SCALAR

void sampleGreyRun(const CubicSource& source,
                   const float* x,
                   const float* y,
                   std::ptrdiff_t count,
                   std::uint8_t* out) {
  sampleRun<1>(source, x, y, count, out);
}
void sampleColourRun(const CubicSource& source,
                     const float* x,
                     const float* y,
                     std::ptrdiff_t count,
                     std::uint8_t* out) {
  sampleRun<3>(source, x, y, count, out);
}

}  // namespace
}  // namespace ORV::Common::Platform::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Platform {

HWY_EXPORT(sampleGreyRun);
HWY_EXPORT(sampleColourRun);

void sampleCubicRun(
    const CubicSource& source, const float* x, const float* y, int count, std::uint8_t* out) {
  if (source.channels == 1) {
    HWY_DYNAMIC_DISPATCH(sampleGreyRun)(source, x, y, count, out);
  } else {
    HWY_DYNAMIC_DISPATCH(sampleColourRun)(source, x, y, count, out);
  }
}

}  // namespace ORV::Common::Platform
#endif  // HWY_ONCE
