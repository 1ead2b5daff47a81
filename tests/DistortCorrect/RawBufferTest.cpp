// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlainCorrection.h"
#include "Platform/ImagingPrimitives.h"

#include <gtest/gtest.h>

#include <limits>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// Cubic convolution kernel at distance d, a = -0.75.
double cubic(double d) {
  d = std::abs(d);
  if (d <= 1.0) {
    return 1.25 * d * d * d - 2.25 * d * d + 1.0;
  }
  return d < 2.0 ? -0.75 * (d * d * d - 5.0 * d * d + 8.0 * d - 4.0) : 0.0;
}

/// Plain cubic sample of one channel with repeated edges.
double sampleAt(const cv::Mat& image, double col, double row, int channel) {
  double sum = 0.0;
  const int baseCol = cvFloor(col);
  const int baseRow = cvFloor(row);
  for (int r = baseRow - 1; r <= baseRow + 2; ++r) {
    for (int c = baseCol - 1; c <= baseCol + 2; ++c) {
      const unsigned char* const pixel = image.ptr(std::clamp(r, 0, image.rows - 1)) +
                                         std::clamp(c, 0, image.cols - 1) * image.channels();
      sum += cubic(col - c) * cubic(row - r) * pixel[channel];
    }
  }
  return std::clamp(sum, 0.0, 255.0);
}

struct RawMaps {
  explicit RawMaps(int size) : cols(size, size), rows(size, size) {
    for (int r = 0; r < size; ++r) {
      colTable.push_back(cols[r]);
      rowTable.push_back(rows[r]);
    }
  }
  cv::Mat_<float> cols;
  cv::Mat_<float> rows;
  std::vector<float*> colTable;
  std::vector<float*> rowTable;
};

TEST(Interpolate, SamplesInsidePositionsExactlyAndLeavesTheRest) {
  constexpr int kSize = 60;
  for (const int type : {CV_8UC1, CV_8UC3}) {
    cv::Mat image = noise(25, 31, type, 9);
    const cv::Mat smoothed = plain::smoothed(image, {1, 1}, {3, 3});
    RawMaps maps(kSize);
    cv::RNG random(4);
    random.fill(maps.cols, cv::RNG::UNIFORM, -3.0, 34.0);
    random.fill(maps.rows, cv::RNG::UNIFORM, -3.0, 28.0);
    // Corners and a little beyond, whole pixels, and no position at all.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const cv::Point2f special[] = {{0, 0},
                                   {30, 24},
                                   {30, 0},
                                   {7, 11},
                                   {-0.6F, 5},
                                   {30.6F, 5},
                                   {5, 24.6F},
                                   {nan, 5},
                                   {5, nan},
                                   {1e30F, 5}};
    for (int i = 0; i < 10; ++i) {
      maps.cols(0, i) = special[i].x;
      maps.rows(0, i) = special[i].y;
    }
    cv::Mat output(kSize, kSize, type, cv::Scalar::all(99));
    EXPECT_EQ(0,
              SterProject().Interpolate(image.data,
                                        maps.colTable.data(),
                                        maps.rowTable.data(),
                                        image.channels(),
                                        31,
                                        25,
                                        kSize,
                                        output.data));
    EXPECT_TRUE(samePixels(image, smoothed));
    for (int r = 0; r < kSize; ++r) {
      for (int c = 0; c < kSize; ++c) {
        const float col = maps.cols(r, c);
        const float row = maps.rows(r, c);
        const bool inside = col >= 0 && col <= 30 && row >= 0 && row <= 24;
        for (int channel = 0; channel < image.channels(); ++channel) {
          const int actual = output.ptr(r)[c * image.channels() + channel];
          if (inside) {
            ASSERT_NEAR(actual, sampleAt(smoothed, col, row, channel), 0.5 + 1e-9)
                << col << ' ' << row;
          } else {
            ASSERT_EQ(actual, 99) << col << ' ' << row;
          }
        }
      }
    }
  }
}

TEST(Remap, StaysInTheSourceRegionAndChecksItsArguments) {
  using namespace Platform;
  const cv::Mat image = noise(9, 9, CV_8UC1, 1);
  const float cols[] = {2.0F, 1.9F, 4.5F, 6.0F, 6.1F};
  const float rows[] = {3.0F, 3.0F, 3.5F, 5.0F, 5.0F};
  unsigned char out[5] = {99, 99, 99, 99, 99};
  const IppiRect region{2, 3, 5, 3};
  ASSERT_EQ(ippStsNoErr,
            ippiRemap_8u_C1R(
                image.data, {9, 9}, 9, region, cols, 20, rows, 20, out, 5, {5, 1}, ippiInterCubic));
  EXPECT_EQ(out[0], image.at<unsigned char>(3, 2));
  EXPECT_EQ(out[1], 99);
  EXPECT_NEAR(out[2], sampleAt(image(cv::Rect(2, 3, 5, 3)), 2.5, 0.5, 0), 0.5);
  EXPECT_EQ(out[3], image.at<unsigned char>(5, 6));
  EXPECT_EQ(out[4], 99);
  const auto status = [&](IppiRect rect, int step, int interpolation) {
    return ippiRemap_8u_C1R(
        image.data, {9, 9}, step, rect, cols, 20, rows, 20, out, 5, {5, 1}, interpolation);
  };
  EXPECT_NE(ippStsNoErr, status({9, 0, 3, 3}, 9, ippiInterCubic));
  EXPECT_NE(ippStsNoErr, status(region, 8, ippiInterCubic));
  EXPECT_NE(ippStsNoErr, status(region, 9, 2));
}

TEST(DetermineBoundaries, FollowsTheLenientRules) {
  int left = -1, top = -1, right = -1, bottom = -1;
  cv::Mat black = cv::Mat::zeros(30, 30, CV_8UC3);
  EXPECT_EQ(0, SterProject().DetermineBoundaries(black.data, 3, 30, left, top, right, bottom));
  EXPECT_EQ(cv::Vec4i(left, top, right, bottom), cv::Vec4i(0, 0, 29, 29));

  cv::Mat block = black.clone();
  block(cv::Rect(5, 8, 10, 12)) = cv::Scalar(0, 0, 200);  // one channel is enough
  EXPECT_EQ(0, SterProject().DetermineBoundaries(block.data, 3, 30, left, top, right, bottom));
  EXPECT_EQ(cv::Vec4i(left, top, right, bottom), cv::Vec4i(5, 8, 15, 20));

  cv::Mat two = cv::Mat::zeros(30, 30, CV_8UC1);
  two(cv::Rect(5, 8, 4, 4)) = 200;
  two(cv::Rect(15, 8, 4, 4)) = 200;
  EXPECT_EQ(1, SterProject().DetermineBoundaries(two.data, 1, 30, left, top, right, bottom));
  EXPECT_EQ(cv::Vec4i(left, top, right, bottom), cv::Vec4i(5, 8, 9, 12));
}

TEST(Crop, CopiesTheRectangle) {
  cv::Mat image = noise(20, 30, CV_8UC3, 2);
  cv::Mat out(5, 7, CV_8UC3);
  EXPECT_EQ(0, SterProject().Crop(image.data, 3, 30, 4, 10, 7, 5, out.data));
  EXPECT_TRUE(samePixels(out, image(cv::Rect(10, 4, 7, 5))));
}

TEST(RectProject, SamplesInsidePositionsAndCropsToTheFirstBand) {
  // Two bright columns on black: the crop ends where the first one ends.
  cv::Mat image = cv::Mat::zeros(101, 101, CV_8UC3);
  image(cv::Rect(30, 35, 12, 20)) = cv::Scalar(10, 100, 200);
  image(cv::Rect(60, 35, 12, 20)) = cv::Scalar::all(255);
  const cv::Mat source = image.clone();
  constexpr int kSize = 201;
  double yaw = 0.0;
  double pitch = 0.0;
  cv::Mat frame;
  cv::Mat region = asRegion(image, frame);
  // t = 1 / (x^2 + y^2 + 1) hardly bends the middle: f = 1 makes a column (x t + 1) * 50.5.
  EXPECT_EQ(
      0,
      SterProject().RectProject(1.5707963267948966, 0.0, 1.0, yaw, pitch, 0.0, kSize, 1.0, image));
  const std::vector<float> axis = plain::grid(-1.0F, 1.0F, kSize);
  cv::Mat expected = cv::Mat::zeros(kSize, kSize, CV_8UC3);
  for (int r = 0; r < kSize; ++r) {
    for (int c = 0; c < kSize; ++c) {
      const float x = axis[static_cast<std::size_t>(c)];
      const float y = axis[static_cast<std::size_t>(r)];
      const float t = 1.0F / (y * y + x * x + 1.0F);
      const float col = (t * x + 1.0F) * 101.0F * 0.5F;
      const float row = (t * y + 1.0F) * 101.0F * 0.5F;
      for (int channel = 0; channel < 3; ++channel) {
        expected.ptr(r)[3 * c + channel] =
            static_cast<unsigned char>(cvRound(sampleAt(source, col, row, channel)));
      }
    }
  }
  const plain::Bounds b =
      plain::lenientBounds(plain::averages(expected, 0), plain::averages(expected, 1));
  ASSERT_FALSE(b.unbroken);
  const std::vector<int> rows = plain::averages(expected, 1);  // unbroken, unlike the columns
  const plain::Bounds vertical = plain::lenientBounds(rows, rows);
  const cv::Rect crop(b.left, vertical.top, b.right - b.left, vertical.bottom - vertical.top);
  ASSERT_EQ(image.size(), crop.size());
  EXPECT_LE(cv::norm(image, expected(crop), cv::NORM_INF), 1.0);
  EXPECT_EQ(yaw, ((kSize * 0.5 - crop.x) * 2 - crop.width) / crop.width);
  EXPECT_EQ(pitch, ((kSize * 0.5 - crop.y) * 2 - crop.height) / crop.height);

  double regionYaw = 0.0;
  double regionPitch = 0.0;
  EXPECT_EQ(0,
            SterProject().RectProject(
                1.5707963267948966, 0.0, 1.0, regionYaw, regionPitch, 0.0, kSize, 1.0, region));
  EXPECT_TRUE(samePixels(region, image));
  EXPECT_EQ(regionYaw, yaw);
  EXPECT_EQ(regionPitch, pitch);
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
