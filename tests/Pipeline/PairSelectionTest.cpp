// SPDX-License-Identifier: MIT
// Which pairs of images are compared.
#include "Pipeline/PairSelection.h"
#include "Pipeline/PairVoting.h"
#include "support/Views.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <set>
#include <string>

namespace {

using namespace montage;
using namespace ORV::TestSupport;
using Pairs = std::vector<ImagePair>;

constexpr int kRows = 5;
constexpr int kColumns = 6;

/// A grid of views that overlap by two fifths, in no order by place, and three unrelated ones.
class LargeSet : public testing::Test {
 protected:
  LargeSet() {
    for (int i = 0; i < kRows * kColumns; ++i) {
      const int place = 7 * i % (kRows * kColumns);
      gazes_.push_back(
          {-20.0 + 8.0 * (place % kColumns), -12.0 + 6.0 * (place / kColumns), (i % 3) - 1.0});
    }
    ViewSettings settings;
    settings.size = {280, 210};
    settings.focal = 1200;
    views_ = renderViews(makePicture({1300, 900}, 8), gazes_, settings);
    images_ = views_.images;
    for (const int at : {4, 17, 30}) {
      const auto seed = static_cast<unsigned>(1000 + at);
      strangers_.insert(at);
      images_.insert(images_.begin() + at,
                     renderViews(makePicture({700, 500}, seed), {{0, 0, 0}}, settings).images[0]);
    }
    for (const cv::Mat& image : images_) {
      features_.push_back(describe(image));
    }
  }

  /// Pairs that comparing all accepts, of views whose axes are less than 0.8 of a side apart.
  [[nodiscard]] Pairs truePairs() const {
    std::vector<int> viewOf;
    for (int i = 0, view = 0; i < static_cast<int>(images_.size()); ++i) {
      viewOf.push_back(strangers_.count(i) != 0 ? -1 : view++);
    }
    PairingOptions all;
    all.kind = Pairing::all;
    Pairs pairs;
    for (const auto& [a, b] : pairsOf(all, static_cast<int>(images_.size()))) {
      const int viewOfA = viewOf[static_cast<std::size_t>(a)];
      const int viewOfB = viewOf[static_cast<std::size_t>(b)];
      if (viewOfA < 0 || viewOfB < 0) {
        continue;
      }
      const Gaze& first = gazes_[static_cast<std::size_t>(viewOfA)];
      const Gaze& second = gazes_[static_cast<std::size_t>(viewOfB)];
      const bool overlaps = std::abs(first.yawDeg - second.yawDeg) < 10.6 &&
                            std::abs(first.pitchDeg - second.pitchDeg) < 8.0;
      if (overlaps &&
          match(features_[static_cast<std::size_t>(a)], features_[static_cast<std::size_t>(b)])
                  .confidence >= 0.7) {
        pairs.emplace_back(a, b);
      }
    }
    return pairs;
  }

  std::vector<Gaze> gazes_;
  ViewSet views_;
  std::set<int> strangers_;
  std::vector<cv::Mat> images_;
  std::vector<Features> features_;
};

TEST_F(LargeSet, FindsItsPairsWithoutComparingAll) {
  const Pairs wanted = truePairs();
  ASSERT_GT(wanted.size(), 80U);
  const Pairs selected = selectPairs(features_);
  EXPECT_TRUE(std::is_sorted(selected.begin(), selected.end()));
  EXPECT_TRUE(std::includes(selected.begin(), selected.end(), wanted.begin(), wanted.end()));
  EXPECT_LT(selected.size(), 2 * wanted.size());
  const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
  EXPECT_EQ(selectPairs(features_), selected);
}

TEST_F(LargeSet, TriesGroupsThatStayApartOnceMore) {
  // As if every comparison between these two halves had failed or had not been tried.
  std::vector<std::vector<int>> groups(2);
  for (int i = 0; i < static_cast<int>(images_.size()); ++i) {
    if (strangers_.count(i) == 0) {
      groups[i < 18 ? 0 : 1].push_back(i);
    }
  }
  const Progress nobody;
  Watcher watcher(nobody, Stage::match, 1);
  PairVoting voting(features_, watcher);
  const Pairs wanted = truePairs();
  Pairs tried;
  for (int round = 0; round < 2; ++round) {
    const Pairs found = voting.pairsBetween(groups, tried, watcher);
    int connecting = 0;
    for (const ImagePair& pair : found) {
      const bool within = (pair.first < 18) == (pair.second < 18) &&
                          strangers_.count(pair.first) + strangers_.count(pair.second) == 0;
      EXPECT_FALSE(within) << pair.first << ' ' << pair.second;
      EXPECT_FALSE(std::binary_search(tried.begin(), tried.end(), pair));
      connecting += std::binary_search(wanted.begin(), wanted.end(), pair) ? 1 : 0;
    }
    EXPECT_TRUE(round == 1 || connecting > 20) << connecting;
    tried = found;
  }
}

TEST_F(LargeSet, IsRegisteredAsIfAllPairsWereCompared) {
  const auto find = [&](Pairing kind) {
    RegisterOptions options;
    options.pairing.kind = kind;
    return registerImages(MatSource(images_), options);
  };
  const Registration all = find(Pairing::all);
  int last = -1;
  Stage stage = Stage::describe;
  const Registration voted =
      registerImages(MatSource(images_), {}, [&](const ProgressReport& report) {
        EXPECT_TRUE(report.stage != stage || report.done >= last);
        EXPECT_LE(report.done, report.total);
        EXPECT_GE(report.stage, stage);
        stage = report.stage;
        last = report.done;
        return true;
      });
  EXPECT_EQ(voted.used, all.used);
  EXPECT_EQ(voted.used.size(), gazes_.size());
  EXPECT_LT(voted.pairs.size(), all.pairs.size() / 2);
  std::vector<int> order(images_.size(), 0);
  for (std::size_t i = 0; i < voted.used.size(); ++i) {
    order[static_cast<std::size_t>(voted.used[i])] = static_cast<int>(i);
  }
  EXPECT_LT(worstCameraError(voted, views_, order), 0.3);
}

TEST(PairSelection, NamesThePairsOfSequencesGridsAndLists) {
  PairingOptions options;
  EXPECT_EQ(pairsOf(options, 5).size(), 10U);
  EXPECT_FALSE(needsVotes(options, 20));
  EXPECT_TRUE(needsVotes(options, 21));

  options.kind = Pairing::sequential;
  options.followers = 2;
  EXPECT_EQ(pairsOf(options, 4), (Pairs{{0, 1}, {0, 2}, {1, 2}, {1, 3}, {2, 3}}));
  options.closeLoop = true;
  EXPECT_EQ(pairsOf(options, 6).size(), 12U);
  EXPECT_EQ(pairsOf(options, 4).size(), 6U);  // where both ways around meet
  options.followers = 50;
  EXPECT_EQ(pairsOf(options, 3), (Pairs{{0, 1}, {0, 2}, {1, 2}}));

  options.kind = Pairing::grid;  // 0 1 2 above 3 4 5, or above 5 4 3
  options.rows = 2;
  options.columns = 3;
  EXPECT_EQ(
      pairsOf(options, 6),
      (Pairs{
          {0, 1}, {0, 3}, {0, 4}, {1, 2}, {1, 3}, {1, 4}, {1, 5}, {2, 4}, {2, 5}, {3, 4}, {4, 5}}));
  options.snake = true;
  EXPECT_EQ(
      pairsOf(options, 6),
      (Pairs{
          {0, 1}, {0, 4}, {0, 5}, {1, 2}, {1, 3}, {1, 4}, {1, 5}, {2, 3}, {2, 4}, {3, 4}, {4, 5}}));

  options.kind = Pairing::list;
  options.pairs = {{3, 1}, {0, 2}};
  EXPECT_EQ(pairsOf(options, 4), (Pairs{{0, 2}, {1, 3}}));
}

TEST(PairSelection, RefusesWhatDoesNotFitTheImages) {
  const std::vector<Features> twelve(12);
  const auto reasonOf = [&](const PairingOptions& options) -> std::string {
    try {
      selectPairs(twelve, options);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return {};
  };
  PairingOptions options;
  options.kind = Pairing::grid;
  options.rows = 3;
  options.columns = 5;
  EXPECT_NE(reasonOf(options).find("pairing.rows"), std::string::npos);
  EXPECT_NE(reasonOf(options).find("12, is expected, 3 x 5 given"), std::string::npos);
  options.columns = 4;
  EXPECT_EQ(reasonOf(options), "");
  options.kind = Pairing::list;
  for (const Pairs& wrong :
       {Pairs{{0, 12}}, Pairs{{-1, 2}}, Pairs{{4, 4}}, Pairs{{1, 2}, {2, 1}}}) {
    options.pairs = wrong;
    EXPECT_NE(reasonOf(options).find("pairing.pairs"), std::string::npos) << wrong[0].first;
  }
  options.kind = Pairing::sequential;
  options.followers = 0;
  EXPECT_NE(reasonOf(options).find("pairing.followers"), std::string::npos);
}

TEST(PairSelection, CountsInTheCallersNumbersWhenTheOrderIsReversed) {
  const auto& images = eightViews().images;
  RegisterOptions options;
  options.reverseOrder = true;
  options.pairing.kind = Pairing::list;
  options.pairing.pairs = {{0, 3}, {6, 3}};
  const Registration registration =
      registerImages(MatSource({images.begin(), images.begin() + 7}), options);
  ASSERT_EQ(registration.pairs.size(), 2U);
  EXPECT_EQ(registration.pairs[0].first, 0);
  EXPECT_EQ(registration.pairs[0].second, 3);
  EXPECT_EQ(registration.pairs[1].first, 3);
  EXPECT_EQ(registration.pairs[1].second, 6);
  EXPECT_EQ(registration.used.size(), 3U);
  options.pairing.pairs = {{0, 7}};
  EXPECT_THROW(registerImages(MatSource({images.begin(), images.begin() + 7}), options),
               std::invalid_argument);
}

}  // namespace
