// SPDX-License-Identifier: MIT
#include "Registration/SurfPatch.h"
#include "SurfTestImages.h"

#include <gtest/gtest.h>

#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

uchar plainSample(const cv::Mat& image, double x, double y) {
  const int column = cvFloor(x);
  const int row = cvFloor(y);
  if (column < 0 || row < 0 || column >= image.cols - 1 || row >= image.rows - 1) {
    return image.at<uchar>(std::clamp(cvRound(y), 0, image.rows - 1),
                           std::clamp(cvRound(x), 0, image.cols - 1));
  }
  const auto grey = [&](int dy, int dx) {
    return static_cast<float>(image.at<uchar>(row + dy, column + dx));
  };
  const auto a = static_cast<float>(x - column);
  const auto b = static_cast<float>(y - row);
  const float level = grey(0, 0) * (1 - a) * (1 - b) + grey(0, 1) * a * (1 - b) +
                      grey(1, 0) * (1 - a) * b + grey(1, 1) * a * b;
  return static_cast<uchar>(cvRound(level));
}

/// The patch pixel by pixel, then by OpenCV's area averaging.
cv::Mat plainPatch(const cv::Mat& image, const cv::KeyPoint& keypoint) {
  const int side = static_cast<int>(21 * (keypoint.size * 1.2F / 9.0F));
  const float angle = keypoint.angle * static_cast<float>(CV_PI / 180);
  const float c = std::cos(angle);
  const float s = std::sin(angle);
  const float o = -static_cast<float>(side - 1) / 2;
  float startX = keypoint.pt.x + o * c - o * s;
  float startY = keypoint.pt.y + o * s + o * c;
  cv::Mat window(side, side, CV_8U);
  for (int i = 0; i < side; ++i, startX -= s, startY += c) {
    double x = static_cast<double>(startX);
    double y = static_cast<double>(startY);
    for (int j = 0; j < side; ++j, x += static_cast<double>(c), y += static_cast<double>(s)) {
      window.at<uchar>(i, j) = plainSample(image, x, y);
    }
  }
  cv::Mat patch;
  cv::resize(window, patch, cv::Size(kSurfPatchSide, kSurfPatchSide), 0, 0, cv::INTER_AREA);
  return patch;
}

TEST(SurfPatch, EqualsThePlainWindowAveragedByOpenCv) {
  const cv::Mat image = SurfTestImages::blobs(190, 233, 4);
  const cv::Mat padded = SurfPatchCutter::padded(image);
  SurfPatchCutter cutter(padded);
  cv::RNG random(6);
  // Sides 25 to 420; 15 and 30 are the whole-numbered ratios 2 and 4.
  for (const int size : {9, 12, 15, 16, 22, 30, 41, 77, 150}) {
    for (int trial = 0; trial < 30; ++trial) {
      const cv::KeyPoint keypoint(random.uniform(0.0F, 232.0F),
                                  random.uniform(0.0F, 189.0F),
                                  static_cast<float>(size),
                                  trial == 0 ? 0.0F : random.uniform(0.0F, 360.0F));
      const SurfPatch& patch = cutter.cut(keypoint);
      const cv::Mat expected = plainPatch(image, keypoint);
      for (int y = 0; y < kSurfPatchSide; ++y) {
        for (int x = 0; x < kSurfPatchSide; ++x) {
          ASSERT_EQ(patch[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)],
                    expected.at<uchar>(y, x))
              << "size " << size << " trial " << trial << " at " << x << ", " << y;
        }
      }
    }
  }
}

TEST(AreaWeights, OfEveryTargetAddUpToOne) {
  std::vector<AreaWeight> weights;
  for (const int sources : {21, 25, 42, 50, 63, 399, 1000}) {
    const float factor = areaWeights(sources, 21, weights);
    std::vector<float> sums(21, 0.0F);
    for (const AreaWeight& entry : weights) {
      sums[static_cast<std::size_t>(entry.target)] += entry.weight;
    }
    for (const float sum : sums) {
      EXPECT_NEAR(sum * sum * factor, 1.0F, 1e-4F) << sources;
    }
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
