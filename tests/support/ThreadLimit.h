// SPDX-License-Identifier: MIT
/// @file
/// Limits the threads of oneTBB and OpenCV while it lives.
#ifndef ORV_TESTS_SUPPORT_THREAD_LIMIT_H
#define ORV_TESTS_SUPPORT_THREAD_LIMIT_H

#include <opencv2/core.hpp>
#include <tbb/global_control.h>

#include <cstddef>

namespace ORV::TestSupport {

class ThreadLimit {
 public:
  explicit ThreadLimit(int threads)
      : control_(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads)),
        saved_(cv::getNumThreads()) {
    cv::setNumThreads(threads);
  }
  ~ThreadLimit() { cv::setNumThreads(saved_); }
  ThreadLimit(const ThreadLimit&) = delete;
  ThreadLimit& operator=(const ThreadLimit&) = delete;

 private:
  tbb::global_control control_;
  int saved_;
};

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_THREAD_LIMIT_H
