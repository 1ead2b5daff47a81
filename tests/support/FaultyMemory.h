// SPDX-License-Identifier: MIT
/// @file
/// Memory that fails when a test says so, and that counts what is held. Its source replaces the
/// operators new and delete of the test program, for all libraries in it.
#ifndef ORV_TESTS_SUPPORT_FAULTY_MEMORY_H
#define ORV_TESTS_SUPPORT_FAULTY_MEMORY_H

#include <cstddef>

namespace ORV::TestSupport {

/// Watches `new` and OpenCV's matrices while it lives; one at a time.
class FaultyMemory {
 public:
  FaultyMemory();
  ~FaultyMemory();
  FaultyMemory(const FaultyMemory&) = delete;
  FaultyMemory& operator=(const FaultyMemory&) = delete;

  /// The `number`th allocation from now on fails, counted from 1, of whichever thread; 0: none.
  void failAt(long number);
  /// Allocations by `new` of this many bytes or more fail; 0: none.
  void failFrom(std::size_t bytes);

  /// Allocations neither fail nor count until the next call of this or of `failAt`.
  static void pause(bool paused);

  /// Allocations since the last `failAt`.
  [[nodiscard]] long count() const;
  /// Allocations that are not given back yet, since it lives.
  [[nodiscard]] long held() const;
  /// Bytes of the largest matrix made.
  [[nodiscard]] std::size_t largestMatrix() const;
};

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_FAULTY_MEMORY_H
