// SPDX-License-Identifier: MIT
/// @file
/// Multi-band blending: coarse structure fades over a wide seam, fine structure over a narrow one.
#ifndef ORV_MONTAGE_COMPOSITION_MULTI_BAND_BLENDING_H
#define ORV_MONTAGE_COMPOSITION_MULTI_BAND_BLENDING_H

#include "Composition/TileBlending.h"
#include "Composition/ValueBounds.h"
#include "Composition/WeightedLayer.h"

#include <algorithm>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Sums the images' Laplacian pyramids under Gaussian pyramids of their masks: Burt and Adelson,
/// "A multiresolution spline with application to image mosaics", ACM TOG 1983; the pixels are those
/// of `cv::detail::MultiBandBlender` with real weights.
///
/// A pixel of the montage depends on a window of at most 4 * 2^bands pixels around it, so the
/// pyramids of a tile with that margin give the tile. Holds the coarser levels of the weights,
/// about 1.4 bytes per mask pixel, besides the masks.
class MultiBandBlending : public TileBlending {
 public:
  /// @param[in] bandCount  bands above the coarsest level; fewer are used for a tiny montage.
  /// @param[in] arithmetic  OpenCV's, or the finer one, whose pixels are the truer ones.
  MultiBandBlending(const std::vector<cv::Rect>& areas,
                    cv::Size montage,
                    int bandCount,
                    BlendArithmetic arithmetic);

  /// Large beside the margin that a tile's pyramids need.
  [[nodiscard]] int tileSide() const override { return std::max(kTileSide, 32 << bandCount_); }
  [[nodiscard]] int reach() const override { return 4 << bandCount_; }
  [[nodiscard]] int alignment() const override { return 1 << bandCount_; }
  void blend(const WarpedImages& images, const cv::Rect& tile, cv::Mat pixels) const override;

 protected:
  void prepare(std::size_t index, PlacedMask& placed) override;
  void forget(std::size_t index) override;

 private:
  struct Layers;

  /// The frame that gives an image's pyramid room, as OpenCV frames it.
  struct Frame {
    cv::Rect area;                 ///< in the montage; sides are multiples of 2^bands
    std::vector<cv::Mat> weights;  ///< of levels 1 and up, `CV_32FC1`, of the frame
    NearCells near;  ///< where its values bound the montage's, for the fine arithmetic
  };

  [[nodiscard]] cv::Rect frameOf(const cv::Rect& area) const;
  void add(std::size_t index, const WarpedImage* image, Layers& layers) const;

  static constexpr int kTileSide = 512;

  int bandCount_;
  BlendArithmetic arithmetic_;
  cv::Size paddedMontage_;  ///< sides are multiples of 2^bands
  std::vector<Frame> frames_;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_MULTI_BAND_BLENDING_H
