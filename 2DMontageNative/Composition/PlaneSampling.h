// SPDX-License-Identifier: MIT
/// @file
/// What warping onto the montage plane does for a tile: source positions, then pixels.
#ifndef ORV_MONTAGE_COMPOSITION_PLANE_SAMPLING_H
#define ORV_MONTAGE_COMPOSITION_PLANE_SAMPLING_H

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

/// How `cv::remap` reads a source: one of OpenCV's interpolation and one of its border modes.
struct Sampling {
  int interpolation;
  int border;
};

/// Writes the source positions of the destination pixels of `area`, given in plane coordinates.
///
/// @param[out] xMap, yMap  `CV_32FC1` of the area's size, allocated by the caller.
void fillPlaneMaps(cv::detail::PlaneProjector projector,
                   const cv::Rect& area,
                   cv::Mat& xMap,
                   cv::Mat& yMap);

/// Reads the source at the mapped positions, with the bytes of `cv::remap` on the whole.
///
/// @param[out] destination  of the source's type and the size of the maps, allocated by the caller.
void samplePixels(const cv::Mat& source,
                  const cv::Mat& xMap,
                  const cv::Mat& yMap,
                  Sampling sampling,
                  cv::Mat destination);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_PLANE_SAMPLING_H
