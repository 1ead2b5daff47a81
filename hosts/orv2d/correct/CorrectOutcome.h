// SPDX-License-Identifier: MIT
/// @file
/// What became of one image of `orv2d correct`, for the table and the report.
#ifndef ORV2D_CORRECT_OUTCOME_H
#define ORV2D_CORRECT_OUTCOME_H

#include "ExitCode.h"
#include "correct/ContentMask.h"
#include "correct/CorrectSettings.h"
#include "correct/Correction.h"
#include "report/Report.h"

#include <string>
#include <vector>

namespace orv2d {

struct CorrectOutcome {
  std::string file;
  std::string output;
  ExitCode code = ExitCode::InternalError;
  std::string message = "success";
  bool hasResult = false;  ///< written, or to be written with the other outputs
  int status = 0;          ///< the library's; 0 also where it was not called
  cv::Size sourceSize;
  int channels = 0;
  cv::Size resultSize;
  LensValues values;
  KeptContent kept;
  std::optional<PlaneBounds> bounds;
  std::optional<cv::Point2d> centre;
  double readingSeconds = 0.0;
  double correctionSeconds = 0.0;
  double writingSeconds = 0.0;
};

/// What went wrong, with the name of the image.
std::string failureLine(const CorrectOutcome& outcome);

/// One line of the table for people, of an image with a result.
std::string tableLine(const CorrectOutcome& outcome);

/// The JSON report; its fields are described in docs/orv2d.md.
Json correctReport(const CorrectSettings& settings,
                   const CorrectionPlan& plan,
                   const std::vector<CorrectOutcome>& outcomes);

}  // namespace orv2d

#endif  // ORV2D_CORRECT_OUTCOME_H
