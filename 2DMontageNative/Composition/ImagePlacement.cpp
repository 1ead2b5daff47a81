// SPDX-License-Identifier: MIT
#include "Composition/ImagePlacement.h"

#include "Composition/PlaneFootprint.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

/// Keeping parts of masks on this grid leaves the cells that are counted from their corners.
constexpr int kPartGrid = 64;

int roundedUp(int length, int step) {
  return (length + step - 1) / step * step;
}

/// The blended part of a mask of the footprint.
cv::Mat partOf(const cv::Mat& mask, const ImagePlacement& placement) {
  const cv::Rect part(placement.offset, placement.area.size());
  return mask.size() == part.size() ? mask : mask(part).clone();
}

/// Pixels of a stretched line that may show pixels [first, last) of the line, with `reach` around.
cv::Range stretched(int first, int last, int length, int stretchedLength, int reach) {
  const double factor = static_cast<double>(stretchedLength) / length;
  // Stretching mixes neighbours; a rim of zeros tells where a mask ends.
  constexpr int kRim = 2;
  const double begin = std::floor((first - 1) * factor) - reach - kRim;
  const double end = std::ceil((last + 1) * factor) + reach + kRim;
  const int gridded = static_cast<int>(std::max(begin, 0.0)) / kPartGrid * kPartGrid;
  return {gridded,
          std::min(stretchedLength, roundedUp(static_cast<int>(std::max(end, 0.0)), kPartGrid))};
}

}  // namespace

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

cv::Rect footprintOf(cv::detail::RotationWarper& warper,
                     const SlabGeometry& geometry,
                     std::size_t index,
                     cv::Size scaledSize) {
  const cv::detail::CameraParams& camera = geometry.cameras[index];
  const cv::Rect footprint = warper.warpRoi(scaledSize, intrinsicsOf(camera), camera.R);
  requireFootprint(footprint.tl(), footprint.width, footprint.height);
  return footprint;
}

void keepNearSeams(const cv::Mat& seamMask, int reach, ImagePlacement& placement) {
  cv::Mat joined;
  cv::reduce(seamMask, joined, 0, cv::REDUCE_MAX);
  const auto extentOf = [](const cv::Mat& line) {
    const auto* const values = line.ptr<uchar>();
    const auto* const end = values + line.total();
    const auto isSet = [](uchar value) { return value != 0; };
    const auto* const first = std::find_if(values, end, isSet);
    const auto* last = end;
    while (last > first && !isSet(last[-1])) {
      --last;
    }
    return cv::Range(static_cast<int>(first - values), static_cast<int>(last - values));
  };
  const cv::Range columns = extentOf(joined);
  cv::reduce(seamMask, joined, 1, cv::REDUCE_MAX);
  const cv::Range rows = extentOf(joined);
  if (columns.empty() || rows.empty()) {
    return;
  }
  const cv::Size size = placement.footprint.size();
  const cv::Range x = stretched(columns.start, columns.end, seamMask.cols, size.width, reach);
  const cv::Range y = stretched(rows.start, rows.end, seamMask.rows, size.height, reach);
  const cv::Rect part =
      cv::Rect(x.start, y.start, x.size(), y.size()) & cv::Rect(cv::Point(), placement.area.size());
  placement.area = part + placement.area.tl();
  placement.offset = part.tl();
}

cv::Mat maskWithinSeams(const cv::Mat& seamMask, const ImagePlacement& placement) {
  cv::Mat mask;
  cv::resize(seamMask, mask, placement.footprint.size(), 0, 0, cv::INTER_LINEAR);
  return partOf(mask, placement);
}

cv::Mat maskOfWhole(cv::detail::RotationWarper& warper,
                    cv::Size scaledSize,
                    const ImagePlacement& placement) {
  const cv::Mat allValid(scaledSize, CV_8UC1, cv::Scalar::all(255));
  cv::Mat mask;
  warper.warp(allValid, placement.K, placement.R, cv::INTER_NEAREST, cv::BORDER_CONSTANT, mask);
  return partOf(mask, placement);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
