// SPDX-License-Identifier: MIT
/// @file
/// A loop whose iterations write the same number: the thread sanitizer has to say so.
#include "Platform/ParallelLoop.h"

#include <cstdio>

int main() {
  long sum = 0;
  ORV::Common::Platform::parallelFor(0, 10000, [&](int index) { sum += index; });
  std::printf("%ld\n", sum);
  return 0;
}
