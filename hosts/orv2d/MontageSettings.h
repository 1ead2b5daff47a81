// SPDX-License-Identifier: MIT
/// @file
/// The options of `orv2d montage`.
#ifndef ORV2D_MONTAGE_SETTINGS_H
#define ORV2D_MONTAGE_SETTINGS_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace orv2d {

struct MontageSettings {
  std::vector<std::string> images;  ///< slab after slab
  std::string output;
  int slabs = 1;
  std::string pipeline = "diagnostic";  ///< or "basic"
  double registrationMp = 0.6;          ///< megapixels; -1 is full resolution, here and below
  double seamMp = 0.1;
  double composeMp = -1.0;
  std::string seams = "graphcut";  ///< or "none"
  bool noBlend = false;
  bool tryGpu = false;
  bool grey = false;
  std::string report;   ///< empty: none
  std::string overlay;  ///< empty: none
  bool quiet = false;

  [[nodiscard]] bool diagnostic() const { return pipeline == "diagnostic"; }
  [[nodiscard]] int constituentCount() const { return static_cast<int>(images.size()) / slabs; }
};

/// Adds the command to `app`; parsing fills `settings`, which must outlive the parsing.
CLI::App* addMontageCommand(CLI::App& app, MontageSettings& settings);

/// Throws `HostError` (usage) for combinations that the option checks cannot see.
void validate(const MontageSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_SETTINGS_H
