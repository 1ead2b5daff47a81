// SPDX-License-Identifier: MIT
/// @file
/// The box-filter approximation of the Hessian on which SURF detects its blobs.
#ifndef ORV_MONTAGE_REGISTRATION_SURF_HESSIAN_H
#define ORV_MONTAGE_REGISTRATION_SURF_HESSIAN_H

#include "Registration/IntegralImage.h"

#include <array>
#include <cstdint>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Second derivatives of Gaussians approximated by boxes, as square filters of one size.
///
/// H. Bay, A. Ess, T. Tuytelaars, L. Van Gool, "Speeded-up robust features (SURF)", CVIU 110(3),
/// 2008, section 3.2. Box means, so responses are grey levels whatever the size.
struct HessianFilter {
  std::array<Box, 3> xx;
  std::array<Box, 3> yy;
  std::array<Box, 4> xy;

  /// @param[in] size  side of the filter in pixels, at least 9.
  /// @param[in] image  the table the filter will be evaluated on.
  HessianFilter(int size, const IntegralImage& image);

  /// Sign of the Laplacian at the entry `origin`: 1 dark blob, -1 bright blob, 0.
  [[nodiscard]] int laplacianSign(const std::uint32_t* origin) const;
};

/// Determinants xx * yy - 0.81 * xy^2 of the filter placed at consecutive table entries.
///
/// @param[in] origin  entry of the top-left corner of the first filter.
/// @param[in] count  number of positions; the filters at all of them lie inside the image.
/// @param[out] determinants  count values, then up to `IntegralImage::kReadablePadding` values that
///   mean nothing: the buffer must have room for them.
/// @note Vector code chosen at run time; the values are those of the scalar formula on any machine.
void hessianDeterminants(const HessianFilter& filter,
                         const std::uint32_t* origin,
                         int count,
                         float* determinants);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SURF_HESSIAN_H
