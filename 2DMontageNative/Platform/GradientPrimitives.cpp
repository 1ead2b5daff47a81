// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/MinEigenBand.h"
#include "Platform/ParallelLoop.h"
#include "Platform/RegionAccess.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

namespace ORV::Common::Platform {
namespace {

constexpr int kServedSide = 5;  // of the derivative kernels and of the window
constexpr int kBandRows = 64;   // each band repeats the work of four rows
constexpr std::size_t kCacheLineBytes = 64;

int bandCount(int rows) {
  return rows / kBandRows + (rows % kBandRows != 0 ? 1 : 0);
}

float* alignedToCacheLine(unsigned char* buffer) {
  const std::uintptr_t misfit = reinterpret_cast<std::uintptr_t>(buffer) % kCacheLineBytes;
  return reinterpret_cast<float*>(buffer + (kCacheLineBytes - misfit) % kCacheLineBytes);
}

}  // namespace

int ippiMinEigenValGetBufferSize_32f_C1R(IppiSize size,
                                         int apertureSize,
                                         int averagingWindow,
                                         int* bufferSize) {
  if (bufferSize == nullptr) {
    return ippStsNullPtrErr;
  }
  if (size.width < 1 || size.height < 1) {
    return ippStsSizeErr;
  }
  if (apertureSize != kServedSide || averagingWindow != kServedSide) {
    return ippStsBadArgErr;
  }
  const std::size_t bandBytes = minEigenBandFloats(size.width) * sizeof(float);
  const std::size_t bytes =
      bandBytes * static_cast<std::size_t>(bandCount(size.height)) + kCacheLineBytes;
  if (bytes > static_cast<std::size_t>(INT_MAX)) {
    return ippStsSizeErr;
  }
  *bufferSize = static_cast<int>(bytes);
  return ippStsNoErr;
}

int ippiMinEigenVal_32f_C1R(const float* source,
                            int sourceStep,
                            float* destination,
                            int destinationStep,
                            IppiSize size,
                            int kernelType,
                            int apertureSize,
                            int averagingWindow,
                            unsigned char* buffer) {
  int status = firstError(checkImage(source, sourceStep, size),
                          checkImage(destination, destinationStep, size));
  int bufferSize = 0;
  status = firstError(
      status,
      ippiMinEigenValGetBufferSize_32f_C1R(size, apertureSize, averagingWindow, &bufferSize));
  if (status != ippStsNoErr) {
    return status;
  }
  if (buffer == nullptr) {
    return ippStsNullPtrErr;
  }
  if (kernelType != ippKernelSobel) {
    return ippStsBadArgErr;
  }
  const MinEigenImages images{source, sourceStep, destination, destinationStep, size};
  float* const workspaces = alignedToCacheLine(buffer);
  const std::size_t workspaceFloats = minEigenBandFloats(size.width);
  parallelFor(0, bandCount(size.height), [&](int band) {
    const int firstRow = band * kBandRows;
    minEigenBand(images,
                 firstRow,
                 std::min(firstRow + kBandRows, size.height),
                 workspaces + static_cast<std::size_t>(band) * workspaceFloats);
  });
  return ippStsNoErr;
}

}  // namespace ORV::Common::Platform
