// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/ParallelLoop.h"
#include "Platform/RegionAccess.h"
#include "Platform/RemapKernel.h"

#include <algorithm>

namespace ORV::Common::Platform {
namespace {

/// Pixels that a thread remaps at a time: below that a thread costs more than it saves.
constexpr int kChunkPixels = 16384;

/// Float values of a map.
struct Map {
  const float* first;
  int step;
};

/// The part of `rect` that lies on an image of `size`.
IppiRect cutDown(const IppiRect& rect, IppiSize size) {
  const int left = std::max(rect.x, 0);
  const int top = std::max(rect.y, 0);
  const int right = std::min(rect.x + rect.width, size.width);
  const int bottom = std::min(rect.y + rect.height, size.height);
  return {left, top, right - left, bottom - top};
}

template <int channels>
int remap(const unsigned char* source,
          IppiSize sourceSize,
          int sourceStep,
          const IppiRect& sourceRegion,
          const Map& mapCols,
          const Map& mapRows,
          unsigned char* destination,
          int destinationStep,
          IppiSize destinationSize,
          int interpolation) {
  const int imageStatus =
      firstError(checkImage(source, sourceStep, sourceSize, channels),
                 checkImage(destination, destinationStep, destinationSize, channels));
  const int mapStatus = firstError(checkImage(mapCols.first, mapCols.step, destinationSize),
                                   checkImage(mapRows.first, mapRows.step, destinationSize));
  const int status = firstError(imageStatus, mapStatus);
  if (status != ippStsNoErr) {
    return status;
  }
  const IppiRect rect = cutDown(sourceRegion, sourceSize);
  if (rect.width < 1 || rect.height < 1) {
    return ippStsSizeErr;
  }
  if (interpolation != ippiInterCubic) {
    return ippStsBadArgErr;
  }
  const RemapRegion<channels> region(
      source, sourceStep, rect.x, rect.y, rect.x + rect.width - 1, rect.y + rect.height - 1);
  const int chunkRows = std::max(1, kChunkPixels / destinationSize.width);
  const int chunks = (destinationSize.height - 1) / chunkRows + 1;
  parallelFor(0, chunks, [&](int chunk) {
    const int end = std::min((chunk + 1) * chunkRows, destinationSize.height);
    for (int row = chunk * chunkRows; row < end; ++row) {
      remapRun(region,
               rowAt(mapCols.first, mapCols.step, row),
               rowAt(mapRows.first, mapRows.step, row),
               destinationSize.width,
               rowAt(destination, destinationStep, row));
    }
  });
  return ippStsNoErr;
}

}  // namespace

int ippiRemap_8u_C1R(const unsigned char* source,
                     IppiSize sourceSize,
                     int sourceStep,
                     IppiRect sourceRegion,
                     const float* mapCols,
                     int mapColsStep,
                     const float* mapRows,
                     int mapRowsStep,
                     unsigned char* destination,
                     int destinationStep,
                     IppiSize destinationSize,
                     int interpolation) {
  return remap<1>(source,
                  sourceSize,
                  sourceStep,
                  sourceRegion,
                  {mapCols, mapColsStep},
                  {mapRows, mapRowsStep},
                  destination,
                  destinationStep,
                  destinationSize,
                  interpolation);
}

int ippiRemap_8u_C3R(const unsigned char* source,
                     IppiSize sourceSize,
                     int sourceStep,
                     IppiRect sourceRegion,
                     const float* mapCols,
                     int mapColsStep,
                     const float* mapRows,
                     int mapRowsStep,
                     unsigned char* destination,
                     int destinationStep,
                     IppiSize destinationSize,
                     int interpolation) {
  return remap<3>(source,
                  sourceSize,
                  sourceStep,
                  sourceRegion,
                  {mapCols, mapColsStep},
                  {mapRows, mapRowsStep},
                  destination,
                  destinationStep,
                  destinationSize,
                  interpolation);
}

}  // namespace ORV::Common::Platform
