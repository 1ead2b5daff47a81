// SPDX-License-Identifier: MIT
/// @file
/// Runs tasks at the same time where none needs the result of the other.
#ifndef ORV_MONTAGE_PLATFORM_ORDERED_TASKS_H
#define ORV_MONTAGE_PLATFORM_ORDERED_TASKS_H

#include "Platform/ParallelLoop.h"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <queue>
#include <utility>
#include <vector>

namespace ORV::Common::Platform {

/// Per task, the later tasks that must wait for it.
using Successors = std::vector<std::vector<int>>;

/// Hands out every task once, the first that can run first.
class TaskOrder {
 public:
  static constexpr int kStopped = -1;

  explicit TaskOrder(Successors successors)
      : successors_(std::move(successors)), missing_(successors_.size(), 0) {
    for (const std::vector<int>& waiting : successors_) {
      for (const int task : waiting) {
        ++missing_[static_cast<std::size_t>(task)];
      }
    }
    for (std::size_t task = 0; task < missing_.size(); ++task) {
      if (missing_[task] == 0) {
        ready_.push(static_cast<int>(task));
      }
    }
  }

  /// Waits until a task can run; to be called at most once per task. @return `kStopped` after `stop`.
  int take() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return stopped_ || !ready_.empty(); });
    if (stopped_) {
      return kStopped;
    }
    const int task = ready_.top();
    ready_.pop();
    return task;
  }

  void finish(int task) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const int next : successors_[static_cast<std::size_t>(task)]) {
      if (--missing_[static_cast<std::size_t>(next)] == 0) {
        ready_.push(next);
      }
    }
    changed_.notify_all();
  }

  void stop() {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
  }

 private:
  Successors successors_;
  std::vector<int> missing_;  ///< how many unfinished tasks each waits for
  std::priority_queue<int, std::vector<int>, std::greater<>> ready_;
  bool stopped_ = false;
  std::mutex mutex_;
  std::condition_variable changed_;
};

/// Runs `body(task)` for every task, each after those it waits for, otherwise as `parallelFor`.
///
/// A thread that finds no task to run sleeps until another thread has finished one.
template <class Body>
void parallelInOrder(Successors successors, const Body& body) {
  const auto count = static_cast<int>(successors.size());
  TaskOrder order(std::move(successors));
  // Each iteration takes whichever task is next. While one waits a task runs on another thread:
  // isolated, a thread that waits within a task cannot pick up an iteration that waits for it.
  parallelFor(0, count, [&](int) {
    const int task = order.take();
    if (task == TaskOrder::kStopped) {
      return;
    }
    try {
      runIsolated([&] { body(task); });
    } catch (...) {
      order.stop();
      throw;
    }
    order.finish(task);
  });
}

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_ORDERED_TASKS_H
