// SPDX-License-Identifier: MIT
#include "Composition/ImagePlacement.h"

#include "Composition/PlaneFootprint.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

ImagePlacement placeFootprint(const SlabGeometry& geometry,
                              std::size_t index,
                              const cv::Rect& footprint,
                              cv::Point origin) {
  ImagePlacement placement;
  placement.K = intrinsicsOf(geometry.cameras[index]);
  placement.R = geometry.cameras[index].R;
  placement.footprint = footprint;
  // Footprints are predicted from sizes rounded in single precision and may be one pixel smaller
  // than the warped image; the montage has no room for more.
  const cv::Size size(std::min(footprint.width, geometry.sizes[index].width),
                      std::min(footprint.height, geometry.sizes[index].height));
  placement.area = {geometry.corners[index] - origin, size};
  return placement;
}

/// The mask of the blended part, without the pixels around it.
cv::Mat cropped(const cv::Mat& mask, cv::Size size) {
  return mask.size() == size ? mask : mask(cv::Rect(cv::Point(), size)).clone();
}

}  // namespace

cv::Rect footprintOf(cv::detail::RotationWarper& warper,
                     const SlabGeometry& geometry,
                     std::size_t index,
                     cv::Size scaledSize) {
  const cv::detail::CameraParams& camera = geometry.cameras[index];
  const cv::Rect footprint = warper.warpRoi(scaledSize, intrinsicsOf(camera), camera.R);
  requireFootprint(footprint.tl(), footprint.width, footprint.height);
  return footprint;
}

ImagePlacement placeWithinSeams(const SlabGeometry& geometry,
                                const SlabSeams& seams,
                                std::size_t index,
                                const cv::Rect& footprint,
                                cv::Point origin) {
  ImagePlacement placement = placeFootprint(geometry, index, footprint, origin);
  cv::Mat mask;
  cv::resize(seams.masks[index], mask, footprint.size(), 0, 0, cv::INTER_LINEAR);
  placement.mask = cropped(mask, placement.area.size());
  return placement;
}

ImagePlacement placeWhole(cv::detail::RotationWarper& warper,
                          const SlabGeometry& geometry,
                          std::size_t index,
                          cv::Size scaledSize,
                          const cv::Rect& footprint,
                          cv::Point origin) {
  ImagePlacement placement = placeFootprint(geometry, index, footprint, origin);
  const cv::Mat allValid(scaledSize, CV_8UC1, cv::Scalar::all(255));
  cv::Mat mask;
  warper.warp(allValid, placement.K, placement.R, cv::INTER_NEAREST, cv::BORDER_CONSTANT, mask);
  placement.mask = cropped(mask, placement.area.size());
  return placement;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
