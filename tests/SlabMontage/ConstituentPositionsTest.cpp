// SPDX-License-Identifier: MIT
#include "SlabMontage.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ORV::Common::Algorithms::Montage::SlabMontage;

using Ints = std::vector<int>;
using Points = std::vector<cv::Point>;

/// One more element than needed, to see that nothing is written past the end.
struct Report {
  explicit Report(std::size_t count) : included(count + 1, 9), positions(2 * count + 1, 9) {}
  Ints included, positions;
};

Report inCallersOrder(const Points& points, const Ints& kept, int count) {
  Report report(static_cast<std::size_t>(count));
  EXPECT_EQ(SlabMontage().CalculateConstituentPositions(
                points, kept, count, report.included.data(), report.positions.data()),
            0);
  return report;
}

Report mappedBack(const Points& points, const Ints& kept, int count, const Ints& order) {
  Report report(static_cast<std::size_t>(count));
  EXPECT_EQ(
      SlabMontage().CalculateOriginalSlabConstituentPositions(
          {}, points, kept, count, report.included.data(), report.positions.data(), order, 0.5),
      0);
  return report;
}

TEST(ConstituentPositions, AreThePointsOrZeroForDroppedImages) {
  const Points all = {{10, -20}, {30, 40}, {-50, 60}};
  EXPECT_EQ(inCallersOrder(all, {0, 1, 2}, 3).positions, (Ints{10, -20, 30, 40, -50, 60, 9}));
  const Points points = {{1, 2}, {3, 4}};
  EXPECT_EQ(inCallersOrder(points, {0, 2}, 4).included, (Ints{1, 0, 1, 0, 9}));
  EXPECT_EQ(inCallersOrder(points, {0, 2}, 4).positions, (Ints{1, 2, 0, 0, 3, 4, 0, 0, 9}));
  // Processing index 3, the last one dropped, is constituent 0.
  const Report reversed = mappedBack(points, {0, 2}, 4, {3, 2, 1, 0});
  EXPECT_EQ(reversed.included, (Ints{0, 1, 0, 1, 9}));
  EXPECT_EQ(reversed.positions, (Ints{0, 0, 3, 4, 0, 0, 1, 2, 9}));
}

TEST(ConstituentPositions, FollowAnyProcessingOrder) {
  const Report report = mappedBack({{1, 1}, {2, 2}, {3, 3}}, {0, 1, 3}, 4, {2, 0, 3, 1});
  EXPECT_EQ(report.included, (Ints{1, 1, 1, 0, 9}));
  EXPECT_EQ(report.positions, (Ints{2, 2, 3, 3, 1, 1, 0, 0, 9}));
}

TEST(ConstituentPositions, SortTheIndicesButNotThePoints) {
  const Report report = inCallersOrder({{1, 1}, {2, 2}}, {2, 0}, 3);
  EXPECT_EQ(report.included, (Ints{1, 0, 1, 9}));
  EXPECT_EQ(report.positions, (Ints{1, 1, 0, 0, 2, 2, 9}));
}

TEST(ConstituentPositions, WriteNothingForNoConstituents) {
  EXPECT_EQ(inCallersOrder({}, {}, 0).included, (Ints{9}));
  EXPECT_EQ(mappedBack({}, {}, 0, {}).positions, (Ints{9}));
}

}  // namespace
