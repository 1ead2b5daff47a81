// SPDX-License-Identifier: MIT
#define HWY_WANT_AVX3_DL  // as ScanPanels.cpp has it

#include "Registration/ExactMatcher.h"
#include "Registration/NearestTwo.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>
#include <tbb/global_control.h>

#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

using cv::detail::ImageFeatures;
using cv::detail::MatchesInfo;

constexpr float kMatchConf = 0.3F;
constexpr int kFewest = 6;

/// Whole numbers; every seventh descriptor repeats an earlier one, for ties.
cv::Mat wholeDescriptors(int count, int length, cv::RNG& random) {
  cv::Mat descriptors(count, length, CV_32F);
  for (int i = 0; i < count; ++i) {
    for (int k = 0; k < length; ++k) {
      descriptors.at<float>(i, k) = static_cast<float>(random.uniform(0, 256));
    }
    if (i % 7 == 6) {
      descriptors.row(random.uniform(0, i)).copyTo(descriptors.row(i));
    }
  }
  return descriptors;
}

cv::Mat realDescriptors(int count, int length, cv::RNG& random) {
  cv::Mat descriptors(count, length, CV_32F);
  random.fill(descriptors, cv::RNG::NORMAL, 0, 0.1);
  if (count > 3) {
    descriptors.row(1).copyTo(descriptors.row(3));
  }
  return descriptors;
}

/// Euclidean of numbers, Hamming of bytes.
float plainDistance(const cv::Mat& a, const cv::Mat& b) {
  if (a.type() == CV_8UC1) {
    return static_cast<float>(cv::norm(a, b, cv::NORM_HAMMING));
  }
  float squared = 0;
  for (int k = 0; k < a.cols; ++k) {
    const float difference = a.at<float>(k) - b.at<float>(k);
    squared += difference * difference;
  }
  return std::sqrt(squared);
}

std::vector<NearestTwo> plainNearestTwo(const cv::Mat& queries, const cv::Mat& others) {
  std::vector<NearestTwo> found(static_cast<std::size_t>(queries.rows));
  for (int i = 0; i < queries.rows; ++i) {
    auto& best = found[static_cast<std::size_t>(i)];
    for (int j = 0; j < others.rows; ++j) {
      const float distance = plainDistance(queries.row(i), others.row(j));
      if (distance < best.nearest) {
        best = {j, distance, best.nearest};
      } else {
        best.second = std::min(best.second, distance);
      }
    }
  }
  return found;
}

void expectSame(const std::vector<NearestTwo>& actual, const std::vector<NearestTwo>& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    ASSERT_EQ(actual[i].index, expected[i].index) << "descriptor " << i;
    ASSERT_EQ(actual[i].nearest, expected[i].nearest) << "descriptor " << i;
    ASSERT_EQ(actual[i].second, expected[i].second) << "descriptor " << i;
  }
}

void expectFindsAll(const cv::Mat& first, const cv::Mat& second, DescriptorKind kind) {
  const auto found = findNearestTwo(packDescriptors(first, kind), packDescriptors(second, kind));
  expectSame(found.ofFirst, plainNearestTwo(first, second));
  expectSame(found.ofSecond, plainNearestTwo(second, first));
}

/// Runs a check once with each instruction set of this machine.
template <class Check>
void onEveryTarget(const Check& check) {
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    SCOPED_TRACE(hwy::TargetName(target));
    hwy::GetChosenTarget().Update(target);
    check();
  }
  hwy::GetChosenTarget().DeInit();  // back to the best one
}

TEST(NearestTwo, EqualsThePlainSearchOnEveryInstructionSet) {
  cv::RNG random(1);
  const cv::Size counts[] = {{1, 1}, {1, 40}, {2, 3}, {31, 32}, {33, 65}, {257, 5}, {300, 271}};
  onEveryTarget([&] {
    for (const auto& count : counts) {
      for (const int length : {128, 64, 7}) {
        SCOPED_TRACE(testing::Message() << count << " descriptors of length " << length);
        const cv::Mat first = wholeDescriptors(count.width, length, random);
        const cv::Mat second = wholeDescriptors(count.height, length, random);
        ASSERT_EQ(descriptorKind(first), DescriptorKind::kWhole);
        expectFindsAll(first, second, DescriptorKind::kWhole);
        expectFindsAll(first, second, DescriptorKind::kReal);
        expectFindsAll(realDescriptors(count.width, length, random),
                       realDescriptors(count.height, length, random),
                       DescriptorKind::kReal);
        cv::Mat firstBytes, secondBytes;
        first.convertTo(firstBytes, CV_8U);
        second.convertTo(secondBytes, CV_8U);
        ASSERT_EQ(descriptorKind(firstBytes), DescriptorKind::kBits);
        expectFindsAll(firstBytes, secondBytes, DescriptorKind::kBits);
      }
    }
  });
}

TEST(NearestTwo, HoldsTheLargestDistancesOfWholeNumbers) {
  cv::Mat first(40, 128, CV_32F, cv::Scalar(255));
  cv::Mat second(35, 128, CV_32F, cv::Scalar(0));
  second.at<float>(34, 127) = 1;
  onEveryTarget([&] { expectFindsAll(first, second, DescriptorKind::kWhole); });
}

TEST(NearestTwo, TakesAsWholeOnlyWhatStaysExact) {
  EXPECT_EQ(descriptorKind(cv::Mat(2, 129, CV_32F, cv::Scalar(255))), DescriptorKind::kWhole);
  EXPECT_EQ(descriptorKind(cv::Mat(2, 130, CV_32F, cv::Scalar(255))), DescriptorKind::kReal);
  for (const double odd : {-1.0, 0.5, 256.0, 1e20, std::nan("")}) {
    cv::Mat descriptors(3, 128, CV_32F, cv::Scalar(7));
    descriptors.at<float>(2, 127) = static_cast<float>(odd);
    EXPECT_EQ(descriptorKind(descriptors), DescriptorKind::kReal) << odd;
  }
}

/// Views of one scene: shared descriptors with noise, keypoints shifted from view to view.
std::vector<ImageFeatures> views(int images, int count, std::uint64_t seed) {
  cv::RNG random(seed);
  const cv::Mat scene = wholeDescriptors(count, 128, random);
  std::vector<cv::Point2f> places(static_cast<std::size_t>(count));
  for (auto& place : places) {
    place = {random.uniform(100.F, 500.F), random.uniform(50.F, 350.F)};
  }
  std::vector<ImageFeatures> features(static_cast<std::size_t>(images));
  for (int image = 0; image < images; ++image) {
    auto& view = features[static_cast<std::size_t>(image)];
    view.img_size = {600, 400};
    cv::Mat noise(scene.size(), CV_32F);
    random.fill(noise, cv::RNG::UNIFORM, -90, 90);
    cv::Mat whole;
    cv::Mat(scene + noise).convertTo(whole, CV_8U);
    whole.convertTo(view.descriptors, CV_32F);
    for (const auto& place : places) {
      view.keypoints.emplace_back(place + cv::Point2f(static_cast<float>(image) * 20, 3), 7.F);
    }
  }
  return features;
}

void expectSame(const MatchesInfo& actual, const MatchesInfo& expected) {
  ASSERT_EQ(actual.matches.size(), expected.matches.size());
  for (std::size_t i = 0; i < actual.matches.size(); ++i) {
    const auto& a = actual.matches[i];
    const auto& b = expected.matches[i];
    ASSERT_EQ(a.queryIdx, b.queryIdx) << "match " << i;
    ASSERT_EQ(a.trainIdx, b.trainIdx) << "match " << i;
    ASSERT_EQ(a.imgIdx, b.imgIdx) << "match " << i;
    ASSERT_EQ(a.distance, b.distance) << "match " << i;
  }
  EXPECT_EQ(actual.src_img_idx, expected.src_img_idx);
  EXPECT_EQ(actual.dst_img_idx, expected.dst_img_idx);
  EXPECT_EQ(actual.inliers_mask, expected.inliers_mask);
  EXPECT_EQ(actual.num_inliers, expected.num_inliers);
  EXPECT_EQ(actual.confidence, expected.confidence);
  ASSERT_EQ(actual.H.size(), expected.H.size());
  EXPECT_TRUE(actual.H.empty() || cv::norm(actual.H, expected.H, cv::NORM_INF) == 0);
}

/// With no more descriptors than it checks, OpenCV's approximate search is exact as well.
TEST(ExactMatcher, GivesWhatOpenCvGivesWhereItsSearchIsExact) {
  constexpr int kCount = 30;
  constexpr int kImages = 3;
  std::size_t matches = 0;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    const auto features = views(kImages, kCount, seed);
    std::vector<MatchesInfo> exact;
    std::vector<MatchesInfo> rival;
    ExactMatcher(kMatchConf, kFewest, kFewest)(features, exact);
    cv::detail::BestOf2NearestMatcher(false, kMatchConf, kFewest, kFewest)(features, rival);
    ASSERT_EQ(exact.size(), rival.size());
    for (std::size_t i = 0; i < exact.size(); ++i) {
      expectSame(exact[i], rival[i]);
      matches += exact[i].matches.size();
    }
  }
  EXPECT_GT(matches, 20 * kCount);  // not equal for want of matches
}

ImageFeatures featuresOf(const cv::Mat& descriptors) {
  ImageFeatures features;
  features.img_size = {100, 100};
  features.keypoints.resize(static_cast<std::size_t>(descriptors.rows));
  descriptors.copyTo(features.descriptors);
  return features;
}

TEST(ExactMatcher, AddsMatchesFoundBackwardsAfterThoseFoundForwards) {
  // On a line: 0 and 100 find their partners both ways; 40 finds two equally near, but is by far
  // the nearest of 45.
  const auto first = featuresOf((cv::Mat_<float>(3, 1) << 0, 100, 40));
  const auto second = featuresOf((cv::Mat_<float>(4, 1) << 35, 45, 101, 1));
  MatchesInfo info;
  ExactMatcher matcher(kMatchConf, kFewest, kFewest);
  matcher(first, second, info);
  std::vector<std::array<int, 2>> pairs;
  for (const auto& match : info.matches) {
    pairs.push_back({match.queryIdx, match.trainIdx});
  }
  const std::vector<std::array<int, 2>> expected = {{0, 3}, {1, 2}, {2, 0}, {2, 1}};
  EXPECT_EQ(pairs, expected);
}

/// Matches found in one direction, from {0} to the others; the other way there is no second.
std::size_t matchesFromZero(const cv::Mat& others, float matchConf) {
  MatchesInfo info;
  ExactMatcher matcher(matchConf, kFewest, kFewest);
  matcher(featuresOf(cv::Mat::zeros(1, 1, others.type())), featuresOf(others), info);
  return info.matches.size();
}

TEST(ExactMatcher, ComparesDistancesThatAreNotEqual) {
  EXPECT_EQ(matchesFromZero((cv::Mat_<float>(2, 1) << 10, 5), 0.5F), 0U);
  EXPECT_EQ(matchesFromZero((cv::Mat_<float>(2, 1) << 10, 4.9F), 0.5F), 1U);
  EXPECT_EQ(matchesFromZero((cv::Mat_<float>(2, 1) << 0, 0), 0.5F), 0U);
  // Of bits the number of differing ones counts, not its root: 3 < 0.7 * 5, and 4 is not.
  EXPECT_EQ(matchesFromZero((cv::Mat_<uchar>(2, 1) << 0b10011011, 0b00100110), kMatchConf), 1U);
  EXPECT_EQ(matchesFromZero((cv::Mat_<uchar>(2, 1) << 0b10011011, 0b01100110), kMatchConf), 0U);
}

TEST(ExactMatcher, NeedsASecondNeighbourForARatio) {
  cv::RNG random(5);
  const auto none = featuresOf(cv::Mat());
  const auto one = featuresOf(wholeDescriptors(1, 128, random));
  const auto many = featuresOf(wholeDescriptors(5, 128, random));
  const auto count = [](const ImageFeatures& a, const ImageFeatures& b) {
    MatchesInfo info;
    ExactMatcher matcher(kMatchConf, kFewest, kFewest);
    matcher(a, b, info);
    return info.matches.size();
  };
  EXPECT_EQ(count(none, none), 0U);
  EXPECT_EQ(count(none, many), 0U);
  EXPECT_EQ(count(many, none), 0U);
  EXPECT_EQ(count(one, one), 0U);
  const auto two = featuresOf((cv::Mat_<float>(2, 1) << 0, 200));
  const auto close = featuresOf((cv::Mat_<float>(1, 1) << 1));
  EXPECT_EQ(count(close, two), 1U);  // forwards only
  EXPECT_EQ(count(two, close), 1U);  // backwards only
}

TEST(ExactMatcher, GivesTheSameForAnyThreadCountAndPairByPair) {
  auto features = views(4, 700, 9);
  cv::RNG random(10);
  realDescriptors(1, 128, random).copyTo(features[3].descriptors);  // all pairs become real ones
  features[3].keypoints.resize(1);
  std::vector<MatchesInfo> parallel;
  std::vector<MatchesInfo> serial;
  ExactMatcher matcher(kMatchConf, kFewest, kFewest);
  matcher(features, parallel);
  {
    const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
    matcher(features, serial);
  }
  matcher.collectGarbage();
  ASSERT_EQ(parallel.size(), 16U);
  for (std::size_t i = 0; i < parallel.size(); ++i) {
    expectSame(parallel[i], serial[i]);
  }
  MatchesInfo whole;
  matcher(features[0], features[1], whole);
  whole.src_img_idx = 0;
  whole.dst_img_idx = 1;
  ASSERT_GT(whole.matches.size(), 100U);
  expectSame(whole, parallel[1]);
}

TEST(ExactMatcher, RefusesDescriptorsThatAreNotFiniteOrOfOneTypeAndRecovers) {
  auto features = views(2, 50, 3);
  const cv::UMat good = features[1].descriptors.clone();
  cv::Mat bad;
  good.copyTo(bad);
  bad.at<float>(7, 7) = std::numeric_limits<float>::quiet_NaN();
  ExactMatcher matcher(kMatchConf, kFewest, kFewest);
  std::vector<MatchesInfo> pairs;
  bad.copyTo(features[1].descriptors);
  EXPECT_THROW(matcher(features, pairs), cv::Exception);
  cv::Mat(50, 128, CV_8U, cv::Scalar(0)).copyTo(features[1].descriptors);
  EXPECT_THROW(matcher(features, pairs), cv::Exception);
  features[1].descriptors = good;
  MatchesInfo info;
  matcher(features[0], features[1], info);  // nothing kept of the failed call
  EXPECT_GT(info.matches.size(), 20U);
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
