// SPDX-License-Identifier: MIT
/// @file
/// Which pixels of a footprint show something of their image.
#ifndef ORV_MONTAGE_COMPOSITION_FOOTPRINT_MASK_H
#define ORV_MONTAGE_COMPOSITION_FOOTPRINT_MASK_H

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// The columns of every row of a footprint whose place in the source is a pixel of it (rounded to the
/// nearest).
///
/// On a plane an image is a convex quadrangle, so a row of it is one run, known without mapping its
/// pixels.
///
/// @param[in] area  rows and columns on the plane; runs count from its top-left pixel.
/// @param[in] source  size of the image.
std::vector<cv::Range> runsInside(const cv::detail::PlaneProjector& projector,
                                  const cv::Rect& area,
                                  cv::Size source);

/// Sets the pixels of a mask (`CV_8UC1`) outside of the runs to zero.
void keepRuns(const std::vector<cv::Range>& runs, cv::Mat& mask);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_FOOTPRINT_MASK_H
