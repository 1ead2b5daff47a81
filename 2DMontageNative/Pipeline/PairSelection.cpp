// SPDX-License-Identifier: MIT
#include "Pipeline/PairSelection.h"

#include "Pipeline/PairVoting.h"
#include "montage/Features.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace montage {
namespace {

/// Up to so many images comparing all takes no longer than choosing.
constexpr int kMostForAll = 20;

std::string textOf(const ImagePair& pair) {
  return "(" + std::to_string(pair.first) + ", " + std::to_string(pair.second) + ")";
}

ImagePair ordered(int a, int b) {
  return std::minmax(a, b);
}

std::vector<ImagePair> allPairs(int imageCount) {
  std::vector<ImagePair> pairs;
  for (int i = 0; i < imageCount; ++i) {
    for (int j = i + 1; j < imageCount; ++j) {
      pairs.emplace_back(i, j);
    }
  }
  return pairs;
}

std::vector<ImagePair> sequentialPairs(const PairingOptions& options, int imageCount) {
  std::vector<ImagePair> pairs;
  const int farthest = std::min(options.followers, imageCount - 1);
  for (int i = 0; i < imageCount; ++i) {
    for (int step = 1; step <= farthest; ++step) {
      if (i + step < imageCount || options.closeLoop) {
        pairs.push_back(ordered(i, (i + step) % imageCount));
      }
    }
  }
  return pairs;
}

std::vector<ImagePair> gridPairs(const PairingOptions& options) {
  const auto imageAt = [&](int row, int column) {
    const bool backwards = options.snake && row % 2 == 1;
    return row * options.columns + (backwards ? options.columns - 1 - column : column);
  };
  // Half of the eight neighbours: the others have this one among theirs.
  constexpr std::pair<int, int> kSteps[] = {{0, 1}, {1, -1}, {1, 0}, {1, 1}};
  std::vector<ImagePair> pairs;
  for (int row = 0; row < options.rows; ++row) {
    for (int column = 0; column < options.columns; ++column) {
      for (const auto& [down, right] : kSteps) {
        if (row + down < options.rows && column + right >= 0 && column + right < options.columns) {
          pairs.push_back(ordered(imageAt(row, column), imageAt(row + down, column + right)));
        }
      }
    }
  }
  return pairs;
}

std::vector<ImagePair> listedPairs(const PairingOptions& options) {
  std::vector<ImagePair> pairs;
  pairs.reserve(options.pairs.size());
  for (const ImagePair& pair : options.pairs) {
    pairs.push_back(ordered(pair.first, pair.second));
  }
  return pairs;
}

void requireFittingGrid(const PairingOptions& options, int imageCount) {
  if (std::int64_t{options.rows} * options.columns != imageCount) {
    throw std::invalid_argument("pairing.rows: a grid of as many places as there are images, " +
                                std::to_string(imageCount) + ", is expected, " +
                                std::to_string(options.rows) + " x " +
                                std::to_string(options.columns) + " given");
  }
}

void requireFittingList(const PairingOptions& options, int imageCount) {
  for (const ImagePair& pair : options.pairs) {
    if (std::min(pair.first, pair.second) < 0 || std::max(pair.first, pair.second) >= imageCount ||
        pair.first == pair.second) {
      throw std::invalid_argument("pairing.pairs: numbers of two different images from 0 to " +
                                  std::to_string(imageCount - 1) + " are expected, " +
                                  textOf(pair) + " given");
    }
  }
  std::vector<ImagePair> pairs = listedPairs(options);
  std::sort(pairs.begin(), pairs.end());
  const auto twice = std::adjacent_find(pairs.begin(), pairs.end());
  if (twice != pairs.end()) {
    throw std::invalid_argument("pairing.pairs: every pair once is expected, " + textOf(*twice) +
                                " given twice");
  }
}

}  // namespace

void requireFitting(const PairingOptions& options, int imageCount) {
  if (options.kind == Pairing::grid) {
    requireFittingGrid(options, imageCount);
  }
  if (options.kind == Pairing::list) {
    requireFittingList(options, imageCount);
  }
}

bool needsVotes(const PairingOptions& options, int imageCount) {
  return options.kind == Pairing::automatic && imageCount > kMostForAll;
}

std::vector<ImagePair> pairsOf(const PairingOptions& options, int imageCount) {
  std::vector<ImagePair> pairs;
  switch (options.kind) {
    case Pairing::all:
    case Pairing::automatic:
      pairs = allPairs(imageCount);
      break;
    case Pairing::sequential:
      pairs = sequentialPairs(options, imageCount);
      break;
    case Pairing::grid:
      pairs = gridPairs(options);
      break;
    case Pairing::list:
      pairs = listedPairs(options);
      break;
  }
  std::sort(pairs.begin(), pairs.end());
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
  return pairs;
}

std::vector<ImagePair> selectPairs(const std::vector<Features>& features,
                                   const PairingOptions& options,
                                   const Progress& progress) {
  const int imageCount = static_cast<int>(features.size());
  check(options);
  requireFitting(options, imageCount);
  if (needsVotes(options, imageCount)) {
    Watcher watcher(progress, Stage::select, imageCount);
    return PairVoting(features, watcher).bestPairs(watcher);
  }
  std::vector<ImagePair> pairs = pairsOf(options, imageCount);
  const auto isBlank = [&](int image) {
    return features[static_cast<std::size_t>(image)].keypoints.empty();
  };
  pairs.erase(std::remove_if(pairs.begin(),
                             pairs.end(),
                             [&](const ImagePair& pair) {
                               return isBlank(pair.first) || isBlank(pair.second);
                             }),
              pairs.end());
  return pairs;
}

}  // namespace montage
