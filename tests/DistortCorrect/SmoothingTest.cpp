// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlainCorrection.h"
#include "DistortCorrect/Smoothing.h"
#include "Platform/ImagingPrimitives.h"

#include <gtest/gtest.h>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

bool smooth(cv::Mat& image, cv::Vec2f sigma, cv::Vec2i kernelSize) {
  return gaussianSmooth({image.data,
                         static_cast<std::ptrdiff_t>(image.step),
                         image.rows,
                         image.cols,
                         image.channels()},
                        sigma.val,
                        kernelSize.val);
}

TEST(GaussianSmooth, SpreadsAPointByTheProductsOfTheTaps) {
  cv::Mat image = cv::Mat::zeros(5, 5, CV_8UC1);
  image.at<unsigned char>(2, 2) = 255;
  const float sigma[] = {1.0F, 1.0F};
  const int kernelSize[] = {3, 3};
  EXPECT_EQ(0, SterProject().GaussianSmooth(image.data, 5, 5, 1, sigma, kernelSize));
  // 0.2740686 * 255 = 69.9, 0.4518628 * 255 = 115.2; again after rounding to 70 and 115.
  const cv::Mat expected = (cv::Mat_<unsigned char>(5, 5) << 0,
                            0,
                            0,
                            0,
                            0,  //
                            0,
                            19,
                            32,
                            19,
                            0,  //
                            0,
                            32,
                            52,
                            32,
                            0,  //
                            0,
                            19,
                            32,
                            19,
                            0,  //
                            0,
                            0,
                            0,
                            0,
                            0);
  EXPECT_TRUE(samePixels(image, expected));
}

TEST(GaussianSmooth, EqualsThePlainLoopsForAnySizeKernelAndChannelCount) {
  cv::RNG random(11);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    const int type = round % 2 == 0 ? CV_8UC1 : CV_8UC3;
    const int maxRows = round < 40 ? 24 : 400;  // one band, and many
    cv::Mat image = noise(random.uniform(1, maxRows), random.uniform(1, 50), type, random.next());
    const cv::Vec2f sigma(random.uniform(0.4F, 3.0F), random.uniform(0.4F, 3.0F));
    const cv::Vec2i kernelSize(random.uniform(0, 9), random.uniform(0, 9));
    const cv::Mat expected = plain::smoothed(image, sigma, kernelSize);
    ASSERT_TRUE(smooth(image, sigma, kernelSize));
    ASSERT_TRUE(samePixels(image, expected));
  }
}

TEST(GaussianSmooth, KeepsToTheRegionOfALargerMatrix) {
  cv::Mat clone = noise(70, 33, CV_8UC3, 5);
  cv::Mat frame;
  cv::Mat region = asRegion(clone, frame);
  ASSERT_TRUE(smooth(clone, {1, 1}, {3, 3}));
  ASSERT_TRUE(smooth(region, {1, 1}, {3, 3}));
  EXPECT_TRUE(samePixels(region, clone));
  EXPECT_TRUE(surroundingsUntouched(frame));
}

TEST(GaussianSmooth, RefusesAnImageWithoutPixels) {
  const float sigma[] = {1.0F, 1.0F};
  const int kernelSize[] = {3, 3};
  unsigned char pixel = 9;
  EXPECT_EQ(-1, SterProject().GaussianSmooth(&pixel, 0, 4, 1, sigma, kernelSize));
  EXPECT_EQ(-1, SterProject().GaussianSmooth(&pixel, 4, 0, 3, sigma, kernelSize));
  EXPECT_EQ(pixel, 9);
}

TEST(SeparableFilter, RoundsTiesToEvenAndSaturates) {
  using namespace Platform;
  const std::vector<unsigned char> source(40, 1);
  std::vector<unsigned char> out(40);
  const auto filtered = [&](float tap) {
    EXPECT_EQ(ippStsNoErr,
              ippiFilterRow32f_8u_C1R(source.data(), 40, out.data(), 40, {40, 1}, &tap, 1, 0));
    EXPECT_EQ(out, std::vector<unsigned char>(40, out[0]));  // vectors and tail agree
    return out[0];
  };
  EXPECT_EQ(filtered(0.5F), 0);
  EXPECT_EQ(filtered(1.5F), 2);
  EXPECT_EQ(filtered(2.5F), 2);
  EXPECT_EQ(filtered(254.5F), 254);
  EXPECT_EQ(filtered(1e30F), 255);
  EXPECT_EQ(filtered(-3.0F), 0);
  EXPECT_EQ(filtered(std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(SeparableFilter, TakesTapsInOrderFromTheAnchor) {
  using namespace Platform;
  const unsigned char pixels[] = {1, 10, 20, 2, 30, 40, 3, 50, 60};  // 3 x 1 colour, or 3 x 3 grey
  const float taps[] = {1.0F, 2.0F};
  unsigned char out[3] = {};
  ASSERT_EQ(ippStsNoErr, ippiFilterRow32f_8u_C3R(pixels + 3, 9, out, 3, {1, 1}, taps, 2, 1));
  EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{5, 70, 100}));
  ASSERT_EQ(ippStsNoErr, ippiFilterColumn32f_8u_C1R(pixels + 3, 3, out, 3, {3, 1}, taps, 2, 0));
  EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{8, 130, 160}));
  EXPECT_NE(ippStsNoErr, ippiFilterRow32f_8u_C1R(pixels, 9, out, 3, {0, 1}, taps, 2, 0));
  EXPECT_NE(ippStsNoErr, ippiFilterRow32f_8u_C1R(pixels, 9, out, 3, {3, 1}, taps, 2, 2));
  EXPECT_NE(ippStsNoErr, ippiFilterRow32f_8u_C1R(pixels, 9, nullptr, 3, {3, 1}, taps, 2, 0));
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
