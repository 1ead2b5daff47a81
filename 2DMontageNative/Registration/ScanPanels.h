// SPDX-License-Identifier: MIT
/// @file
/// The kernel of the nearest-neighbour search and the state it works on.
#ifndef ORV_MONTAGE_REGISTRATION_SCAN_PANELS_H
#define ORV_MONTAGE_REGISTRATION_SCAN_PANELS_H

#include "Registration/DescriptorPanels.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// The two nearest seen so far, squared distances; one array each, for vector loads.
struct RunningTwo {
  explicit RunningTwo(int slots)
      : nearest(static_cast<std::size_t>(slots), std::numeric_limits<float>::infinity()),
        second(nearest),
        index(nearest.size(), -1) {}

  std::vector<float> nearest;
  std::vector<float> second;
  std::vector<std::int32_t> index;
};

/// Slots per descriptor in the `rows` of scanPanels(): lanes of the widest vector.
inline constexpr int kLanesPerRow = 16;

/// Compares some panels of one image with all of another, with the best instructions of this
/// machine.
///
/// @param[in] firstPanel, lastPanel  half-open range of the panels of @p first.
/// @param[in,out] rows  kLanesPerRow slots per descriptor of those panels; each slot has seen other
///   descriptors of @p second.
/// @param[in,out] columns  one slot per descriptor of @p second, padding included.
void scanPanels(const DescriptorPanels& first,
                int firstPanel,
                int lastPanel,
                const DescriptorPanels& second,
                RunningTwo& rows,
                RunningTwo& columns);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SCAN_PANELS_H
