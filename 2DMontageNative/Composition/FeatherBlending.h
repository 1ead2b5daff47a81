// SPDX-License-Identifier: MIT
/// @file
/// Feathering: images fade out towards the rim of their masks.
#ifndef ORV_MONTAGE_COMPOSITION_FEATHER_BLENDING_H
#define ORV_MONTAGE_COMPOSITION_FEATHER_BLENDING_H

#include "Composition/TileBlending.h"

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Means of the images weighted by min(1, sharpness * city-block distance to the outside of the
/// mask), as `cv::detail::FeatherBlender` has them.
///
/// Holds one byte per mask pixel, the distance, from which the weight follows.
class FeatherBlending : public TileBlending {
 public:
  /// @param[in] sharpness  at least 1 / 255, so that a distance of 255 has weight 1.
  FeatherBlending(const std::vector<cv::Rect>& areas, float sharpness);

  [[nodiscard]] int tileSide() const override { return kTileSide; }
  [[nodiscard]] int reach() const override { return 0; }
  void blend(const WarpedImages& images, const cv::Rect& tile, cv::Mat pixels) const override;

 protected:
  /// The mask becomes the distances.
  void prepare(std::size_t index, PlacedMask& placed) override;

 private:
  static constexpr int kTileSide = 256;

  cv::Mat weightOfDistance_;  ///< 1 x 256, `CV_32FC1`
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_FEATHER_BLENDING_H
