// SPDX-License-Identifier: MIT
/// @file
/// The parallel loop on plain threads, for the thread sanitizer alone: it does not see what oneTBB
/// orders, and would take every loop for a race, or none.
#ifndef ORV_MONTAGE_PLATFORM_PLAIN_THREADS_H
#define ORV_MONTAGE_PLATFORM_PLAIN_THREADS_H

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace ORV::Common::Platform {

/// How many loops this thread is in.
inline thread_local int loopDepth = 0;

/// `parallelFor` of at least two indices: on four threads, within another loop on two, and within
/// that on the caller's alone. The host cannot choose their number.
template <class Body>
void plainParallelFor(int first, int last, const Body& body) {
  constexpr int kThreads[] = {4, 2, 1};
  const int depth = std::min(loopDepth, 2);
  std::atomic<int> next{first};
  std::mutex mutex;
  std::exception_ptr failure;
  const auto work = [&] {
    loopDepth = depth + 1;
    for (int index = next++; index < last; index = next++) {
      try {
        body(index);
      } catch (...) {
        const std::lock_guard<std::mutex> lock(mutex);
        failure = failure ? failure : std::current_exception();
        next = last;
      }
    }
    loopDepth = depth;
  };
  std::vector<std::thread> threads;
  for (int i = 1; i < std::min(kThreads[depth], last - first); ++i) {
    threads.emplace_back(work);
  }
  work();
  for (std::thread& thread : threads) {
    thread.join();
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_PLAIN_THREADS_H
