// SPDX-License-Identifier: MIT
#include "Composition/TileBlending.h"

#include "Composition/FeatherBlending.h"
#include "Composition/MultiBandBlending.h"
#include "Composition/OverlayBlending.h"

namespace ORV::Common::Algorithms::Montage::Composition {

std::unique_ptr<TileBlending> makeTileBlending(const cv::detail::Blender& blender,
                                               std::vector<PlacedMask> masks,
                                               cv::Size montage) {
  if (const auto* bands = dynamic_cast<const cv::detail::MultiBandBlender*>(&blender)) {
    return std::make_unique<MultiBandBlending>(std::move(masks), montage, bands->numBands());
  }
  if (const auto* feather = dynamic_cast<const cv::detail::FeatherBlender*>(&blender)) {
    return std::make_unique<FeatherBlending>(std::move(masks), feather->sharpness());
  }
  return std::make_unique<OverlayBlending>(std::move(masks));
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
