// SPDX-License-Identifier: MIT
/// @file
/// How many threads the program works with.
#ifndef ORV2D_THREAD_LIMIT_H
#define ORV2D_THREAD_LIMIT_H

#include <tbb/global_control.h>

#include <optional>

namespace orv2d {

/// While it lives, the library and OpenCV work with `count` threads; 0: as many as cores.
class ThreadLimit {
 public:
  explicit ThreadLimit(int count);

 private:
  std::optional<tbb::global_control> limit_;
};

}  // namespace orv2d

#endif  // ORV2D_THREAD_LIMIT_H
