// SPDX-License-Identifier: MIT
/// @file
/// Exposure gains per block, applied to any part of a warped image.
#ifndef ORV_MONTAGE_COMPOSITION_BLOCK_GAINS_H
#define ORV_MONTAGE_COMPOSITION_BLOCK_GAINS_H

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Multiplies pixels by gains interpolated between blocks, with the bytes that
/// `cv::detail::BlocksGainCompensator::apply` gives on the whole image.
///
/// Bilinear as `cv::resize` with `INTER_LINEAR`: gains are spread along rows once, between rows on
/// the fly, so that no map of the image's size is needed.
class BlockGains {
 public:
  /// @param[in] gains  one per block, `CV_32FC1`.
  /// @param[in] imageSize  of the whole warped image.
  /// @param[in] channels  1 or 3.
  BlockGains(const cv::Mat& gains, cv::Size imageSize, int channels);

  /// @param[in] area  where the pixels lie in the warped image.
  /// @param[in,out] pixels  `CV_8U` with the given channels, of the area's size.
  void apply(const cv::Rect& area, cv::Mat& pixels) const;

 private:
  /// Where a pixel lies between blocks, along one axis.
  struct Position {
    int block;    ///< the one before
    float share;  ///< of the one after
  };
  static Position positionOf(int pixel, int pixelCount, int blockCount);

  cv::Mat rows_;  ///< one row per row of blocks, a gain per sample of an image row
  int imageHeight_;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_BLOCK_GAINS_H
