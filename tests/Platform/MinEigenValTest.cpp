// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>
#include <opencv2/imgproc.hpp>
#include <tbb/global_control.h>

#include <limits>
#include <vector>

namespace ORV::Common::Platform {
namespace {

cv::Mat response(const cv::Mat& image) {
  cv::Mat result(image.size(), CV_32FC1, cv::Scalar(-1));
  const IppiSize size{image.cols, image.rows};
  int bufferSize = 0;
  EXPECT_EQ(ippiMinEigenValGetBufferSize_32f_C1R(size, 5, 5, &bufferSize), ippStsNoErr);
  std::vector<unsigned char> buffer(static_cast<std::size_t>(bufferSize));
  EXPECT_EQ(ippiMinEigenVal_32f_C1R(image.ptr<float>(),
                                    static_cast<int>(image.step),
                                    result.ptr<float>(),
                                    static_cast<int>(result.step),
                                    size,
                                    ippKernelSobel,
                                    5,
                                    5,
                                    buffer.data()),
            ippStsNoErr);
  return result;
}

cv::Mat noise(int rows, int cols, unsigned seed) {
  cv::Mat image(rows, cols, CV_32FC1);
  cv::RNG(seed).fill(image, cv::RNG::UNIFORM, 0.0, 255.0);
  return image;
}

bool sameBytes(const cv::Mat& first, const cv::Mat& second) {
  return first.size() == second.size() && cv::norm(first, second, cv::NORM_INF) == 0.0;
}

// Borders are mirrored into the image more than once where a side is shorter than the window.
TEST(MinEigenVal, AgreesWithOpenCvAtEverySmallSize) {
  for (int rows = 1; rows <= 9; ++rows) {
    for (const int cols : {1, 2, 3, 4, 5, 8, 16, 17, 31, 67}) {
      SCOPED_TRACE(::testing::Message() << rows << " x " << cols);
      const cv::Mat image = noise(rows, cols, static_cast<unsigned>(rows * 100 + cols));
      cv::Mat expected;
      cv::cornerMinEigenVal(image, expected, 5, 5);
      // Of the size of the covariance's diagonal, whose rounding errors the response inherits.
      cv::Mat scale;
      cv::boxFilter(image.mul(image), scale, CV_32F, {5, 5});
      double largest = 0.0;
      cv::minMaxLoc(scale, nullptr, &largest);
      EXPECT_LE(cv::norm(response(image), expected, cv::NORM_INF), 1e-6 * largest);
    }
  }
}

TEST(MinEigenVal, IsZeroOnEdgesAndPositiveOnCorners) {
  cv::Mat image(30, 30, CV_32FC1, cv::Scalar(0));
  image(cv::Rect(15, 15, 15, 15)) = 200.0F;
  const cv::Mat result = response(image);
  EXPECT_EQ(result.at<float>(26, 15), 0.0F);
  EXPECT_EQ(result.at<float>(15, 26), 0.0F);
  EXPECT_GT(result.at<float>(15, 15), 1000.0F);
}

TEST(MinEigenVal, RowsDoNotDependOnTheirBand) {
  const cv::Mat image = noise(200, 50, 1);
  const cv::Mat whole = response(image);
  constexpr int kReach = 4;  // of gradient and window
  for (const int first : {1, 37, 60, 64, 100}) {
    const cv::Range rows(first, first + 90);
    const cv::Range inner(kReach, 90 - kReach);
    EXPECT_TRUE(sameBytes(response(image.rowRange(rows)).rowRange(inner),
                          whole.rowRange(rows).rowRange(inner)))
        << "from row " << first;
  }
}

TEST(MinEigenVal, MirrorsWithTheImage) {
  const cv::Mat image = noise(70, 45, 2);
  for (const int code : {-1, 0, 1}) {
    cv::Mat flippedImage;
    cv::Mat flippedResponse;
    cv::flip(image, flippedImage, code);
    cv::flip(response(image), flippedResponse, code);
    EXPECT_TRUE(sameBytes(response(flippedImage), flippedResponse)) << "flip " << code;
  }
}

TEST(MinEigenVal, SameBytesForAnyNumberOfThreadsAndInstructionSet) {
  const cv::Mat image = noise(300, 61, 3);
  const cv::Mat expected = response(image);
  for (const std::size_t threads : {1, 2, 7}) {
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    EXPECT_TRUE(sameBytes(response(image), expected)) << threads << " threads";
  }
  for (const auto target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    EXPECT_TRUE(sameBytes(response(image), expected)) << hwy::TargetName(target);
  }
  hwy::SetSupportedTargetsForTest(0);
}

TEST(MinEigenVal, NanStaysInItsNeighbourhood) {
  cv::Mat image = noise(40, 40, 4);
  const cv::Mat expected = response(image);
  image.at<float>(20, 20) = std::numeric_limits<float>::quiet_NaN();
  const cv::Mat result = response(image);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) {
      if (std::abs(y - 20) > 4 || std::abs(x - 20) > 4) {
        ASSERT_EQ(result.at<float>(y, x), expected.at<float>(y, x)) << x << ", " << y;
      }
    }
  }
}

}  // namespace
}  // namespace ORV::Common::Platform
