// SPDX-License-Identifier: MIT
/// @file
/// Images as composition takes them: reduced to its scale, with the montage's channels.
#ifndef ORV_MONTAGE_COMPOSITION_COMPOSITION_IMAGE_H
#define ORV_MONTAGE_COMPOSITION_COMPOSITION_IMAGE_H

#include <opencv2/core.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

/// The image at composition scale; shares the pixels where nothing is to be resampled.
cv::Mat scaledForComposition(const cv::Mat& image, double composeScale);

/// The size that `scaledForComposition` gives, without resampling.
cv::Size scaledSizeForComposition(cv::Size size, double composeScale);

/// The channels of an image that the montage is made of: a grey montage takes the first one of
/// every image, a colour montage repeats that of a grey image.
cv::Mat withChannels(const cv::Mat& image, int channels);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_COMPOSITION_IMAGE_H
