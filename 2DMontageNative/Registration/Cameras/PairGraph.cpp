// SPDX-License-Identifier: MIT
#include "Registration/Cameras/PairGraph.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>
#include <queue>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

/// Disjoint sets with path halving.
class Sets {
 public:
  explicit Sets(int count) : parent_(at(count)) { std::iota(parent_.begin(), parent_.end(), 0); }
  int find(int node) {
    while (parent_[at(node)] != node) {
      node = parent_[at(node)] = parent_[at(parent_[at(node)])];
    }
    return node;
  }
  /// False if they were one set already.
  bool join(int a, int b) {
    const int rootOfA = find(a);
    const int rootOfB = find(b);
    parent_[at(std::max(rootOfA, rootOfB))] = std::min(rootOfA, rootOfB);
    return rootOfA != rootOfB;
  }

 private:
  std::vector<int> parent_;
};

struct Neighbour {
  int node;
  EdgeStep step;
};

std::vector<std::vector<Neighbour>> neighboursOf(int nodeCount,
                                                 const std::vector<PairEdge>& edges) {
  std::vector<std::vector<Neighbour>> neighbours(at(nodeCount));
  for (std::size_t e = 0; e < edges.size(); ++e) {
    const int edge = static_cast<int>(e);
    neighbours[at(edges[e].first)].push_back({edges[e].second, {edge, true}});
    neighbours[at(edges[e].second)].push_back({edges[e].first, {edge, false}});
  }
  return neighbours;
}

/// A breadth-first walk that does not use edge `avoided` and goes at most `longest` steps.
std::vector<NodeVisit> walk(int root,
                            const std::vector<std::vector<Neighbour>>& neighbours,
                            int avoided,
                            int longest) {
  std::vector<int> depth(neighbours.size(), -1);
  depth[at(root)] = 0;
  std::vector<NodeVisit> visits{{root, -1, {-1, true}}};
  for (std::size_t next = 0; next < visits.size(); ++next) {
    const int node = visits[next].node;
    if (depth[at(node)] == longest) {
      break;  // all later ones are as deep
    }
    for (const Neighbour& neighbour : neighbours[at(node)]) {
      if (neighbour.step.edge != avoided && depth[at(neighbour.node)] < 0) {
        depth[at(neighbour.node)] = depth[at(node)] + 1;
        visits.push_back({neighbour.node, node, neighbour.step});
      }
    }
  }
  return visits;
}

/// Steps to every node; 0 to one that cannot be reached.
std::vector<int> distancesFrom(int root, const std::vector<std::vector<Neighbour>>& neighbours) {
  std::vector<int> distance(neighbours.size(), 0);
  for (const NodeVisit& visit : walk(root, neighbours, -1, std::numeric_limits<int>::max())) {
    distance[at(visit.node)] = visit.from >= 0 ? distance[at(visit.from)] + 1 : 0;
  }
  return distance;
}

std::vector<EdgeStep> detour(int avoided,
                             const std::vector<PairEdge>& edges,
                             const std::vector<std::vector<Neighbour>>& neighbours,
                             int longest) {
  const std::vector<NodeVisit> visits =
      walk(edges[at(avoided)].first, neighbours, avoided, longest);
  std::vector<EdgeStep> steps;
  int wanted = edges[at(avoided)].second;
  for (auto visit = visits.rbegin(); visit != visits.rend(); ++visit) {
    if (visit->node == wanted && visit->step.edge >= 0) {
      steps.push_back(visit->step);
      wanted = visit->from;
    }
  }
  std::reverse(steps.begin(), steps.end());
  return steps;
}

}  // namespace

std::vector<std::vector<int>> groupsOf(int nodeCount, const std::vector<PairEdge>& edges) {
  Sets sets(nodeCount);
  for (const PairEdge& edge : edges) {
    sets.join(edge.first, edge.second);
  }
  std::vector<std::vector<int>> members(at(nodeCount));
  std::vector<double> weights(at(nodeCount), 0.0);
  for (int node = 0; node < nodeCount; ++node) {
    members[at(sets.find(node))].push_back(node);
  }
  for (const PairEdge& edge : edges) {
    weights[at(sets.find(edge.first))] += edge.weight;
  }
  std::vector<int> roots;
  for (int root = 0; root < nodeCount; ++root) {
    if (members[at(root)].size() > 1) {
      roots.push_back(root);
    }
  }
  std::stable_sort(roots.begin(), roots.end(), [&](int a, int b) {
    const std::size_t sizeOfA = members[at(a)].size();
    const std::size_t sizeOfB = members[at(b)].size();
    return sizeOfA != sizeOfB ? sizeOfA > sizeOfB : weights[at(a)] > weights[at(b)];
  });
  std::vector<std::vector<int>> groups;
  groups.reserve(roots.size());
  for (const int root : roots) {
    groups.push_back(std::move(members[at(root)]));
  }
  return groups;
}

std::vector<int> spanningForest(int nodeCount, const std::vector<PairEdge>& edges) {
  std::vector<int> byWeight(edges.size());
  std::iota(byWeight.begin(), byWeight.end(), 0);
  std::stable_sort(byWeight.begin(), byWeight.end(), [&](int a, int b) {
    return edges[at(a)].weight > edges[at(b)].weight;
  });
  Sets sets(nodeCount);
  std::vector<int> forest;
  for (const int edge : byWeight) {
    if (sets.join(edges[at(edge)].first, edges[at(edge)].second)) {
      forest.push_back(edge);
    }
  }
  std::sort(forest.begin(), forest.end());
  return forest;
}

std::vector<NodeVisit> walkFrom(int root, int nodeCount, const std::vector<PairEdge>& edges) {
  return walk(root, neighboursOf(nodeCount, edges), -1, std::numeric_limits<int>::max());
}

std::vector<std::vector<EdgeStep>> detours(int nodeCount,
                                           const std::vector<PairEdge>& edges,
                                           const std::vector<int>& which,
                                           int longest) {
  const auto neighbours = neighboursOf(nodeCount, edges);
  std::vector<std::vector<EdgeStep>> ways;
  ways.reserve(which.size());
  for (const int edge : which) {
    ways.push_back(detour(edge, edges, neighbours, longest));
  }
  return ways;
}

int centreOf(int nodeCount, const std::vector<PairEdge>& edges) {
  const auto neighbours = neighboursOf(nodeCount, edges);
  // By triangle inequalities each walk tells something about the reach of all nodes (F. Takes and
  // W. Kosters, "Computing the eccentricity distribution of large graphs", Algorithms 6(1), 2013),
  // so that a few walks are enough.
  std::vector<int> leastReach(at(nodeCount), 0);
  int centre = 0;
  int least = std::numeric_limits<int>::max();
  for (;;) {
    const auto next = std::min_element(leastReach.begin(), leastReach.end());
    const int node = static_cast<int>(next - leastReach.begin());
    if (*next > least || (*next == least && node > centre)) {
      return centre;
    }
    const std::vector<int> distance = distancesFrom(node, neighbours);
    const int reach = *std::max_element(distance.begin(), distance.end());
    for (std::size_t other = 0; other < distance.size(); ++other) {
      leastReach[other] = std::max({leastReach[other], reach - distance[other], distance[other]});
    }
    if (reach < least || (reach == least && node < centre)) {
      least = reach;
      centre = node;
    }
    leastReach[at(node)] = std::numeric_limits<int>::max();
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
