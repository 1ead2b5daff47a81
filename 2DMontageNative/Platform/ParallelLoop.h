// SPDX-License-Identifier: MIT
/// @file
/// The library's only source of parallelism of its own: a parallel loop over an index range.
#ifndef ORV_MONTAGE_PLATFORM_PARALLEL_LOOP_H
#define ORV_MONTAGE_PLATFORM_PARALLEL_LOOP_H

#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace ORV::Common::Platform {

/// Tells the thread sanitizer what a loop orders; oneTBB, which is not built with it, cannot.
/// Nothing in other builds.
class LoopOrder {
 public:
#ifdef __SANITIZE_THREAD__
  void arrive() {
    __tsan_acquire(this);
  }
  void leave() {
    __tsan_release(this);
  }

 private:
  char address_ = 0;
#else
  void arrive() {}
  void leave() {}
#endif
};

/// Runs `body(index)` for every index of [first, last) and returns when all have finished.
///
/// An empty or negative range runs nothing; a single index runs on the calling thread. Iterations
/// may run in any order on any thread, so each writes only its own output. Nesting is allowed.
///
/// @param[in] body  callable with an `int`; called concurrently through a const reference.
/// @note The first exception of an iteration reaches the caller with its type once the running
///   iterations have ended; iterations not yet started are then dropped. The host decides the
///   number of threads (oneTBB's global control or the arena it calls from).
template <class Body>
void parallelFor(int first, int last, const Body& body) {
  if (last <= first) {
    return;
  }
  if (last - first == 1) {
    body(first);
    return;
  }
  // Isolated twice: a cancelled task group of the host must not skip iterations, and a thread that
  // waits here must not pick up the host's tasks, which may hold locks.
  tbb::task_group_context own(tbb::task_group_context::isolated);
  LoopOrder order;
  const auto iteration = [&](int index) {
    order.arrive();
    body(index);
    order.leave();
  };
  order.leave();
  tbb::this_task_arena::isolate(
      [&] { tbb::parallel_for(first, last, iteration, tbb::auto_partitioner(), own); });
  order.arrive();
}

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_PARALLEL_LOOP_H
