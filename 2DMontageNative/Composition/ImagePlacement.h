// SPDX-License-Identifier: MIT
/// @file
/// Where the images of a slab lie; depends on sizes, cameras and seams, not on pixels.
#ifndef ORV_MONTAGE_COMPOSITION_IMAGE_PLACEMENT_H
#define ORV_MONTAGE_COMPOSITION_IMAGE_PLACEMENT_H

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/camera.hpp>
#include <opencv2/stitching/detail/exposure_compensate.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Where the images of a slab go: one entry per image, all at composition scale.
struct SlabGeometry {
  std::vector<cv::detail::CameraParams> cameras;
  std::vector<cv::Point> corners;  ///< top-left of each footprint
  std::vector<cv::Size> sizes;     ///< size of each footprint
  double composeScale;             ///< composition / full resolution
};

/// Seam masks at seam scale and the compensator that holds the gains.
struct SlabSeams {
  std::vector<cv::Mat> masks;
  cv::Ptr<cv::detail::ExposureCompensator> compensator;
};

/// Where one image lies and which of its pixels the montage takes.
struct ImagePlacement {
  cv::Mat K;           ///< 3 x 3 `CV_32F`, at composition scale
  cv::Mat R;           ///< 3 x 3 `CV_32F`
  cv::Rect footprint;  ///< of the warped image on the montage plane
  cv::Rect area;       ///< the part to blend, from the top-left pixel of both footprint and montage
  cv::Mat mask;        ///< `CV_8UC1` of the area's size, as the blender takes it
  /// Columns of every row of the area that show the image itself; empty: not known.
  std::vector<cv::Range> inside;
};

/// Where a plane warper puts image `index`; refuses what cannot be warped (`requireFootprint`).
///
/// @param[in] scaledSize  of the image at composition scale.
cv::Rect footprintOf(cv::detail::RotationWarper& warper,
                     const SlabGeometry& geometry,
                     std::size_t index,
                     cv::Size scaledSize);

/// Places image `index` with its seam mask stretched over its footprint.
///
/// @param[in] origin  top-left of the montage on the plane.
ImagePlacement placeWithinSeams(const SlabGeometry& geometry,
                                const SlabSeams& seams,
                                std::size_t index,
                                const cv::Rect& footprint,
                                cv::Point origin);

/// Places image `index` with a mask of all pixels that show something of it.
///
/// @param[in] scaledSize  of the image at composition scale.
ImagePlacement placeWhole(cv::detail::RotationWarper& warper,
                          const SlabGeometry& geometry,
                          std::size_t index,
                          cv::Size scaledSize,
                          const cv::Rect& footprint,
                          cv::Point origin);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_IMAGE_PLACEMENT_H
