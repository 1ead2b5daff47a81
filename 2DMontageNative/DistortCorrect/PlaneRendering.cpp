// SPDX-License-Identifier: MIT
#include "DistortCorrect/PlaneRendering.h"

#include "Platform/ParallelLoop.h"

#include <algorithm>
#include <climits>
#include <cstddef>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

// 32 KB per map: maps, tile and the source pixels under it stay in the second-level cache.
constexpr int kTileRows = 32;
constexpr int kTileCols = 256;
/// Enough bands to share out, few enough that their column sums stay small.
constexpr int kMaxBands = 64;

static_assert(kTileRows <= BrightnessSums::kMaxTileRows);

int ceilDiv(int value, int divisor) {
  return (value + divisor - 1) / divisor;
}

/// Height of a band: whole tiles, the same for any number of threads.
int bandHeight(int pictureRows) {
  return ceilDiv(ceilDiv(pictureRows, kMaxBands), kTileRows) * kTileRows;
}

/// One thread's maps, as large as a tile.
class TileMaps {
 public:
  /// Source positions of the pixels of `tile`.
  void fill(const PlaneProjection& projection, const PlaneGrid& grid, const cv::Rect& tile) {
    const float* const xs = grid.xs.data() + tile.x;
    const float* const ys = grid.ys.data() + tile.y;
    for (int row = 0; row < tile.height; ++row) {
      projection.sourceFromPlaneRow(
          xs, tile.width, ys[row], cols_.ptr<float>(row), rows_.ptr<float>(row));
    }
  }

  [[nodiscard]] cv::Mat cols(cv::Size size) const { return cols_(cv::Rect({0, 0}, size)); }
  [[nodiscard]] cv::Mat rows(cv::Size size) const { return rows_(cv::Rect({0, 0}, size)); }

 private:
  cv::Mat cols_ = cv::Mat(kTileRows, kTileCols, CV_32FC1);
  cv::Mat rows_ = cv::Mat(kTileRows, kTileCols, CV_32FC1);
};

}  // namespace

void requireImage(const cv::Mat& image) {
  CV_Assert(!image.empty());
  CV_Assert(image.type() == CV_8UC1 || image.type() == CV_8UC3);
}

void requireRemappable(const cv::Mat& image) {
  requireImage(image);
  CV_Assert(image.cols < SHRT_MAX && image.rows < SHRT_MAX);
}

cv::Mat newPicture(int rows, int cols, int type) {
  CV_Assert(rows > 0 && cols > 0);
  cv::Mat picture(rows, cols, type);
  return picture;
}

ContentProfile renderPlane(const PlaneProjection& projection,
                           const PlaneGrid& grid,
                           const TileSampler& sample,
                           cv::Mat& picture) {
  const int height = bandHeight(picture.rows);
  const int bands = ceilDiv(picture.rows, height);
  BrightnessSums sums(picture.size(), picture.channels(), bands);
  Platform::parallelFor(0, bands, [&](int band) {
    TileMaps maps;
    const int bandEnd = std::min((band + 1) * height, picture.rows);
    for (int row = band * height; row < bandEnd; row += kTileRows) {
      for (int col = 0; col < picture.cols; col += kTileCols) {
        const cv::Rect place(
            col, row, std::min(kTileCols, picture.cols - col), std::min(kTileRows, bandEnd - row));
        maps.fill(projection, grid, place);
        cv::Mat tile = picture(place);
        sample(maps.cols(place.size()), maps.rows(place.size()), tile);
        sums.add(band, tile, place.tl());
      }
    }
  });
  return sums.profile();
}

cv::Mat cropped(const cv::Mat& picture, const cv::Rect& rect) {
  if (rect.empty()) {
    cv::Mat none(0, 0, picture.type());
    return none;
  }
  cv::Mat crop(rect.size(), picture.type());
  const int height = bandHeight(rect.height);
  Platform::parallelFor(0, ceilDiv(rect.height, height), [&](int band) {
    const int first = band * height;
    const int end = std::min(first + height, rect.height);
    cv::Mat target = crop.rowRange(first, end);
    picture(cv::Rect(rect.x, rect.y + first, rect.width, end - first)).copyTo(target);
  });
  return crop;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
