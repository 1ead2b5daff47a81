// SPDX-License-Identifier: MIT
#include "Platform/ParallelLoop.h"

#include <gtest/gtest.h>
#include <tbb/parallel_for.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using ORV::Common::Platform::parallelFor;

TEST(ParallelLoop, RunsEveryIndexOnce) {
  constexpr int kFirst = -3, kLast = 4000;
  std::vector<std::atomic<int>> visits(kLast - kFirst);
  parallelFor(
      kFirst, kLast, [&](int index) { ++visits[static_cast<std::size_t>(index - kFirst)]; });
  EXPECT_TRUE(
      std::all_of(visits.begin(), visits.end(), [](const auto& count) { return count == 1; }));
}

TEST(ParallelLoop, RunsNothingForEmptyAndNegativeRanges) {
  std::atomic<int> runs{0};
  const auto count = [&](int) { ++runs; };
  parallelFor(0, 0, count);
  parallelFor(5, 5, count);
  parallelFor(0, -3, count);
  EXPECT_EQ(runs, 0);
}

TEST(ParallelLoop, RunsASingleIndexOnTheCallersThread) {
  std::thread::id worker;
  int seen = -1;
  parallelFor(7, 8, [&](int index) {
    worker = std::this_thread::get_id();
    seen = index;
  });
  EXPECT_EQ(worker, std::this_thread::get_id());
  EXPECT_EQ(seen, 7);
}

TEST(ParallelLoop, Nests) {
  constexpr int kRows = 40, kCols = 50;
  std::vector<std::vector<int>> cells(kRows, std::vector<int>(kCols, 0));
  parallelFor(0, kRows, [&](int row) {
    std::vector<int>& cellsOfRow = cells[static_cast<std::size_t>(row)];
    parallelFor(0, kCols, [&](int col) { ++cellsOfRow[static_cast<std::size_t>(col)]; });
  });
  EXPECT_EQ(cells, std::vector<std::vector<int>>(kRows, std::vector<int>(kCols, 1)));
}

TEST(ParallelLoop, HandsOnAnExceptionWithItsTypeOnceAllIterationsHaveEnded) {
  struct Refusal {
    int index;
  };
  std::atomic<int> running{0};
  const auto body = [&](int index) {
    ++running;
    const std::string work(100, static_cast<char>('a' + index % 26));
    EXPECT_EQ(work.size(), 100U);
    --running;
    if (index == 100) {
      throw Refusal{index};
    }
  };
  try {
    parallelFor(0, 300, body);
    FAIL() << "the exception was lost";
  } catch (const Refusal& refusal) {
    EXPECT_EQ(refusal.index, 100);
    EXPECT_EQ(running, 0);
  }
  EXPECT_THROW(parallelFor(0, 1, [](int) { throw std::string("alone"); }), std::string);
}

TEST(ParallelLoop, SkipsNothingInsideACancelledTaskGroupOfTheHost) {
  constexpr int kCount = 1000;
  std::atomic<int> runs{0};
  tbb::task_group_context context;
  tbb::parallel_for(
      0,
      2,
      [&](int) {
        context.cancel_group_execution();
        parallelFor(0, kCount, [&](int) { ++runs; });
      },
      context);
  EXPECT_GE(runs, kCount);
  EXPECT_EQ(runs % kCount, 0);
}

}  // namespace
