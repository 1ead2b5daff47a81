// SPDX-License-Identifier: MIT
#include "Platform/ClampScan.h"

#include <algorithm>
#include <cstdint>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/ClampScan.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Platform::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

/// One pixel after its neighbour.
HWY_INLINE unsigned char clamped(unsigned char neighbour,
                                 unsigned char mask,
                                 unsigned char marker) {
  return std::min(std::max(marker, neighbour), mask);
}

#if HWY_TARGET == HWY_SCALAR

int scanForward(const unsigned char*, unsigned char*, int) {
  return 0;
}
int scanBackward(const unsigned char*, unsigned char*, int width) {
  return width;
}

#else

constexpr int kLanes = 16;
using Bytes = hn::FixedTag<std::uint8_t, kLanes>;
using Vector = hn::Vec<Bytes>;

/// Maps a value to min(max(value, low), high), low <= high. What shifts in leaves values alone.
struct Clamp {
  Vector low;
  Vector antiHigh;  ///< 255 - high: zeros shift in
};

HWY_INLINE Clamp clampOf(const unsigned char* masks, const unsigned char* markers) {
  const Bytes d;
  const Vector mask = hn::LoadU(d, masks);
  return {hn::Min(hn::LoadU(d, markers), mask), hn::Not(mask)};
}

/// The clamps of each lane after those of the lanes that `shifted` brings to it.
HWY_INLINE Clamp chained(const Clamp& first, const Clamp& second) {
  const Vector high = hn::Not(second.antiHigh);
  return {hn::Min(hn::Max(second.low, first.low), high),
          hn::Max(hn::Min(hn::Not(second.low), first.antiHigh), second.antiHigh)};
}

template <class Shift>
HWY_INLINE Clamp chainedBy(const Clamp& clamp, const Shift& shift) {
  return chained({shift(clamp.low), shift(clamp.antiHigh)}, clamp);
}

HWY_INLINE Vector applied(const Clamp& clamp, Vector value) {
  return hn::Min(hn::Max(value, clamp.low), hn::Not(clamp.antiHigh));
}

/// Scans whole vectors and returns how many pixels they held.
int scanForward(const unsigned char* masks, unsigned char* markers, int width) {
  const Bytes d;
  Vector carry = hn::Zero(d);
  const Vector last = hn::Set(d, kLanes - 1);
  int x = 0;
  for (; x + kLanes <= width; x += kLanes) {
    Clamp clamp = clampOf(masks + x, markers + x);
    clamp = chainedBy(clamp, [](Vector v) HWY_ATTR { return hn::ShiftLeftBytes<1>(v); });
    clamp = chainedBy(clamp, [](Vector v) HWY_ATTR { return hn::ShiftLeftBytes<2>(v); });
    clamp = chainedBy(clamp, [](Vector v) HWY_ATTR { return hn::ShiftLeftBytes<4>(v); });
    clamp = chainedBy(clamp, [](Vector v) HWY_ATTR { return hn::ShiftLeftBytes<8>(v); });
    const Vector reached = applied(clamp, carry);
    hn::StoreU(reached, d, markers + x);
    carry = hn::TableLookupBytes(reached, last);
  }
  return x;
}

/// Scans whole vectors at the right end; returns how many pixels are left before them.
int scanBackward(const unsigned char* masks, unsigned char* markers, int width) {
  const Bytes d;
  Vector carry = hn::Zero(d);
  int x = width;
  for (; x >= kLanes; x -= kLanes) {
    Clamp clamp = clampOf(masks + x - kLanes, markers + x - kLanes);
    clamp = chainedBy(clamp, [d](Vector v) HWY_ATTR { return hn::ShiftRightBytes<1>(d, v); });
    clamp = chainedBy(clamp, [d](Vector v) HWY_ATTR { return hn::ShiftRightBytes<2>(d, v); });
    clamp = chainedBy(clamp, [d](Vector v) HWY_ATTR { return hn::ShiftRightBytes<4>(d, v); });
    clamp = chainedBy(clamp, [d](Vector v) HWY_ATTR { return hn::ShiftRightBytes<8>(d, v); });
    const Vector reached = applied(clamp, carry);
    hn::StoreU(reached, d, markers + x - kLanes);
    carry = hn::TableLookupBytes(reached, hn::Zero(d));
  }
  return x;
}

#endif  // HWY_TARGET

void forward(const unsigned char* masks, unsigned char* markers, int width) {
  int x = scanForward(masks, markers, width);
  unsigned char left = x > 0 ? markers[x - 1] : static_cast<unsigned char>(0);
  for (; x < width; ++x) {
    left = clamped(left, masks[x], markers[x]);
    markers[x] = left;
  }
}

void backward(const unsigned char* masks, unsigned char* markers, int width) {
  int x = scanBackward(masks, markers, width);
  unsigned char right = x < width ? markers[x] : static_cast<unsigned char>(0);
  for (--x; x >= 0; --x) {
    right = clamped(right, masks[x], markers[x]);
    markers[x] = right;
  }
}

}  // namespace
}  // namespace ORV::Common::Platform::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Platform {
namespace {
HWY_EXPORT(forward);
HWY_EXPORT(backward);
}  // namespace

void clampScanForward(const unsigned char* masks, unsigned char* markers, int width) {
  HWY_DYNAMIC_DISPATCH(forward)(masks, markers, width);
}

void clampScanBackward(const unsigned char* masks, unsigned char* markers, int width) {
  HWY_DYNAMIC_DISPATCH(backward)(masks, markers, width);
}

}  // namespace ORV::Common::Platform
#endif  // HWY_ONCE
