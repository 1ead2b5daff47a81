// SPDX-License-Identifier: MIT
/// @file
/// The parallel loop on plain threads, for the thread sanitizer alone: it does not see what oneTBB
/// orders, and would take every loop for a race, or none.
#ifndef ORV_MONTAGE_PLATFORM_PLAIN_THREADS_H
#define ORV_MONTAGE_PLATFORM_PLAIN_THREADS_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

namespace ORV::Common::Platform {

/// How many loops this thread is in.
inline thread_local int loopDepth = 0;

/// `parallelFor` of at least two indices: on four threads, within another loop on two, and within
/// that on the caller's alone. The host cannot choose their number.
///
/// Which thread has which index is fixed, and nothing is ordered between threads but their start and
/// end: the sanitizer sees what the iterations share even where one thread is done before the next
/// has begun.
template <class Body>
void plainParallelFor(int first, int last, const Body& body) {
  constexpr int kThreads[] = {4, 2, 1};
  const int depth = std::min(loopDepth, 2);
  const int count = std::min(kThreads[depth], last - first);
  std::atomic<bool> failed{false};
  std::vector<std::exception_ptr> failures(static_cast<std::size_t>(count));
  const auto work = [&](int thread) {
    loopDepth = depth + 1;
    try {
      for (int index = first + thread; index < last && !failed.load(std::memory_order_relaxed);
           index += count) {
        body(index);
      }
    } catch (...) {
      failures[static_cast<std::size_t>(thread)] = std::current_exception();
      failed.store(true, std::memory_order_relaxed);
    }
    loopDepth = depth;
  };
  std::vector<std::thread> threads;
  for (int thread = 1; thread < count; ++thread) {
    threads.emplace_back(work, thread);
  }
  work(0);
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::exception_ptr& failure : failures) {
    if (failure) {
      std::rethrow_exception(failure);
    }
  }
}

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_PLAIN_THREADS_H
