// SPDX-License-Identifier: MIT
#include "report/Measure.h"

#include <fstream>

#ifdef __linux__
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace orv2d {

double peakMemoryMegabytes() {
#ifdef __linux__
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  constexpr double kMegabytesPerKibibyte = 1024.0 / 1e6;
  return static_cast<double>(usage.ru_maxrss) * kMegabytesPerKibibyte;
#else
  return 0.0;
#endif
}

void returnFreedMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

std::uint64_t residentBytes() {
#ifdef __linux__
  std::uint64_t pages = 0;
  std::uint64_t residentPages = 0;
  std::ifstream("/proc/self/statm") >> pages >> residentPages;
  return residentPages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
#else
  return 0;
#endif
}

}  // namespace orv2d
