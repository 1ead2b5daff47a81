// SPDX-License-Identifier: MIT
#include "Platform/LargePages.h"

#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace ORV::Common::Platform {

#ifdef __linux__

void preferLargePages(void* start, std::size_t bytes) {
  constexpr std::size_t kLargePage = std::size_t{1} << 21;
  // Allocators map blocks of this size on their own: no neighbour in the heap is touched.
  constexpr std::size_t kSmallestBlock = std::size_t{33} << 20;
  if (bytes < kSmallestBlock) {
    return;
  }
  const auto misfit = reinterpret_cast<std::uintptr_t>(start) % kLargePage;
  const std::size_t before = misfit == 0 ? 0 : kLargePage - misfit;
  const std::size_t whole = (bytes - before) / kLargePage * kLargePage;
  // A system without large pages refuses, and everything goes on in small ones.
  static_cast<void>(madvise(static_cast<unsigned char*>(start) + before, whole, MADV_HUGEPAGE));
}

#else

void preferLargePages(void* /*start*/, std::size_t /*bytes*/) {}

#endif

}  // namespace ORV::Common::Platform
