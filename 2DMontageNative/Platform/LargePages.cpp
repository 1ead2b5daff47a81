// SPDX-License-Identifier: MIT
#include "Platform/LargePages.h"

#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace ORV::Common::Platform {

#ifdef __linux__

void preferLargePages(void* start, std::size_t bytes) {
  constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
  // Allocators map blocks of this size on their own: no neighbour in the heap is touched.
  constexpr std::size_t kSmallestBlock = std::size_t{33} << 20;
  if (bytes < kSmallestBlock) {
    return;
  }
  const auto address = reinterpret_cast<std::uintptr_t>(start);
  const std::uintptr_t first = (address + kLargePage - 1) / kLargePage * kLargePage;
  const std::uintptr_t end = (address + bytes) / kLargePage * kLargePage;
  // A system without large pages refuses, and everything goes on in small ones.
  static_cast<void>(madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE));
}

#else

void preferLargePages(void* /*start*/, std::size_t /*bytes*/) {}

#endif

}  // namespace ORV::Common::Platform
