// SPDX-License-Identifier: MIT
/// @file
/// Running maxima under a mask along a row, the serial part of a reconstruction's scans.
#ifndef ORV_MONTAGE_PLATFORM_CLAMP_SCAN_H
#define ORV_MONTAGE_PLATFORM_CLAMP_SCAN_H

namespace ORV::Common::Platform {

/// markers[x] = min(max(markers[x], markers[x - 1]), masks[x]) for x from 0 on; 0 before the first.
///
/// Each step clamps the value before it, and clamps chain to clamps, so a vector takes log2 of its
/// length in steps (G. Blelloch, "Prefix sums and their applications", CMU-CS-90-190, 1990).
/// @note Re-entrant.
void clampScanForward(const unsigned char* masks, unsigned char* markers, int width);

/// The same from the last pixel to the first, with the neighbour to the right.
void clampScanBackward(const unsigned char* masks, unsigned char* markers, int width);

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_CLAMP_SCAN_H
