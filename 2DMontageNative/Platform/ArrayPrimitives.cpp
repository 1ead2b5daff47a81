// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace ORV::Common::Platform {
namespace {

// Independent running maxima: enough for the widest vectors to hide the latency of the comparison.
constexpr std::size_t kLanes = 64;

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
    keepLarger(index, 0);
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

}  // namespace ORV::Common::Platform
