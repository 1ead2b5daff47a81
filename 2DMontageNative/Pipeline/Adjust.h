// SPDX-License-Identifier: MIT
/// @file
/// Adjustment without checks of its arguments, and cameras at other resolutions.
#ifndef ORV_MONTAGE_PIPELINE_ADJUST_H
#define ORV_MONTAGE_PIPELINE_ADJUST_H

#include "montage/Registration.h"

#include <vector>

namespace montage {

/// montage::adjust() with verdicts, but without the images' sentences: names may still change.
Registration adjustFeatures(const std::vector<Features>& features,
                            const std::vector<PairMatches>& pairs,
                            const AdjustOptions& options,
                            const Progress& progress);

/// The camera for images resampled by `factor`. The plain method's principal points are those of
/// OpenCV, half the image size; the robust method's are centres of pixels.
Camera scaledCamera(const Camera& camera, double factor, AdjustMethod method);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_ADJUST_H
