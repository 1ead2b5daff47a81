// SPDX-License-Identifier: MIT
/// @file
/// What one run of `orv2d montage` found, for the table, the report and the overlay.
#ifndef ORV2D_MONTAGE_RESULT_H
#define ORV2D_MONTAGE_RESULT_H

#include <opencv2/core.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace orv2d {

/// Quality figures of the diagnostic pipeline; lengths in pixels of the registration resolution.
struct QualityFigures {
  double projectionErrorRms = 0.0;
  double focalMean = 0.0;
  double focalRange = 0.0;
  double rotationMax = 0.0;  ///< radians
};

/// Factors from full resolution to the three working resolutions.
struct Scales {
  double registration = 1.0;
  double seam = 1.0;
  double compose = 1.0;
};

/// Seconds per phase, as far as the host can tell them apart.
struct PhaseTimes {
  double reading = 0.0;
  double montage = 0.0;
  double writing = 0.0;
};

struct MontageResult {
  int status = 0;       ///< the library's
  std::string message;  ///< its sentence
  cv::Size imageSize;
  std::vector<int> channels;         ///< per image
  std::vector<int> used;             ///< per constituent, 1 or 0
  std::vector<cv::Point> positions;  ///< per constituent, as the library reports them
  std::vector<cv::Point> inMontage;  ///< the same in pixels of the montage
  std::vector<cv::Mat> montages;     ///< per slab
  std::vector<std::filesystem::path> montageFiles;
  std::optional<QualityFigures> quality;  ///< diagnostic pipeline only
  Scales scales;
  PhaseTimes times;
};

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_RESULT_H
