// SPDX-License-Identifier: MIT
#include "Composition/TileBlending.h"

#include "Composition/FeatherBlending.h"
#include "Composition/MultiBandBlending.h"
#include "Composition/OverlayBlending.h"
#include "Platform/ParallelLoop.h"

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

int roundedDown(int value, int step) {
  return value / step * step;
}

/// Makes one part of a window; where its corner is not aligned, from a larger tile.
void blendPart(const TileBlending& blending,
               const WarpedImages& images,
               const cv::Rect& part,
               cv::Mat pixels) {
  const cv::Point aligned(roundedDown(part.x, blending.alignment()),
                          roundedDown(part.y, blending.alignment()));
  if (aligned == part.tl()) {
    blending.blend(images, part, pixels);
    return;
  }
  const cv::Rect tile(aligned, part.br());
  cv::Mat larger(tile.size(), pixels.type());
  blending.blend(images, tile, larger);
  larger(part - aligned).copyTo(pixels);
}

void cover(const TileBlending& blending, const cv::Rect& part, cv::Mat coverage) {
  coverage.setTo(0);
  for (std::size_t i = 0; i < blending.imageCount(); ++i) {
    const cv::Rect& area = blending.maskOf(i).area;
    const cv::Mat& mask = blending.maskOf(i).mask;
    const cv::Rect shared = part & area;
    if (!shared.empty()) {
      coverage(shared - part.tl()).setTo(255, mask(shared - area.tl()));
    }
  }
}

}  // namespace

cv::Rect grown(const cv::Rect& area, int margin) {
  const cv::Point step(margin, margin);
  return {area.tl() - step, area.br() + step};
}

std::vector<cv::Rect> tilesOf(const TileBlending& blending, const cv::Rect& window) {
  const int side = blending.tileSide();
  std::vector<cv::Rect> tiles;
  for (int y = roundedDown(window.y, side); y < window.br().y; y += side) {
    for (int x = roundedDown(window.x, side); x < window.br().x; x += side) {
      tiles.push_back(cv::Rect(x, y, side, side) & window);
    }
  }
  return tiles;
}

void blendTiles(const TileBlending& blending,
                const WarpedImages& images,
                const cv::Rect& window,
                cv::Mat pixels,
                cv::Mat coverage,
                const std::function<void()>& step) {
  const std::vector<cv::Rect> tiles = tilesOf(blending, window);
  Platform::parallelFor(0, static_cast<int>(tiles.size()), [&](int index) {
    const cv::Rect& tile = tiles[static_cast<std::size_t>(index)];
    blendPart(blending, images, tile, pixels(tile - window.tl()));
    if (!coverage.empty()) {
      cover(blending, tile, coverage(tile - window.tl()));
    }
    if (step) {
      step();
    }
  });
}

std::unique_ptr<TileBlending> makeTileBlending(const BlendOptions& options,
                                               std::vector<PlacedMask> masks,
                                               cv::Size montage) {
  switch (options.kind) {
    case BlendKind::kFeather:
      return std::make_unique<FeatherBlending>(std::move(masks), options.sharpness);
    case BlendKind::kMultiBand:
      return std::make_unique<MultiBandBlending>(
          std::move(masks),
          montage,
          options.bands,
          options.fine ? BlendArithmetic::kFine : BlendArithmetic::kCut);
    default:
      return std::make_unique<OverlayBlending>(std::move(masks));
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
