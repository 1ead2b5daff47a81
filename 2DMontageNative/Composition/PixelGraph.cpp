// SPDX-License-Identifier: MIT
#include "Composition/PixelGraph.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kNoPath = INT_MAX;

}  // namespace

PixelGraph::PixelGraph(cv::Size size)
    : stride_(size.width + 2),
      offsets_({stride_, 1, -1, -stride_}),
      vertices_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(size.height + 2)) {}

void PixelGraph::activate(int v) {
  if (!at(v).active) {
    at(v).active = true;
    active_.push_back(v);
  }
}

void PixelGraph::orphan(int v) {
  at(v).parent = kOrphan;
  orphans_.push_back(v);
}

void PixelGraph::cut(const std::function<void()>& poll) {
  for (int v = 0; v < static_cast<int>(vertices_.size()); ++v) {
    Vertex& root = at(v);
    if (root.excess != 0) {
      root.parent = kTerminal;
      root.distance = 1;
      root.sink = root.excess < 0;
      activate(v);
    }
  }
  constexpr int kRoundsPerPoll = 1 << 14;
  int round = 0;
  while (const std::optional<Bridge> bridge = grow()) {
    push(*bridge, room(*bridge));
    adoptOrphans(++round);
    if (round % kRoundsPerPoll == 0) {
      poll();
    }
  }
}

/// Lets active vertices grow until the trees meet.
std::optional<PixelGraph::Bridge> PixelGraph::grow() {
  while (!active_.empty()) {
    const int v = active_.front();
    if (at(v).parent != kFree) {
      if (const std::optional<Bridge> bridge = growFrom(v)) {
        return bridge;
      }
    }
    at(v).active = false;
    active_.pop_front();
  }
  return std::nullopt;
}

/// Takes free neighbours into the tree, and those to which this way is shorter.
std::optional<PixelGraph::Bridge> PixelGraph::growFrom(int v) {
  const Vertex& grown = at(v);
  for (const Direction direction : kDirections) {
    if (unusedByChild(v, direction) == 0) {
      continue;
    }
    const int n = neighbour(v, direction);
    Vertex& next = at(n);
    const bool isFree = next.parent == kFree;
    if (!isFree && next.sink != grown.sink) {
      return grown.sink ? Bridge{n, opposite(direction)} : Bridge{v, direction};
    }
    if (isFree || (next.distance > grown.distance + 1 && next.seen <= grown.seen)) {
      next.sink = grown.sink;
      next.parent = opposite(direction);
      next.seen = grown.seen;
      next.distance = grown.distance + 1;
    }
    if (isFree) {
      activate(n);
    }
  }
  return std::nullopt;
}

/// The least capacity on the path from source to sink over a bridge.
int PixelGraph::room(const Bridge& bridge) {
  int least = capacity(bridge.from, bridge.direction);
  for (int v : {bridge.from, neighbour(bridge.from, bridge.direction)}) {
    for (; at(v).parent >= 0; v = neighbour(v, at(v).parent)) {
      least = std::min(least, unusedByParent(v, at(v).parent));
    }
    least = std::min(least, std::abs(at(v).excess));
  }
  return least;
}

/// Lets flow through the path over a bridge; vertices whose edge to the root is full become orphans.
void PixelGraph::push(const Bridge& bridge, int flow) {
  capacity(bridge.from, bridge.direction) -= flow;
  capacityFrom(bridge.from, bridge.direction) += flow;
  const auto pushToRoot = [this, flow](int v) {
    while (at(v).parent >= 0) {
      const signed char parent = at(v).parent;
      int& used = unusedByParent(v, parent);
      int& back = unusedByChild(v, parent);
      back += flow;
      used -= flow;
      if (used == 0) {
        orphan(v);
      }
      v = neighbour(v, parent);
    }
    at(v).excess += at(v).sink ? flow : -flow;
    if (at(v).excess == 0) {
      orphan(v);
    }
  };
  pushToRoot(bridge.from);
  pushToRoot(neighbour(bridge.from, bridge.direction));
}

void PixelGraph::adoptOrphans(int round) {
  while (!orphans_.empty()) {
    const int v = orphans_.back();
    orphans_.pop_back();
    adopt(v, round);
  }
}

/// How far a vertex of a tree is from its root, or `kNoPath` where it hangs on an orphan. What the
/// way shows is noted on it for the round.
int PixelGraph::distanceToRoot(int v, int round) {
  int distance = 0;
  int u = v;
  for (; at(u).seen != round; u = neighbour(u, at(u).parent)) {
    if (at(u).parent == kOrphan) {
      return kNoPath;
    }
    if (at(u).parent == kTerminal) {
      at(u).seen = round;
      at(u).distance = 1;
      break;
    }
    ++distance;
  }
  distance += at(u).distance;
  int left = distance;
  for (u = v; at(u).seen != round; u = neighbour(u, at(u).parent)) {
    at(u).seen = round;
    at(u).distance = left--;
  }
  return distance;
}

/// Hangs an orphan on the neighbour of its tree nearest to a root, else sets it free.
void PixelGraph::adopt(int v, int round) {
  Vertex& orphaned = at(v);
  signed char parent = kFree;
  int nearest = kNoPath;
  for (const Direction direction : kDirections) {
    const int n = neighbour(v, direction);
    if (inSameTree(v, n) && unusedByParent(v, direction) != 0) {
      const int distance = distanceToRoot(n, round);
      if (distance < nearest) {
        nearest = distance;
        parent = direction;
      }
    }
  }
  if (parent == kFree) {
    setFree(v);
  } else {
    orphaned.parent = parent;
    orphaned.seen = round;
    orphaned.distance = nearest + 1;
  }
}

/// Neighbours that could take the vertex back become active, its children orphans.
void PixelGraph::setFree(int v) {
  at(v).parent = kFree;
  at(v).seen = 0;
  for (const Direction direction : kDirections) {
    const int n = neighbour(v, direction);
    if (inSameTree(v, n)) {
      if (unusedByParent(v, direction) != 0) {
        activate(n);
      }
      if (at(n).parent == opposite(direction)) {
        orphan(n);
      }
    }
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
