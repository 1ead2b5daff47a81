// SPDX-License-Identifier: MIT
#include "Composition/GraphCutSeams.h"
#include "RandomViews.h"
#include "support/ImageMatchers.h"
#include "support/ThreadLimit.h"

#include <gtest/gtest.h>
#include <opencv2/stitching/detail/seam_finders.hpp>

#include <atomic>
#include <stdexcept>

namespace {

using namespace ORV::Common::Algorithms::Montage::Composition;
using namespace ORV::TestSupport;

SeamViews deepCopyOf(const SeamViews& views) {
  SeamViews copy = views;
  for (cv::UMat& mask : copy.masks) {
    mask = mask.clone();
  }
  return copy;
}

void cutByOpenCv(SeamViews& views) {
  cv::detail::GraphCutSeamFinder(
      static_cast<int>(cv::detail::GraphCutSeamFinderBase::COST_COLOR), 10000.0F, 1000.0F)
      .find(views.inSinglePrecision(), views.corners, views.masks);
}

TEST(GraphCutSeams, HaveTheMasksOfOpenCvWithAnyNumberOfThreads) {
  cv::RNG random(31);
  int cutPixels = 0;
  for (int set = 0; set < 60; ++set) {
    SCOPED_TRACE(set);
    const ThreadLimit threads(1 + set % 4);
    SeamViews views = randomViews(random);
    SeamViews expected = deepCopyOf(views);
    const SeamViews uncut = deepCopyOf(views);
    std::atomic<int> steps{0};
    cutSeams(
        views, [&] { ++steps; }, [] {});
    cutByOpenCv(expected);
    for (std::size_t i = 0; i < views.masks.size(); ++i) {
      const cv::Mat mask = views.masks[i].getMat(cv::ACCESS_READ);
      EXPECT_THAT(mask, EqualsImage(expected.masks[i].getMat(cv::ACCESS_READ)));
      cutPixels += cv::countNonZero(mask != uncut.masks[i].getMat(cv::ACCESS_READ));
    }
    EXPECT_EQ(static_cast<std::size_t>(steps), overlappingPairs(views).size());
  }
  EXPECT_GT(cutPixels, 50000);
}

TEST(GraphCutSeams, EndWhenACallbackThrows) {
  cv::RNG random(5);
  SeamViews views = randomViews(random);
  ASSERT_GT(overlappingPairs(views).size(), 2U);
  const auto nothing = [] {};
  const auto stop = [] { throw std::runtime_error("stop"); };
  const ThreadLimit threads(4);
  EXPECT_THROW(cutSeams(views, stop, nothing), std::runtime_error);
  EXPECT_THROW(cutSeams(views, nothing, stop), std::runtime_error);
}

}  // namespace
