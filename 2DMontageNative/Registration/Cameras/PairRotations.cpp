// SPDX-License-Identifier: MIT
#include "Registration/Cameras/PairRotations.h"

#include <opencv2/stitching/detail/autocalib.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kLongestLoop = 8;

// A loop closes if what is left is within this many pixels per edge and this share of the way.
constexpr double kOpenPxPerEdge = 8.0;
constexpr double kOpenShare = 0.03;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

struct Loop {
  cv::Matx33d product = cv::Matx33d::eye();
  double way = 0.0;  ///< sum of the angles
  std::vector<int> edges;

  void go(const EdgeStep& step, const std::vector<cv::Matx33d>& rotations) {
    const cv::Matx33d& rotation = rotations[at(step.edge)];
    product = (step.forward ? rotation : rotation.t()) * product;
    way += angleOf(rotation);
    edges.push_back(step.edge);
  }

  [[nodiscard]] bool closes(double focal) const {
    const double allowed =
        kOpenPxPerEdge * static_cast<double>(edges.size()) / focal + kOpenShare * way;
    return angleOf(product) <= allowed;
  }
};

/// Calls `use` with every triangle of a graph, as a loop.
template <class Use>
void forEachTriangle(const std::vector<PairEdge>& edges,
                     const std::vector<cv::Matx33d>& rotations,
                     const Use& use) {
  std::map<std::pair<int, int>, int> edgeOf;
  std::map<int, std::vector<int>> later;  // neighbours with greater numbers
  for (std::size_t e = 0; e < edges.size(); ++e) {
    const auto [low, high] = std::minmax(edges[e].first, edges[e].second);
    edgeOf[{low, high}] = static_cast<int>(e);
    later[low].push_back(high);
  }
  const auto stepTo = [&](int from, int to) {
    const int edge = edgeOf.at(std::minmax(from, to));
    return EdgeStep{edge, edges[at(edge)].first == from};
  };
  for (const auto& [a, neighbours] : later) {
    for (const int b : neighbours) {
      for (const int c : neighbours) {
        if (b < c && edgeOf.count({b, c}) != 0) {
          Loop loop;
          loop.go(stepTo(a, b), rotations);
          loop.go(stepTo(b, c), rotations);
          loop.go(stepTo(c, a), rotations);
          use(loop);
        }
      }
    }
  }
}

}  // namespace

std::optional<double> medianFocal(const std::vector<cv::Matx33d>& homographies) {
  std::vector<double> focals;
  for (const cv::Matx33d& homography : homographies) {
    double first = 0.0;
    double second = 0.0;
    bool hasFirst = false;
    bool hasSecond = false;
    cv::detail::focalsFromHomography(cv::Mat(homography), first, second, hasFirst, hasSecond);
    if (hasFirst && hasSecond && std::isfinite(first) && std::isfinite(second)) {
      focals.push_back(std::sqrt(first * second));
    }
  }
  if (focals.empty() || 2 * focals.size() < homographies.size()) {
    return {};
  }
  std::sort(focals.begin(), focals.end());
  return focals[focals.size() / 2];
}

cv::Matx33d secondFromFirst(const CameraPair& pair, double focal) {
  const auto rayOf = [&](const cv::Point2d& pixel) {
    return cv::normalize(cv::Vec3d(pixel.x, pixel.y, focal));
  };
  cv::Matx33d product = cv::Matx33d::zeros();
  for (const PointPair& points : pair.points) {
    product += rayOf(points.second) * rayOf(points.first).t();
  }
  cv::Matx31d scales;
  cv::Matx33d u;
  cv::Matx33d vt;
  cv::SVD::compute(product, scales, u, vt);
  const double handedness = cv::determinant(u * vt) < 0.0 ? -1.0 : 1.0;
  return u * cv::Matx33d::diag({1.0, 1.0, handedness}) * vt;
}

double angleOf(const cv::Matx33d& rotation) {
  // From the skew part too: the trace alone loses half of the digits of a small angle.
  const cv::Vec3d axis(rotation(2, 1) - rotation(1, 2),
                       rotation(0, 2) - rotation(2, 0),
                       rotation(1, 0) - rotation(0, 1));
  return std::atan2(cv::norm(axis), cv::trace(rotation) - 1.0);
}

LoopVotes voteByLoops(int nodeCount,
                      const std::vector<PairEdge>& edges,
                      const std::vector<cv::Matx33d>& rotations,
                      double focal) {
  LoopVotes votes{std::vector<int>(edges.size(), 0), std::vector<int>(edges.size(), 0)};
  const auto count = [&](const Loop& loop) {
    for (const int edge : loop.edges) {
      ++(loop.closes(focal) ? votes.closing : votes.open)[at(edge)];
    }
  };
  forEachTriangle(edges, rotations, count);
  std::vector<int> inNone;
  for (std::size_t e = 0; e < edges.size(); ++e) {
    if (votes.closing[e] + votes.open[e] == 0) {
      inNone.push_back(static_cast<int>(e));
    }
  }
  const std::vector<std::vector<EdgeStep>> ways =
      detours(nodeCount, edges, inNone, kLongestLoop - 1);
  for (std::size_t k = 0; k < inNone.size(); ++k) {
    if (!ways[k].empty()) {
      Loop loop;
      for (const EdgeStep& step : ways[k]) {
        loop.go(step, rotations);
      }
      loop.go({inNone[k], false}, rotations);
      count(loop);
    }
  }
  return votes;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
