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

/// Where one image lies.
struct ImagePlacement {
  cv::Mat K;           ///< 3 x 3 `CV_32F`, at composition scale
  cv::Mat R;           ///< 3 x 3 `CV_32F`
  cv::Rect footprint;  ///< of the warped image on the montage plane
  cv::Rect area;       ///< the part to blend, in the montage
  cv::Point offset;    ///< of that part in the footprint
};

/// Where a plane warper puts image `index`; refuses what cannot be warped (`requireFootprint`).
///
/// @param[in] scaledSize  of the image at composition scale.
cv::Rect footprintOf(cv::detail::RotationWarper& warper,
                     const SlabGeometry& geometry,
                     std::size_t index,
                     cv::Size scaledSize);

/// Places image `index`; the whole footprint is to be blended.
///
/// @param[in] origin  top-left of the montage on the plane.
ImagePlacement placeFootprint(const SlabGeometry& geometry,
                              std::size_t index,
                              const cv::Rect& footprint,
                              cv::Point origin);

/// Leaves of the area what may come within `reach` pixels of the seam mask, on a grid that leaves
/// the pixels there as they are.
void keepNearSeams(const cv::Mat& seamMask, int reach, ImagePlacement& placement);

/// The seam mask stretched over the footprint.
///
/// @param[in] seamMask  `CV_8UC1` at seam scale.
/// @return `CV_8UC1` of the area's size, as the blender takes it.
cv::Mat maskWithinSeams(const cv::Mat& seamMask, const ImagePlacement& placement);

/// All pixels that show something of the image.
///
/// @param[in] scaledSize  of the image at composition scale.
/// @return `CV_8UC1` of the area's size, as the blender takes it.
cv::Mat maskOfWhole(cv::detail::RotationWarper& warper,
                    cv::Size scaledSize,
                    const ImagePlacement& placement);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_IMAGE_PLACEMENT_H
