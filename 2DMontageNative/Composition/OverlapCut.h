// SPDX-License-Identifier: MIT
/// @file
/// Where the overlap of two images is cut.
#ifndef ORV_MONTAGE_COMPOSITION_OVERLAP_CUT_H
#define ORV_MONTAGE_COMPOSITION_OVERLAP_CUT_H

#include <opencv2/core.hpp>

#include <functional>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Two images where they overlap, as far as a cut is concerned; all matrices of one size.
struct Overlap {
  cv::Mat_<int> owner;       ///< pixels that the first image alone has minus those of the second
  cv::Mat_<int> difference;  ///< of the colours, squared
  cv::Mat shared;            ///< `CV_8UC1`, non-zero where both images have a pixel
  int pixelSide = 1;         ///< in pixels of the images: reduced overlaps have larger pixels
};

/// The overlap of two images.
///
/// @param[in] first, second  `CV_8UC3` of one size.
/// @param[in] firstMask, secondMask  `CV_8UC1`, non-zero where the image has a pixel.
Overlap overlapOf(const cv::Mat& first,
                  const cv::Mat& firstMask,
                  const cv::Mat& second,
                  const cv::Mat& secondMask);

/// The cut of least cost, the very one that OpenCV finds.
///
/// @param[in] poll  called a few times a second; may throw.
/// @return `CV_8UC1`, non-zero on the side of the first image.
cv::Mat cutExactly(const Overlap& overlap, const std::function<void()>& poll);

/// Cuts the overlap at a lower resolution and then, at each higher one, the band around that cut:
/// H. Lombaert et al., "A multilevel banded graph cuts method for fast image segmentation", ICCV
/// 2005. Nearly as cheap a cut in a fraction of the time.
cv::Mat cutFromCoarseToFine(const Overlap& overlap, const std::function<void()>& poll);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_OVERLAP_CUT_H
