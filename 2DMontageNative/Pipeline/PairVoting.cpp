// SPDX-License-Identifier: MIT
#include "Pipeline/PairVoting.h"

#include "Pipeline/FeaturePanels.h"
#include "Platform/ParallelLoop.h"
#include "Registration/NearestTwo.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <stdexcept>

namespace montage {
namespace {

namespace stages = ORV::Common::Algorithms::Montage::Registration;
using ORV::Common::Platform::parallelFor;

// Of 192 features spread over an image, a tenth of its area holds some 20, half of which are found
// again; among unrelated images four or more agree in one pair of a thousand.
constexpr int kFewFeatures = 192;
constexpr int kManyFeatures = 384;
constexpr float kDistinct = 0.7F;  ///< nearest / second nearest distance

/// Pairs with so many votes are compared, the best so many of an image.
constexpr int kEnoughVotes = 4;
constexpr int kMostPartners = 40;

/// The best so many of an image are compared also with fewer votes.
constexpr int kSurePartners = 8;
constexpr int kFewestVotes = 2;

/// Pairs tried to connect a group, per image and in all.
constexpr std::size_t kTriesPerImage = 6;
constexpr std::size_t kMostTries = 40;

/// Votes counted between two looks at whether to go on.
constexpr int kPollEvery = 32;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

/// The strongest features of each cell of the image in turns.
std::vector<int> spreadStrongest(const Features& features, int most) {
  constexpr int kCells = 8;  // along each side
  std::array<int, std::size_t{kCells} * kCells> filled{};
  std::vector<std::pair<int, int>> byRound;
  byRound.reserve(features.keypoints.size());
  for (std::size_t k = 0; k < features.keypoints.size(); ++k) {
    const cv::Point2f point = features.keypoints[k].pt;
    const int column = static_cast<int>(point.x) * kCells / std::max(features.scaledSize.width, 1);
    const int row = static_cast<int>(point.y) * kCells / std::max(features.scaledSize.height, 1);
    const int cell = std::clamp(row, 0, kCells - 1) * kCells + std::clamp(column, 0, kCells - 1);
    byRound.emplace_back(filled[at(cell)]++, static_cast<int>(k));
  }
  const auto last = byRound.begin() + std::min(most, static_cast<int>(byRound.size()));
  std::partial_sort(byRound.begin(), last, byRound.end());
  std::vector<int> strongest;
  std::transform(byRound.begin(), last, std::back_inserter(strongest), [](const auto& each) {
    return each.second;
  });
  return strongest;
}

stages::DescriptorPanels packed(const Features& features, const std::vector<int>& chosen) {
  cv::Mat descriptors(
      static_cast<int>(chosen.size()), features.descriptors.cols, features.descriptors.type());
  for (std::size_t row = 0; row < chosen.size(); ++row) {
    features.descriptors.row(chosen[row]).copyTo(descriptors.row(static_cast<int>(row)));
  }
  return panelsOf(features.kind, descriptors);
}

/// How many features find each other.
std::uint16_t votesOf(const stages::DescriptorPanels& first,
                      const stages::DescriptorPanels& second) {
  const stages::MutualNearest found = stages::findNearestTwo(first, second);
  std::uint16_t votes = 0;
  for (std::size_t i = 0; i < found.ofFirst.size(); ++i) {
    const stages::NearestTwo& nearest = found.ofFirst[i];
    if (nearest.index >= 0 && nearest.nearest < kDistinct * nearest.second &&
        found.ofSecond[at(nearest.index)].index == static_cast<int>(i)) {
      ++votes;
    }
  }
  return votes;
}

/// Other images with at least so many votes, the best first.
std::vector<int> ranked(const std::vector<std::uint16_t>& votes, int fewestVotes) {
  std::vector<int> images;
  for (std::size_t i = 0; i < votes.size(); ++i) {
    if (votes[i] >= fewestVotes) {
      images.push_back(static_cast<int>(i));
    }
  }
  std::stable_sort(
      images.begin(), images.end(), [&](int a, int b) { return votes[at(a)] > votes[at(b)]; });
  return images;
}

void makeUnique(std::vector<ImagePair>& pairs) {
  std::sort(pairs.begin(), pairs.end());
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
}

/// The best partners of an image by its votes.
void addPartners(int image,
                 const std::vector<std::uint16_t>& votes,
                 std::vector<ImagePair>& pairs) {
  int rank = 0;
  for (const int other : ranked(votes, kFewestVotes)) {
    if (rank < kSurePartners || (rank < kMostPartners && votes[at(other)] >= kEnoughVotes)) {
      pairs.emplace_back(std::minmax(image, other));
    }
    ++rank;
  }
}

}  // namespace

PairVoting::PairVoting(const std::vector<Features>& features, Watcher& watcher)
    : few_(features.size()),
      many_(features.size()),
      votes_(features.size(), Votes(features.size(), 0)),
      wide_(features.size()) {
  for (const Features& each : features) {
    if (each.kind != features.front().kind) {
      throw std::invalid_argument("features: features of one kind are expected");
    }
  }
  parallelFor(0, count(), [&](int i) {
    std::vector<int> strongest = spreadStrongest(features[at(i)], kManyFeatures);
    many_[at(i)] = packed(features[at(i)], strongest);
    strongest.resize(std::min(strongest.size(), at(kFewFeatures)));
    few_[at(i)] = packed(features[at(i)], strongest);
    watcher.poll();
  });
}

std::vector<ImagePair> PairVoting::bestPairs(Watcher& watcher) {
  voteAmongAll(watcher);
  std::vector<ImagePair> pairs;
  std::vector<int> lonely;
  for (int i = 0; i < count(); ++i) {
    addPartners(i, votes_[at(i)], pairs);
    if (many_[at(i)].count > 0 && ranked(votes_[at(i)], kEnoughVotes).empty()) {
      lonely.push_back(i);
    }
  }
  watcher.extend(static_cast<int>(lonely.size()));
  voteWidely(lonely, watcher);
  for (const int i : lonely) {
    addPartners(i, wide_[at(i)], pairs);
  }
  makeUnique(pairs);
  return pairs;
}

void PairVoting::voteAmongAll(Watcher& watcher) {
  parallelFor(0, count(), [&](int i) {
    for (int j = i + 1; j < count(); ++j) {
      if (j % kPollEvery == 0) {
        watcher.poll();
      }
      const std::uint16_t votes = votesOf(few_[at(i)], few_[at(j)]);
      votes_[at(i)][at(j)] = votes;
      votes_[at(j)][at(i)] = votes;
    }
    watcher.step();
  });
}

void PairVoting::voteWidely(const std::vector<int>& images, Watcher& watcher) {
  for (const int i : images) {
    wide_[at(i)].assign(few_.size(), 0);
  }
  const auto searchesToo = [&](int image) {
    return std::binary_search(images.begin(), images.end(), image);
  };
  parallelFor(0, static_cast<int>(images.size()), [&](int k) {
    const int i = images[at(k)];
    for (int j = 0; j < count(); ++j) {
      if (j % kPollEvery == 0) {
        watcher.poll();
      }
      const bool both = searchesToo(j);
      if (j == i || (both && j < i)) {
        continue;  // the other one does it
      }
      const std::uint16_t votes = votesOf(many_[at(i)], many_[at(j)]);
      wide_[at(i)][at(j)] = votes;
      if (both) {
        wide_[at(j)][at(i)] = votes;
      }
    }
    watcher.step();
  });
}

std::vector<ImagePair> PairVoting::pairsBetween(const std::vector<std::vector<int>>& groups,
                                                const std::vector<ImagePair>& tried,
                                                Watcher& watcher) {
  std::vector<int> groupOf(few_.size(), -1);
  for (std::size_t g = 0; g < groups.size(); ++g) {
    for (const int image : groups[g]) {
      groupOf[at(image)] = static_cast<int>(g);
    }
  }
  std::vector<std::vector<int>> apart(groups.begin() + (groups.empty() ? 0 : 1), groups.end());
  for (int i = 0; i < count(); ++i) {
    if (groupOf[at(i)] < 0 && many_[at(i)].count > 0) {
      groupOf[at(i)] = static_cast<int>(groups.size() + at(i));
      apart.push_back({i});
    }
  }
  std::vector<int> unsearched;
  for (const std::vector<int>& group : apart) {
    std::copy_if(group.begin(), group.end(), std::back_inserter(unsearched), [&](int image) {
      return wide_[at(image)].empty();
    });
  }
  std::sort(unsearched.begin(), unsearched.end());
  watcher.extend(static_cast<int>(unsearched.size()));
  voteWidely(unsearched, watcher);

  std::vector<ImagePair> pairs;
  for (const std::vector<int>& group : apart) {
    std::vector<std::pair<int, ImagePair>> ways;  // votes, counted downwards
    for (const int image : group) {
      for (const int other : ranked(wide_[at(image)], kFewestVotes)) {
        const ImagePair pair = std::minmax(image, other);
        if (groupOf[at(other)] != groupOf[at(image)] &&
            !std::binary_search(tried.begin(), tried.end(), pair)) {
          ways.emplace_back(-wide_[at(image)][at(other)], pair);
        }
      }
    }
    const std::size_t most = std::min({ways.size(), kTriesPerImage * group.size(), kMostTries});
    std::sort(ways.begin(), ways.end());
    for (std::size_t way = 0; way < most; ++way) {
      pairs.push_back(ways[way].second);
    }
  }
  makeUnique(pairs);
  return pairs;
}

}  // namespace montage
