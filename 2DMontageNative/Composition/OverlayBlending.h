// SPDX-License-Identifier: MIT
/// @file
/// No blending: later images cover earlier ones.
#ifndef ORV_MONTAGE_COMPOSITION_OVERLAY_BLENDING_H
#define ORV_MONTAGE_COMPOSITION_OVERLAY_BLENDING_H

#include "Composition/TileBlending.h"

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Every pixel is that of the last image with a non-zero mask there, as `cv::detail::Blender` has
/// it; zero where there is none.
class OverlayBlending : public TileBlending {
 public:
  using TileBlending::TileBlending;

  [[nodiscard]] int tileSide() const override { return kTileSide; }
  [[nodiscard]] int reach() const override { return 0; }
  void blend(const WarpedImages& images, const cv::Rect& tile, cv::Mat pixels) const override;

 private:
  static constexpr int kTileSide = 256;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_OVERLAY_BLENDING_H
