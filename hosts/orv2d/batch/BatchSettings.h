// SPDX-License-Identifier: MIT
/// @file
/// What can be chosen for `orv2d batch`.
#ifndef ORV2D_BATCH_SETTINGS_H
#define ORV2D_BATCH_SETTINGS_H

#include "batch/Shard.h"
#include "montage/MontageSettings.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orv2d {

/// An option of `orv2d montage` as it was given.
struct GivenOption {
  std::string name;                  ///< with its dashes
  std::optional<std::string> value;  ///< none: a flag
};

struct BatchSettings {
  std::string manifest;
  std::string outputFolder;  ///< empty: that of the manifest
  int jobs = 1;
  int threads = 0;                         ///< of all jobs together; 0: as many as cores
  std::optional<std::uint64_t> maxMemory;  ///< bytes, of all jobs together
  std::string shard;                       ///< value of --shard; empty: the whole batch
  bool force = false;
  bool quiet = false;
  MontageSettings montage;            ///< filled by parsing, for its checks and its output
  std::vector<GivenOption> defaults;  ///< for scenes that do not say otherwise
};

}  // namespace orv2d

#endif  // ORV2D_BATCH_SETTINGS_H
