// SPDX-License-Identifier: MIT
#include "Pipeline/TilePyramid.h"

#include "Platform/ParallelLoop.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace montage {
namespace {

using ORV::Common::Platform::parallelFor;

/// Tiles that are filled and encoded together: enough for all cores, a few dozen megabytes.
constexpr std::size_t kTilesAtOnce = 64;

constexpr int kAlpha = 3;

std::vector<TileGrid> levelsOf(cv::Size size, bool reduced) {
  std::vector<TileGrid> levels = {{size}};
  while (reduced && std::max(levels.back().size.width, levels.back().size.height) > kTileSide) {
    levels.push_back(levels.back().halved());
  }
  return levels;
}

/// Repeats the last column and row of what is filled: it reduces to itself and compresses well.
void padTile(cv::Mat& tile, cv::Size filled) {
  if (filled != tile.size()) {
    cv::copyMakeBorder(tile(cv::Rect(cv::Point(), filled)).clone(),
                       tile,
                       0,
                       tile.rows - filled.height,
                       0,
                       tile.cols - filled.width,
                       cv::BORDER_REPLICATE);
  }
}

unsigned char meanOf(int a, int b, int c, int d) {
  return static_cast<unsigned char>((a + b + c + d + 2) / 4);
}

void reducePlain(const unsigned char* upper,
                 const unsigned char* lower,
                 unsigned char* out,
                 int width,
                 std::ptrdiff_t channels) {
  for (int x = 0; x < width; ++x) {
    for (std::ptrdiff_t c = 0; c < channels; ++c) {
      out[c] = meanOf(upper[c], upper[c + channels], lower[c], lower[c + channels]);
    }
    upper += 2 * channels;
    lower += 2 * channels;
    out += channels;
  }
}

/// Colours count as much as they cover.
void reduceWithAlpha(const unsigned char* upper,
                     const unsigned char* lower,
                     unsigned char* out,
                     int width) {
  constexpr std::ptrdiff_t kChannels = kAlpha + 1;
  for (int x = 0; x < width; ++x) {
    const unsigned char* const four[] = {upper, upper + kChannels, lower, lower + kChannels};
    int cover = 0;
    for (const unsigned char* pixel : four) {
      cover += pixel[kAlpha];
    }
    for (int c = 0; c < kAlpha; ++c) {
      int sum = cover / 2;
      for (const unsigned char* pixel : four) {
        sum += pixel[c] * pixel[kAlpha];
      }
      out[c] = static_cast<unsigned char>(cover > 0 ? sum / cover : 0);
    }
    out[kAlpha] = static_cast<unsigned char>((cover + 2) / 4);
    upper += 2 * kChannels;
    lower += 2 * kChannels;
    out += kChannels;
  }
}

/// Means of 2 x 2 pixels, rounded to nearest.
void reduceTile(const cv::Mat& tile, cv::Mat half) {
  for (int y = 0; y < half.rows; ++y) {
    const unsigned char* const upper = tile.ptr(2 * y);
    const unsigned char* const lower = tile.ptr(2 * y + 1);
    if (tile.channels() > kAlpha) {
      reduceWithAlpha(upper, lower, half.ptr(y), half.cols);
    } else {
      reducePlain(upper, lower, half.ptr(y), half.cols, tile.channels());
    }
  }
}

}  // namespace

TilePyramid::TilePyramid(cv::Size size, int type, bool reduced, Encode encode, Store store)
    : type_(type),
      encode_(std::move(encode)),
      store_(std::move(store)),
      levels_(levelsOf(size, reduced)),
      open_(levels_.size()),
      done_(levels_.front().count()) {
  for (const TileGrid& level : levels_) {
    missingTiles_ += level.count();
  }
}

void TilePyramid::add(const cv::Rect& area, const cv::Mat& pixels) {
  if ((area & cv::Rect(cv::Point(), levels_.front().size)) != area) {
    throw std::invalid_argument("area: a part of the picture is expected");
  }
  if (pixels.type() != type_ || pixels.size() != area.size()) {
    throw std::invalid_argument("pixels: the type of the picture and the size of area expected");
  }
  std::vector<cv::Point> tiles;
  for (int y = area.y / kTileSide; y * kTileSide < area.br().y; ++y) {
    for (int x = area.x / kTileSide; x * kTileSide < area.br().x; ++x) {
      tiles.emplace_back(x, y);
      if (tiles.size() == kTilesAtOnce) {
        fill(tiles, area, pixels);
        tiles.clear();
      }
    }
  }
  fill(tiles, area, pixels);
}

TilePyramid::Tile& TilePyramid::open(std::size_t level, cv::Point at) {
  const auto [found, isNew] = open_[level].try_emplace(levels_[level].numberOf(at));
  Tile& tile = found->second;
  if (isNew) {
    tile.at = at;
    tile.pixels.create(kTileSide, kTileSide, type_);
    tile.missing = levels_[level].areaOf(at).area();
  }
  return tile;
}

void TilePyramid::fill(const std::vector<cv::Point>& tiles,
                       const cv::Rect& area,
                       const cv::Mat& pixels) {
  const TileGrid& grid = levels_.front();
  std::vector<Tile*> opened;
  std::vector<Tile*> full;
  for (const cv::Point& at : tiles) {
    Tile& tile = open(0, at);
    const int added = (grid.areaOf(at) & area).area();
    if (done_[grid.numberOf(at)] || added > tile.missing) {
      throw std::invalid_argument("area: pixels of it have been written already");
    }
    tile.missing -= added;
    opened.push_back(&tile);
    if (tile.missing == 0) {
      done_[grid.numberOf(at)] = true;
      full.push_back(&tile);
    }
  }
  parallelFor(0, static_cast<int>(opened.size()), [&](int i) {
    Tile& tile = *opened[static_cast<std::size_t>(i)];
    const cv::Rect part = grid.areaOf(tile.at) & area;
    pixels(part - area.tl()).copyTo(tile.pixels(part - tile.at * kTileSide));
  });
  for (std::size_t level = 0; !full.empty(); ++level) {
    full = finish(level, full);
  }
}

std::vector<TilePyramid::Tile*> TilePyramid::finish(std::size_t level,
                                                    const std::vector<Tile*>& full) {
  const bool isLast = level + 1 == levels_.size();
  std::vector<Tile*> parents(full.size(), nullptr);
  for (std::size_t i = 0; !isLast && i < full.size(); ++i) {
    parents[i] = &open(level + 1, full[i]->at / 2);
  }
  std::vector<Bytes> bytes(full.size());
  parallelFor(0, static_cast<int>(full.size()), [&](int index) {
    const auto i = static_cast<std::size_t>(index);
    Tile& tile = *full[i];
    padTile(tile.pixels, levels_[level].areaOf(tile.at).size());
    bytes[i] = encode_(tile.pixels);
    if (parents[i] != nullptr) {
      constexpr int kHalf = kTileSide / 2;
      const cv::Point quarter(tile.at.x % 2 * kHalf, tile.at.y % 2 * kHalf);
      reduceTile(tile.pixels, parents[i]->pixels(cv::Rect(quarter, cv::Size(kHalf, kHalf))));
    }
  });
  std::vector<Tile*> fullParents;
  for (std::size_t i = 0; i < full.size(); ++i) {
    const TileGrid area{levels_[level].areaOf(full[i]->at).size()};
    const std::size_t number = levels_[level].numberOf(full[i]->at);
    store_(level, number, bytes[i]);
    --missingTiles_;
    open_[level].erase(number);
    if (parents[i] != nullptr && (parents[i]->missing -= area.halved().size.area()) == 0) {
      fullParents.push_back(parents[i]);
    }
  }
  return fullParents;
}

}  // namespace montage
