// SPDX-License-Identifier: MIT
/// @file
/// The call into the library's montage.
#ifndef ORV2D_MONTAGE_RUN_H
#define ORV2D_MONTAGE_RUN_H

#include "MontageResult.h"
#include "MontageSettings.h"

#include <vector>

namespace orv2d {

/// Makes the montages of `images` (slab after slab, one size) and fills status, flags, positions,
/// figures, scales and montages. OpenCV's exceptions pass through.
MontageResult runMontage(const MontageSettings& settings, const std::vector<cv::Mat>& images);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_RUN_H
