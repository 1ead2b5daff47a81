// SPDX-License-Identifier: MIT
/// @file
/// The rays of a pair's matched pixels and the derivatives of their differences, vectorised.
#ifndef ORV_MONTAGE_REGISTRATION_EDGE_RAYS_H
#define ORV_MONTAGE_REGISTRATION_EDGE_RAYS_H

#include <opencv2/core.hpp>

#include <cstddef>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Points coordinate by coordinate, padded to whole vectors of every instruction set.
struct PixelColumns {
  std::vector<double> x;
  std::vector<double> y;
  std::size_t count = 0;

  PixelColumns() = default;
  explicit PixelColumns(const std::vector<cv::Point2f>& points);
};

/// Rays of length 1 coordinate by coordinate, padded as the pixels that they belong to.
struct RayColumns {
  std::vector<double> x;
  std::vector<double> y;
  std::vector<double> z;
};

/// A camera's map from homogeneous pixels to rays, and the factor on the differences of its pair.
struct RayMap {
  cv::Matx33d rayFromPixel;
  double pixelsPerRay = 1.0;
};

/// `unitRay` of every pixel, bit for bit.
[[nodiscard]] RayColumns unitRays(const cv::Matx33d& rayFromPixel, const PixelColumns& pixels);

/// Central differences of the errors pixelsPerRay * (a - b) of all matches, where the rays of one
/// side change and those of the other stay; bit for bit what single matches give.
///
/// @param[in] below,above  of the changing side, one step down and up.
/// @param[in] changingIsFirst  whether the changing side is a.
/// @param[in] width  above minus below, in the parameter.
/// @param[out] derivatives  x, y and z of each match, `stride` doubles from one to the next.
void differentiateRays(const RayMap& below,
                       const RayMap& above,
                       const PixelColumns& changing,
                       const RayColumns& constant,
                       bool changingIsFirst,
                       double width,
                       double* derivatives,
                       std::size_t stride);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_EDGE_RAYS_H
