// SPDX-License-Identifier: MIT
/// @file
/// What one run of `orv2d montage` or `compose` found, for table, report, overlay and notes.
#ifndef ORV2D_MONTAGE_OUTCOME_H
#define ORV2D_MONTAGE_OUTCOME_H

#include "ExitCode.h"
#include "montage/ImageFiles.h"

#include <filesystem>
#include <map>
#include <montage/MontagePlan.h>
#include <optional>
#include <string>
#include <vector>

namespace orv2d {

/// Seconds per phase.
struct PhaseTimes {
  double reading = 0.0;  ///< within the first three; of all threads together
  double registration = 0.0;
  double plan = 0.0;
  double compose = 0.0;
  double writing = 0.0;
};

struct WrittenMontage {
  std::filesystem::path file;
  cv::Size size;
  int channels = 0;
};

struct MontageOutcome {
  ExitCode code = ExitCode::Success;
  std::string message = "success";
  std::optional<montage::Registration> registration;
  std::optional<montage::MontagePlan> plan;
  std::vector<std::optional<ImageFiles::Facts>> facts;  ///< per image of slab 0
  std::vector<WrittenMontage> montages;
  PhaseTimes times;

  [[nodiscard]] bool planned() const { return plan && plan->status == montage::PlanStatus::ok; }
};

/// What became of an image, with what the plan says of it.
struct ImageVerdict {
  bool used;
  std::string name;
  std::string reason;
  std::string advice;
};
ImageVerdict verdictOf(const MontageOutcome& outcome, int index);

/// What to try with an image that was left out; no higher resolution where all of it was used.
std::string adviceFor(const montage::Registration& registration, montage::Verdict verdict);

/// Where an image lies.
struct Position {
  cv::Point2d reported;  ///< see `positionKind`
  cv::Point inMontage;   ///< the same point in pixels of the montage; may lie outside
};

/// Of every image of the plan, by its number.
///
/// picture: centres in the montage. basic: top-left corners of the warped images on the plane.
/// diagnostic: centres of the warped images at full resolution, from the top-left corner of all.
std::map<int, Position> positionsOf(montage::Preset preset, const montage::MontagePlan& plan);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_OUTCOME_H
