// SPDX-License-Identifier: MIT
#include "Composition/PlaneComposer.h"

#include "Platform/ParallelLoop.h"

#include <utility>

namespace ORV::Common::Algorithms::Montage::Composition {

PlaneComposer::PlaneComposer(std::vector<Image> images,
                             cv::Size montage,
                             const BlendOptions& blending,
                             Sampling sampling,
                             int channels) {
  std::vector<PlacedMask> masks;
  for (const Image& image : images) {
    areas_.push_back(image.placement.area);
    masks.push_back({image.placement.area, image.placement.mask, image.placement.inside});
  }
  blending_ = makeTileBlending(blending, std::move(masks), montage);
  for (Image& image : images) {
    const ImagePlacement& placement = image.placement;
    const cv::Size footprint = placement.footprint.size();
    std::optional<BlockGains> gains;
    if (!image.gains.empty()) {
      gains.emplace(image.gains, footprint, channels);
    }
    samplers_.push_back({image.projector,
                         placement.footprint.tl(),
                         sampling,
                         wantedCells(placement.mask, footprint, blending_->reach()),
                         std::move(gains)});
    image.placement.mask.release();  // from here on with the blending, as it needs it
  }
}

std::vector<std::size_t> PlaneComposer::imagesOf(const cv::Rect& window) const {
  const cv::Rect reached = grown(window, blending_->reach() + blending_->alignment());
  std::vector<std::size_t> images;
  for (std::size_t i = 0; i < areas_.size(); ++i) {
    if (!(areas_[i] & reached).empty()) {
      images.push_back(i);
    }
  }
  return images;
}

int PlaneComposer::tileCount(const cv::Rect& window) const {
  return static_cast<int>(tilesOf(*blending_, window).size());
}

WarpedImages PlaneComposer::read(const Reader& reader, const cv::Rect& window) const {
  const std::vector<std::size_t> wanted = imagesOf(window);
  WarpedImages images(areas_.size());
  Platform::parallelFor(0, static_cast<int>(wanted.size()), [&](int w) {
    const std::size_t i = wanted[static_cast<std::size_t>(w)];
    images[i] = std::make_unique<SampledImage>(reader(i), samplers_[i]);
  });
  return images;
}

void PlaneComposer::compose(const WarpedImages& images,
                            const cv::Rect& window,
                            cv::Mat pixels,
                            cv::Mat coverage,
                            const std::function<void()>& step) const {
  blendTiles(*blending_, images, window, pixels, coverage, step);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
