// SPDX-License-Identifier: MIT
#include "Pipeline/MatchImages.h"

#include "Pipeline/PairMatching.h"
#include "Pipeline/PairSelection.h"
#include "Pipeline/PairVoting.h"
#include "Pipeline/Watcher.h"
#include "Platform/ParallelLoop.h"
#include "Registration/Cameras/PairGraph.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>

namespace montage {
namespace {

namespace stages = ORV::Common::Algorithms::Montage::Registration;
using ORV::Common::Platform::parallelFor;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

/// The pairs that the options name, in processing numbers; none with an image without keypoints.
std::vector<ImagePair> namedPairs(const std::vector<Features>& features,
                                  const std::vector<int>& order,
                                  const PairingOptions& options) {
  std::vector<int> numberOf(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    numberOf[at(order[i])] = static_cast<int>(i);
  }
  std::vector<ImagePair> pairs;
  for (const ImagePair& named : pairsOf(options, static_cast<int>(order.size()))) {
    const ImagePair pair = std::minmax(numberOf[at(named.first)], numberOf[at(named.second)]);
    if (!features[at(pair.first)].keypoints.empty() &&
        !features[at(pair.second)].keypoints.empty()) {
      pairs.push_back(pair);
    }
  }
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

std::vector<PairMatches> matchEach(const PairMatching& matching,
                                   const std::vector<ImagePair>& pairs,
                                   Watcher& watcher) {
  std::vector<PairMatches> matched(pairs.size());
  parallelFor(0, static_cast<int>(pairs.size()), [&](int p) {
    matched[at(p)] = matching.match(pairs[at(p)].first, pairs[at(p)].second);
    watcher.step();
  });
  return matched;
}

std::vector<std::vector<int>> groupsOf(int imageCount,
                                       const std::vector<PairMatches>& pairs,
                                       double confidence) {
  std::vector<stages::PairEdge> edges;
  for (const PairMatches& pair : pairs) {
    if (pair.confidence >= confidence) {
      edges.push_back({pair.first, pair.second, static_cast<double>(pair.inlierCount)});
    }
  }
  return stages::groupsOf(imageCount, edges);
}

/// Adds pairs that are not among those matched; both ascend.
void merge(std::vector<PairMatches> added, std::vector<PairMatches>& matched) {
  const auto middle = static_cast<std::ptrdiff_t>(matched.size());
  std::move(added.begin(), added.end(), std::back_inserter(matched));
  std::inplace_merge(
      matched.begin(), matched.begin() + middle, matched.end(), [](const auto& a, const auto& b) {
        return ImagePair(a.first, a.second) < ImagePair(b.first, b.second);
      });
}

/// The images of the pairs, ascending.
std::vector<int> imagesIn(const std::vector<ImagePair>& pairs) {
  std::set<int> images;
  for (const auto& [first, second] : pairs) {
    images.insert({first, second});
  }
  return {images.begin(), images.end()};
}

void requireMatchable(const std::vector<Features>& features, const std::vector<ImagePair>& pairs) {
  const int imageCount = static_cast<int>(features.size());
  for (const auto& [first, second] : pairs) {
    const auto [low, high] = std::minmax(first, second);
    if (low < 0 || low == high || high >= imageCount) {
      throw std::invalid_argument("pairs: numbers of two different images are expected");
    }
    // One kind for all, as they share one search.
    for (const int image : {first, second}) {
      if (features[at(image)].kind != features[at(pairs.front().first)].kind) {
        throw std::invalid_argument("features: all of the same kind are expected");
      }
    }
  }
}

}  // namespace

std::vector<PairMatches> matchPairs(const std::vector<Features>& features,
                                    const std::vector<std::pair<int, int>>& pairs,
                                    const MatchOptions& options,
                                    const Progress& progress) {
  check(options);
  requireMatchable(features, pairs);
  Watcher watcher(progress, Stage::match, static_cast<int>(pairs.size()));
  PairMatching matching(static_cast<int>(features.size()), options);
  const std::vector<int> images = imagesIn(pairs);
  parallelFor(0, static_cast<int>(images.size()), [&](int i) {
    matching.add(images[at(i)], features[at(images[at(i)])]);
    watcher.poll();
  });
  return matchEach(matching, pairs, watcher);
}

std::vector<PairMatches> matchImages(std::vector<Features>& features,
                                     const std::vector<int>& order,
                                     const RegisterOptions& options,
                                     const Progress& progress) {
  const int imageCount = static_cast<int>(features.size());
  std::optional<PairVoting> voting;
  std::vector<ImagePair> pairs;
  if (needsVotes(options.pairing, imageCount)) {
    Watcher watcher(progress, Stage::select, imageCount);
    voting.emplace(features, watcher);
    pairs = voting->bestPairs(watcher);
  } else {
    pairs = namedPairs(features, order, options.pairing);
  }

  Watcher watcher(progress, Stage::match, static_cast<int>(pairs.size()));
  PairMatching matching(imageCount, options.matching);
  parallelFor(0, imageCount, [&](int i) {
    matching.add(i, features[at(i)]);
    features[at(i)].descriptors.release();
    watcher.poll();
  });
  std::vector<PairMatches> matched = matchEach(matching, pairs, watcher);
  if (voting) {
    const auto groups = groupsOf(imageCount, matched, options.adjustment.confidence);
    const std::vector<ImagePair> more = voting->pairsBetween(groups, pairs, watcher);
    watcher.extend(static_cast<int>(more.size()));
    merge(matchEach(matching, more, watcher), matched);
  }
  for (Features& each : features) {
    each.image.release();
  }
  return matched;
}

}  // namespace montage
