// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Registration/CornerDetector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>
#include <tbb/global_control.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

using ::testing::ElementsAre;

struct Corner {
  float x;
  float y;
  float response;
  bool operator==(const Corner& other) const {
    return x == other.x && y == other.y && response == other.response;
  }
};

std::ostream& operator<<(std::ostream& stream, const Corner& corner) {
  return stream << '(' << corner.x << ", " << corner.y << "): " << corner.response;
}

struct Settings {
  float qualityLevel = 0.0001F;
  float minDistance = 5.0F;
  int capacity = 5000;
};

std::vector<Corner> detect(const cv::Mat& image, const Settings& settings) {
  std::vector<float> points(2 * static_cast<std::size_t>(settings.capacity));
  std::vector<float> responses(static_cast<std::size_t>(settings.capacity));
  int count = settings.capacity;
  EXPECT_EQ(findCorners(image.ptr<float>(),
                        image.rows,
                        image.cols,
                        settings.qualityLevel,
                        settings.minDistance,
                        points.data(),
                        responses.data(),
                        &count),
            0);
  std::vector<Corner> corners;
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    corners.push_back({points[2 * i], points[2 * i + 1], responses[i]});
  }
  return corners;
}

cv::Mat responseOf(const cv::Mat& image) {
  cv::Mat result(image.size(), CV_32FC1);
  const Platform::IppiSize size{image.cols, image.rows};
  int bytes = 0;
  EXPECT_EQ(Platform::ippiMinEigenValGetBufferSize_32f_C1R(size, 5, 5, &bytes), 0);
  std::vector<unsigned char> buffer(static_cast<std::size_t>(bytes));
  const int step = image.cols * 4;
  EXPECT_EQ(Platform::ippiMinEigenVal_32f_C1R(
                image.ptr<float>(), step, result.ptr<float>(), step, size, 0, 5, 5, buffer.data()),
            0);
  return result;
}

cv::Mat maximaOf(const cv::Mat& image) {
  cv::Mat result(image.size(), CV_8UC1, cv::Scalar(1));
  EXPECT_EQ(findRegionalMaxima(image.data, image.rows, image.cols, result.data), 0);
  return result;
}

/// The definition: plateaus that grow, as far as they reach, into no greater value.
cv::Mat maximaPlainly(const cv::Mat& image) {
  cv::Mat reached;
  cv::Mat before;
  cv::subtract(image, 1, reached);
  do {
    before = reached.clone();
    cv::dilate(before, reached, cv::Mat());
    reached = cv::min(reached, image);
  } while (cv::norm(before, reached, cv::NORM_INF) != 0.0);
  return image > reached;
}

/// Every step on the whole image, suppression over every pair.
std::vector<Corner> detectPlainly(const cv::Mat& image, const Settings& settings) {
  cv::Mat response = responseOf(image);
  float strongest = 0.0F;
  EXPECT_EQ(Platform::ippsMax_32f(response.ptr<float>(), image.rows * image.cols, &strongest), 0);
  cv::Mat quantised(image.size(), CV_8UC1);
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      float& value = response.at<float>(y, x);
      value = (value < strongest * settings.qualityLevel ? 0.0F : value) * (255.0F / strongest);
      quantised.at<unsigned char>(y, x) =
          std::isnan(value)  // of an image without corners
              ? 0
              : static_cast<unsigned char>(std::clamp(std::nearbyint(value), 0.0F, 255.0F));
      value *= strongest / 255.0F;
    }
  }
  const cv::Mat maxima = maximaPlainly(quantised);
  std::vector<Corner> candidates;
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      if (maxima.at<unsigned char>(y, x) != 0) {
        candidates.push_back(
            {static_cast<float>(x), static_cast<float>(y), response.at<float>(y, x)});
      }
    }
  }
  std::stable_sort(candidates.begin(), candidates.end(), [](const Corner& a, const Corner& b) {
    return a.response > b.response;
  });
  std::vector<Corner> corners;
  for (const Corner& candidate : candidates) {
    const bool isFree = std::none_of(corners.begin(), corners.end(), [&](const Corner& corner) {
      const float dx = corner.x - candidate.x;
      const float dy = corner.y - candidate.y;
      return std::sqrt(dx * dx + dy * dy) < settings.minDistance;
    });
    if (isFree && corners.size() < static_cast<std::size_t>(settings.capacity)) {
      corners.push_back(candidate);
    }
  }
  return corners;
}

/// Noise of few levels, enlarged in places, so that plateaus and equal responses occur.
cv::Mat texture(int rows, int cols, unsigned seed) {
  cv::RNG random(seed);
  const int grain = random.uniform(1, 5);
  cv::Mat coarse(rows / grain + 1, cols / grain + 1, CV_8UC1);
  random.fill(coarse, cv::RNG::UNIFORM, 0, random.uniform(2, 257));
  cv::Mat image;
  cv::resize(coarse, image, {cols, rows}, 0.0, 0.0, cv::INTER_NEAREST);
  image.convertTo(image, CV_32F);
  return image;
}

/// Equal bright dots on black, each a single maximum of the response.
cv::Mat dots(const std::vector<cv::Point>& places, int side = 60) {
  cv::Mat image(side, side, CV_32FC1, cv::Scalar(0));
  for (const cv::Point& place : places) {
    image.at<float>(place) = 100.0F;
  }
  return image;
}

std::vector<cv::Point> pointsOf(const std::vector<Corner>& corners) {
  std::vector<cv::Point> points;
  for (const Corner& corner : corners) {
    points.emplace_back(static_cast<int>(corner.x), static_cast<int>(corner.y));
  }
  return points;
}

TEST(CornerDetector, AgreesWithThePlainDetectorForAllSettings) {
  const float infinity = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::vector<Settings> cases{{},
                                    {0.0F, 0.0F, 5000},
                                    {0.1F, -3.0F, 5000},
                                    {0.01F, 1.0F, 5000},
                                    {0.0001F, 1.25F, 5000},
                                    {0.0001F, 2.0F, 40},
                                    {0.0001F, 7.8F, 7},
                                    {0.3F, 30.0F, 5000},
                                    {0.0F, 1e9F, 5000},
                                    {0.0F, infinity, 5000},
                                    {-1.0F, nan, 5000},
                                    {nan, 3.0F, 5000},
                                    {1.5F, 3.0F, 5000}};
  for (unsigned seed = 1; seed <= 60; ++seed) {
    cv::RNG random(seed);
    const cv::Mat image = texture(random.uniform(1, 90), random.uniform(1, 70), seed);
    for (const Settings& settings : cases) {
      SCOPED_TRACE(::testing::Message() << "seed " << seed << ", quality " << settings.qualityLevel
                                        << ", distance " << settings.minDistance);
      ASSERT_EQ(detect(image, settings), detectPlainly(image, settings));
    }
  }
}

TEST(CornerDetector, FindsTheCornersOfASquare) {
  cv::Mat image(60, 60, CV_32FC1, cv::Scalar(20));
  image(cv::Rect(20, 20, 20, 20)) = 220.0F;
  const std::vector<cv::Point> found = pointsOf(detect(image, {0.5F, 5.0F, 5000}));
  ASSERT_EQ(found.size(), 4U);
  for (const cv::Point& corner : {cv::Point(20, 20), {39, 20}, {20, 39}, {39, 39}}) {
    EXPECT_TRUE(std::any_of(found.begin(), found.end(), [&](const cv::Point& point) {
      return cv::norm(point - corner) < 2.0;
    })) << corner;
  }
}

TEST(CornerDetector, ReportsEqualResponsesInScanOrder) {
  std::vector<cv::Point> places;
  for (int y = 10; y < 70; y += 10) {
    for (int x = 10; x < 70; x += 10) {
      places.emplace_back(x, y);
    }
  }
  const std::vector<Corner> corners = detect(dots(places, 80), {});
  EXPECT_EQ(pointsOf(corners), places);
  EXPECT_EQ(corners.front().response, corners.back().response);
}

TEST(CornerDetector, KeepsACornerExactlyAtTheMinimumDistance) {
  const cv::Mat image = dots({{20, 20}, {29, 32}});  // 15 apart
  EXPECT_EQ(detect(image, {0.5F, 15.0F, 5000}).size(), 2U);
  EXPECT_EQ(detect(image, {0.5F, std::nextafter(15.0F, 16.0F), 5000}).size(), 1U);
}

TEST(CornerDetector, ASuppressedCornerSuppressesNoOther) {
  cv::Mat image = dots({{15, 20}, {27, 20}, {39, 20}});
  image.at<float>(20, 15) = 200.0F;
  image.at<float>(20, 27) = 150.0F;
  EXPECT_THAT(pointsOf(detect(image, {0.01F, 13.0F, 5000})),
              ElementsAre(cv::Point(15, 20), cv::Point(39, 20)));
}

TEST(CornerDetector, StopsAtItsCapacityWithTheStrongest) {
  const cv::Mat image = texture(80, 80, 5);
  const std::vector<Corner> all = detect(image, {});
  ASSERT_GT(all.size(), 20U);
  for (const int capacity : {1, 7, static_cast<int>(all.size())}) {
    const std::vector<Corner> strongest(all.begin(), all.begin() + capacity);
    EXPECT_EQ(detect(image, {0.0001F, 5.0F, capacity}), strongest);
  }
}

TEST(CornerDetector, KeepsAResponseExactlyAtTheQualityThreshold) {
  cv::Mat image = dots({{20, 20}, {40, 40}});
  image.at<float>(40, 40) = 50.0F;
  const cv::Mat response = responseOf(image);
  const float strongest = response.at<float>(20, 20);
  const float weaker = response.at<float>(40, 40);
  ASSERT_LT(weaker, strongest);
  // The largest level whose product with the strongest response does not exceed the weaker one.
  float level = weaker / strongest;
  while (strongest * level > weaker) {
    level = std::nextafter(level, 0.0F);
  }
  ASSERT_EQ(strongest * level, weaker);
  EXPECT_EQ(detect(image, {level, 5.0F, 5000}).size(), 2U);
  while (strongest * level == weaker) {
    level = std::nextafter(level, 1.0F);
  }
  EXPECT_EQ(detect(image, {level, 5.0F, 5000}).size(), 1U);
}

TEST(CornerDetector, ImagesWithoutGradientHaveNoCorners) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  for (const float level : {0.0F, 128.0F, 1e-30F, nan, infinity}) {
    EXPECT_TRUE(detect(cv::Mat(20, 30, CV_32FC1, cv::Scalar(level)), {}).empty()) << level;
  }
  EXPECT_TRUE(detect(cv::Mat(1, 1, CV_32FC1, cv::Scalar(3)), {}).empty());
  // Too faint to be scaled to 8 bits.
  EXPECT_TRUE(detect(texture(20, 30, 1) * 1e-21, {}).empty());
}

TEST(CornerDetector, LeavesTheOutputsAloneOnFailure) {
  const cv::Mat image = dots({{20, 20}});
  float points[2] = {-5.0F, -6.0F};
  float response = -7.0F;
  int count = 1;
  const auto run = [&](const float* pixels, int rows, int cols, float* where) {
    return findCorners(pixels, rows, cols, 0.0001F, 5.0F, where, &response, &count);
  };
  EXPECT_EQ(run(nullptr, 60, 60, points), -1);
  EXPECT_EQ(run(image.ptr<float>(), 60, 60, nullptr), -1);
  EXPECT_EQ(run(image.ptr<float>(), 0, 60, points), -1);
  EXPECT_EQ(run(image.ptr<float>(), 60, -1, points), -1);
  EXPECT_EQ(run(image.ptr<float>(), 46341, 46341, points), -1);  // no such matrix to be had
  EXPECT_EQ(run(image.ptr<float>(), 1, std::numeric_limits<int>::max(), points), -1);
  EXPECT_THAT(points, ElementsAre(-5.0F, -6.0F));
  EXPECT_EQ(response, -7.0F);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(findCorners(image.ptr<float>(), 60, 60, 0.1F, 5.0F, points, &response, nullptr), -1);
  EXPECT_EQ(findRegionalMaxima(nullptr, 3, 3, nullptr), -1);
}

TEST(CornerDetector, SameCornersForAnyNumberOfThreads) {
  const cv::Mat image = texture(400, 300, 9);
  const std::vector<Corner> expected = detect(image, {});
  for (const std::size_t threads : {1, 2, 8}) {
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    EXPECT_EQ(detect(image, {}), expected) << threads << " threads";
  }
}

TEST(RegionalMaxima, AgreeWithTheDefinitionAndTurnWithTheImage) {
  cv::RNG random(3);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    const int rows = round % 10 == 0 ? 1 : random.uniform(1, 40);
    const int cols = round % 10 == 1 ? 1 : random.uniform(1, 40);
    cv::Mat image(rows, cols, CV_8UC1);
    random.fill(image, cv::RNG::UNIFORM, 0, random.uniform(2, 6));
    const cv::Mat maxima = maximaOf(image);
    ASSERT_EQ(cv::countNonZero(maxima != maximaPlainly(image)), 0);
    cv::Mat turned;
    cv::Mat turnedMaxima;
    cv::rotate(image, turned, round % 3);
    cv::rotate(maxima, turnedMaxima, round % 3);
    ASSERT_EQ(cv::countNonZero(maximaOf(turned) != turnedMaxima), 0);
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
