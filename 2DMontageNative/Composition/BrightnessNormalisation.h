// SPDX-License-Identifier: MIT
/// @file
/// Brings the brightness of a montage to a standard level.
#ifndef ORV_MONTAGE_COMPOSITION_BRIGHTNESS_NORMALISATION_H
#define ORV_MONTAGE_COMPOSITION_BRIGHTNESS_NORMALISATION_H

#include <opencv2/core.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Scales the brightness so that its 98th percentile lands near 179; brighter values saturate.
///
/// Of a colour image the luma is scaled and the chroma kept.
///
/// @param[in,out] montage  8-bit, one or three channels (blue-green-red), not empty; its pixels are
///   rewritten in place.
/// @note Working memory is a few rows; rows are handled in parallel.
void normaliseBrightness(cv::Mat& montage);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_BRIGHTNESS_NORMALISATION_H
