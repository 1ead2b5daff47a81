// SPDX-License-Identifier: MIT
#include "Registration/NearestTwo.h"

#include "Platform/ParallelLoop.h"
#include "Registration/ScanPanels.h"

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// Panels of the first image per block: 256 SIFT descriptors, 64 KiB, stay in the second-level
/// cache.
constexpr int kPanelsPerBlock = 8;

/// Takes over what another part of the search has seen in one slot; the lower index wins a tie.
void mergeSlot(NearestTwo& into, const RunningTwo& seen, std::size_t slot) {
  const float nearest = seen.nearest[slot];
  const int index = seen.index[slot];
  const bool wins = nearest < into.nearest || (nearest == into.nearest && index < into.index);
  const float loser = wins ? into.nearest : nearest;
  into.second = std::min({into.second, seen.second[slot], loser});
  if (wins) {
    into.nearest = nearest;
    into.index = index;
  }
}

void takeRoots(std::vector<NearestTwo>& squared) {
  for (auto& neighbours : squared) {
    neighbours.nearest = std::sqrt(neighbours.nearest);
    neighbours.second = std::sqrt(neighbours.second);
  }
}

}  // namespace

MutualNearest findNearestTwo(const DescriptorPanels& first, const DescriptorPanels& second) {
  MutualNearest found;
  found.ofFirst.resize(static_cast<std::size_t>(first.count));
  found.ofSecond.resize(static_cast<std::size_t>(second.count));
  if (first.count == 0 || second.count == 0) {
    return found;
  }
  CV_Assert(first.kind == second.kind && first.steps == second.steps);

  const int blocks = (first.panels() + kPanelsPerBlock - 1) / kPanelsPerBlock;
  std::vector<RunningTwo> columnsOfBlock(static_cast<std::size_t>(blocks), RunningTwo(0));
  Platform::parallelFor(0, blocks, [&](int block) {
    const int firstPanel = block * kPanelsPerBlock;
    const int lastPanel = std::min(firstPanel + kPanelsPerBlock, first.panels());
    const int firstRow = firstPanel * DescriptorPanels::kWidth;
    const int lastRow = std::min(lastPanel * DescriptorPanels::kWidth, first.count);
    RunningTwo rows((lastPanel - firstPanel) * DescriptorPanels::kWidth * kLanesPerRow);
    RunningTwo columns(second.panels() * DescriptorPanels::kWidth);
    scanPanels(first, firstPanel, lastPanel, second, rows, columns);

    for (int row = firstRow; row < lastRow; ++row) {
      for (int lane = 0; lane < kLanesPerRow; ++lane) {
        const int slot = (row - firstRow) * kLanesPerRow + lane;
        mergeSlot(
            found.ofFirst[static_cast<std::size_t>(row)], rows, static_cast<std::size_t>(slot));
      }
    }
    columnsOfBlock[static_cast<std::size_t>(block)] = std::move(columns);
  });
  for (const auto& columns : columnsOfBlock) {
    for (std::size_t column = 0; column < found.ofSecond.size(); ++column) {
      mergeSlot(found.ofSecond[column], columns, column);
    }
  }
  if (first.kind != DescriptorKind::kBits) {
    takeRoots(found.ofFirst);
    takeRoots(found.ofSecond);
  }
  return found;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
