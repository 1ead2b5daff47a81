// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/RegionAccess.h"

#include <cstddef>

// Highway compiles what follows once per instruction set of the processor family.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/ConvertPrimitives.cpp"
#include <hwy/foreach_target.h>  // before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Platform::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kByteMax = 255.0F;

/// Rounds and saturates as many samples as `tag` has lanes.
template <class Tag>
HWY_INLINE void convertToBytes(Tag tag, const float* source, unsigned char* destination) {
  const hn::Rebind<unsigned char, Tag> bytes;
  const auto values = hn::LoadU(tag, source);
  // A comparison and not a maximum, which treats NaN differently between processors.
  const auto positive = hn::IfThenElseZero(hn::Gt(values, hn::Zero(tag)), values);
  const auto saturated = hn::Min(positive, hn::Set(tag, kByteMax));
  hn::StoreU(hn::DemoteTo(bytes, hn::NearestInt(saturated)), bytes, destination);
}

void convertRow(const float* source, std::size_t width, unsigned char* destination) {
  const hn::ScalableTag<float> vectors;
  const std::size_t lanes = hn::Lanes(vectors);
  std::size_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    convertToBytes(vectors, source + x, destination + x);
  }
  for (; x < width; ++x) {
    convertToBytes(hn::CappedTag<float, 1>(), source + x, destination + x);
  }
}

}  // namespace
}  // namespace ORV::Common::Platform::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Platform {

HWY_EXPORT(convertRow);

int ippiConvert_32f8u_C1R(const float* source,
                          int sourceStep,
                          unsigned char* destination,
                          int destinationStep,
                          IppiSize size,
                          int roundMode) {
  const int status = firstError(checkImage(source, sourceStep, size),
                                checkImage(destination, destinationStep, size));
  if (status != ippStsNoErr) {
    return status;
  }
  if (roundMode != ippRndNear) {
    return ippStsBadArgErr;
  }
  for (int row = 0; row < size.height; ++row) {
    HWY_DYNAMIC_DISPATCH(convertRow)
    (rowAt(source, sourceStep, row),
     static_cast<std::size_t>(size.width),
     rowAt(destination, destinationStep, row));
  }
  return ippStsNoErr;
}

}  // namespace ORV::Common::Platform
#endif  // HWY_ONCE
