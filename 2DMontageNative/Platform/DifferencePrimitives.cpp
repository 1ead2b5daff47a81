// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/RegionAccess.h"

#include <algorithm>

namespace ORV::Common::Platform {
namespace {

unsigned char saturatedDifference(unsigned char minuend, unsigned char subtrahend) {
  return static_cast<unsigned char>(std::max(minuend, subtrahend) - subtrahend);
}

/// Replaces every pixel of a checked region by `operation(pixel)`.
template <class Operation>
void changeInPlace(unsigned char* image, int step, IppiSize size, Operation operation) {
  for (int row = 0; row < size.height; ++row) {
    unsigned char* const pixels = rowAt(image, step, row);
    std::transform(pixels, pixels + size.width, pixels, operation);
  }
}

}  // namespace

int ippiSubC_8u_C1IRSfs(
    unsigned char subtrahend, unsigned char* image, int step, IppiSize size, int scaleFactor) {
  const int status = checkImage(image, step, size);
  if (status != ippStsNoErr) {
    return status;
  }
  if (scaleFactor != 0) {
    return ippStsBadArgErr;
  }
  changeInPlace(image, step, size, [=](unsigned char pixel) {
    return saturatedDifference(pixel, subtrahend);
  });
  return ippStsNoErr;
}

int ippiSub_8u_C1IRSfs(const unsigned char* subtrahend,
                       int subtrahendStep,
                       unsigned char* image,
                       int imageStep,
                       IppiSize size,
                       int scaleFactor) {
  const int status =
      firstError(checkImage(subtrahend, subtrahendStep, size), checkImage(image, imageStep, size));
  if (status != ippStsNoErr) {
    return status;
  }
  if (scaleFactor != 0) {
    return ippStsBadArgErr;
  }
  for (int row = 0; row < size.height; ++row) {
    unsigned char* const pixels = rowAt(image, imageStep, row);
    std::transform(pixels,
                   pixels + size.width,
                   rowAt(subtrahend, subtrahendStep, row),
                   pixels,
                   saturatedDifference);
  }
  return ippStsNoErr;
}

int ippiThreshold_GTVal_8u_C1IR(
    unsigned char* image, int step, IppiSize size, unsigned char threshold, unsigned char value) {
  const int status = checkImage(image, step, size);
  if (status != ippStsNoErr) {
    return status;
  }
  changeInPlace(
      image, step, size, [=](unsigned char pixel) { return pixel > threshold ? value : pixel; });
  return ippStsNoErr;
}

}  // namespace ORV::Common::Platform
