// SPDX-License-Identifier: MIT
// Same input, same bytes: whatever ran before, for any number of threads.
#include "support/MontageCall.h"
#include "support/SyntheticScene.h"
#include "support/ThreadLimit.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace ORV::TestSupport;

class MontageDeterminism : public testing::TestWithParam<Pipeline> {
 protected:
  static const std::vector<cv::Mat>& views() {
    static const std::vector<cv::Mat> kViews =
        renderViews(makePicture({700, 500}, 2), {{-9, 0, 1}, {0, 3, 0}, {8, -2, -1}}).images;
    return kViews;
  }

  static std::uint64_t run(Pipeline pipeline = GetParam()) {
    const MontageResult result = callMontage(pipeline, views());
    EXPECT_EQ(result.status, 0);
    return result.fingerprint();
  }
};

INSTANTIATE_TEST_SUITE_P(Pipelines,
                         MontageDeterminism,
                         testing::Values(Pipeline::kBasic, Pipeline::kDiagnostic),
                         [](const auto& each) {
                           return each.param == Pipeline::kBasic ? "Basic" : "Diagnostic";
                         });

TEST_P(MontageDeterminism, RepeatsItselfWhateverRanBefore) {
  cv::theRNG().state = 4711;
  const std::uint64_t first = run();
  EXPECT_EQ(cv::theRNG().state, 4711U) << "the caller's random sequence was disturbed";
  cv::theRNG().state = 1;
  run(GetParam() == Pipeline::kBasic ? Pipeline::kDiagnostic : Pipeline::kBasic);
  EXPECT_EQ(run(), first);
}

TEST_P(MontageDeterminism, DoesNotDependOnTheNumberOfThreads) {
  std::vector<std::uint64_t> sums;
  for (const int threads : {1, 2, 7}) {
    const ThreadLimit limit(threads);
    sums.push_back(run());
  }
  EXPECT_EQ(sums, std::vector<std::uint64_t>(3, sums[0]));
}

}  // namespace
