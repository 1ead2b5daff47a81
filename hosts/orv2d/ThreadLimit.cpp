// SPDX-License-Identifier: MIT
#include "ThreadLimit.h"

#include <opencv2/core/utility.hpp>

namespace orv2d {

ThreadLimit::ThreadLimit(int count) {
  if (count > 0) {
    limit_.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(count));
    cv::setNumThreads(count);
  }
}

}  // namespace orv2d
