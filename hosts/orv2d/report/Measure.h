// SPDX-License-Identifier: MIT
/// @file
/// Time and memory of the running program.
#ifndef ORV2D_MEASURE_H
#define ORV2D_MEASURE_H

#include <chrono>
#include <cstdint>

namespace orv2d {

/// Seconds since it was made.
class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Largest resident memory of the process so far, in megabytes of 10^6 bytes; 0 where the system
/// does not tell.
double peakMemoryMegabytes();

/// Gives memory that was freed back to the system.
void returnFreedMemory();

/// Resident memory of the process, bytes; 0 where the system does not tell.
std::uint64_t residentBytes();

}  // namespace orv2d

#endif  // ORV2D_MEASURE_H
