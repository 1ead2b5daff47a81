// SPDX-License-Identifier: MIT
/// @file
/// Renders a rectangle of the plane tile by tile, so that no whole-picture map is ever held.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_PLANE_RENDERING_H
#define ORV_MONTAGE_DISTORT_CORRECT_PLANE_RENDERING_H

#include "DistortCorrect/ContentProfile.h"
#include "DistortCorrect/PlaneProjection.h"

#include <opencv2/core.hpp>

#include <functional>
#include <vector>

namespace ORV::Common::Algorithms::DistortCorrect {

/// Fills a tile from the source positions of its pixels; called from several threads at once.
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

/// New uninitialised picture; raises OpenCV's exception for a side below 1.
[[nodiscard]] cv::Mat newPicture(int rows, int cols, int type);

/// Samples every pixel of `picture` where the projection puts it.
///
/// @param[in] grid  as many xs and ys as the picture has columns and rows.
/// @param[in,out] picture  8-bit; handed to `sample` in tiles.
/// @return the brightness of the picture's columns and rows, gathered while the tiles are in cache.
/// @note Bands of rows run in parallel; working memory is a few hundred kilobytes per thread and
///   the column sums of at most `64` bands.
ContentProfile renderPlane(const PlaneProjection& projection,
                           const PlaneGrid& grid,
                           const TileSampler& sample,
                           cv::Mat& picture);

/// The rectangle of `picture` in new memory, copied in parallel; an empty rectangle gives an image
/// of 0 x 0 pixels.
[[nodiscard]] cv::Mat cropped(const cv::Mat& picture, const cv::Rect& rect);

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_PLANE_RENDERING_H
