// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/RegionAccess.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace ORV::Common::Platform {
namespace {

// Independent running maxima: enough for the widest vectors to hide the latency of the comparison.
constexpr std::size_t kLanes = 64;

// From 2^23 on floats are whole numbers, so that adding it rounds as the processor rounds: to
// nearest, halves to even.
constexpr float kFirstWholeFloat = 8388608.0F;
constexpr float kByteMax = 255.0F;

unsigned char toByte(float value) {
  const float atLeastZero = value > 0.0F ? value : 0.0F;  // NaN becomes 0
  const float saturated = atLeastZero < kByteMax ? atLeastZero : kByteMax;
  const float rounded = (saturated + kFirstWholeFloat) - kFirstWholeFloat;
  return static_cast<unsigned char>(static_cast<int>(rounded));
}

}  // namespace

int ippsMax_32f(const float* values, int length, float* maximum) {
  if (values == nullptr || maximum == nullptr) {
    return ippStsNullPtrErr;
  }
  if (length < 1) {
    return ippStsSizeErr;
  }
  std::array<float, kLanes> largest{};
  largest.fill(-std::numeric_limits<float>::infinity());
  const auto count = static_cast<std::size_t>(length);
  const std::size_t wholeBlocks = count - count % kLanes;
  const auto keepLarger = [&](std::size_t index, std::size_t lane) {
    largest[lane] = values[index] > largest[lane] ? values[index] : largest[lane];
  };
  for (std::size_t block = 0; block < wholeBlocks; block += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      keepLarger(block + lane, lane);
    }
  }
  for (std::size_t index = wholeBlocks; index < count; ++index) {
    keepLarger(index, index - wholeBlocks);
  }
  *maximum = *std::max_element(largest.begin(), largest.end());
  return ippStsNoErr;
}

int ippsMulC_32f_I(float factor, float* values, int length) {
  if (values == nullptr) {
    return ippStsNullPtrErr;
  }
  if (length < 1) {
    return ippStsSizeErr;
  }
  std::transform(values, values + length, values, [=](float value) { return value * factor; });
  return ippStsNoErr;
}

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
    const float* const in = rowAt(source, sourceStep, row);
    std::transform(in, in + size.width, rowAt(destination, destinationStep, row), toByte);
  }
  return ippStsNoErr;
}

}  // namespace ORV::Common::Platform
