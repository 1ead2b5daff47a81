// SPDX-License-Identifier: MIT
/// @file
/// Renders parts of the plane tile by tile: neither whole maps nor the whole picture are ever held.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_PLANE_RENDERING_H
#define ORV_MONTAGE_DISTORT_CORRECT_PLANE_RENDERING_H

#include "DistortCorrect/BlackCells.h"
#include "DistortCorrect/ContentProfile.h"
#include "DistortCorrect/PlaneProjection.h"

#include <opencv2/core.hpp>

#include <functional>
#include <vector>

namespace ORV::Common::Algorithms::DistortCorrect {

/// Fills a tile from the source positions of its pixels; called from several threads at once. A
/// pixel must depend on its position alone, and be 0 where that is not finite or where the source
/// is black three pixels around it. Tiles that can but be black are not asked for.
using TileSampler =
    std::function<void(const cv::Mat& mapCols, const cv::Mat& mapRows, cv::Mat& tile)>;

/// Plane coordinates of the output's columns and rows.
struct PlaneGrid {
  std::vector<float> xs;
  std::vector<float> ys;
};

/// Raises OpenCV's exception unless `image` is a non-empty `CV_8UC1` or `CV_8UC3` image.
void requireImage(const cv::Mat& image);

/// `requireImage`, and both sides below 32767, the limit of OpenCV's `remap`.
void requireRemappable(const cv::Mat& image);

/// Raises OpenCV's exception for a picture with a side below 1, or with more than 2^36 pixels,
/// whose content could not be searched in any sensible time.
void requirePlaneSize(int rows, int cols);

/// The picture of a plane rectangle, of which only what is asked for is made.
///
/// Bands of rows run in parallel; working memory is a few hundred kilobytes per thread and the sums
/// of columns and rows.
class PlanePicture {
 public:
  /// @param[in] grid  one x per column and one y per row, at least one each.
  /// @param[in] source  what `sample` samples, `CV_8UC1` or `CV_8UC3`, not kept; the picture has
  ///   its type.
  PlanePicture(const PlaneProjection& projection,
               PlaneGrid grid,
               const cv::Mat& source,
               TileSampler sample);

  /// Which columns and rows hold content.
  ///
  /// A line is summed up only until its average cannot round to 0 any more, so that little of a
  /// bright picture is rendered here: positive values may be too small, zeros are exact. A black
  /// source, or a projection without finite positions, is not rendered at all.
  [[nodiscard]] ContentProfile contentProfile() const;

  /// The pixels of `rect` in new memory; an empty rectangle gives an image of 0 x 0 pixels.
  [[nodiscard]] cv::Mat render(const cv::Rect& rect) const;

 private:
  class Tiles;

  [[nodiscard]] cv::Size size() const;
  [[nodiscard]] bool mayHaveContent() const;

  PlaneProjection projection_;
  PlaneGrid grid_;
  BlackCells black_;
  int type_;
  TileSampler sample_;
};

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_PLANE_RENDERING_H
