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
    if (!shared.empty() && !mask.empty()) {
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

TileBlending::TileBlending(const std::vector<cv::Rect>& areas) {
  placed_.reserve(areas.size());
  for (const cv::Rect& area : areas) {
    placed_.push_back({area, {}});
  }
}

void TileBlending::place(std::size_t index, PlacedMask mask) {
  CV_Assert(mask.area == placed_[index].area && mask.mask.size() == mask.area.size());
  placed_[index] = std::move(mask);
  prepare(index, placed_[index]);
}

void TileBlending::remove(std::size_t index) {
  placed_[index] = {placed_[index].area, {}};
  forget(index);
}

std::unique_ptr<TileBlending> makeTileBlending(const BlendOptions& options,
                                               const std::vector<cv::Rect>& areas,
                                               cv::Size montage) {
  switch (options.kind) {
    case BlendKind::kFeather:
      return std::make_unique<FeatherBlending>(areas, options.sharpness);
    case BlendKind::kMultiBand:
      return std::make_unique<MultiBandBlending>(
          areas,
          montage,
          options.bands,
          options.fine ? BlendArithmetic::kFine : BlendArithmetic::kCut);
    default:
      return std::make_unique<OverlayBlending>(areas);
  }
}

std::unique_ptr<TileBlending> makeTileBlending(const BlendOptions& options,
                                               std::vector<PlacedMask> masks,
                                               cv::Size montage) {
  std::vector<cv::Rect> areas;
  areas.reserve(masks.size());
  for (const PlacedMask& mask : masks) {
    areas.push_back(mask.area);
  }
  std::unique_ptr<TileBlending> blending = makeTileBlending(options, areas, montage);
  Platform::parallelFor(0, static_cast<int>(masks.size()), [&](int index) {
    const auto i = static_cast<std::size_t>(index);
    blending->place(i, std::move(masks[i]));
  });
  return blending;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
