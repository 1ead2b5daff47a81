// SPDX-License-Identifier: MIT
/// @file
/// The JSON report of a montage; its fields are described in docs/orv2d.md.
#ifndef ORV2D_MONTAGE_REPORT_H
#define ORV2D_MONTAGE_REPORT_H

#include "MontageResult.h"
#include "MontageSettings.h"
#include "Report.h"

namespace orv2d {

/// The report of a run of any status; without success no image has a flag or a position.
Json montageReport(const MontageSettings& settings, const MontageResult& result);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_REPORT_H
