// SPDX-License-Identifier: MIT
/// @file
/// The options of `orv2d correct`.
#ifndef ORV2D_CORRECT_SETTINGS_H
#define ORV2D_CORRECT_SETTINGS_H

#include "correct/LensParameters.h"

#include <CLI/CLI.hpp>

#include <map>
#include <string>
#include <vector>

namespace orv2d {

struct CorrectSettings {
  std::vector<std::string> images;
  std::string output;                        ///< a file, or a folder
  std::string mode;                          ///< empty: from the lens file
  std::string lensFile;                      ///< empty: none, also for the files below
  std::map<std::string, std::string> given;  ///< text per parameter; empty: not given
  std::string circle;  ///< "CX,CY,R" or "auto"; empty: from the lens file, or none
  std::string mask;
  std::string report;
  std::string maps;
  std::string preview;
  std::string format;  ///< "png", "tif" or "jpg" of the files in a folder; empty: as the input
  bool sharedMaps = false;
  bool quiet = false;
};

/// The mode and its values, before what follows from an image.
struct CorrectionPlan {
  CorrectMode mode = CorrectMode::kSquare;
  LensValues values;
  bool sharedMaps = false;
  std::string circle;  ///< as in `CorrectSettings`
};

/// Adds the command to `app`; parsing fills `settings`, which must outlive the parsing.
CLI::App* addCorrectCommand(CLI::App& app, CorrectSettings& settings);

/// Joins lens file, options (which win) and defaults, and checks the combination. Throws
/// `HostError`.
CorrectionPlan planCorrection(const CorrectSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_CORRECT_SETTINGS_H
