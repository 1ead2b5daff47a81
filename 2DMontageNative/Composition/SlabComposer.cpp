// SPDX-License-Identifier: MIT
#include "Composition/SlabComposer.h"

#include "Composition/CompositionImage.h"
#include "Composition/PlaneFootprint.h"
#include "Composition/PlaneWarper.h"
#include "Platform/LargePages.h"
#include "Platform/ParallelLoop.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/stitching/detail/util.hpp>

#include <algorithm>
#include <typeinfo>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kColourChannels = 3;

std::vector<cv::Size> sizesOf(const std::vector<cv::Mat>& images) {
  std::vector<cv::Size> sizes;
  sizes.reserve(images.size());
  for (const cv::Mat& image : images) {
    sizes.push_back(image.size());
  }
  return sizes;
}

int channelsOf(const std::vector<cv::Mat>& images) {
  return images.empty() ? kColourChannels : images[0].channels();
}

std::vector<cv::Mat> blockGainsOf(cv::detail::ExposureCompensator& compensator) {
  std::vector<cv::Mat> gains;
  compensator.getMatGains(gains);
  return gains;
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
  for (const cv::Mat& image : images) {
    CV_Assert(image.type() == CV_8UC1 || image.type() == CV_8UC3);
  }
  return isPlaneWarper(*warper_) && gainsAreKnown() ? composeOnPlane(images) : composeWhole(images);
}

/// Whether the gains are factors per block that can be applied to any part of an image.
bool SlabComposer::gainsAreKnown() const {
  if (!seams_) {
    return true;
  }
  const cv::detail::ExposureCompensator& compensator = *seams_->compensator;
  return typeid(compensator) == typeid(cv::detail::BlocksGainCompensator);
}

cv::Mat SlabComposer::composeOnPlane(const std::vector<cv::Mat>& images) {
  layOut(images);
  PlaneComposer& plane = *layout_->plane;
  const cv::Rect all(cv::Point(), layout_->montage.size());
  WarpedImages warped;
  plane.read(
      plane.imagesOf(all),
      [&](std::size_t i) {
        return withChannels(scaledForComposition(images[i], geometry_.composeScale),
                            layout_->channels);
      },
      warped);
  cv::Mat montage(all.size(), CV_8UC(layout_->channels));
  Platform::preferLargePages(montage.data, montage.total() * montage.elemSize());
  plane.compose(warped, all, montage, {}, {});
  return montage;
}

/// Prepares for images of these sizes, unless the last slab had the same.
void SlabComposer::layOut(const std::vector<cv::Mat>& images) {
  const int channels = channelsOf(images);
  std::vector<cv::Size> imageSizes = sizesOf(images);
  if (layout_ && layout_->imageSizes == imageSizes && layout_->channels == channels) {
    return;
  }
  layout_.reset();
  requireFootprints(geometry_.corners, geometry_.sizes);
  const cv::Rect montage = cv::detail::resultRoi(geometry_.corners, geometry_.sizes);
  std::vector<cv::Mat> gains(images.size());
  if (seams_) {
    gains = blockGainsOf(*seams_->compensator);
  }
  std::vector<PlaneComposer::Image> placed;
  std::vector<PlacedMask> masks;  // made one after the other: any warper may stand behind them
  for (std::size_t i = 0; i < images.size(); ++i) {
    const cv::Size scaled = scaledSizeForComposition(images[i].size(), geometry_.composeScale);
    const cv::Rect footprint = footprintOf(*warper_, geometry_, i, scaled);
    const ImagePlacement placement = placeFootprint(geometry_, i, footprint, montage.tl());
    masks.push_back(maskOf(i, scaled, placement));
    placed.push_back({planeProjectorOf(*warper_, placement), placement, gains.at(i)});
  }
  layout_ =
      Layout{std::move(imageSizes),
             channels,
             montage,
             std::make_unique<PlaneComposer>(
                 placed,
                 [masks = std::move(masks)](std::size_t i) mutable { return std::move(masks[i]); },
                 montage.size(),
                 blending_,
                 sampling(),
                 channels)};
}

PlacedMask SlabComposer::maskOf(std::size_t index,
                                cv::Size scaledSize,
                                const ImagePlacement& placement) const {
  return {placement.area,
          seams_ ? maskWithinSeams(seams_->masks[index], placement)
                 : maskOfWhole(*warper_, scaledSize, placement)};
}

/// Through whatever warper and compensator there are: the warped images are held as a whole.
cv::Mat SlabComposer::composeWhole(const std::vector<cv::Mat>& images) const {
  requireFootprints(geometry_.corners, geometry_.sizes);
  const cv::Rect montage = cv::detail::resultRoi(geometry_.corners, geometry_.sizes);
  const int channels = channelsOf(images);
  WarpedImages warped;
  std::vector<PlacedMask> masks;
  for (std::size_t i = 0; i < images.size(); ++i) {
    const cv::Mat whole = warpWhole(images[i], i);
    const cv::Size scaled = scaledSizeForComposition(images[i].size(), geometry_.composeScale);
    const ImagePlacement placement =
        placeFootprint(geometry_, i, cv::Rect(geometry_.corners[i], whole.size()), montage.tl());
    masks.push_back(maskOf(i, scaled, placement));
    warped.push_back(std::make_unique<StoredImage>(withChannels(compensated(whole, i), channels)));
  }
  const auto blending = makeTileBlending(blending_, std::move(masks), montage.size());
  cv::Mat pixels(montage.size(), CV_8UC(channels));
  blendTiles(*blending, warped, {cv::Point(), montage.size()}, pixels, {}, {});
  return pixels;
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
cv::Mat SlabComposer::compensated(const cv::Mat& warped, std::size_t index) const {
  cv::Mat colour = withChannels(warped, kColourChannels);
  if (seams_) {
    cv::Mat mask;
    cv::resize(seams_->masks[index], mask, colour.size(), 0, 0, cv::INTER_LINEAR);
    seams_->compensator->apply(static_cast<int>(index), geometry_.corners[index], colour, mask);
  }
  return colour;
}

Sampling SlabComposer::sampling() const {
  return seams_ ? Sampling{cv::INTER_CUBIC, cv::BORDER_CONSTANT}
                : Sampling{cv::INTER_LINEAR, cv::BORDER_REFLECT};
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
