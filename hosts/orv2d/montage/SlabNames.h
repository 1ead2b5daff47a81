// SPDX-License-Identifier: MIT
/// @file
/// One output name per slab.
#ifndef ORV2D_SLAB_NAMES_H
#define ORV2D_SLAB_NAMES_H

#include <filesystem>
#include <vector>

namespace orv2d {

/// Names of the montages of `slabCount` slabs, slabs counted from 0.
///
/// "{slab}", "%d" or "%03d" (digits: 1 to 9, zero-padded) in the file name stands for the number of
/// the slab; without such a mark and with several slabs "_slabN" goes before the extension.
std::vector<std::filesystem::path> slabNames(const std::filesystem::path& pattern, int slabCount);

}  // namespace orv2d

#endif  // ORV2D_SLAB_NAMES_H
