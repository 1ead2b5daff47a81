// SPDX-License-Identifier: MIT
// The n-th allocation fails, for every n: the caller hears of it, nothing is kept, and the next call
// gives the same bytes as before.
#include "support/FaultyMemory.h"
#include "support/Operations.h"
#include "support/Thorough.h"
#include "support/ThreadLimit.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <new>
#include <optional>

namespace {

using namespace ORV::TestSupport;

class FailingMemory : public testing::TestWithParam<Operation> {};

/// All but what would end the process in libraries that want memory where they may not throw: Ceres
/// for its clocks, the JSON of saved values for taking objects apart.
std::vector<Operation> failingOperations() {
  std::vector<Operation> operations;
  for (const Operation& operation : allOperations()) {
    if (operation.name == "Steps") {
      operations.push_back({operation.name, [] {
                              return montageInSteps([](const montage::ProgressReport& report) {
                                FaultyMemory::pause(report.stage == montage::Stage::adjust);
                                return true;
                              });
                            }});
    } else if (operation.name != "Files") {
      operations.push_back(operation);
    }
  }
  return operations;
}

/// What came out; none if it ended with one of the exceptions for a lack of memory.
std::optional<std::uint64_t> resultOf(const Operation& operation) {
  try {
    return operation.run();
  } catch (const std::bad_alloc&) {
  } catch (const cv::Exception& error) {
    // The second is what cv::UMat makes of the first.
    EXPECT_THAT(error.code, testing::AnyOf(cv::Error::StsNoMem, cv::Error::StsAssert));
  }
  return std::nullopt;
}

INSTANTIATE_TEST_SUITE_P(Operations,
                         FailingMemory,
                         testing::ValuesIn(failingOperations()),
                         [](const auto& each) { return each.param.name; });

TEST_P(FailingMemory, ReachesTheCallerAndLeavesNothing) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "allocations cannot be made to fail under the thread sanitizer";
#endif
  const Operation& operation = GetParam();
  const ThreadLimit oneThread(1);  // the n-th is the same one every time
  operation.run();                 // what libraries keep for good is made
  FaultyMemory memory;
  const std::uint64_t expected = operation.run();
  memory.failAt(0);
  operation.run();
  const long allocations = memory.count();
  long held = memory.held();
  constexpr long kMany = 10000;
  const long samples = isThorough() ? 2000 : allocations < kMany ? 200 : 25;
  const long step = std::max(1L, allocations / samples);
  long failures = 0;
  for (long n = 1; n <= allocations; n += step) {
    memory.failAt(n);
    const std::optional<std::uint64_t> found = resultOf(operation);
    memory.failAt(0);
    failures += found ? 0 : 1;
    // A failure that cost nothing but time, such as that of a buffer for sorting, is none.
    ASSERT_EQ(found.value_or(expected), expected) << "allocation " << n;
    if (memory.held() > held) {  // what libraries make the first time is not made again
      held = memory.held();
      memory.failAt(n);
      resultOf(operation);
      memory.failAt(0);
      ASSERT_LE(memory.held(), held) << "kept after the failure of allocation " << n;
    }
    if (n % (7 * step) == 1) {
      ASSERT_EQ(operation.run(), expected) << "after the failure of allocation " << n;
    }
  }
  EXPECT_GT(failures, allocations / step / 2);
  std::cout << allocations << " allocations, " << failures << " failures reached the caller\n";
}

TEST(Stopped, LeavesNothingAtAnyReport) {
  constexpr int kEvery = 20;
  const ThreadLimit oneThread(1);
  int reports = 0;
  const auto count = [&](const montage::ProgressReport&) { return ++reports > 0; };
  montageInSteps(count);
  FaultyMemory memory;
  const std::uint64_t expected = montageInSteps(count);
  const long held = memory.held();
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  };
  const auto threadsBefore = threads();
  const int all = reports / 2;
  ASSERT_GT(all, kEvery);
  for (int last = 1; last <= all; last += isThorough() ? 1 : kEvery) {
    reports = 0;
    const auto stop = [&](const montage::ProgressReport&) { return ++reports < last; };
    EXPECT_THROW(montageInSteps(stop), montage::Cancelled) << last;
    EXPECT_EQ(reports, last) << "asked again";
    EXPECT_LE(memory.held(), held) << last;
  }
  EXPECT_EQ(threads(), threadsBefore);
  EXPECT_EQ(montageInSteps(), expected);
}

}  // namespace
