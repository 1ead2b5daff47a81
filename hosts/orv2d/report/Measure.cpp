// SPDX-License-Identifier: MIT
#include "report/Measure.h"

#ifdef __linux__
#include <sys/resource.h>
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

}  // namespace orv2d
