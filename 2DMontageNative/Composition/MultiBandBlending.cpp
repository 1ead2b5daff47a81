// SPDX-License-Identifier: MIT
#include "Composition/MultiBandBlending.h"

#include "Composition/BlendKernels.h"
#include "Composition/ReflectedWindow.h"
#include "Composition/WeightedLayer.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <optional>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr double kWeightOfMask = 1.0 / 255.0;

/// More bands than the montage's longer side can be halved are of no use.
int usefulBands(cv::Size montage, int bandCount) {
  const double longerSide = std::max(montage.width, montage.height);
  return std::min(bandCount, static_cast<int>(std::ceil(std::log(longerSide) / std::log(2.0))));
}

int roundedUp(int length, int step) {
  return (length + step - 1) / step * step;
}

/// The area that the pixels of `area` take `level` levels up.
cv::Rect atLevel(const cv::Rect& area, int level) {
  return {area.x >> level, area.y >> level, area.width >> level, area.height >> level};
}

/// Weights of the finest level over `window`, in pixels of the mask; zero outside of it.
cv::Mat finestWeights(const cv::Mat& mask, const cv::Rect& window) {
  cv::Mat weights = cv::Mat::zeros(window.size(), CV_32FC1);
  const cv::Rect inside = window & cv::Rect(cv::Point(), mask.size());
  if (!inside.empty()) {
    mask(inside).convertTo(weights(inside - window.tl()), CV_32F, kWeightOfMask);
  }
  return weights;
}

}  // namespace

/// The bands of a tile in the making.
struct MultiBandBlending::Layers {
  cv::Rect window;                    ///< in the montage
  std::vector<WeightedLayer> bands;   ///< from fine to coarse
  std::optional<ValueBounds> bounds;  ///< of the tile, for the fine arithmetic

  Layers(const cv::Rect& area, int bandCount, int channels, BlendArithmetic arithmetic)
      : window(area) {
    for (int level = 0; level <= bandCount; ++level) {
      bands.emplace_back(atLevel(window, level).size(), channels, arithmetic);
    }
  }

  /// Builds the finest level up from the coarsest. @return the layer that holds it.
  WeightedLayer& collapse() {
    cv::Mat* coarser = &bands.back().normalise();
    cv::Mat enlarged;
    for (auto band = bands.rbegin() + 1; band != bands.rend(); ++band) {
      cv::Mat& finer = band->normalise();
      cv::pyrUp(*coarser, enlarged, finer.size());
      cv::add(enlarged, finer, finer);
      coarser = &finer;
    }
    return bands.front();
  }
};

MultiBandBlending::MultiBandBlending(const std::vector<cv::Rect>& areas,
                                     cv::Size montage,
                                     int bandCount,
                                     BlendArithmetic arithmetic)
    : TileBlending(areas),
      bandCount_(usefulBands(montage, bandCount)),
      arithmetic_(arithmetic),
      paddedMontage_(roundedUp(montage.width, 1 << bandCount_),
                     roundedUp(montage.height, 1 << bandCount_)) {
  for (const cv::Rect& area : areas) {
    frames_.push_back({frameOf(area), {}, {}});
  }
}

/// Room for the pyramid around the image, on the grid of the coarsest level.
cv::Rect MultiBandBlending::frameOf(const cv::Rect& area) const {
  const int step = 1 << bandCount_;
  const int gap = 3 * step;
  const cv::Rect room = grown(area, gap) & cv::Rect(cv::Point(), paddedMontage_);
  const cv::Point first(room.x / step * step, room.y / step * step);
  const cv::Point last(roundedUp(room.br().x, step), roundedUp(room.br().y, step));
  return {first, last};
}

/// The pyramid of the whole frame: a part of it might be rounded differently.
void MultiBandBlending::prepare(std::size_t index, PlacedMask& placed) {
  Frame& frame = frames_[index];
  frame.weights.clear();
  cv::Mat finer = finestWeights(placed.mask, frame.area - placed.area.tl());
  for (int level = 1; level <= bandCount_; ++level) {
    cv::Mat coarser;
    cv::pyrDown(finer, coarser);
    frame.weights.push_back(coarser);
    finer = coarser;
  }
  if (arithmetic_ == BlendArithmetic::kFine) {
    // Two cells are less than the reach of a tile, so images that are near have been read.
    frame.near = NearCells(placed.mask, 2 << bandCount_);
  }
}

void MultiBandBlending::forget(std::size_t index) {
  frames_[index] = {frames_[index].area, {}, {}};
}

void MultiBandBlending::blend(const WarpedImages& images,
                              const cv::Rect& tile,
                              cv::Mat pixels) const {
  // Collapsing reaches two pixels of the coarsest level beyond the tile.
  const int step = 1 << bandCount_;
  const cv::Rect padded(tile.tl(),
                        cv::Size(roundedUp(tile.width, step), roundedUp(tile.height, step)));
  Layers layers(grown(padded, 2 * step) & cv::Rect(cv::Point(), paddedMontage_),
                bandCount_,
                pixels.channels(),
                arithmetic_);
  if (arithmetic_ == BlendArithmetic::kFine) {
    layers.bounds.emplace(tile, pixels.channels());
  }
  for (std::size_t i = 0; i < images.size(); ++i) {
    add(i, images[i].get(), layers);
  }
  layers.collapse().write(tile - layers.window.tl(), pixels);
  if (layers.bounds) {
    layers.bounds->apply(pixels);
  }
}

void MultiBandBlending::add(std::size_t index, const WarpedImage* image, Layers& layers) const {
  const PlacedMask& placed = maskOf(index);
  const Frame& frame = frames_[index];
  // Building the pyramid reaches another two pixels of the coarsest level beyond the layers.
  const cv::Rect source = grown(layers.window, 2 << bandCount_) & frame.area;
  const cv::Rect target = layers.window & frame.area;
  const cv::Point corner = placed.area.tl();
  const cv::Rect covered = source & placed.area;
  if (target.empty() || covered.empty() || cv::countNonZero(placed.mask(covered - corner)) == 0) {
    return;
  }
  cv::Mat finer = readReflected(*image, placed.area.size(), source - corner);
  if (layers.bounds) {
    layers.bounds->add(finer, source, placed, frame.near);
    cv::Mat eighths;
    finer.convertTo(eighths, CV_16S, 1 << kFineBits);
    finer = eighths;
  }
  cv::Mat coarser;
  cv::Mat enlarged;
  for (int level = 0; level <= bandCount_; ++level) {
    const cv::Rect part = atLevel(target, level);
    const cv::Rect inSource = part - atLevel(source, level).tl();
    const cv::Mat weights = level == 0 ? finestWeights(placed.mask, target - corner)
                                       : frame.weights[static_cast<std::size_t>(level - 1)](
                                             part - atLevel(frame.area, level).tl());
    cv::Mat coarse;
    if (level < bandCount_) {
      cv::pyrDown(finer, coarser);
      cv::pyrUp(coarser, enlarged, finer.size());
      coarse = enlarged(inSource);
    }
    layers.bands[static_cast<std::size_t>(level)].add(
        part - atLevel(layers.window, level).tl(), finer(inSource), coarse, weights);
    finer = coarser;
    coarser = cv::Mat();
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
