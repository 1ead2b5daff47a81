// SPDX-License-Identifier: MIT
// Many callers at once, and callers that use the same libraries themselves: the results are those of
// one call alone, and nothing of the caller's is changed.
#include "support/Operations.h"
#include "support/Thorough.h"

#include <gtest/gtest.h>
#include <opencv2/core/ocl.hpp>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <numeric>
#include <random>
#include <thread>
#include <unistd.h>

namespace {

using namespace ORV::TestSupport;
using Clock = std::chrono::steady_clock;

class Concurrency : public testing::Test {
 protected:
  Concurrency() : operations_(allOperations()) {
    for (const Operation& operation : operations_) {
      expected_.push_back(operation.run());
    }
  }

  /// Runs every operation once, in an order of its own.
  void runAll(unsigned seed) const {
    std::vector<std::size_t> order(operations_.size());
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(seed));
    for (const std::size_t i : order) {
      EXPECT_EQ(operations_[i].run(), expected_[i]) << operations_[i].name;
    }
  }

 private:
  std::vector<Operation> operations_;
  std::vector<std::uint64_t> expected_;
};

TEST_F(Concurrency, EightCallersGetWhatOneGets) {
  const auto end = Clock::now() + std::chrono::seconds(isThorough() ? 60 : 0);
  const int openCvThreads = cv::getNumThreads();
  const bool openCl = cv::ocl::useOpenCL();
  std::vector<std::thread> callers;
  for (unsigned caller = 0; caller < 8; ++caller) {
    callers.emplace_back([&, caller] {
      cv::theRNG().state = 4711 + caller;
      unsigned round = 0;
      do {
        runAll(100 * round++ + caller);
      } while (Clock::now() < end);
      EXPECT_EQ(cv::theRNG().state, 4711U + caller);
    });
  }
  for (std::thread& caller : callers) {
    caller.join();
  }
  EXPECT_EQ(cv::getNumThreads(), openCvThreads);
  EXPECT_EQ(cv::ocl::useOpenCL(), openCl);
}

TEST_F(Concurrency, WorksInsideTheCallersOwnTasks) {
  tbb::task_arena(3).execute([&] { runAll(1); });
  tbb::parallel_for(0, 3, [&](int outer) {
    tbb::parallel_for(0, 2, [&](int inner) { runAll(static_cast<unsigned>(2 * outer + inner)); });
  });
  tbb::task_group group;
  group.run([&] {
    group.cancel();
    runAll(2);
  });
  EXPECT_EQ(group.wait(), tbb::canceled);
}

TEST_F(Concurrency, MemoryDoesNotGrowWithTheCalls) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers keep what is freed";
#endif
  const auto residentPages = [] {
    long size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return static_cast<double>(resident);
  };
  const unsigned few = 20, many = isThorough() ? 200 : 40;
  double before = 0;
  for (unsigned call = 0; call < many; ++call) {
    before = call == few ? residentPages() : before;
    runAll(call);
  }
  EXPECT_LT(residentPages(), 1.05 * before);
}

}  // namespace
