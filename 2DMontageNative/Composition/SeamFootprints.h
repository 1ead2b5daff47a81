// SPDX-License-Identifier: MIT
/// @file
/// Where the warped images of the seam stage lie in the full-resolution montage.
#ifndef ORV_MONTAGE_COMPOSITION_SEAM_FOOTPRINTS_H
#define ORV_MONTAGE_COMPOSITION_SEAM_FOOTPRINTS_H

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Centres of warped footprints in full-resolution pixels, relative to the top-left corner of the
/// bounding box of all footprints.
///
/// @param[in] corners,sizes  footprints at seam scale, one per image.
/// @param[in] seamScale  seam resolution / full resolution. Quotients are truncated toward zero.
std::vector<cv::Point> footprintCentresOf(const std::vector<cv::Point>& corners,
                                          const std::vector<cv::Size>& sizes,
                                          double seamScale);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_SEAM_FOOTPRINTS_H
