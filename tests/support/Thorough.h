// SPDX-License-Identifier: MIT
/// @file
/// How far the tests of reliability go.
#ifndef ORV_TESTS_SUPPORT_THOROUGH_H
#define ORV_TESTS_SUPPORT_THOROUGH_H

#include <cstdlib>

namespace ORV::TestSupport {

/// Whether every case is to be tried and not a sample: `MONTAGE_THOROUGH` is set.
inline bool isThorough() {
  return std::getenv("MONTAGE_THOROUGH") != nullptr;  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_THOROUGH_H
