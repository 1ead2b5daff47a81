// SPDX-License-Identifier: MIT
#include "Pipeline/Adjustment.h"
#include "Pipeline/PairPoints.h"
#include "Platform/ParallelLoop.h"
#include "Registration/Cameras/PairGraph.h"
#include "Registration/Cameras/PairRotations.h"
#include "Registration/Cameras/RayBundle.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <optional>
#include <utility>

namespace montage {
namespace {

using ORV::Common::Platform::parallelFor;
using namespace ORV::Common::Algorithms::Montage::
    Registration;  // NOLINT(google-build-using-namespace)

/// A pair is false if the median of its errors exceeds both.
constexpr double kFalsePx = 5.0;
constexpr double kFalseRatio = 8.0;

/// Of the pairs found false at once those are dropped that are at least this bad beside the worst:
/// a false pair makes its neighbours look bad.
constexpr double kWorstShare = 0.5;

/// Errors that make a flat scene worth a try.
constexpr double kDoubtfulPx = 1.0;
constexpr double kDoubtfulFocal = 5.0;  ///< times the diagonal

// When a try with the longest focal length is given up.
constexpr int kIterationsOfRotations = 30;
constexpr double kFarWorse = 10.0;

/// So many points of a pair are enough for its cameras where each image has many pairs.
constexpr int kManyImages = 20;
constexpr std::size_t kPointsOfLargeSets = 100;

/// A focal length shorter than this share of the longer side is none.
constexpr double kShortestFocal = 0.2;

/// Pairs between two looks at whether to go on.
constexpr int kPollEvery = 64;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

double diagonalOf(const Features& features) {
  return std::hypot(features.scaledSize.width, features.scaledSize.height);
}

/// As many of the points, evenly from all over the list.
std::vector<PointPair> thinned(const std::vector<PointPair>& points, std::size_t most) {
  if (points.size() <= most) {
    return points;
  }
  std::vector<PointPair> kept;
  kept.reserve(most);
  for (std::size_t k = 0; k < most; ++k) {
    kept.push_back(points[k * points.size() / most]);
  }
  return kept;
}

/// The upper median; 0 for an empty list.
double medianOf(std::vector<double> values) {
  if (values.empty()) {
    return 0.0;
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// One group of images on the way to its cameras. All lists of edges and cameras are numbered
/// within the group.
struct Group {
  std::vector<int> images;  ///< number within the group to image
  std::vector<int> pairs;   ///< edge to pair
  std::vector<PairEdge> edges;
  std::vector<cv::Matx33d> homographies;  ///< per edge
  std::vector<CameraPair> points;         ///< per edge
  double guessedFocal = 0.0;              ///< where the homographies imply none
  double diagonal = 0.0;                  ///< the longest of an image
  double longestSide = 0.0;

  [[nodiscard]] int size() const { return static_cast<int>(images.size()); }
};

struct Solution {
  std::vector<TurningCamera> cameras;
  double cost = 0.0;
};

class RobustAdjuster {
 public:
  RobustAdjuster(const std::vector<Features>& features,
                 const std::vector<PairMatches>& pairs,
                 const AdjustOptions& options,
                 Watcher& watcher)
      : features_(features), pairs_(pairs), options_(options), watcher_(watcher) {
    result_.pairs.assign(pairs.size(), PairVerdict::used);
  }

  Adjustment run() {
    leaveOutAlikeImages();
    dropOpenLoops();
    for (;;) {
      const Group group = largestGroup();
      if (group.size() < 2) {
        return result_;
      }
      const std::optional<Solution> solution = solve(group);
      watcher_.step();
      if (solution) {
        remember(group, *solution);
      }
      const bool changed =
          solution ? dropFalsePairs(group, solution->cameras) : dropWeakestPair(group);
      if (!changed && solution) {
        accept(group, solution->cameras);
        return result_;
      }
    }
  }

 private:
  /// Of images that show the same view, all but the first: they say nothing about the cameras and
  /// make an estimate of the focal length unsound.
  void leaveOutAlikeImages() {
    for (const PairMatches& pair : pairs_) {  // ascending
      if (isConfident(pair) && result_.alike.count(pair.first) == 0 &&
          result_.alike.count(pair.second) == 0 && areAlike(features_, pair)) {
        result_.alike[pair.second] = pair.first;
      }
    }
  }

  [[nodiscard]] bool isConfident(const PairMatches& pair) const {
    return pair.confidence >= options_.confidence && pair.hasHomography;
  }

  [[nodiscard]] bool isActive(std::size_t pair) const {
    return result_.pairs[pair] == PairVerdict::used && isConfident(pairs_[pair]) &&
           result_.alike.count(pairs_[pair].first) == 0 &&
           result_.alike.count(pairs_[pair].second) == 0;
  }

  [[nodiscard]] Group largestGroup() const {
    const int imageCount = static_cast<int>(features_.size());
    std::vector<PairEdge> edges;
    std::vector<int> numbers;
    for (std::size_t p = 0; p < pairs_.size(); ++p) {
      if (isActive(p)) {
        edges.push_back(
            {pairs_[p].first, pairs_[p].second, static_cast<double>(pairs_[p].inlierCount)});
        numbers.push_back(static_cast<int>(p));
      }
    }
    const std::vector<std::vector<int>> groups = groupsOf(imageCount, edges);
    Group group;
    if (groups.empty()) {
      return group;
    }
    group.images = groups.front();
    std::vector<int> numberInGroup(features_.size(), -1);
    double sides = 0.0;
    for (int i = 0; i < group.size(); ++i) {
      const Features& features = features_[at(group.images[at(i)])];
      numberInGroup[at(group.images[at(i)])] = i;
      sides += features.scaledSize.width + features.scaledSize.height;
      group.diagonal = std::max(group.diagonal, diagonalOf(features));
      group.longestSide = std::max<double>(
          group.longestSide, std::max(features.scaledSize.width, features.scaledSize.height));
    }
    group.guessedFocal = sides / group.size();
    const std::size_t mostPoints =
        group.size() > kManyImages ? kPointsOfLargeSets : std::numeric_limits<std::size_t>::max();
    for (std::size_t e = 0; e < edges.size(); ++e) {
      if (e % kPollEvery == 0) {
        watcher_.poll();
      }
      const int first = numberInGroup[at(edges[e].first)];
      const int second = numberInGroup[at(edges[e].second)];
      if (first >= 0) {
        const PairMatches& pair = pairs_[at(numbers[e])];
        group.pairs.push_back(numbers[e]);
        group.edges.push_back({first, second, edges[e].weight});
        group.homographies.push_back(pair.secondFromFirst);
        group.points.push_back({first, second, thinned(inlierPoints(features_, pair), mostPoints)});
      }
    }
    return group;
  }

  [[nodiscard]] std::vector<cv::Matx33d> rotationsOf(const Group& group, double focal) const {
    std::vector<cv::Matx33d> rotations(group.points.size());
    parallelFor(0, static_cast<int>(rotations.size()), [&](int e) {
      if (e % kPollEvery == 0) {
        watcher_.poll();
      }
      rotations[at(e)] = secondFromFirst(group.points[at(e)], focal);
    });
    return rotations;
  }

  [[nodiscard]] static double startFocal(const Group& group) {
    const double focal = medianFocal(group.homographies).value_or(group.guessedFocal);
    return std::clamp(focal, kShortestFocal * group.longestSide, kLongestFocal);
  }

  /// Of the pairs in no loop that closes those that contradict the way through better pairs.
  void dropOpenLoops() {
    Group group = largestGroup();
    if (group.size() < 3) {
      return;
    }
    const double focal = startFocal(group);
    const std::vector<cv::Matx33d> rotations = rotationsOf(group, focal);
    const LoopVotes votes = voteByLoops(group.size(), group.edges, rotations, focal);
    const auto isDoubtful = [&](std::size_t edge) {
      return votes.closing[edge] == 0 && votes.open[edge] > 0;
    };
    std::vector<PairEdge> byTrust = group.edges;
    for (std::size_t e = 0; e < byTrust.size(); ++e) {
      byTrust[e].weight = isDoubtful(e) ? -1.0 / byTrust[e].weight : byTrust[e].weight;
    }
    const std::vector<int> forest = spanningForest(group.size(), byTrust);
    for (std::size_t e = 0; e < group.edges.size(); ++e) {
      if (isDoubtful(e) && !std::binary_search(forest.begin(), forest.end(), static_cast<int>(e))) {
        result_.pairs[at(group.pairs[e])] = PairVerdict::openLoop;
      }
    }
  }

  /// Cameras chained along the best pairs from the middle of the group.
  [[nodiscard]] std::vector<TurningCamera> chain(const Group& group,
                                                 double focal,
                                                 int reference) const {
    const std::vector<cv::Matx33d> rotations = rotationsOf(group, focal);
    std::vector<PairEdge> tree;
    std::vector<int> numbers = spanningForest(group.size(), group.edges);
    tree.reserve(numbers.size());
    for (const int edge : numbers) {
      tree.push_back(group.edges[at(edge)]);
    }
    std::vector<TurningCamera> cameras(group.images.size(), {focal, cv::Matx33d::eye()});
    for (const NodeVisit& visit : walkFrom(reference, group.size(), tree)) {
      if (visit.step.edge >= 0) {
        const cv::Matx33d& rotation = rotations[at(numbers[at(visit.step.edge)])];
        const cv::Matx33d& from = cameras[at(visit.from)].worldFromCamera;
        cameras[at(visit.node)].worldFromCamera =
            visit.step.forward ? from * rotation.t() : from * rotation;
      }
    }
    return cameras;
  }

  [[nodiscard]] RayBundleSettings settingsOf(const Group& group, int reference) const {
    RayBundleSettings settings;
    settings.reference = reference;
    settings.sharedFocal = options_.sharedFocal;
    settings.shortestFocal = kShortestFocal * group.longestSide;
    settings.poll = [this] { watcher_.poll(); };
    return settings;
  }

  /// From the last cameras, and where they are none or doubtful from other starts.
  [[nodiscard]] std::optional<Solution> solve(const Group& group) const {
    const int reference = centreOf(group.size(), group.edges);
    std::optional<Solution> solution;
    if (auto start = lastCameras(group)) {
      solution = refine(group, std::move(*start), settingsOf(group, reference));
    }
    if (!solution || isDoubtful(group, *solution)) {
      keepBetter(
          refine(group, chain(group, startFocal(group), reference), settingsOf(group, reference)),
          solution);
    }
    if (!solution || isDoubtful(group, *solution)) {
      keepBetter(solveFlat(group, reference, solution), solution);
    }
    return solution;
  }

  /// From the longest focal length, rotations first; given up if those alone leave cameras that are
  /// far worse than `other`.
  [[nodiscard]] std::optional<Solution> solveFlat(const Group& group,
                                                  int reference,
                                                  const std::optional<Solution>& other) const {
    RayBundleSettings settings = settingsOf(group, reference);
    settings.fixedFocals = true;
    settings.mostIterations = kIterationsOfRotations;
    const std::optional<Solution> rotated =
        refine(group, chain(group, kLongestFocal, reference), settings);
    if (!rotated || (other && rotated->cost > kFarWorse * other->cost)) {
      return {};
    }
    return refine(group, rotated->cameras, settingsOf(group, reference));
  }

  static void keepBetter(std::optional<Solution> other, std::optional<Solution>& solution) {
    if (other && (!solution || other->cost < solution->cost)) {
      solution = std::move(other);
    }
  }

  /// The cameras of the last round, if it has left one for each image.
  [[nodiscard]] std::optional<std::vector<TurningCamera>> lastCameras(const Group& group) const {
    std::vector<TurningCamera> cameras;
    for (const int image : group.images) {
      const auto last = last_.find(image);
      if (last == last_.end()) {
        return {};
      }
      cameras.push_back(last->second);
    }
    return cameras;
  }

  void remember(const Group& group, const Solution& solution) {
    last_.clear();
    for (std::size_t i = 0; i < group.images.size(); ++i) {
      last_[group.images[i]] = solution.cameras[i];
    }
  }

  static std::optional<Solution> refine(const Group& group,
                                        std::vector<TurningCamera> start,
                                        const RayBundleSettings& settings) {
    const RayBundleResult result = adjustRays(start, group.points, settings);
    return result.usable ? std::optional<Solution>({std::move(start), result.cost}) : std::nullopt;
  }

  /// Whether another start may give better cameras.
  static bool isDoubtful(const Group& group, const Solution& solution) {
    std::vector<double> errors;
    std::vector<double> focals;
    for (const CameraPair& pair : group.points) {
      errors.push_back(medianOf(errorsOf(pair, solution.cameras)));
    }
    for (const TurningCamera& camera : solution.cameras) {
      focals.push_back(camera.focal);
    }
    return medianOf(errors) > kDoubtfulPx || medianOf(focals) > kDoubtfulFocal * group.diagonal ||
           !medianFocal(group.homographies);
  }

  /// Drops pairs whose matches lie far from where the cameras put them. @return whether any was.
  bool dropFalsePairs(const Group& group, const std::vector<TurningCamera>& cameras) {
    std::vector<double> medians;
    medians.reserve(group.points.size());
    for (const CameraPair& pair : group.points) {
      medians.push_back(medianOf(errorsOf(pair, cameras)));
    }
    const double limit = std::max(kFalsePx, kFalseRatio * medianOf(medians));
    const double worst = *std::max_element(medians.begin(), medians.end());
    if (worst <= limit) {
      return false;
    }
    for (std::size_t e = 0; e < medians.size(); ++e) {
      if (medians[e] > limit && medians[e] >= kWorstShare * worst) {
        result_.pairs[at(group.pairs[e])] = PairVerdict::largeResidual;
      }
    }
    return true;
  }

  /// The pair that a failed adjustment is tried without.
  bool dropWeakestPair(const Group& group) {
    const auto weakest =
        std::min_element(group.pairs.begin(), group.pairs.end(), [&](int a, int b) {
          return pairs_[at(a)].confidence < pairs_[at(b)].confidence;
        });
    result_.pairs[at(*weakest)] = PairVerdict::diverging;
    return true;
  }

  void accept(const Group& group, const std::vector<TurningCamera>& cameras) {
    result_.status = RegistrationStatus::ok;
    result_.used = group.images;
    for (std::size_t i = 0; i < cameras.size(); ++i) {
      const cv::Point2d centre = principalPointOf(features_[at(group.images[i])]);
      result_.cameras.push_back(
          {cameras[i].focal, 1.0, centre.x, centre.y, cameras[i].worldFromCamera});
    }
  }

  const std::vector<Features>& features_;
  const std::vector<PairMatches>& pairs_;
  const AdjustOptions& options_;
  Watcher& watcher_;
  std::map<int, TurningCamera> last_;  ///< per image of the last round
  Adjustment result_;
};

}  // namespace

Adjustment adjustRobustly(const std::vector<Features>& features,
                          const std::vector<PairMatches>& pairs,
                          const AdjustOptions& options,
                          Watcher& watcher) {
  return RobustAdjuster(features, pairs, options, watcher).run();
}

}  // namespace montage
