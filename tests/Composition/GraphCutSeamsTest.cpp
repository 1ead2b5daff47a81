// SPDX-License-Identifier: MIT
#include "Composition/GraphCutSeams.h"
#include "Composition/OverlapCut.h"
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
        views, SeamSearch::kExact, [&] { ++steps; }, [] {});
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

/// What the colours on both sides of a cut differ.
double costOf(const cv::Mat& sides, const Overlap& overlap) {
  double cost = 0;
  for (int y = 0; y + 1 < sides.rows; ++y) {
    for (int x = 0; x + 1 < sides.cols; ++x) {
      for (const cv::Point& next : {cv::Point(x + 1, y), cv::Point(x, y + 1)}) {
        const bool isCut = sides.at<uchar>(y, x) != sides.at<uchar>(next);
        const bool counts =
            overlap.shared.at<uchar>(y, x) != 0 && overlap.shared.at<uchar>(next) != 0;
        cost += isCut && counts ? 1 + overlap.difference(y, x) + overlap.difference(next) : 0;
      }
    }
  }
  return cost;
}

TEST(GraphCutSeams, FromCoarseToFineCostLittleMoreThanTheBest) {
  // Two views with a step between them, a thing that only one of them shows, and noise.
  cv::RNG random(77);
  double best = 0;
  double found = 0;
  for (int set = 0; set < 8; ++set) {
    const cv::Size size(220 + 10 * set, 180);
    cv::Mat first = makePicture(size, static_cast<unsigned>(set) + 20);
    cv::Mat second = first * 1.04;
    cv::circle(second, {100, 30 + 15 * set}, 25, cv::Scalar(250, 30, 60), -1);
    cv::Mat noise(size, CV_8UC3);
    random.fill(noise, cv::RNG::UNIFORM, 0, 8);
    second += noise;
    cv::Mat firstMask(size, CV_8UC1, cv::Scalar(255));
    cv::Mat secondMask = firstMask.clone();
    firstMask.colRange(size.width - 30, size.width).setTo(0);
    secondMask.colRange(0, 30).setTo(0);
    const Overlap overlap = overlapOf(first, firstMask, second, secondMask);
    best += costOf(cutExactly(overlap, [] {}), overlap);
    const cv::Mat sides = cutFromCoarseToFine(overlap, [] {});
    found += costOf(sides, overlap);
    EXPECT_EQ(cv::countNonZero(sides.colRange(0, 20)), 20 * size.height);
    EXPECT_EQ(cv::countNonZero(sides.colRange(size.width - 20, size.width)), 0);
  }
  EXPECT_LT(found, 1.05 * best);
}

TEST(GraphCutSeams, EndWhenACallbackThrows) {
  cv::RNG random(5);
  SeamViews views = randomViews(random);
  ASSERT_GT(overlappingPairs(views).size(), 2U);
  const auto nothing = [] {};
  const auto stop = [] { throw std::runtime_error("stop"); };
  const ThreadLimit threads(4);
  EXPECT_THROW(cutSeams(views, SeamSearch::kExact, stop, nothing), std::runtime_error);
  EXPECT_THROW(cutSeams(views, SeamSearch::kCoarseToFine, nothing, stop), std::runtime_error);
}

}  // namespace
