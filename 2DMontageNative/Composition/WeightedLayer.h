// SPDX-License-Identifier: MIT
/// @file
/// A part of the montage in the making: weighted sums of samples beside the sums of the weights.
#ifndef ORV_MONTAGE_COMPOSITION_WEIGHTED_LAYER_H
#define ORV_MONTAGE_COMPOSITION_WEIGHTED_LAYER_H

#include <opencv2/core.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

/// How sums are kept.
enum class BlendArithmetic {
  kCut,  ///< OpenCV's: whole grey levels, products and quotients cut to integers
  kFine  ///< eighths of grey levels, products and quotients rounded
};

/// Weighted sums with the arithmetic of OpenCV's feather and multi-band blenders, or a finer one.
class WeightedLayer {
 public:
  /// All sums are zero. @param[in] channels  1 or 3.
  WeightedLayer(cv::Size size, int channels, BlendArithmetic arithmetic = BlendArithmetic::kCut);

  /// Adds (fine - coarse) * weights over `area` of the layer.
  ///
  /// @param[in] fine, coarse  `CV_8U` with the layer's channels, or `CV_16S` in eighths for the fine
  ///   arithmetic; `coarse` may be empty for zero.
  /// @param[in] weights  `CV_32FC1`. All three have the size of `area`.
  void add(const cv::Rect& area,
           const cv::Mat& fine,
           const cv::Mat& coarse,
           const cv::Mat& weights);

  /// Divides the sums by the sums of the weights. @return the quotients, `CV_16S`, in place.
  cv::Mat& normalise();

  /// Writes `area` of the quotients to 8-bit pixels: clamped, zero where nothing was added.
  void write(const cv::Rect& area, cv::Mat pixels) const;

 private:
  cv::Mat sums_;     ///< `CV_16S`
  cv::Mat weights_;  ///< `CV_32FC1`
  BlendArithmetic arithmetic_;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_WEIGHTED_LAYER_H
