// SPDX-License-Identifier: MIT
/// @file
/// The library's only source of parallelism of its own: a parallel loop over an index range.
#ifndef ORV_MONTAGE_PLATFORM_PARALLEL_LOOP_H
#define ORV_MONTAGE_PLATFORM_PARALLEL_LOOP_H

#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#ifdef MONTAGE_PLAIN_THREADS
#include "Platform/PlainThreads.h"
#endif

namespace ORV::Common::Platform {

/// Runs `body` so that this thread, where it waits in it, picks up no work from outside of it.
template <class Body>
void runIsolated(const Body& body) {
#ifdef MONTAGE_PLAIN_THREADS
  body();
#else
  tbb::this_task_arena::isolate(body);
#endif
}

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
#ifdef MONTAGE_PLAIN_THREADS
  plainParallelFor(first, last, body);
#else
  // Isolated twice: a cancelled task group of the host must not skip iterations, and a thread that
  // waits here must not pick up the host's tasks, which may hold locks.
  tbb::task_group_context own(tbb::task_group_context::isolated);
  runIsolated([&] { tbb::parallel_for(first, last, body, tbb::auto_partitioner(), own); });
#endif
}

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_PARALLEL_LOOP_H
