// SPDX-License-Identifier: MIT
/// @file
/// The minimum cut of a graph of pixels.
#ifndef ORV_MONTAGE_COMPOSITION_PIXEL_GRAPH_H
#define ORV_MONTAGE_COMPOSITION_PIXEL_GRAPH_H

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Pixels joined to their four neighbours and bound to a source or a sink.
///
/// Cut by augmenting paths between two search trees (Y. Boykov, V. Kolmogorov, "An experimental
/// comparison of min-cut/max-flow algorithms for energy minimization in vision", PAMI 26(9), 2004).
/// Of several minimum cuts it finds the one that `cv::detail::GCGraph` finds when its edges are
/// added in raster order, to the right before downward: neighbours are visited in the order in
/// which that graph lists them. Neighbours are implied by place; a pixel takes 32 bytes.
class PixelGraph {
 public:
  explicit PixelGraph(cv::Size size);

  /// Binds a pixel to the source (above 0) or the sink (below 0).
  void bind(int x, int y, int capacity) { at(vertex(x, y)).excess = capacity; }
  /// Joins a pixel to its right or lower neighbour, in both directions.
  void joinRight(int x, int y, int capacity) { join(vertex(x, y), kRight, capacity); }
  void joinDown(int x, int y, int capacity) { join(vertex(x, y), kDown, capacity); }

  /// To be called once. @param[in] poll  called now and then; may throw to stop.
  void cut(const std::function<void()>& poll);
  /// After the cut.
  [[nodiscard]] bool onSourceSide(int x, int y) const { return !at(vertex(x, y)).sink; }

 private:
  /// In the order in which neighbours are visited; 3 - direction leads back.
  enum Direction : signed char { kDown, kRight, kLeft, kUp };
  static constexpr std::array<Direction, 4> kDirections = {kDown, kRight, kLeft, kUp};
  static constexpr Direction opposite(Direction direction) {
    return static_cast<Direction>(kUp - direction);
  }

  /// Other values of `Vertex::parent`, all below the directions.
  enum Parent : signed char { kFree = -1, kTerminal = -2, kOrphan = -3 };

  struct alignas(32) Vertex {
    int excess = 0;                    ///< unused capacity to the source, or minus that to the sink
    std::array<int, 4> capacity = {};  ///< unused, to each neighbour
    int distance = 0;                  ///< to the root of its tree, as known in round `seen`
    int seen = 0;
    signed char parent = kFree;  ///< direction of the next vertex towards the root
    bool sink = false;           ///< in which tree, where not free
    bool active = false;         ///< waits in the queue to grow
  };

  /// From the tree of the source to that of the sink.
  struct Bridge {
    int from;
    Direction direction;
  };

  [[nodiscard]] int vertex(int x, int y) const { return (y + 1) * stride_ + x + 1; }
  [[nodiscard]] int neighbour(int v, int direction) const {
    return v + offsets_[static_cast<std::size_t>(direction)];
  }
  [[nodiscard]] Vertex& at(int v) { return vertices_[static_cast<std::size_t>(v)]; }
  [[nodiscard]] const Vertex& at(int v) const { return vertices_[static_cast<std::size_t>(v)]; }
  [[nodiscard]] int& capacity(int v, int direction) {
    return at(v).capacity[static_cast<std::size_t>(direction)];
  }
  /// The capacity back from a neighbour.
  [[nodiscard]] int& capacityFrom(int v, int direction) {
    return capacity(neighbour(v, direction), kUp - direction);
  }

  /// The unused capacity of the edge to a neighbour in the direction in which a tree is traversed,
  /// from the source and to the sink: were the neighbour the parent, or the child.
  [[nodiscard]] int& unusedByParent(int v, int direction) {
    return at(v).sink ? capacity(v, direction) : capacityFrom(v, direction);
  }
  [[nodiscard]] int& unusedByChild(int v, int direction) {
    return at(v).sink ? capacityFrom(v, direction) : capacity(v, direction);
  }
  /// Whether a neighbour is in the tree that a vertex is in or has just left.
  [[nodiscard]] bool inSameTree(int v, int neighbourOfV) const {
    return at(neighbourOfV).parent != kFree && at(neighbourOfV).sink == at(v).sink;
  }

  void join(int v, Direction direction, int both) {
    capacity(v, direction) = both;
    capacityFrom(v, direction) = both;
  }
  void activate(int v);
  void orphan(int v);
  std::optional<Bridge> grow();
  std::optional<Bridge> growFrom(int v);
  [[nodiscard]] int room(const Bridge& bridge);
  void push(const Bridge& bridge, int flow);
  void adoptOrphans(int round);
  [[nodiscard]] int distanceToRoot(int v, int round);
  void adopt(int v, int round);
  void setFree(int v);

  int stride_;  ///< a rim around the pixels has no capacity
  std::array<int, 4> offsets_;
  std::vector<Vertex> vertices_;
  std::deque<int> active_;
  std::vector<int> orphans_;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_PIXEL_GRAPH_H
