// SPDX-License-Identifier: MIT
/// @file
/// Minimum-eigenvalue response of a band of rows, vectorised for the processor at hand.
#ifndef ORV_MONTAGE_PLATFORM_MIN_EIGEN_BAND_H
#define ORV_MONTAGE_PLATFORM_MIN_EIGEN_BAND_H

#include "Platform/ImagingPrimitives.h"

#include <cstddef>

namespace ORV::Common::Platform {

/// Source and destination of the response, as in `ippiMinEigenVal_32f_C1R`.
struct MinEigenImages {
  const float* source;
  int sourceStep;
  float* destination;
  int destinationStep;
  IppiSize size;
};

/// Number of floats that `minEigenBand` works in, a multiple of a cache line.
[[nodiscard]] std::size_t minEigenBandFloats(int width);

/// Writes the response of the rows [firstRow, endRow).
///
/// Gradients, their products and the sums of these along the row are made once per source row and
/// kept for five rows, so that the working set stays in the caches. Every response depends on its
/// neighbourhood alone, not on the band it is computed in.
///
/// @param[in] workspace  `minEigenBandFloats` floats, not shared with other bands.
void minEigenBand(const MinEigenImages& images, int firstRow, int endRow, float* workspace);

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_MIN_EIGEN_BAND_H
