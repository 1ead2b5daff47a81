// SPDX-License-Identifier: MIT
/// @file
/// Which pixels of a footprint show something of their image.
#ifndef ORV_MONTAGE_COMPOSITION_FOOTPRINT_MASK_H
#define ORV_MONTAGE_COMPOSITION_FOOTPRINT_MASK_H

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Sets mask pixels to zero whose place in the source is no pixel of it (rounded to the nearest).
///
/// On a plane an image is a convex quadrangle, so a row of it is one run, known without mapping its
/// pixels.
///
/// @param[in] corner  top-left pixel of the mask on the plane.
/// @param[in] source  size of the image.
/// @param[in,out] mask  `CV_8UC1`.
void keepInside(const cv::detail::PlaneProjector& projector,
                cv::Point corner,
                cv::Size source,
                cv::Mat& mask);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_FOOTPRINT_MASK_H
