// SPDX-License-Identifier: MIT
#include "Composition/SlabComposer.h"

#include "Composition/PlaneFootprint.h"
#include "Composition/ScaleTolerance.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr float kFeatherSharpness = 0.1F;
constexpr int kBandCount = 3;

/// The image at composition scale; shares the pixels where nothing is to be resampled.
cv::Mat scaledForComposition(const cv::Mat& image, double composeScale) {
  if (countsAsFullResolution(composeScale - 1.0)) {
    return image;
  }
  cv::Mat scaled;
  cv::resize(image, scaled, cv::Size(), composeScale, composeScale, cv::INTER_LINEAR);
  return scaled;
}

cv::Mat colourOf(const cv::Mat& warped) {
  if (warped.type() != CV_8UC1) {
    return warped;
  }
  cv::Mat colour;
  cv::cvtColor(warped, colour, cv::COLOR_GRAY2BGR);
  return colour;
}

}  // namespace

cv::Ptr<cv::detail::Blender> makeBlender(int blendType, bool tryGpu) {
  using cv::detail::Blender;
  if (blendType != Blender::NO && blendType != Blender::FEATHER &&
      blendType != Blender::MULTI_BAND) {
    return {};  // OpenCV's factory would throw
  }
  cv::Ptr<Blender> blender = Blender::createDefault(blendType, tryGpu);
  if (auto* const feather = dynamic_cast<cv::detail::FeatherBlender*>(blender.get())) {
    feather->setSharpness(kFeatherSharpness);
  } else if (auto* const bands = dynamic_cast<cv::detail::MultiBandBlender*>(blender.get())) {
    bands->setNumBands(kBandCount);
  }
  return blender;
}

SlabComposer::SlabComposer(cv::Ptr<cv::detail::RotationWarper> warper, SlabGeometry geometry)
    : warper_(std::move(warper)), geometry_(std::move(geometry)), withSeams_(false) {}

SlabComposer::SlabComposer(cv::Ptr<cv::detail::RotationWarper> warper,
                           SlabGeometry geometry,
                           SlabSeams seams)
    : warper_(std::move(warper)),
      geometry_(std::move(geometry)),
      seams_(std::move(seams)),
      withSeams_(true) {}

cv::Mat SlabComposer::compose(const std::vector<cv::Mat>& images,
                              cv::detail::Blender& blender) const {
  requireMontageSize(geometry_.corners, geometry_.sizes);
  blender.prepare(geometry_.corners, geometry_.sizes);
  for (std::size_t i = 0; i < images.size(); ++i) {
    const WarpedImage warped = withSeams_ ? warpWithinSeams(images[i], i) : warpWhole(images[i], i);
    // Footprints are predicted from sizes rounded in single precision and may be one pixel smaller
    // than the warped image; OpenCV's blenders would write past the montage.
    const cv::Rect inside(0,
                          0,
                          std::min(warped.pixels.cols, geometry_.sizes[i].width),
                          std::min(warped.pixels.rows, geometry_.sizes[i].height));
    cv::Mat pixels16;
    warped.pixels(inside).convertTo(pixels16, CV_16S);
    // A clone of a cropped mask: the multi-band blender reads what surrounds a region.
    const cv::Mat mask =
        inside.size() == warped.mask.size() ? warped.mask : warped.mask(inside).clone();
    blender.feed(pixels16, mask, geometry_.corners[i]);
  }

  cv::Mat blended;
  cv::Mat blendedMask;
  blender.blend(blended, blendedMask);
  cv::Mat montage;
  blended.convertTo(montage, CV_8U);
  if (!images.empty() && images[0].type() == CV_8UC1) {
    cv::Mat grey;
    cv::extractChannel(montage, grey, 0);
    return grey;
  }
  return montage;
}

SlabComposer::WarpedImage SlabComposer::warpWithinSeams(const cv::Mat& image,
                                                        std::size_t index) const {
  const cv::detail::CameraParams& camera = geometry_.cameras[index];
  cv::Mat warped;
  warpOntoPlane(*warper_,
                scaledForComposition(image, geometry_.composeScale),
                intrinsicsOf(camera),
                camera.R,
                cv::INTER_CUBIC,
                cv::BORDER_CONSTANT,
                warped);
  WarpedImage result;
  cv::resize(seams_.masks[index], result.mask, warped.size(), 0, 0, cv::INTER_LINEAR);
  result.pixels = colourOf(warped);
  seams_.compensator->apply(
      static_cast<int>(index), geometry_.corners[index], result.pixels, result.mask);
  return result;
}

SlabComposer::WarpedImage SlabComposer::warpWhole(const cv::Mat& image, std::size_t index) const {
  const cv::detail::CameraParams& camera = geometry_.cameras[index];
  const cv::Mat scaled = scaledForComposition(image, geometry_.composeScale);
  const cv::Mat fullMask(scaled.size(), CV_8U, cv::Scalar::all(255));
  const cv::Mat K = intrinsicsOf(camera);
  cv::Mat warped;
  WarpedImage result;
  warpOntoPlane(*warper_, scaled, K, camera.R, cv::INTER_LINEAR, cv::BORDER_REFLECT, warped);
  warpOntoPlane(
      *warper_, fullMask, K, camera.R, cv::INTER_NEAREST, cv::BORDER_CONSTANT, result.mask);
  result.pixels = colourOf(warped);
  return result;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
