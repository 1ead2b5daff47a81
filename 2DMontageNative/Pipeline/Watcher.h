// SPDX-License-Identifier: MIT
/// @file
/// Reports progress from any thread, one report at a time, and stops the work when asked to.
#ifndef ORV_MONTAGE_PIPELINE_WATCHER_H
#define ORV_MONTAGE_PIPELINE_WATCHER_H

#include "montage/Progress.h"

#include <mutex>

namespace montage {

/// Counts the steps of one stage. Threads may share it.
class Watcher {
 public:
  /// Reports that nothing is done yet. @param[in] progress  borrowed; may be empty.
  Watcher(const Progress& progress, Stage stage, int total)
      : progress_(progress), stage_(stage), total_(total < 1 ? 1 : total) {
    poll();
  }

  /// One more step is done. @throw Cancelled when the callback says stop, and what it throws.
  void step() {
    const std::lock_guard<std::mutex> lock(mutex_);
    done_ = done_ < total_ ? done_ + 1 : total_;
    report();
  }

  /// More steps have turned up.
  void extend(int steps) {
    const std::lock_guard<std::mutex> lock(mutex_);
    total_ += steps;
  }

  /// Asks whether to go on, in the middle of a step.
  void poll() {
    const std::lock_guard<std::mutex> lock(mutex_);
    report();
  }

 private:
  void report() {
    if (stopped_) {
      throw Cancelled();  // other threads of the stage end too, and the callback is left alone
    }
    if (progress_) {
      stopped_ = true;  // also if it throws
      stopped_ = !progress_({stage_, done_, total_});
      if (stopped_) {
        throw Cancelled();
      }
    }
  }

  const Progress& progress_;
  Stage stage_;
  int total_;
  int done_ = 0;
  bool stopped_ = false;
  std::mutex mutex_;
};

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_WATCHER_H
