// SPDX-License-Identifier: MIT
#include "Composition/SlabComposer.h"

#include "Composition/PlaneFootprint.h"
#include "Composition/PlaneWarper.h"
#include "Composition/ScaleTolerance.h"
#include "Platform/ParallelLoop.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/stitching/detail/util.hpp>

#include <algorithm>
#include <typeinfo>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kColourChannels = 3;

/// The image at composition scale; shares the pixels where nothing is to be resampled.
cv::Mat scaledForComposition(const cv::Mat& image, double composeScale) {
  if (countsAsFullResolution(composeScale - 1.0)) {
    return image;
  }
  cv::Mat scaled;
  cv::resize(image, scaled, cv::Size(), composeScale, composeScale, cv::INTER_LINEAR);
  return scaled;
}

/// The size that `scaledForComposition` gives, without resampling.
cv::Size scaledSizeForComposition(cv::Size size, double composeScale) {
  if (countsAsFullResolution(composeScale - 1.0)) {
    return size;
  }
  const cv::Size scaled(cvRound(size.width * composeScale), cvRound(size.height * composeScale));
  CV_Assert(!scaled.empty());
  return scaled;
}

/// The channels of an image that the montage is made of: a grey montage takes the first one of
/// every image, a colour montage repeats that of a grey image.
cv::Mat withChannels(const cv::Mat& image, int channels) {
  if (image.channels() == channels) {
    return image;
  }
  cv::Mat converted;
  if (channels == 1) {
    cv::extractChannel(image, converted, 0);
  } else {
    cv::cvtColor(image, converted, cv::COLOR_GRAY2BGR);
  }
  return converted;
}

std::vector<cv::Size> sizesOf(const std::vector<cv::Mat>& images) {
  std::vector<cv::Size> sizes;
  sizes.reserve(images.size());
  for (const cv::Mat& image : images) {
    sizes.push_back(image.size());
  }
  return sizes;
}

/// The gains per block that the compensator would multiply image `index` by, or none if it may work
/// in another way.
std::optional<cv::Mat> blockGainsOf(cv::detail::ExposureCompensator& compensator,
                                    std::size_t index) {
  if (typeid(compensator) != typeid(cv::detail::BlocksGainCompensator)) {
    return {};
  }
  std::vector<cv::Mat> gains;
  compensator.getMatGains(gains);
  if (index >= gains.size() || gains[index].type() != CV_32FC1) {
    return {};
  }
  return gains[index];
}

}  // namespace

SlabComposer::SlabComposer(cv::Ptr<cv::detail::RotationWarper> warper,
                           SlabGeometry geometry,
                           const BlendOptions& blending)
    : warper_(std::move(warper)), geometry_(std::move(geometry)), blending_(blending) {}

SlabComposer::SlabComposer(cv::Ptr<cv::detail::RotationWarper> warper,
                           SlabGeometry geometry,
                           SlabSeams seams,
                           const BlendOptions& blending)
    : warper_(std::move(warper)),
      geometry_(std::move(geometry)),
      seams_(std::move(seams)),
      blending_(blending) {}

cv::Mat SlabComposer::compose(const std::vector<cv::Mat>& images) {
  std::vector<cv::Mat> whole;
  if (!isPlaneWarper(*warper_)) {
    for (std::size_t i = 0; i < images.size(); ++i) {
      whole.push_back(warpWhole(images[i], i));
    }
  }
  layOut(images, whole);
  WarpedImages warped;
  for (std::size_t i = 0; i < images.size(); ++i) {
    warped.push_back(whole.empty() ? warp(images[i], i) : store(whole[i], i));
  }
  const TileBlending& blending = *layout_->blending;
  cv::Mat montage(layout_->montage.size(), CV_8UC(layout_->channels));
  const int side = blending.tileSide();
  const int across = (montage.cols + side - 1) / side;
  const int down = (montage.rows + side - 1) / side;
  Platform::parallelFor(0, across * down, [&](int index) {
    const cv::Rect tile = cv::Rect(index % across * side, index / across * side, side, side) &
                          cv::Rect(cv::Point(), montage.size());
    blending.blend(warped, tile, montage(tile));
  });
  return montage;
}

/// Prepares for images of these sizes, unless the last slab had the same.
///
/// @param[in] whole  the warped images, if only they tell where images lie; else empty.
void SlabComposer::layOut(const std::vector<cv::Mat>& images, const std::vector<cv::Mat>& whole) {
  const int channels = images.empty() ? kColourChannels : images[0].channels();
  std::vector<cv::Size> imageSizes = sizesOf(images);
  std::vector<cv::Size> wholeSizes = sizesOf(whole);
  if (layout_ && layout_->imageSizes == imageSizes && layout_->wholeSizes == wholeSizes &&
      layout_->channels == channels) {
    return;
  }
  layout_.reset();
  requireFootprints(geometry_.corners, geometry_.sizes);
  Layout layout{std::move(imageSizes),
                std::move(wholeSizes),
                channels,
                cv::detail::resultRoi(geometry_.corners, geometry_.sizes),
                {},
                {},
                {}};
  std::vector<PlacedMask> masks;
  for (std::size_t i = 0; i < images.size(); ++i) {
    const cv::Size scaled = scaledSizeForComposition(images[i].size(), geometry_.composeScale);
    const cv::Rect footprint = whole.empty() ? footprintOf(*warper_, geometry_, i, scaled)
                                             : cv::Rect(geometry_.corners[i], whole[i].size());
    layout.placements.push_back(place(i, scaled, footprint, layout.montage.tl()));
    masks.push_back({layout.placements[i].area, layout.placements[i].mask});
  }
  layout.blending = makeTileBlending(blending_, std::move(masks), layout.montage.size());
  for (std::size_t i = 0; i < images.size(); ++i) {
    layout.samplers.push_back(samplerOf(layout, i));
    layout.placements[i].mask.release();  // from here on with the blending, as it needs it
  }
  layout_ = std::move(layout);
}

ImagePlacement SlabComposer::place(std::size_t index,
                                   cv::Size scaledSize,
                                   const cv::Rect& footprint,
                                   cv::Point origin) const {
  return seams_ ? placeWithinSeams(geometry_, *seams_, index, footprint, origin)
                : placeWhole(*warper_, geometry_, index, scaledSize, footprint, origin);
}

std::optional<PlaneSampler> SlabComposer::samplerOf(const Layout& layout, std::size_t index) const {
  const ImagePlacement& placement = layout.placements[index];
  const cv::Size footprint = placement.footprint.size();
  const auto projector = planeProjectorOf(*warper_, placement);
  if (!projector) {
    return {};
  }
  std::optional<BlockGains> gains;
  if (seams_) {
    const auto perBlock = blockGainsOf(*seams_->compensator, index);
    if (!perBlock) {
      return {};
    }
    gains.emplace(*perBlock, footprint, layout.channels);
  }
  return PlaneSampler{*projector,
                      placement.footprint.tl(),
                      sampling(),
                      wantedCells(placement.mask, footprint, layout.blending->reach()),
                      std::move(gains)};
}

std::unique_ptr<WarpedImage> SlabComposer::warp(const cv::Mat& image, std::size_t index) const {
  CV_Assert(image.type() == CV_8UC1 || image.type() == CV_8UC3);
  const auto& sampler = layout_->samplers[index];
  if (!sampler) {
    return store(warpWhole(image, index), index);
  }
  const cv::Mat scaled = scaledForComposition(image, geometry_.composeScale);
  return std::make_unique<SampledImage>(withChannels(scaled, layout_->channels), *sampler);
}

/// Warps the image as a whole, through whatever warper there is.
cv::Mat SlabComposer::warpWhole(const cv::Mat& image, std::size_t index) const {
  const cv::detail::CameraParams& camera = geometry_.cameras[index];
  const auto [interpolation, border] = sampling();
  cv::Mat warped;
  warper_->warp(scaledForComposition(image, geometry_.composeScale),
                intrinsicsOf(camera),
                camera.R,
                interpolation,
                border,
                warped);
  return warped;
}

/// Compensates the whole warped image, through whatever compensator there is.
std::unique_ptr<WarpedImage> SlabComposer::store(const cv::Mat& warped, std::size_t index) const {
  cv::Mat colour = withChannels(warped, kColourChannels);
  if (seams_) {
    cv::Mat mask;
    cv::resize(seams_->masks[index], mask, colour.size(), 0, 0, cv::INTER_LINEAR);
    seams_->compensator->apply(static_cast<int>(index), geometry_.corners[index], colour, mask);
  }
  return std::make_unique<StoredImage>(withChannels(colour, layout_->channels));
}

Sampling SlabComposer::sampling() const {
  return seams_ ? Sampling{cv::INTER_CUBIC, cv::BORDER_CONSTANT}
                : Sampling{cv::INTER_LINEAR, cv::BORDER_REFLECT};
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
