// SPDX-License-Identifier: MIT
/// @file
/// What can be chosen for `orv2d montage`, `register`, `compose` and `inspect`.
#ifndef ORV2D_MONTAGE_SETTINGS_H
#define ORV2D_MONTAGE_SETTINGS_H

#include "montage/ImageFiles.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <montage/Options.h>
#include <montage/TiffSink.h>
#include <optional>
#include <string>
#include <vector>

namespace orv2d {

/// Each command has a part of these options; the others keep their defaults.
struct MontageSettings {
  std::vector<std::string> images;  ///< slab after slab
  std::string output;
  int slabs = 1;
  std::string pipeline = "picture";  ///< or "basic" or "diagnostic"
  std::string pairs;                 ///< value of --pairs; empty: the pipeline's choice
  double registrationMp = 0.6;       ///< megapixels; -1 is full resolution, here and below
  double seamMp = 0.1;
  double composeMp = -1.0;
  std::string seams = "graphcut";  ///< or "none"
  bool noBlend = false;
  std::string crop = "none";         ///< or "content" or "inner"
  std::string background = "black";  ///< or "white" or "transparent"
  std::string straighten;  ///< "auto", "horizontal", "vertical", "none"; empty: pipeline's
  double maxSizeMp = 20000.0;
  std::optional<int> quality;  ///< of JPEG, 1 to 100
  bool tiles = false;          ///< write a tiled TIFF; so do the next three
  std::string compression;     ///< "deflate", "jpeg", "none"; empty: the default
  bool pyramid = false;
  bool bigTiff = false;
  std::optional<std::uint64_t> maxMemory;  ///< bytes; none: what suits the machine
  std::optional<cv::Rect> window;          ///< of the montage; none: all of it
  std::vector<std::string> planChoices;    ///< options given that only matter to a plan
  bool planImages = false;                 ///< the images are those that the plan names
  int threads = 0;                         ///< 0: as many as cores
  bool tryGpu = false;
  bool grey = false;
  bool keepMatches = false;
  bool dryRun = false;
  bool json = false;
  std::string registration;      ///< file to read; empty: none
  std::string saveRegistration;  ///< file to write; empty: none, here and below
  std::string report;
  std::string overlay;
  bool quiet = false;

  [[nodiscard]] montage::Preset preset() const;
  /// @throw HostError for pairs that do not fit the images.
  [[nodiscard]] montage::RegisterOptions registerOptions() const;
  [[nodiscard]] montage::PlanOptions planOptions() const;
  [[nodiscard]] montage::TiffOptions tiffOptions() const;

  /// What reduces the images of a run that registers, or plans, with these settings.
  [[nodiscard]] std::vector<Reduction> reductions() const;

  /// Whether a tiled TIFF is asked for.
  [[nodiscard]] bool wantsTiles() const {
    return tiles || !compression.empty() || pyramid || bigTiff;
  }

  /// Whether the montage is written with losses, much smaller than its samples.
  [[nodiscard]] bool lossy() const;

  /// Images of one slab.
  [[nodiscard]] int constituentCount() const { return static_cast<int>(images.size()) / slabs; }
  [[nodiscard]] std::vector<std::string> imagesOfSlab(int slab) const;
};

/// Throw `HostError` (usage; unreadable input for a file of pairs) for combinations of images and
/// slabs or pairs, or of options and output formats, that the option checks cannot see.
void requireWholeSlabs(const MontageSettings& settings);
void requirePossiblePairs(const MontageSettings& settings);
void requirePossibleOutputs(const MontageSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_SETTINGS_H
