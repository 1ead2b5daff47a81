// SPDX-License-Identifier: MIT
/// @file
/// In which parts a montage is composed, so that the memory for it suffices.
#ifndef ORV_MONTAGE_PIPELINE_SWEEP_H
#define ORV_MONTAGE_PIPELINE_SWEEP_H

#include "Composition/PlaneComposer.h"
#include "montage/MontagePlan.h"

#include <cstdint>
#include <vector>

namespace montage {

namespace composition = ORV::Common::Algorithms::Montage::Composition;

/// Where the finished pixels go.
enum class Destination {
  memory,        ///< one picture
  rows,          ///< handed on from top to bottom
  rowsOrColumns  ///< handed on in any order
};

/// A montage, or a window of it, cut into strips. An image is read before the first strip that it
/// bears on and let go after the last one: strips and images are both rectangles, so no image is
/// read twice.
struct Sweep {
  std::vector<cv::Rect> strips;  ///< in the canvas, in the order of composition
  bool holdAll = true;           ///< all images are read before the first strip and held
  std::uint64_t peakBytes = 0;   ///< of memory, besides the plan and what the source holds
};

/// Counts the memory that composing takes, from the plan alone.
class SweepPlanner {
 public:
  /// @param[in] images  the plan's, laid out.
  /// @param[in] channels  of the montage, 1 or 3.
  SweepPlanner(const MontagePlan& plan,
               std::vector<composition::PlaneComposer::Image> images,
               int channels);

  /// All at once.
  [[nodiscard]] Sweep whole(const cv::Rect& window, Destination destination) const;

  /// The strips that take the least memory.
  [[nodiscard]] Sweep leastMemory(const cv::Rect& window, Destination destination) const;

 private:
  [[nodiscard]] Sweep inStrips(const cv::Rect& window,
                               cv::Size strip,
                               bool holdAll,
                               Destination destination) const;
  [[nodiscard]] std::uint64_t heldBytes(std::size_t index) const;
  [[nodiscard]] std::uint64_t loadingBytes() const;
  [[nodiscard]] std::uint64_t pictureBytes(const cv::Rect& area) const;

  const MontagePlan& plan_;
  std::vector<composition::PlaneComposer::Image> images_;
  int channels_;
  composition::PlaneComposer plane_;
  std::vector<std::uint64_t> held_;  ///< per image
};

/// All at once if `memoryBytes` suffice for it, else the strips that take the least memory.
/// @throw MemoryLimitError if they do not suffice either.
Sweep sweepWithin(const SweepPlanner& planner,
                  const cv::Rect& window,
                  Destination destination,
                  std::uint64_t memoryBytes);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_SWEEP_H
