// SPDX-License-Identifier: MIT
/// @file
/// The two steps every feature finder starts with: resize to the registration scale, take one
/// channel.
#ifndef ORV_MONTAGE_REGISTRATION_GREY_IMAGE_H
#define ORV_MONTAGE_REGISTRATION_GREY_IMAGE_H

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::Montage::Registration {

/// The image resized bilinearly by `scale`.
///
/// @param[in] image  any type that `cv::resize` takes; never written.
/// @param[in] scale  exactly 1 means no resampling at all: the result then shares the pixels of
///   `image`. With any other value it has its own, also when the size stays the same.
/// @note Throws `cv::Exception` for an empty image or a size that rounds to 0 (`scale` not 1).
inline cv::Mat scaledImage(const cv::Mat& image, float scale) {
  if (scale == 1.0F) {
    return image;
  }
  cv::Mat scaled;
  cv::resize(image, scaled, cv::Size(), scale, scale, cv::INTER_LINEAR);
  return scaled;
}

/// The second channel of a three-channel 8-bit image (green of blue-green-red), in memory of its
/// own; any other image itself, sharing its pixels.
inline cv::Mat greyOf(const cv::Mat& image) {
  if (image.type() != CV_8UC3) {
    return image;
  }
  constexpr int kGreenChannel = 1;
  cv::Mat grey;
  cv::extractChannel(image, grey, kGreenChannel);
  return grey;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_GREY_IMAGE_H
