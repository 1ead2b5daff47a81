// SPDX-License-Identifier: MIT
#include "Registration/SurfFeaturesFinder.h"
#include "SurfTestImages.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>
#include <opencv2/imgcodecs.hpp>
#include <tbb/global_control.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

struct Found {
  std::vector<cv::KeyPoint> keypoints;
  cv::Mat descriptors;
};

Found find(const cv::Mat& image, const SurfFeaturesFinder& finder = SurfFeaturesFinder()) {
  Found found;
  finder.find(image, found.keypoints, found.descriptors);
  return found;
}

/// Index of the keypoint of `found` nearest to a place, of a size within 10 %.
int nearestKeypoint(const Found& found, cv::Point2f place, float size) {
  int best = -1;
  double bestDistance = 1.0;
  for (int k = 0; k < found.descriptors.rows; ++k) {
    const cv::KeyPoint& keypoint = found.keypoints[static_cast<std::size_t>(k)];
    const double distance = cv::norm(keypoint.pt - place);
    if (distance < bestDistance && std::abs(keypoint.size - size) <= 0.1F * size) {
      best = k;
      bestDistance = distance;
    }
  }
  return best;
}

double turnDeg(float from, float to) {
  return std::remainder(static_cast<double>(to) - static_cast<double>(from), 360.0);
}

TEST(SurfFeaturesFinder, QuarterTurnMovesKeypointsAndKeepsDescriptors) {
  const cv::Mat image = SurfTestImages::blobs(240, 320, 11);  // multiples of the coarsest step
  cv::Mat turned;
  cv::rotate(image, turned, cv::ROTATE_90_CLOCKWISE);
  const Found before = find(image);
  const Found after = find(turned);
  ASSERT_GT(before.keypoints.size(), 100U);
  EXPECT_EQ(before.keypoints.size(), after.keypoints.size());
  std::size_t close = 0;
  for (std::size_t k = 0; k < before.keypoints.size(); ++k) {
    const cv::KeyPoint& keypoint = before.keypoints[k];
    const cv::Point2f place(static_cast<float>(image.rows - 1) - keypoint.pt.y, keypoint.pt.x);
    const int match = nearestKeypoint(after, place, keypoint.size);
    ASSERT_GE(match, 0) << "keypoint " << k;
    const cv::KeyPoint& moved = after.keypoints[static_cast<std::size_t>(match)];
    EXPECT_LT(cv::norm(moved.pt - place), 0.01);
    EXPECT_EQ(moved.class_id, keypoint.class_id);
    const double distance =
        cv::norm(before.descriptors.row(static_cast<int>(k)), after.descriptors.row(match));
    if (distance < 0.1 && std::abs(turnDeg(keypoint.angle, moved.angle) - 90.0) < 3.0) {
      ++close;
    }
  }
  EXPECT_GE(10 * close, 9 * before.keypoints.size());
}

TEST(SurfFeaturesFinder, BrightnessShiftLeavesAllUnchanged) {
  cv::Mat image;
  SurfTestImages::blobs(240, 320, 12).convertTo(image, CV_8U, 0.7, 10.0);
  const Found before = find(image);
  const Found after = find(image + cv::Scalar(50));
  ASSERT_GT(before.keypoints.size(), 100U);
  ASSERT_EQ(before.keypoints.size(), after.keypoints.size());
  for (std::size_t k = 0; k < before.keypoints.size(); ++k) {
    EXPECT_LT(cv::norm(before.keypoints[k].pt - after.keypoints[k].pt), 0.01);
    EXPECT_EQ(before.keypoints[k].size, after.keypoints[k].size);
    EXPECT_NEAR(turnDeg(before.keypoints[k].angle, after.keypoints[k].angle), 0.0, 0.1);
  }
  EXPECT_LT(cv::norm(before.descriptors, after.descriptors, cv::NORM_INF), 0.02);
}

/// The direction of the longest sum of wavelet responses, sample by sample over the disc and sector
/// by sector.
double plainAngle(const cv::Mat& image, const cv::KeyPoint& keypoint) {
  const float scale = keypoint.size * 1.2F / 9.0F;
  const int half = cvRound(2 * scale);
  struct Response {
    double x, y;
    int angleDeg;
  };
  std::vector<Response> responses;
  for (int a = -6; a <= 6; ++a) {
    for (int b = -6; b <= 6; ++b) {
      const float offset = static_cast<float>(2 * half - 1) / 2;
      const cv::Rect square(cvRound(keypoint.pt.x + static_cast<float>(a) * scale - offset),
                            cvRound(keypoint.pt.y + static_cast<float>(b) * scale - offset),
                            2 * half,
                            2 * half);
      if (a * a + b * b > 36 || (square & cv::Rect({}, image.size())) != square) {
        continue;
      }
      const cv::Mat pixels = image(square);
      const double weight = std::exp(-(a * a + b * b) / (2 * 2.5 * 2.5));
      const double x = weight * (cv::mean(pixels.colRange(half, 2 * half))[0] -
                                 cv::mean(pixels.colRange(0, half))[0]);
      const double y = weight * (cv::mean(pixels.rowRange(0, half))[0] -
                                 cv::mean(pixels.rowRange(half, 2 * half))[0]);
      responses.push_back(
          {x, y, cvRound(cv::fastAtan2(static_cast<float>(y), static_cast<float>(x)))});
    }
  }
  cv::Point2d longest;
  for (int centreDeg = 0; centreDeg < 360; centreDeg += 5) {
    cv::Point2d sum;
    for (const Response& response : responses) {
      const int apart = std::abs(response.angleDeg - centreDeg);
      if (apart < 30 || apart > 330) {
        sum += cv::Point2d(response.x, response.y);
      }
    }
    if (sum.dot(sum) > 1.000001 * longest.dot(longest)) {
      longest = sum;
    }
  }
  return static_cast<double>(
      cv::fastAtan2(static_cast<float>(-longest.y), static_cast<float>(longest.x)));
}

TEST(SurfFeaturesFinder, AnglesAreThoseOfAPlainLoopOverTheDisc) {
  const cv::Mat image = SurfTestImages::blobs(140, 170, 19);
  const Found found = find(image, SurfFeaturesFinder(100.0));
  ASSERT_GT(found.keypoints.size(), 150U);
  for (const cv::KeyPoint& keypoint : found.keypoints) {
    EXPECT_NEAR(
        std::remainder(static_cast<double>(keypoint.angle) - plainAngle(image, keypoint), 360.0),
        0.0,
        0.01)
        << keypoint.pt << keypoint.size;
  }
}

TEST(SurfFeaturesFinder, FillsTheRecordWithDescriptorsOfUnitLength) {
  cv::Mat colour;
  const cv::Mat grey = SurfTestImages::blobs(200, 220, 13);
  cv::merge(std::vector<cv::Mat>{grey, grey, grey}, colour);
  cv::detail::ImageFeatures features;
  features.img_idx = 42;
  SurfFeaturesFinder()(colour, features);
  EXPECT_EQ(features.img_idx, 42);
  EXPECT_EQ(features.img_size, cv::Size(220, 200));
  const Found found = find(grey);
  ASSERT_EQ(features.keypoints.size(), found.keypoints.size());
  EXPECT_EQ(cv::norm(features.descriptors, found.descriptors, cv::NORM_INF), 0.0);
  ASSERT_EQ(found.descriptors.type(), CV_32FC1);
  ASSERT_EQ(found.descriptors.cols, 64);
  ASSERT_EQ(found.descriptors.rows, static_cast<int>(found.keypoints.size()));
  for (int k = 0; k < found.descriptors.rows; ++k) {
    ASSERT_NEAR(cv::norm(found.descriptors.row(k)), 1.0, 1e-5);
  }
}

/// Share of mutual nearest neighbours whose places agree with `secondFromFirst` within 3 pixels.
double rightShare(const Found& first, const Found& second, const cv::Matx23d& secondFromFirst) {
  const auto nearest = [](const cv::Mat& from, const cv::Mat& to) {
    const cv::Mat products = from * to.t();  // of unit vectors: greatest where nearest
    std::vector<int> indices;
    for (int i = 0; i < products.rows; ++i) {
      const auto* const row = products.ptr<float>(i);
      indices.push_back(static_cast<int>(std::max_element(row, row + products.cols) - row));
    }
    return indices;
  };
  const std::vector<int> forward = nearest(first.descriptors, second.descriptors);
  const std::vector<int> backward = nearest(second.descriptors, first.descriptors);
  int mutual = 0;
  int right = 0;
  for (std::size_t i = 0; i < forward.size(); ++i) {
    const auto match = static_cast<std::size_t>(forward[i]);
    if (backward[match] != static_cast<int>(i)) {
      continue;
    }
    ++mutual;
    const cv::Point2f from = first.keypoints[i].pt;
    const cv::Vec2d place = secondFromFirst * cv::Vec3d(from.x, from.y, 1.0);
    const cv::Point2f to = second.keypoints[match].pt;
    right += std::hypot(place[0] - to.x, place[1] - to.y) < 3.0 ? 1 : 0;
  }
  return mutual == 0 ? 0.0 : static_cast<double>(right) / mutual;
}

TEST(SurfFeaturesFinder, MatchesAPhotographTurnedAndEnlarged) {
  const cv::Mat photograph =
      cv::imread(std::string(MONTAGE_TEST_DATA) + "/scenes/life_by_Aitzol_Berasategi.jpg",
                 cv::IMREAD_GRAYSCALE);
  if (photograph.empty()) {
    GTEST_SKIP() << "no photograph in " << MONTAGE_TEST_DATA;
  }
  cv::Mat image;
  cv::resize(photograph, image, cv::Size(774, 516), 0, 0, cv::INTER_AREA);
  const cv::Point2f centre(static_cast<float>(image.cols) / 2, static_cast<float>(image.rows) / 2);
  const cv::Matx23d turn = cv::getRotationMatrix2D(centre, 30.0, 1.2);
  cv::Mat turned;
  cv::warpAffine(image, turned, turn, image.size(), cv::INTER_CUBIC, cv::BORDER_REFLECT);
  // Strong blobs only: the box filters of weak ones look different after 30 degrees. And only what
  // both pictures show: a circle that stays inside.
  const SurfFeaturesFinder finder(3000.0);
  const auto inner = [&](const cv::Mat& picture, double radius) {
    const Found found = find(picture, finder);
    Found kept;
    for (int k = 0; k < found.descriptors.rows; ++k) {
      const cv::KeyPoint& keypoint = found.keypoints[static_cast<std::size_t>(k)];
      if (cv::norm(keypoint.pt - centre) < radius) {
        kept.keypoints.push_back(keypoint);
        kept.descriptors.push_back(found.descriptors.row(k));
      }
    }
    return kept;
  };
  const double radius = image.rows * 0.45;
  const Found first = inner(image, radius / 1.2);
  const Found second = inner(turned, radius);
  ASSERT_GT(first.keypoints.size(), 300U);
  EXPECT_GE(rightShare(first, second, turn), 0.8);
}

TEST(SurfFeaturesFinder, SameBytesForAnyNumberOfThreads) {
  const cv::Mat image = SurfTestImages::blobs(400, 500, 14);
  const auto withThreads = [&](std::size_t count) {
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, count);
    return find(image);
  };
  const Found one = withThreads(1);
  const Found many = withThreads(7);
  ASSERT_GT(one.keypoints.size(), 500U);
  ASSERT_EQ(one.keypoints.size(), many.keypoints.size());
  for (std::size_t k = 0; k < one.keypoints.size(); ++k) {
    ASSERT_EQ(one.keypoints[k].pt, many.keypoints[k].pt);
    ASSERT_EQ(one.keypoints[k].angle, many.keypoints[k].angle);
    ASSERT_EQ(one.keypoints[k].size, many.keypoints[k].size);
  }
  EXPECT_EQ(cv::norm(one.descriptors, many.descriptors, cv::NORM_INF), 0.0);
}

TEST(SurfFeaturesFinder, SameBytesOnEveryInstructionSet) {
  const cv::Mat image = SurfTestImages::blobs(203, 251, 18);
  const Found best = find(image);
  ASSERT_GT(best.keypoints.size(), 100U);
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    SCOPED_TRACE(hwy::TargetName(target));
    hwy::GetChosenTarget().Update(target);
    const Found found = find(image);
    hwy::GetChosenTarget().DeInit();  // back to the best one
    ASSERT_EQ(found.keypoints.size(), best.keypoints.size());
    for (std::size_t k = 0; k < best.keypoints.size(); ++k) {
      ASSERT_EQ(found.keypoints[k].pt, best.keypoints[k].pt);
      ASSERT_EQ(found.keypoints[k].response, best.keypoints[k].response);
    }
    EXPECT_EQ(cv::norm(found.descriptors, best.descriptors, cv::NORM_INF), 0.0);
  }
}

TEST(SurfFeaturesFinder, DescriptionSettingsDoNotChangeTheResult) {
  const cv::Mat image = SurfTestImages::blobs(150, 150, 15);
  const Found same = find(image);
  const Found other = find(image, SurfFeaturesFinder(300.0, 3, 4, 1, 2));
  ASSERT_EQ(same.keypoints.size(), other.keypoints.size());
  EXPECT_EQ(cv::norm(same.descriptors, other.descriptors, cv::NORM_INF), 0.0);
}

TEST(SurfFeaturesFinder, RejectsWhatItCannotSearch) {
  const cv::Mat image = SurfTestImages::blobs(100, 100, 16);
  const cv::Mat flat(100, 100, CV_8U, cv::Scalar(7));
  EXPECT_THROW(find(image, SurfFeaturesFinder(-1.0)), cv::Exception);
  EXPECT_THROW(find(image, SurfFeaturesFinder(300.0, 0, 4, 0, 4)), cv::Exception);
  EXPECT_THROW(find(image, SurfFeaturesFinder(300.0, 3, 0, 3, 4)), cv::Exception);
  EXPECT_THROW(find(image, SurfFeaturesFinder(300.0, 3, 4, 3, 0)), cv::Exception);
  EXPECT_TRUE(find(flat, SurfFeaturesFinder(300.0, 3, 4, 3, 0)).keypoints.empty());
  EXPECT_THROW(find(cv::Mat(100, 100, CV_32F, cv::Scalar(0))), cv::Exception);
  EXPECT_THROW(find(cv::Mat(100, 100, CV_8UC4, cv::Scalar(0))), cv::Exception);
  EXPECT_THROW(find(cv::Mat()), cv::Exception);
  EXPECT_TRUE(find(cv::Mat(), SurfFeaturesFinder(300.0, 3, 4, 3, 5)).descriptors.empty());
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
