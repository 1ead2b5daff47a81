// SPDX-License-Identifier: MIT
/// @file
/// Fixed-point bicubic interpolation of a run of pixels, vectorised.
#ifndef ORV_MONTAGE_PLATFORM_CUBIC_KERNEL_H
#define ORV_MONTAGE_PLATFORM_CUBIC_KERNEL_H

#include "CubicInterpolation.h"

namespace ORV::Common::Platform {

/// Does `sampleCubicPixel` at each of @p count positions; same bytes, whatever the vector length.
///
/// @param[in]  source  1 or 3 channels; no byte outside its pixels is read.
/// @param[in]  x, y    column and row positions; @p count of each.
/// @param[out] out     `count * source.channels` bytes; overlaps none of the inputs.
/// @note Re-entrant.
void sampleCubicRun(
    const CubicSource& source, const float* x, const float* y, int count, std::uint8_t* out);

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_CUBIC_KERNEL_H
