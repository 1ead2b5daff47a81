// SPDX-License-Identifier: MIT
/// @file
/// Bicubic remapping of a run of pixels, vectorised.
#ifndef ORV_MONTAGE_PLATFORM_REMAP_KERNEL_H
#define ORV_MONTAGE_PLATFORM_REMAP_KERNEL_H

#include "Platform/RemapRegion.h"

namespace ORV::Common::Platform {

/// Does `region.sample` at each position that the region contains; same bytes, whatever the vector
/// length.
///
/// Values are formed in single precision; the few that come too near to a rounding boundary for it
/// are formed anew by `sample`.
/// @param[in] cols,rows  `count` positions each; any values.
/// @param[in,out] out  `count` pixels; those at positions outside the region keep their value.
/// @note Re-entrant.
void remapRun(const RemapRegion<1>& region,
              const float* cols,
              const float* rows,
              int count,
              unsigned char* out);
void remapRun(const RemapRegion<3>& region,
              const float* cols,
              const float* rows,
              int count,
              unsigned char* out);

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_REMAP_KERNEL_H
