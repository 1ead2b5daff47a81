// SPDX-License-Identifier: MIT
/// @file
/// How much memory a process may still take.
#ifndef ORV_MONTAGE_PLATFORM_FREE_MEMORY_H
#define ORV_MONTAGE_PLATFORM_FREE_MEMORY_H

#include <cstdint>

namespace ORV::Common::Platform {

/// Bytes that can be taken without swapping: what the machine has free or can free, and no more than
/// the control group of the process allows. The largest number where that cannot be told.
std::uint64_t freeMemoryBytes();

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_FREE_MEMORY_H
