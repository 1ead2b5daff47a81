// SPDX-License-Identifier: MIT
/// @file
/// The JSON report of a montage; its fields are described in docs/orv2d.md.
#ifndef ORV2D_MONTAGE_REPORT_H
#define ORV2D_MONTAGE_REPORT_H

#include "montage/MontageOutcome.h"
#include "montage/MontageSettings.h"
#include "report/Report.h"

namespace orv2d {

/// The report of a run however it ended, as far as it came.
Json montageReport(const std::string& command,
                   const MontageSettings& settings,
                   const MontageOutcome& outcome);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_REPORT_H
