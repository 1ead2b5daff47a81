// SPDX-License-Identifier: MIT
#include "Composition/BrightnessNormalisation.h"
#include "support/ImageMatchers.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <vector>

namespace {

using ORV::Common::Algorithms::Montage::Composition::normaliseBrightness;
using namespace ORV::TestSupport;

/// A grey row with `counts[v]` pixels of value v, normalised; then the value at the given column.
int valueAfter(const std::vector<std::pair<int, int>>& countsOfValues, int column) {
  std::vector<uchar> pixels;
  for (const auto& [value, count] : countsOfValues) {
    pixels.insert(pixels.end(), static_cast<std::size_t>(count), static_cast<uchar>(value));
  }
  cv::Mat montage = cv::Mat(pixels, true).reshape(1, 1);
  normaliseBrightness(montage);
  return montage.at<uchar>(0, column);
}

TEST(BrightnessNormalisation, PutsThe98thPercentileNear179) {
  EXPECT_EQ(valueAfter({{0, 970}, {127, 20}, {255, 10}}, 975), 178);  // 127 * 2 * 0.7 = 177.8
  EXPECT_EQ(valueAfter({{0, 970}, {127, 20}, {255, 10}}, 995), 255);  // saturates
}

TEST(BrightnessNormalisation, BlackMontageSaturatesItsFewBrightPixels) {
  EXPECT_EQ(valueAfter({{0, 990}, {1, 5}, {2, 5}}, 992), 179);
  EXPECT_EQ(valueAfter({{0, 990}, {1, 5}, {2, 5}}, 997), 255);
  EXPECT_EQ(valueAfter({{0, 990}, {1, 5}, {2, 5}}, 0), 0);
}

TEST(BrightnessNormalisation, FormsTheShareInSinglePrecision) {
  // 49 / 50 is a little more than 0.98 in single precision and exactly 0.98, too little, in double.
  EXPECT_EQ(valueAfter({{10, 49}, {200, 1}}, 0), 163);  // bin 10: gain 256 / 11 * 0.7
}

TEST(BrightnessNormalisation, BrightMontageIsDimmed) {
  EXPECT_EQ(valueAfter({{255, 100}}, 0), 178);  // gain 0.7: 178.5 rounds to even
  EXPECT_EQ(valueAfter({{100, 97}, {255, 3}}, 0), 70);
}

/// The same steps with OpenCV's whole-image routines.
cv::Mat normalisedPlainly(const cv::Mat& montage) {
  const bool colour = montage.channels() == 3;
  std::vector<cv::Mat> planes = {montage};
  if (colour) {
    cv::Mat lumaChroma;
    cv::cvtColor(montage, lumaChroma, cv::COLOR_BGR2YCrCb);
    cv::split(lumaChroma, planes);
  }
  const int bins = 256, channel = 0;
  const float range[] = {0, 256};
  const float* ranges = range;
  cv::Mat histogram;
  cv::calcHist(&planes[0], 1, &channel, cv::Mat(), histogram, 1, &bins, &ranges, true, false);
  const auto total = static_cast<float>(planes[0].rows * planes[0].cols);
  float sum = 0;
  int percentile = 0;
  for (; percentile < bins; ++percentile) {
    sum += histogram.at<float>(percentile);
    if (static_cast<double>(sum / total) > 0.98) {
      break;
    }
  }
  cv::Mat plane;
  planes[0].convertTo(plane, CV_32F);
  plane.convertTo(plane, CV_32F, 256.0 / (percentile + 1) * 0.7);
  plane.convertTo(planes[0], CV_8U);
  if (!colour) {
    return planes[0];
  }
  cv::Mat result;
  cv::merge(planes, result);
  cv::cvtColor(result, result, cv::COLOR_YCrCb2BGR);
  return result;
}

TEST(BrightnessNormalisation, EqualsThePlainStepsForEverySize) {
  for (const cv::Size& size : {cv::Size(1, 1), {7, 1}, {33, 65}, {129, 64}, {250, 301}}) {
    SCOPED_TRACE(size);
    const cv::Mat colour = 0.6 * makePicture(size, 31);
    for (const cv::Mat& image : {colour, greyOf(colour)}) {
      cv::Mat montage = image.clone();
      normaliseBrightness(montage);
      EXPECT_THAT(montage, EqualsImage(normalisedPlainly(image)));
    }
  }
}

}  // namespace
