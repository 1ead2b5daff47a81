// SPDX-License-Identifier: MIT
#include "DistortCorrect/PlaneRendering.h"

#include "Platform/LargePages.h"
#include "Platform/ParallelLoop.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

// 32 KB per map: maps, tile and the source pixels under it stay in the second-level cache.
constexpr int kTileRows = 32;
constexpr int kTileCols = 256;
/// Enough bands to share out, few enough that their column sums stay small.
constexpr int kMaxBands = 64;

static_assert(kTileRows <= BrightnessSums::kMaxTileRows);

int ceilDiv(int value, int divisor) {
  return value / divisor + (value % divisor == 0 ? 0 : 1);
}

/// The part of `area` in its tile row and tile column of that number.
cv::Rect tileOf(const cv::Rect& area, int tileRow, int tileCol) {
  const cv::Point origin(area.x + tileCol * kTileCols, area.y + tileRow * kTileRows);
  return {origin.x,
          origin.y,
          std::min(kTileCols, area.x + area.width - origin.x),
          std::min(kTileRows, area.y + area.height - origin.y)};
}

/// The multiples of `stride` below `count` that are none of `doneStride` (0: nothing done yet).
std::vector<int> multiplesBetween(int stride, int doneStride, int count) {
  std::vector<int> multiples;
  for (int i = 0; i < count; i += stride) {
    if (doneStride == 0 || i % doneStride != 0) {
      multiples.push_back(i);
    }
  }
  return multiples;
}

}  // namespace

void requireImage(const cv::Mat& image) {
  CV_Assert(!image.empty());
  CV_Assert(image.type() == CV_8UC1 || image.type() == CV_8UC3);
}

void requireRemappable(const cv::Mat& image) {
  requireImage(image);
  CV_Assert(image.cols < SHRT_MAX && image.rows < SHRT_MAX);
}

void requirePlaneSize(int rows, int cols) {
  constexpr std::int64_t kMaxPixels = std::int64_t{1} << 36;
  CV_Assert(rows > 0 && cols > 0);
  CV_Assert(rows <= kMaxPixels / cols);
}

/// Renders tiles one after the other; one thread's working memory.
class PlanePicture::Tiles {
 public:
  explicit Tiles(const PlanePicture& picture) : picture_(picture) {}

  /// Finds the source positions of the pixels of `place`; false if all of them are black.
  [[nodiscard]] bool locate(const cv::Rect& place) {
    const float* const xs = picture_.grid_.xs.data() + place.x;
    const float* const ys = picture_.grid_.ys.data() + place.y;
    Extent extent;
    for (int row = 0; row < place.height; ++row) {
      picture_.projection_.sourceFromPlaneRow(
          xs, place.width, ys[row], cols_.ptr<float>(row), rows_.ptr<float>(row), extent);
    }
    return !picture_.black_.blackWithin(extent);
  }

  /// Fills `tile` with the pixels of the place located last.
  void sample(cv::Mat& tile) const {
    const cv::Rect part({0, 0}, tile.size());
    picture_.sample_(cols_(part), rows_(part), tile);
  }

 private:
  const PlanePicture& picture_;
  cv::Mat cols_ = cv::Mat(kTileRows, kTileCols, CV_32FC1);
  cv::Mat rows_ = cv::Mat(kTileRows, kTileCols, CV_32FC1);
};

PlanePicture::PlanePicture(const PlaneProjection& projection,
                           PlaneGrid grid,
                           const cv::Mat& source,
                           TileSampler sample)
    : projection_(projection),
      grid_(std::move(grid)),
      black_(source),
      type_(source.type()),
      sample_(std::move(sample)) {}

cv::Size PlanePicture::size() const {
  return {static_cast<int>(grid_.xs.size()), static_cast<int>(grid_.ys.size())};
}

bool PlanePicture::mayHaveContent() const {
  // A grid that starts without a finite value holds none: each value adds to the one before.
  return projection_.hasFinitePositions() && std::isfinite(grid_.xs.front()) &&
         std::isfinite(grid_.ys.front()) && !black_.allBlack();
}

ContentProfile PlanePicture::contentProfile() const {
  const cv::Rect area({0, 0}, size());
  const int tileRows = ceilDiv(area.height, kTileRows);
  const int tileCols = ceilDiv(area.width, kTileCols);
  BrightnessSums sums(area.size(), CV_MAT_CN(type_), std::min(tileRows, kMaxBands));
  if (!mayHaveContent()) {
    return sums.profile();
  }
  // A few tile rows settle most columns; in the tile rows after them the first tile with content
  // settles the rows, and the others need not be rendered.
  std::vector<char> columnsSettled(static_cast<std::size_t>(tileCols), 0);
  int doneStride = 0;
  for (const int stride : {16, 4, 1}) {
    const std::vector<int> pass = multiplesBetween(stride, doneStride, tileRows);
    const int count = static_cast<int>(pass.size());
    const int bands = std::min(count, kMaxBands);
    Platform::parallelFor(0, bands, [&](int band) {
      Tiles tiles(*this);
      cv::Mat buffer(kTileRows, kTileCols, type_);
      for (int i = band; i < count; i += bands) {
        for (int col = 0; col < tileCols; ++col) {
          const cv::Rect place = tileOf(area, pass[static_cast<std::size_t>(i)], col);
          if (columnsSettled[static_cast<std::size_t>(col)] != 0 &&
              sums.rowsSettled(cv::Range(place.y, place.y + place.height))) {
            continue;
          }
          if (tiles.locate(place)) {
            cv::Mat tile = buffer(cv::Rect({0, 0}, place.size()));
            tiles.sample(tile);
            sums.add(band, tile, place.tl());
          }
        }
      }
    });
    for (int col = 0; col < tileCols; ++col) {
      const cv::Rect place = tileOf(area, 0, col);
      columnsSettled[static_cast<std::size_t>(col)] =
          sums.columnsSettled(cv::Range(place.x, place.x + place.width)) ? 1 : 0;
    }
    doneStride = stride;
  }
  return sums.profile();
}

cv::Mat PlanePicture::render(const cv::Rect& rect) const {
  if (rect.empty()) {
    cv::Mat none(0, 0, type_);
    return none;
  }
  cv::Mat picture(rect.size(), type_);
  Platform::preferLargePages(picture.data, picture.total() * picture.elemSize());
  const int tileRows = ceilDiv(rect.height, kTileRows);
  const int tileCols = ceilDiv(rect.width, kTileCols);
  const int rowsPerBand = ceilDiv(tileRows, kMaxBands);
  Platform::parallelFor(0, ceilDiv(tileRows, rowsPerBand), [&](int band) {
    Tiles tiles(*this);
    const int end = std::min((band + 1) * rowsPerBand, tileRows);
    for (int row = band * rowsPerBand; row < end; ++row) {
      for (int col = 0; col < tileCols; ++col) {
        const cv::Rect place = tileOf(rect, row, col);
        cv::Mat tile = picture(place - rect.tl());
        if (tiles.locate(place)) {
          tiles.sample(tile);
        } else {
          tile.setTo(cv::Scalar());
        }
      }
    }
  });
  return picture;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
