// SPDX-License-Identifier: MIT
#include "Platform/RemapKernel.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/RemapKernel.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Platform::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

template <int channels>
void remapExactly(const RemapRegion<channels>& region,
                  const float* cols,
                  const float* rows,
                  int count,
                  unsigned char* out) {
  for (int i = 0; i < count; ++i, out += channels) {
    if (region.contains(cols[i], rows[i])) {
      region.sample(cols[i], rows[i], out);
    }
  }
}

#if HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE

template <int channels>
void remapBlocks(const RemapRegion<channels>& region,
                 const float* cols,
                 const float* rows,
                 int count,
                 unsigned char* out) {
  remapExactly(region, cols, rows, count, out);
}

#else

/// Pixels located, then sampled, at a time: a multiple of every vector length.
constexpr int kBlock = 64;

using Positions = hn::CappedTag<float, kBlock>;
using Indices = hn::RebindToSigned<Positions>;
using Floats4 = hn::FixedTag<float, 4>;
using ColourFloats = hn::CappedTag<float, 8>;

/// Bound on the error of a value formed in single precision: 4 x 4 products of bytes and weights
/// of 24 bits, whose magnitudes add up to less than 1.9 * 255, and about ten roundings.
constexpr float kMaxError = 1.0F / 1024.0F;

/// Pixels of a row that are read from the first tap on: the last load of a colour row is longer
/// than its pixels.
template <int channels>
constexpr int kReadCols = channels == 1 ? kRemapTaps : kRemapTaps + 1;

/// Where the pixels of a block find their source pixels, and their weights.
struct Taps {
  HWY_ALIGN std::int32_t pixels[kBlock];  // first byte; 0 where not readable
  HWY_ALIGN std::int32_t readable[kBlock];
  HWY_ALIGN float colWeights[kBlock * kRemapTaps];
  HWY_ALIGN float rowWeights[kBlock * kRemapTaps];
  bool allReadable;
  bool anyReadable;
};

/// Stores four weights per position, by the kernel's polynomials in products that do not cancel.
HWY_INLINE void storeWeights(hn::Vec<Positions> fraction, float* weights) {
  const Positions d;
  constexpr auto kA = static_cast<float>(kRemapSharpness);
  const auto one = hn::Set(d, 1.0F);
  const auto rest = hn::Sub(one, fraction);
  const auto far = [&](auto toNear, auto toFar) HWY_ATTR {
    return hn::Mul(hn::Mul(hn::Set(d, kA), toNear), hn::Mul(toFar, toFar));
  };
  const auto near = [&](auto distance) HWY_ATTR {
    const auto factor = hn::Sub(hn::Mul(hn::Set(d, kA + 2.0F), distance), hn::Set(d, kA + 3.0F));
    return hn::Add(hn::Mul(hn::Mul(factor, distance), distance), one);
  };
  hn::StoreInterleaved4(
      far(fraction, rest), near(fraction), near(rest), far(rest, fraction), d, weights);
}

/// Finds the taps of a block of positions and which of them may be read without a look at edges.
template <int channels>
void locate(const RemapRegion<channels>& region, const float* cols, const float* rows, Taps& taps) {
  const Positions d;
  const Indices di;
  const auto within = [&](auto base, int first, int last) HWY_ATTR {
    return hn::And(hn::Gt(base, hn::Set(di, first)), hn::Lt(base, hn::Set(di, last)));
  };
  const auto step = hn::Set(di, static_cast<std::int32_t>(region.step()));
  const auto one = hn::Set(di, 1);
  auto all = hn::Eq(one, one);
  auto any = hn::Not(all);
  for (std::size_t i = 0; i < kBlock; i += hn::Lanes(di)) {
    const auto col = hn::LoadU(d, cols + i);
    const auto row = hn::LoadU(d, rows + i);
    // What is no 32-bit number becomes one of the farthest, outside every region.
    const auto baseCol = hn::ConvertTo(di, col);
    const auto baseRow = hn::ConvertTo(di, row);
    const auto readable =
        hn::And(within(baseCol, region.left(), region.right() - kReadCols<channels> + 3),
                within(baseRow, region.top(), region.bottom() - kRemapTaps + 3));
    const auto pixel = hn::Add(hn::Mul(hn::Sub(baseRow, one), step),
                               hn::Mul(hn::Sub(baseCol, one), hn::Set(di, channels)));
    hn::Store(hn::IfThenElseZero(readable, pixel), di, taps.pixels + i);
    hn::Store(hn::VecFromMask(di, readable), di, taps.readable + i);
    storeWeights(hn::Sub(col, hn::ConvertTo(d, baseCol)), taps.colWeights + kRemapTaps * i);
    storeWeights(hn::Sub(row, hn::ConvertTo(d, baseRow)), taps.rowWeights + kRemapTaps * i);
    all = hn::And(all, readable);
    any = hn::Or(any, readable);
  }
  taps.allReadable = hn::AllTrue(di, all);
  taps.anyReadable = !hn::AllFalse(di, any);
}

/// The four rows under one pixel, each from `pixels` on as long as the vector, weighted and added.
template <class D>
HWY_INLINE hn::Vec<D> weightedRows(D d,
                                   const unsigned char* pixels,
                                   std::ptrdiff_t step,
                                   const float* weights) {
  const hn::Rebind<std::uint8_t, D> bytes;
  const hn::RebindToSigned<D> ints;
  const auto row = [&](int k) HWY_ATTR {
    return hn::ConvertTo(d, hn::PromoteTo(ints, hn::LoadU(bytes, pixels + k * step)));
  };
  const auto weight = [&](int k) HWY_ATTR { return hn::Set(d, weights[k]); };
  const auto upper = hn::MulAdd(row(1), weight(1), hn::Mul(row(0), weight(0)));
  const auto lower = hn::MulAdd(row(3), weight(3), hn::Mul(row(2), weight(2)));
  return hn::Add(upper, lower);
}

/// Values of a block, one float each.
void valuesOf(const RemapRegion<1>& region, const Taps& taps, float* values) {
  const Floats4 d;
  HWY_ALIGN float products[kBlock * kRemapTaps];
  for (int i = 0; i < kBlock; ++i) {
    const std::ptrdiff_t k = std::ptrdiff_t{i} * kRemapTaps;
    const auto sums =
        weightedRows(d, region.image() + taps.pixels[i], region.step(), taps.rowWeights + k);
    hn::Store(hn::Mul(sums, hn::Load(d, taps.colWeights + k)), d, products + k);
  }
  const Positions wide;
  for (std::size_t i = 0; i < kBlock; i += hn::Lanes(wide)) {
    hn::Vec<Positions> p0, p1, p2, p3;
    hn::LoadInterleaved4(wide, products + i * kRemapTaps, p0, p1, p2, p3);
    hn::Store(hn::Add(hn::Add(p0, p1), hn::Add(p2, p3)), wide, values + i);
  }
}

/// B G R of one pixel and a fourth float without meaning; `weights` those of the columns.
template <class D>
HWY_INLINE void storeColour(D d,
                            const unsigned char* pixels,
                            std::ptrdiff_t step,
                            const float* rowWeights,
                            const float* weights,
                            float* values) {
  const auto rows = [&](std::ptrdiff_t pixel)
                        HWY_ATTR { return weightedRows(d, pixels + 3 * pixel, step, rowWeights); };
  if constexpr (hn::MaxLanes(D()) == 8) {
    // Two neighbouring pixels to a vector: B G R of the first, then of the second.
    HWY_ALIGN static constexpr std::int32_t kFirstWeights[8] = {0, 0, 0, 1, 1, 1, 1, 1};
    HWY_ALIGN static constexpr std::int32_t kLastWeights[8] = {2, 2, 2, 3, 3, 3, 3, 3};
    HWY_ALIGN static constexpr std::int32_t kSecondPixel[8] = {3, 4, 5, 6, 7, 7, 7, 7};
    const auto all = hn::LoadDup128(d, weights);
    const auto first = hn::TableLookupLanes(all, hn::SetTableIndices(d, kFirstWeights));
    const auto last = hn::TableLookupLanes(all, hn::SetTableIndices(d, kLastWeights));
    const auto both = hn::MulAdd(rows(0), first, hn::Mul(rows(2), last));
    const auto second = hn::TableLookupLanes(both, hn::SetTableIndices(d, kSecondPixel));
    hn::StoreU(hn::LowerHalf(hn::Add(both, second)), Floats4(), values);
  } else {
    auto sum = hn::Mul(rows(0), hn::Set(d, weights[0]));
    for (int pixel = 1; pixel < kRemapTaps; ++pixel) {
      sum = hn::MulAdd(rows(pixel), hn::Set(d, weights[pixel]), sum);
    }
    hn::StoreU(sum, d, values);
  }
}

/// Three floats each, and one after the last.
void valuesOf(const RemapRegion<3>& region, const Taps& taps, float* values) {
  for (int i = 0; i < kBlock; ++i) {
    const std::ptrdiff_t k = std::ptrdiff_t{i} * kRemapTaps;
    storeColour(ColourFloats(),
                region.image() + taps.pixels[i],
                region.step(),
                taps.rowWeights + k,
                taps.colWeights + k,
                values + std::ptrdiff_t{i} * 3);
  }
}

/// Rounds values to bytes. Returns how many are too near to a rounding boundary, and their places.
int round(const float* values, int count, unsigned char* bytes, int* doubtful) {
  const Positions d;
  const hn::Rebind<std::uint8_t, Positions> narrow;
  const auto zero = hn::Zero(d);
  const int lanes = static_cast<int>(hn::Lanes(d));
  int found = 0;
  for (int i = 0; i < count; i += lanes) {
    const auto value = hn::Min(hn::Max(hn::Load(d, values + i), zero), hn::Set(d, 255.0F));
    const auto nearest = hn::NearestInt(value);
    const auto remainder = hn::Abs(hn::Sub(value, hn::ConvertTo(d, nearest)));
    const auto inDoubt = hn::Gt(remainder, hn::Set(d, 0.5F - kMaxError));
    hn::StoreU(hn::DemoteTo(narrow, nearest), narrow, bytes + i);
    if (!hn::AllFalse(d, inDoubt)) {
      HWY_ALIGN float flags[hn::MaxLanes(d)];
      hn::Store(hn::IfThenElseZero(inDoubt, hn::Set(d, 1.0F)), d, flags);
      for (int lane = 0; lane < lanes; ++lane) {
        doubtful[found] = i + lane;
        found += flags[lane] != 0.0F ? 1 : 0;
      }
    }
  }
  return found;
}

/// A block of positions; `out` takes the first `count` pixels.
template <int channels>
void remapBlock(const RemapRegion<channels>& region,
                const float* cols,
                const float* rows,
                int count,
                unsigned char* out) {
  Taps taps;
  locate(region, cols, rows, taps);
  if (!taps.anyReadable) {
    remapExactly(region, cols, rows, count, out);
    return;
  }
  constexpr int kValues = kBlock * channels;
  HWY_ALIGN float values[kValues + 1];
  HWY_ALIGN unsigned char bytes[kValues];
  int doubtful[kValues + 1];
  valuesOf(region, taps, values);
  const int doubtfulCount = round(values, kValues, bytes, doubtful);
  for (int i = 0; i < doubtfulCount; ++i) {
    const int pixel = doubtful[i] / channels;
    if (taps.readable[pixel] != 0) {
      region.sample(cols[pixel], rows[pixel], bytes + std::ptrdiff_t{pixel} * channels);
    }
  }
  if (taps.allReadable) {
    std::memcpy(out, bytes, static_cast<std::size_t>(count) * channels);
    return;
  }
  for (int i = 0; i < count; ++i) {
    const std::ptrdiff_t k = std::ptrdiff_t{i} * channels;
    if (taps.readable[i] != 0) {
      std::copy_n(bytes + k, channels, out + k);
    } else {
      remapExactly(region, cols + i, rows + i, 1, out + k);
    }
  }
}

/// The last positions of a run, fewer than a block.
template <int channels>
void remapRest(const RemapRegion<channels>& region,
               const float* cols,
               const float* rows,
               int count,
               unsigned char* out) {
  float paddedCols[kBlock];
  float paddedRows[kBlock];
  std::fill(std::copy_n(cols, count, paddedCols), paddedCols + kBlock, cols[0]);
  std::fill(std::copy_n(rows, count, paddedRows), paddedRows + kBlock, rows[0]);
  remapBlock(region, paddedCols, paddedRows, count, out);
}

/// Whether offsets into the region and its positions are exact in 32 bits.
template <int channels>
bool servesVectors(const RemapRegion<channels>& region) {
  constexpr int kMaxSide = 1 << 24;
  return region.right() < kMaxSide && region.bottom() < kMaxSide &&
         region.step() * (std::int64_t{region.bottom()} + 1) <
             std::numeric_limits<std::int32_t>::max();
}

template <int channels>
void remapBlocks(const RemapRegion<channels>& region,
                 const float* cols,
                 const float* rows,
                 int count,
                 unsigned char* out) {
  if (!servesVectors(region)) {
    remapExactly(region, cols, rows, count, out);
    return;
  }
  int first = 0;
  for (; first + kBlock <= count; first += kBlock) {
    remapBlock(region, cols + first, rows + first, kBlock, out + std::ptrdiff_t{first} * channels);
  }
  if (first < count) {
    remapRest(
        region, cols + first, rows + first, count - first, out + std::ptrdiff_t{first} * channels);
  }
}

#endif  // HWY_TARGET

void remapGrey(const RemapRegion<1>& region,
               const float* cols,
               const float* rows,
               int count,
               unsigned char* out) {
  remapBlocks(region, cols, rows, count, out);
}
void remapColour(const RemapRegion<3>& region,
                 const float* cols,
                 const float* rows,
                 int count,
                 unsigned char* out) {
  remapBlocks(region, cols, rows, count, out);
}

}  // namespace
}  // namespace ORV::Common::Platform::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Platform {

HWY_EXPORT(remapGrey);
HWY_EXPORT(remapColour);

void remapRun(const RemapRegion<1>& region,
              const float* cols,
              const float* rows,
              int count,
              unsigned char* out) {
  HWY_DYNAMIC_DISPATCH(remapGrey)(region, cols, rows, count, out);
}
void remapRun(const RemapRegion<3>& region,
              const float* cols,
              const float* rows,
              int count,
              unsigned char* out) {
  HWY_DYNAMIC_DISPATCH(remapColour)(region, cols, rows, count, out);
}

}  // namespace ORV::Common::Platform
#endif  // HWY_ONCE
