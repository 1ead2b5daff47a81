// SPDX-License-Identifier: MIT
#include "Platform/ClampScan.h"
#include "Platform/ImagingPrimitives.h"

#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

namespace ORV::Common::Platform {
namespace {

cv::Mat reconstruct(const cv::Mat& mask, const cv::Mat& marker) {
  cv::Mat result = marker.clone();
  const IppiSize size{mask.cols, mask.rows};
  int bufferSize = 0;
  EXPECT_EQ(ippiMorphReconstructGetBufferSize_8u_C1(size, &bufferSize), ippStsNoErr);
  std::vector<unsigned char> buffer(static_cast<std::size_t>(bufferSize) + 1);
  // One byte off: the routine takes a buffer of any alignment.
  EXPECT_EQ(ippiMorphReconstructDilate_8u_C1IR(mask.data,
                                               static_cast<int>(mask.step),
                                               result.data,
                                               static_cast<int>(result.step),
                                               size,
                                               buffer.data() + 1,
                                               ippiNormInf),
            ippStsNoErr);
  return result;
}

/// The definition: 3 x 3 dilations under the mask until nothing changes.
cv::Mat reconstructPlainly(const cv::Mat& mask, const cv::Mat& marker) {
  cv::Mat result = cv::min(mask, marker);
  cv::Mat before;
  do {
    before = result.clone();
    cv::dilate(before, result, cv::Mat());
    result = cv::min(result, mask);
  } while (cv::norm(before, result, cv::NORM_INF) != 0.0);
  return result;
}

void expectEqual(const cv::Mat& actual, const cv::Mat& expected) {
  cv::Mat difference;
  cv::absdiff(actual, expected, difference);
  double largest = 0.0;
  cv::Point place;
  cv::minMaxLoc(difference, nullptr, &largest, nullptr, &place);
  EXPECT_EQ(largest, 0.0) << "worst at " << place << ": "
                          << static_cast<int>(actual.at<unsigned char>(place)) << " instead of "
                          << static_cast<int>(expected.at<unsigned char>(place));
}

TEST(MorphReconstruct, AgreesWithRepeatedDilationOfAnyMarkerUnderAnyMask) {
  cv::RNG random(7);
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(round);
    const int levels = round % 3 == 0 ? 2 : round % 3 == 1 ? 6 : 256;
    cv::Mat mask(random.uniform(1, 25), random.uniform(1, 25), CV_8UC1);
    cv::Mat marker(mask.size(), CV_8UC1);
    random.fill(mask, cv::RNG::UNIFORM, 0, levels);
    random.fill(marker, cv::RNG::UNIFORM, 0, levels);
    cv::Mat sparse(mask.size(), CV_8UC1);
    random.fill(sparse, cv::RNG::UNIFORM, 0, 10);
    marker.setTo(0, sparse > round % 10);  // few seeds travel far; some lie above the mask
    expectEqual(reconstruct(mask, marker), reconstructPlainly(mask, marker));
  }
}

class ClampScanOnTarget : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(ClampScanOnTarget);

TEST_P(ClampScanOnTarget, IsTheScanPixelByPixel) {
  cv::RNG random(3);
  for (int width = 1; width <= 70; ++width) {
    for (const int levels : {2, 5, 256}) {
      std::vector<unsigned char> masks(static_cast<std::size_t>(width));
      random.fill(masks, cv::RNG::UNIFORM, 0, levels);
      std::vector<unsigned char> markers(masks.size());
      random.fill(markers, cv::RNG::UNIFORM, 0, levels);
      std::vector<unsigned char> expected = markers;
      unsigned char neighbour = 0;
      for (std::size_t x = 0; x < expected.size(); ++x) {
        expected[x] = neighbour = std::min(std::max(expected[x], neighbour), masks[x]);
      }
      std::vector<unsigned char> forward = markers;
      clampScanForward(masks.data(), forward.data(), width);
      ASSERT_EQ(forward, expected);
      std::reverse(masks.begin(), masks.end());
      std::reverse(markers.begin(), markers.end());
      std::reverse(expected.begin(), expected.end());
      clampScanBackward(masks.data(), markers.data(), width);
      ASSERT_EQ(markers, expected);
    }
  }
}

// A corridor that turns back at every end: each scan can follow it only to the next turn.
TEST(MorphReconstruct, FollowsACorridorThroughAllItsTurns) {
  cv::Mat mask(61, 61, CV_8UC1, cv::Scalar(200));
  for (int y = 1; y < mask.rows; y += 2) {
    mask(cv::Rect(y % 4 == 1 ? 0 : 1, y, mask.cols - 1, 1)) = 10;
  }
  for (const bool upright : {false, true}) {
    const cv::Mat turned = upright ? cv::Mat(mask.t()) : mask;
    for (const cv::Point start : {cv::Point(0, 0), cv::Point(60, 60), cv::Point(30, 30)}) {
      cv::Mat marker(turned.size(), CV_8UC1, cv::Scalar(0));
      marker.at<unsigned char>(start) = 150;
      expectEqual(reconstruct(turned, marker), cv::min(turned, 150));
    }
  }
}

// On noise with many seeds more than an eighth of the pixels would wait in the queue at a time.
TEST(MorphReconstruct, SurvivesMoreFrontsThanTheQueueHolds) {
  cv::RNG random(11);
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    cv::Mat mask(96, 96, CV_8UC1);
    random.fill(mask, cv::RNG::UNIFORM, 0, 256);
    cv::Mat marker(mask.size(), CV_8UC1, cv::Scalar(0));
    cv::Mat seeds(mask.size(), CV_8UC1);
    random.fill(seeds, cv::RNG::UNIFORM, 0, 40);
    mask.copyTo(marker, seeds == 0);
    expectEqual(reconstruct(mask, marker), reconstructPlainly(mask, marker));
  }
}

}  // namespace
}  // namespace ORV::Common::Platform
