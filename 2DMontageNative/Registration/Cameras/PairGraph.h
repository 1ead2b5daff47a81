// SPDX-License-Identifier: MIT
/// @file
/// Images as nodes and confident pairs as edges: groups, trees and loops.
#ifndef ORV_MONTAGE_REGISTRATION_CAMERAS_PAIR_GRAPH_H
#define ORV_MONTAGE_REGISTRATION_CAMERAS_PAIR_GRAPH_H

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

struct PairEdge {
  int first;
  int second;
  double weight;  ///< the greater, the more it is trusted
};

/// Groups of connected nodes, the largest first; equal ones by the sum of their weights, then by
/// the lowest node. Nodes without an edge are in no group. Nodes ascend within a group.
std::vector<std::vector<int>> groupsOf(int nodeCount, const std::vector<PairEdge>& edges);

/// Numbers of the edges of a maximum spanning forest (J. Kruskal 1956): of equal weights the lower
/// number wins.
std::vector<int> spanningForest(int nodeCount, const std::vector<PairEdge>& edges);

/// One step along an edge.
struct EdgeStep {
  int edge;
  bool forward;  ///< from `first` to `second`
};

/// Every node once in the order of a walk over `edges` that starts at `root`, with the step that
/// leads to it (edge -1 for the root itself).
struct NodeVisit {
  int node;
  int from;
  EdgeStep step;
};
std::vector<NodeVisit> walkFrom(int root, int nodeCount, const std::vector<PairEdge>& edges);

/// For each of the edges `which` the shortest way from its `first` to its `second` node without it,
/// in steps; empty where there is none of at most `longest` steps.
std::vector<std::vector<EdgeStep>> detours(int nodeCount,
                                           const std::vector<PairEdge>& edges,
                                           const std::vector<int>& which,
                                           int longest);

/// The node from which the farthest other one is the fewest steps away, the lowest such; the graph
/// is connected.
int centreOf(int nodeCount, const std::vector<PairEdge>& edges);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CAMERAS_PAIR_GRAPH_H
