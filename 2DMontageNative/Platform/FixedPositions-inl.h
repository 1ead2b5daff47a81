// SPDX-License-Identifier: MIT
/// @file
/// Source positions rounded to 1/32 pixel as `cv::remap` does, a vector at a time.
///
/// To be included after foreach_target.h and before HWY_BEFORE_NAMESPACE, by files that are compiled
/// once per instruction set.
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

// A toggle instead of a guard: each pass of foreach_target.h defines the other state.
#if defined(ORV_MONTAGE_PLATFORM_FIXED_POSITIONS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef ORV_MONTAGE_PLATFORM_FIXED_POSITIONS_INL_H
#undef ORV_MONTAGE_PLATFORM_FIXED_POSITIONS_INL_H
#else
#define ORV_MONTAGE_PLATFORM_FIXED_POSITIONS_INL_H
#endif

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Platform::HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR

/// Pixels located, then sampled, at a time: a multiple of every vector length.
constexpr std::ptrdiff_t kPositionsPerBlock = 64;

constexpr int kPositionBits = 5;  ///< of the fraction

using Positions = hwy::HWY_NAMESPACE::CappedTag<float, kPositionsPerBlock>;
using PositionIndices = hwy::HWY_NAMESPACE::RebindToSigned<Positions>;

/// Positions along one direction: pixel at or before them, and their fraction in 1/32 pixel.
struct FixedPositions {
  hwy::HWY_NAMESPACE::Vec<PositionIndices> pixel;
  hwy::HWY_NAMESPACE::Vec<PositionIndices> fraction;
};

/// Rounds positions to 1/32 pixel, ties to even.
///
/// Adding 1.5 * 2^23 leaves no bits for fractions: the rounded number stands in the low bits of the
/// float. Bits order floats as integers, so the positions for which this does not hold (beyond
/// +-2^17, infinite, NaN) get pixels beyond the sides of every source, and no test is needed.
HWY_INLINE FixedPositions fixedPositions(const float* positions) {
  namespace hn = hwy::HWY_NAMESPACE;
  constexpr float kRounder = 12582912.0F;
  constexpr std::int32_t kRounderBits = 0x4B400000;
  constexpr std::int32_t kFractions = 1 << kPositionBits;
  const Positions df;
  const PositionIndices di;
  const auto scaled = hn::Mul(hn::LoadU(df, positions), hn::Set(df, float{kFractions}));
  const auto bits = hn::BitCast(di, hn::Add(scaled, hn::Set(df, kRounder)));
  const auto origin = hn::Set(di, kRounderBits >> kPositionBits);
  return {hn::Sub(hn::ShiftRight<kPositionBits>(bits), origin),
          hn::And(bits, hn::Set(di, kFractions - 1))};
}

/// Where pixels lie in [first, last).
HWY_INLINE hwy::HWY_NAMESPACE::Mask<PositionIndices> within(
    hwy::HWY_NAMESPACE::Vec<PositionIndices> pixel, int first, int last) {
  namespace hn = hwy::HWY_NAMESPACE;
  const PositionIndices di;
  return hn::And(hn::Gt(pixel, hn::Set(di, first - 1)), hn::Lt(pixel, hn::Set(di, last)));
}

#endif  // HWY_TARGET

}  // namespace ORV::Common::Platform::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // ORV_MONTAGE_PLATFORM_FIXED_POSITIONS_INL_H
