// SPDX-License-Identifier: MIT
/// @file
/// Composition of a slab from whole images with OpenCV's own calls, step by step: what the slab
/// composer must equal, and what it is measured against.
#ifndef ORV_MONTAGE_TESTS_COMPOSITION_PLAIN_COMPOSITION_H
#define ORV_MONTAGE_TESTS_COMPOSITION_PLAIN_COMPOSITION_H

#include "Composition/ImagePlacement.h"
#include "Composition/PlaneFootprint.h"
#include "Composition/ScaleTolerance.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/stitching/detail/blenders.hpp>

#include <algorithm>
#include <optional>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Feeds the blender image and mask, cropped to the predicted size.
inline void feedPlainly(cv::detail::Blender& blender,
                        const cv::Mat& pixels,
                        const cv::Mat& mask,
                        cv::Point corner,
                        cv::Size size) {
  const cv::Rect inside(
      0, 0, std::min(pixels.cols, size.width), std::min(pixels.rows, size.height));
  cv::Mat pixels16;
  pixels(inside).convertTo(pixels16, CV_16S);
  blender.feed(pixels16, mask(inside).clone(), corner);
}

inline cv::Mat composePlainly(cv::detail::RotationWarper& warper,
                              const SlabGeometry& geometry,
                              const std::optional<SlabSeams>& seams,
                              cv::detail::Blender& blender,
                              const std::vector<cv::Mat>& images) {
  blender.prepare(geometry.corners, geometry.sizes);
  for (std::size_t i = 0; i < images.size(); ++i) {
    cv::Mat scaled = images[i];
    if (!countsAsFullResolution(geometry.composeScale - 1.0)) {
      cv::resize(images[i], scaled, {}, geometry.composeScale, geometry.composeScale);
    }
    const cv::Mat K = intrinsicsOf(geometry.cameras[i]);
    const cv::Mat R = geometry.cameras[i].R;
    cv::Mat warped;
    cv::Mat mask;
    if (seams) {
      warper.warp(scaled, K, R, cv::INTER_CUBIC, cv::BORDER_CONSTANT, warped);
      cv::resize(seams->masks[i], mask, warped.size(), 0, 0, cv::INTER_LINEAR);
    } else {
      const cv::Mat full(scaled.size(), CV_8U, cv::Scalar::all(255));
      warper.warp(scaled, K, R, cv::INTER_LINEAR, cv::BORDER_REFLECT, warped);
      warper.warp(full, K, R, cv::INTER_NEAREST, cv::BORDER_CONSTANT, mask);
    }
    if (warped.type() == CV_8UC1) {
      cv::cvtColor(warped, warped, cv::COLOR_GRAY2BGR);
    }
    if (seams) {
      seams->compensator->apply(static_cast<int>(i), geometry.corners[i], warped, mask);
    }
    feedPlainly(blender, warped, mask, geometry.corners[i], geometry.sizes[i]);
  }
  cv::Mat blended;
  cv::Mat blendedMask;
  blender.blend(blended, blendedMask);
  cv::Mat montage;
  blended.convertTo(montage, CV_8U);
  if (!images.empty() && images[0].type() == CV_8UC1) {
    cv::extractChannel(montage, montage, 0);
  }
  return montage;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_TESTS_COMPOSITION_PLAIN_COMPOSITION_H
