// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/RegionAccess.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/FilterPrimitives.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Platform::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

/// out[i] = sum over j of taps[j] * first[i + j * tapStride], of whole vectors; returns how many
/// samples they held.
int filterVectors(const std::uint8_t* HWY_RESTRICT first,
                  std::ptrdiff_t tapStride,
                  const float* HWY_RESTRICT taps,
                  int tapCount,
                  int count,
                  std::uint8_t* HWY_RESTRICT out) {
  const hn::ScalableTag<float> tag;
  const hn::RebindToSigned<decltype(tag)> intTag;
  const hn::Rebind<std::uint8_t, decltype(tag)> byteTag;
  const auto zero = hn::Zero(tag);
  const auto largest = hn::Set(tag, 255.0F);
  const int lanes = static_cast<int>(hn::Lanes(tag));
  int i = 0;
  for (; i + lanes <= count; i += lanes) {
    auto sum = zero;
    const std::uint8_t* sample = first + i;
    for (int j = 0; j < tapCount; ++j, sample += tapStride) {
      const auto value = hn::ConvertTo(tag, hn::PromoteTo(intTag, hn::LoadU(byteTag, sample)));
      sum = hn::Add(sum, hn::Mul(hn::Set(tag, taps[j]), value));
    }
    // Comparisons are false for NaN: it becomes 0.
    sum = hn::IfThenElseZero(hn::Gt(sum, zero), sum);
    sum = hn::IfThenElse(hn::Lt(sum, largest), sum, largest);
    hn::StoreU(hn::DemoteTo(byteTag, hn::NearestInt(sum)), byteTag, out + i);
  }
  return i;
}

}  // namespace
}  // namespace ORV::Common::Platform::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Platform {
namespace {
HWY_EXPORT(filterVectors);

std::uint8_t roundAndSaturate(float value) {
  if (!(value > 0.0F)) {
    return 0;
  }
  return value < 255.0F ? static_cast<std::uint8_t>(std::lrint(value)) : std::uint8_t{255};
}

/// One output row: samples of one tap lie `tapStride` bytes from those of the tap before.
void filterLine(const std::uint8_t* first,
                std::ptrdiff_t tapStride,
                const float* taps,
                int tapCount,
                int count,
                std::uint8_t* out) {
  const int done =
      HWY_DYNAMIC_DISPATCH(filterVectors)(first, tapStride, taps, tapCount, count, out);
  for (int i = done; i < count; ++i) {
    float sum = 0.0F;
    for (int j = 0; j < tapCount; ++j) {
      sum += taps[j] * static_cast<float>(first[i + j * tapStride]);
    }
    out[i] = roundAndSaturate(sum);
  }
}

struct Kernel {
  const float* taps;
  int tapCount;
  int anchor;
};

enum class Direction { kRow, kColumn };

int filter(Direction direction,
           int channels,
           const unsigned char* source,
           int sourceStep,
           unsigned char* destination,
           int destinationStep,
           IppiSize size,
           const Kernel& kernel) {
  const int status = firstError(checkImage(source, sourceStep, size, channels),
                                checkImage(destination, destinationStep, size, channels));
  if (status != ippStsNoErr) {
    return status;
  }
  if (kernel.taps == nullptr) {
    return ippStsNullPtrErr;
  }
  if (kernel.tapCount < 1) {
    return ippStsSizeErr;
  }
  if (kernel.anchor < 0 || kernel.anchor >= kernel.tapCount) {
    return ippStsBadArgErr;
  }
  const std::ptrdiff_t tapStride = direction == Direction::kRow ? channels : sourceStep;
  const unsigned char* const first = source - kernel.anchor * tapStride;
  for (int row = 0; row < size.height; ++row) {
    filterLine(rowAt(first, sourceStep, row),
               tapStride,
               kernel.taps,
               kernel.tapCount,
               size.width * channels,
               rowAt(destination, destinationStep, row));
  }
  return ippStsNoErr;
}

}  // namespace

int ippiFilterRow32f_8u_C1R(const unsigned char* source,
                            int sourceStep,
                            unsigned char* destination,
                            int destinationStep,
                            IppiSize size,
                            const float* taps,
                            int tapCount,
                            int anchor) {
  return filter(Direction::kRow,
                1,
                source,
                sourceStep,
                destination,
                destinationStep,
                size,
                {taps, tapCount, anchor});
}

int ippiFilterRow32f_8u_C3R(const unsigned char* source,
                            int sourceStep,
                            unsigned char* destination,
                            int destinationStep,
                            IppiSize size,
                            const float* taps,
                            int tapCount,
                            int anchor) {
  return filter(Direction::kRow,
                3,
                source,
                sourceStep,
                destination,
                destinationStep,
                size,
                {taps, tapCount, anchor});
}

int ippiFilterColumn32f_8u_C1R(const unsigned char* source,
                               int sourceStep,
                               unsigned char* destination,
                               int destinationStep,
                               IppiSize size,
                               const float* taps,
                               int tapCount,
                               int anchor) {
  return filter(Direction::kColumn,
                1,
                source,
                sourceStep,
                destination,
                destinationStep,
                size,
                {taps, tapCount, anchor});
}

int ippiFilterColumn32f_8u_C3R(const unsigned char* source,
                               int sourceStep,
                               unsigned char* destination,
                               int destinationStep,
                               IppiSize size,
                               const float* taps,
                               int tapCount,
                               int anchor) {
  return filter(Direction::kColumn,
                3,
                source,
                sourceStep,
                destination,
                destinationStep,
                size,
                {taps, tapCount, anchor});
}

}  // namespace ORV::Common::Platform
#endif  // HWY_ONCE
