// SPDX-License-Identifier: MIT
/// @file
/// What the imaging primitives share: row access by byte steps and the checks of their arguments.
#ifndef ORV_MONTAGE_PLATFORM_REGION_ACCESS_H
#define ORV_MONTAGE_PLATFORM_REGION_ACCESS_H

#include "Platform/ImagingPrimitives.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace ORV::Common::Platform {

/// First sample of a row, for an image of T with rows `stepBytes` apart.
template <class T>
T* rowAt(T* first, int stepBytes, int row) {
  using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(first) +
                              static_cast<std::ptrdiff_t>(row) * stepBytes);
}

/// Status of one image argument: pointer, region size and a step of at least a row.
template <class T>
[[nodiscard]] int checkImage(const T* first, int stepBytes, IppiSize size, int channels = 1) {
  if (first == nullptr) {
    return ippStsNullPtrErr;
  }
  if (size.width < 1 || size.height < 1) {
    return ippStsSizeErr;
  }
  const auto rowBytes = static_cast<std::int64_t>(size.width) * channels * std::int64_t{sizeof(T)};
  return stepBytes < rowBytes ? ippStsStepErr : ippStsNoErr;
}

/// The first of two statuses that is an error, else `ippStsNoErr`.
[[nodiscard]] constexpr int firstError(int first, int second) {
  return first != ippStsNoErr ? first : second;
}

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_REGION_ACCESS_H
