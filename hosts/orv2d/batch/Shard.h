// SPDX-License-Identifier: MIT
/// @file
/// A part of a batch, so that several runs share it.
#ifndef ORV2D_SHARD_H
#define ORV2D_SHARD_H

#include <string>

namespace orv2d {

/// Every `count`-th scene, beginning with the `number`-th.
struct Shard {
  int number = 1;  ///< 1 to count
  int count = 1;

  /// @param[in] index  of a scene of the manifest, from 0.
  [[nodiscard]] bool holds(std::size_t index) const {
    return index % static_cast<std::size_t>(count) == static_cast<std::size_t>(number - 1);
  }
};

/// Reads I/N, or "slurm": the part that the environment of a task of a Slurm array means.
/// Throws `HostError` (usage) for another text and for variables that are missing or do not fit.
Shard parseShard(const std::string& text);

}  // namespace orv2d

#endif  // ORV2D_SHARD_H
