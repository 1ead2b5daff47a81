// SPDX-License-Identifier: MIT
#include "DistortCorrect/ContentProfile.h"

#include "Platform/ParallelLoop.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// Bytes summed side by side: a multiple of the vector length and of 1 and 3 channels, so that lane
/// k holds channel k % channels only.
constexpr int kLanes = 48;
/// Bytes of a row piece: so few that a lane's 16-bit sum (255 per byte) cannot overflow.
constexpr int kPieceBytes = kLanes * 16;

static_assert(BrightnessSums::kMaxTileRows * 255 <= UINT16_MAX, "column sums must fit");
static_assert(kPieceBytes / kLanes * 255 <= UINT16_MAX, "row sums must fit");

/// Adds one row piece to the column sums, and its channel sums to `rowSums`.
void addRowPiece(
    const unsigned char* bytes, int count, int channels, std::uint16_t* columnSums, int* rowSums) {
  std::array<std::uint16_t, kLanes> lanes{};
  int first = 0;
  for (; first + kLanes <= count; first += kLanes) {
    for (int k = 0; k < kLanes; ++k) {
      const std::uint16_t value = bytes[first + k];
      lanes[static_cast<std::size_t>(k)] =
          static_cast<std::uint16_t>(lanes[static_cast<std::size_t>(k)] + value);
      columnSums[first + k] = static_cast<std::uint16_t>(columnSums[first + k] + value);
    }
  }
  for (int k = 0; first + k < count; ++k) {
    const std::uint16_t value = bytes[first + k];
    lanes[static_cast<std::size_t>(k)] =
        static_cast<std::uint16_t>(lanes[static_cast<std::size_t>(k)] + value);
    columnSums[first + k] = static_cast<std::uint16_t>(columnSums[first + k] + value);
  }
  for (int k = 0; k < kLanes; ++k) {
    rowSums[k % channels] += lanes[static_cast<std::size_t>(k)];
  }
}

/// 8-bit averages summed over the channels; `sums` holds sums of `count` samples.
std::vector<int> channelTotals(const cv::Mat& sums, int count) {
  cv::Mat averages;
  sums.convertTo(averages, CV_8U, 1.0 / count);  // as cv::reduce does
  const int channels = averages.channels();
  std::vector<int> totals(averages.total());
  const unsigned char* average = averages.ptr();
  for (int& total : totals) {
    for (int channel = 0; channel < channels; ++channel) {
      total += *average++;
    }
  }
  return totals;
}

/// Whether each pixel of `sums` has a channel whose average over `count` samples is 1 or more.
bool allBright(const cv::Mat& sums, int count) {
  const int channels = sums.channels();
  const int* sum = sums.ptr<int>();
  for (std::size_t i = 0; i < sums.total(); ++i, sum += channels) {
    if (std::none_of(sum, sum + channels, [count](int value) { return value >= count; })) {
      return false;
    }
  }
  return true;
}

}  // namespace

BrightnessSums::BrightnessSums(cv::Size pictureSize, int channels, int bands)
    : columnSums_(cv::Mat::zeros(bands, pictureSize.width, CV_32SC(channels))),
      rowSums_(cv::Mat::zeros(pictureSize.height, 1, CV_32SC(channels))) {}

void BrightnessSums::add(int band, const cv::Mat& tile, cv::Point origin) {
  assert(tile.rows <= kMaxTileRows);
  const int channels = tile.channels();
  const int rowBytes = tile.cols * channels;
  int* const bandSums =
      columnSums_.ptr<int>(band) + static_cast<std::ptrdiff_t>(origin.x) * channels;
  for (int first = 0; first < rowBytes; first += kPieceBytes) {
    const int count = std::min(kPieceBytes, rowBytes - first);
    std::array<std::uint16_t, kPieceBytes> pieceSums{};
    for (int row = 0; row < tile.rows; ++row) {
      addRowPiece(tile.ptr(row) + first,
                  count,
                  channels,
                  pieceSums.data(),
                  rowSums_.ptr<int>(origin.y + row));
    }
    for (int i = 0; i < count; ++i) {
      bandSums[first + i] += pieceSums[static_cast<std::size_t>(i)];
    }
  }
}

bool BrightnessSums::rowsSettled(const cv::Range& rows) const {
  return allBright(rowSums_.rowRange(rows), columnSums_.cols);
}

bool BrightnessSums::columnsSettled(const cv::Range& columns) const {
  cv::Mat sums = columnSums_.colRange(columns).row(0).clone();
  for (int band = 1; band < columnSums_.rows; ++band) {
    sums += columnSums_.row(band).colRange(columns);
  }
  return allBright(sums, rowSums_.rows);
}

ContentProfile BrightnessSums::profile() const {
  cv::Mat columnSums = columnSums_.row(0).clone();
  for (int band = 1; band < columnSums_.rows; ++band) {
    columnSums += columnSums_.row(band);
  }
  return {channelTotals(columnSums, rowSums_.rows), channelTotals(rowSums_, columnSums_.cols)};
}

ContentProfile profileOf(const cv::Mat& picture) {
  constexpr int kTileRows = BrightnessSums::kMaxTileRows;
  const int bands = (picture.rows + kTileRows - 1) / kTileRows;
  BrightnessSums sums(picture.size(), picture.channels(), bands);
  Platform::parallelFor(0, bands, [&](int band) {
    const int firstRow = band * kTileRows;
    const int endRow = std::min(firstRow + kTileRows, picture.rows);
    sums.add(band, picture.rowRange(firstRow, endRow), {0, firstRow});
  });
  return sums.profile();
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
