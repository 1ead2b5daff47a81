// SPDX-License-Identifier: MIT
#include "Composition/ImagePlacement.h"

#include "Composition/PlaneFootprint.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

ImagePlacement placeFootprint(cv::detail::RotationWarper& warper,
                              const SlabGeometry& geometry,
                              std::size_t index,
                              cv::Size scaledSize,
                              cv::Point origin) {
  ImagePlacement placement;
  placement.K = intrinsicsOf(geometry.cameras[index]);
  placement.R = geometry.cameras[index].R;
  placement.footprint = warper.warpRoi(scaledSize, placement.K, placement.R);
  const cv::Rect& footprint = placement.footprint;
  requireFootprint(footprint.tl(), footprint.width, footprint.height);
  // Footprints are predicted from sizes rounded in single precision and may be one pixel smaller
  // than the warped image; the montage has no room for more.
  const cv::Size size(std::min(placement.footprint.width, geometry.sizes[index].width),
                      std::min(placement.footprint.height, geometry.sizes[index].height));
  placement.area = {geometry.corners[index] - origin, size};
  return placement;
}

/// The mask of the blended part, without the pixels around it.
cv::Mat cropped(const cv::Mat& mask, cv::Size size) {
  return mask.size() == size ? mask : mask(cv::Rect(cv::Point(), size)).clone();
}

}  // namespace

ImagePlacement placeWithinSeams(cv::detail::RotationWarper& warper,
                                const SlabGeometry& geometry,
                                const SlabSeams& seams,
                                std::size_t index,
                                cv::Size scaledSize,
                                cv::Point origin) {
  ImagePlacement placement = placeFootprint(warper, geometry, index, scaledSize, origin);
  cv::Mat mask;
  cv::resize(seams.masks[index], mask, placement.footprint.size(), 0, 0, cv::INTER_LINEAR);
  placement.mask = cropped(mask, placement.area.size());
  return placement;
}

ImagePlacement placeWhole(cv::detail::RotationWarper& warper,
                          const SlabGeometry& geometry,
                          std::size_t index,
                          cv::Size scaledSize,
                          cv::Point origin) {
  ImagePlacement placement = placeFootprint(warper, geometry, index, scaledSize, origin);
  const cv::Mat allValid(scaledSize, CV_8UC1, cv::Scalar::all(255));
  cv::Mat mask;
  warper.warp(allValid, placement.K, placement.R, cv::INTER_NEAREST, cv::BORDER_CONSTANT, mask);
  placement.mask = cropped(mask, placement.area.size());
  return placement;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
