// SPDX-License-Identifier: MIT
#include "Composition/MultiBandBlending.h"

#include "Composition/BlendKernels.h"
#include "Composition/ReflectedWindow.h"
#include "Composition/WeightedLayer.h"
#include "Platform/ParallelLoop.h"

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

MultiBandBlending::MultiBandBlending(std::vector<PlacedMask> masks,
                                     cv::Size montage,
                                     int bandCount,
                                     BlendArithmetic arithmetic)
    : bandCount_(usefulBands(montage, bandCount)),
      arithmetic_(arithmetic),
      paddedMontage_(roundedUp(montage.width, 1 << bandCount_),
                     roundedUp(montage.height, 1 << bandCount_)) {
  for (PlacedMask& mask : masks) {
    const cv::Rect frame = frameOf(mask.area);
    images_.push_back({std::move(mask), frame, {}, {}});
  }
  Platform::parallelFor(0, static_cast<int>(images_.size()), [&](int i) {
    buildWeights(images_[static_cast<std::size_t>(i)]);
  });
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
void MultiBandBlending::buildWeights(FramedImage& framed) const {
  cv::Mat finer = finestWeights(framed.image.mask, framed.frame - framed.image.area.tl());
  for (int level = 1; level <= bandCount_; ++level) {
    cv::Mat coarser;
    cv::pyrDown(finer, coarser);
    framed.weights.push_back(coarser);
    finer = coarser;
    if (arithmetic_ == BlendArithmetic::kFine) {
      // Two cells are less than the reach of a tile, so images that are near have been read.
      framed.near = NearCells(framed.image.mask, 2 << bandCount_);
    }
  }
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
    add(images_[i], images[i].get(), layers);
  }
  layers.collapse().write(tile - layers.window.tl(), pixels);
  if (layers.bounds) {
    layers.bounds->apply(pixels);
  }
}

void MultiBandBlending::add(const FramedImage& framed,
                            const WarpedImage* image,
                            Layers& layers) const {
  // Building the pyramid reaches another two pixels of the coarsest level beyond the layers.
  const cv::Rect source = grown(layers.window, 2 << bandCount_) & framed.frame;
  const cv::Rect target = layers.window & framed.frame;
  const cv::Point corner = framed.image.area.tl();
  const cv::Rect covered = source & framed.image.area;
  if (target.empty() || covered.empty() ||
      cv::countNonZero(framed.image.mask(covered - corner)) == 0) {
    return;
  }
  cv::Mat finer = readReflected(*image, framed.image.area.size(), source - corner);
  if (layers.bounds) {
    layers.bounds->add(finer, source, framed.image, framed.near);
    cv::Mat eighths;
    finer.convertTo(eighths, CV_16S, 1 << kFineBits);
    finer = eighths;
  }
  cv::Mat coarser;
  cv::Mat enlarged;
  for (int level = 0; level <= bandCount_; ++level) {
    const cv::Rect part = atLevel(target, level);
    const cv::Rect inSource = part - atLevel(source, level).tl();
    const cv::Mat weights = level == 0 ? finestWeights(framed.image.mask, target - corner)
                                       : framed.weights[static_cast<std::size_t>(level - 1)](
                                             part - atLevel(framed.frame, level).tl());
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
