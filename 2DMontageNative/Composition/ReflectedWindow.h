// SPDX-License-Identifier: MIT
/// @file
/// Pixels of an image and of its reflection beyond the rim.
#ifndef ORV_MONTAGE_COMPOSITION_REFLECTED_WINDOW_H
#define ORV_MONTAGE_COMPOSITION_REFLECTED_WINDOW_H

#include "Composition/WarpedImage.h"

#include <opencv2/core.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Reads a part of the image framed with OpenCV's `BORDER_REFLECT` (fedcba|abcdef|fedcba).
///
/// @param[in] size  of the part of the image, from its top-left pixel, that is framed.
/// @param[in] window  relative to that pixel; may lie partly or wholly outside.
cv::Mat readReflected(const WarpedImage& image, cv::Size size, const cv::Rect& window);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_REFLECTED_WINDOW_H
