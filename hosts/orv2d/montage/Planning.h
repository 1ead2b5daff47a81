// SPDX-License-Identifier: MIT
/// @file
/// Making, saving and reading the plan of a montage.
#ifndef ORV2D_PLANNING_H
#define ORV2D_PLANNING_H

#include "OutputFiles.h"
#include "montage/MontageSettings.h"

#include <montage/MontagePlan.h>
#include <string>

namespace orv2d {

/// Plans with progress. Throws `HostError` for images that are not those registered.
montage::MontagePlan makePlan(const montage::Registration& registration,
                              const montage::ImageSource& images,
                              const MontageSettings& settings);

/// Whether the file begins as a plan does.
bool isPlanFile(const std::string& file);

/// Throws `HostError` (unreadable input) for a file that is missing, damaged or no plan.
montage::MontagePlan readPlan(const std::string& file);

/// Stages the plan under its name.
void writePlan(const montage::MontagePlan& plan, const std::string& file, OutputFiles& outputs);

}  // namespace orv2d

#endif  // ORV2D_PLANNING_H
