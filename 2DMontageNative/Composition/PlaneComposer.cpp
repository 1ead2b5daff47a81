// SPDX-License-Identifier: MIT
#include "Composition/PlaneComposer.h"

#include "Platform/ParallelLoop.h"

#include <utility>

namespace ORV::Common::Algorithms::Montage::Composition {

PlaneComposer::PlaneComposer(const std::vector<Image>& images,
                             MaskMaker masks,
                             cv::Size montage,
                             const BlendOptions& blending,
                             Sampling sampling,
                             int channels)
    : images_(images), masks_(std::move(masks)), channels_(channels) {
  std::vector<cv::Rect> areas;
  for (const Image& image : images_) {
    const ImagePlacement& placement = image.placement;
    areas.push_back(placement.area);
    samplers_.push_back(
        {image.projector, placement.footprint.tl(), placement.offset, sampling, {}, {}});
  }
  blending_ = makeTileBlending(blending, areas, montage);
}

void PlaneComposer::prepare(std::size_t index) {
  PlaneSampler& sampler = samplers_[index];
  if (!sampler.wanted.empty()) {
    return;
  }
  PlacedMask mask = masks_(index);
  const cv::Size footprint = images_[index].placement.footprint.size();
  const cv::Mat& gains = images_[index].gains;
  if (!gains.empty()) {
    sampler.gains.emplace(gains, footprint, channels_);
  }
  const cv::Mat wanted = wantedCells(mask.mask, sampler.offset, footprint, blending_->reach());
  blending_->place(index, std::move(mask));
  sampler.wanted = wanted;
}

void PlaneComposer::read(const std::vector<std::size_t>& which,
                         const Reader& reader,
                         WarpedImages& images) {
  images.resize(images_.size());
  Platform::parallelFor(0, static_cast<int>(which.size()), [&](int w) {
    const std::size_t i = which[static_cast<std::size_t>(w)];
    prepare(i);
    images[i] = std::make_unique<SampledImage>(reader(i), samplers_[i]);
  });
}

void PlaneComposer::release(const std::vector<std::size_t>& which) {
  for (const std::size_t i : which) {
    blending_->remove(i);
    samplers_[i].gains.reset();
    samplers_[i].wanted.release();
  }
}

std::vector<std::size_t> PlaneComposer::imagesOf(const cv::Rect& window) const {
  const cv::Rect reached = grown(window, blending_->reach() + blending_->alignment());
  std::vector<std::size_t> images;
  for (std::size_t i = 0; i < images_.size(); ++i) {
    if (!(images_[i].placement.area & reached).empty()) {
      images.push_back(i);
    }
  }
  return images;
}

int PlaneComposer::tileCount(const cv::Rect& window) const {
  return static_cast<int>(tilesOf(*blending_, window).size());
}

void PlaneComposer::compose(const WarpedImages& images,
                            const cv::Rect& window,
                            cv::Mat pixels,
                            cv::Mat coverage,
                            const std::function<void()>& step) const {
  blendTiles(*blending_, images, window, pixels, coverage, step);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
