// SPDX-License-Identifier: MIT
#include "Composition/TileBlending.h"

#include "Composition/FeatherBlending.h"
#include "Composition/MultiBandBlending.h"
#include "Composition/OverlayBlending.h"

namespace ORV::Common::Algorithms::Montage::Composition {

std::unique_ptr<TileBlending> makeTileBlending(const BlendOptions& options,
                                               std::vector<PlacedMask> masks,
                                               cv::Size montage) {
  switch (options.kind) {
    case BlendKind::kFeather:
      return std::make_unique<FeatherBlending>(std::move(masks), options.sharpness);
    case BlendKind::kMultiBand:
      return std::make_unique<MultiBandBlending>(std::move(masks), montage, options.bands);
    default:
      return std::make_unique<OverlayBlending>(std::move(masks));
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
