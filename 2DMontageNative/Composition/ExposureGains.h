// SPDX-License-Identifier: MIT
/// @file
/// Exposure gains per block of pixels, estimated where images overlap.
#ifndef ORV_MONTAGE_COMPOSITION_EXPOSURE_GAINS_H
#define ORV_MONTAGE_COMPOSITION_EXPOSURE_GAINS_H

#include "Composition/SeamViews.h"

#include <opencv2/core.hpp>

#include <functional>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Gains that bring overlapping blocks of 32 x 32 pixels to the same brightness, as
/// `cv::detail::BlocksGainCompensator` estimates them (M. Brown, D. Lowe, "Automatic panoramic image
/// stitching using invariant features", IJCV 74(1), 2007; per block M. Uyttendaele, A. Eden,
/// R. Szeliski, "Eliminating ghosting and exposure artifacts in image mosaics", CVPR 2001).
///
/// Pixels count where both masks are 255. Time and memory grow with the block pairs that overlap,
/// not with the square of the number of blocks.
///
/// @param[in] step  called after each of the `overlappingPairs`, from any thread; may throw.
/// @return one `CV_32FC1` gain per block for every image. Where up to 3000 blocks share pixels with
///   others they have OpenCV's very bits, which come of a dense factorisation in single precision;
///   more are solved sparsely in double precision and differ from OpenCV's by the rounding of those,
///   some 1e-6.
std::vector<cv::Mat> exposureGains(const SeamViews& views, const std::function<void()>& step);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_EXPOSURE_GAINS_H
