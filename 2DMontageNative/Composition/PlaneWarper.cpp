// SPDX-License-Identifier: MIT
#include "Composition/PlaneWarper.h"

#include "Composition/PlaneFootprint.h"
#include "Composition/PlaneSampling.h"
#include "Platform/ParallelLoop.h"

#include <cstdint>
#include <typeinfo>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

using cv::detail::PlaneProjector;

/// Two maps of a tile take 128 KiB and stay in the second-level cache; square, so that the source
/// pixels it reads lie close together under any rotation.
constexpr int kTileSide = 128;

constexpr uchar kValid = 255;

/// Runs `use(tile, xMap, yMap)` for every tile of the destination `area`, in parallel; `tile` is
/// relative to the destination's top-left pixel.
template <class Use>
void forEachTile(const PlaneProjector& projector, const cv::Rect& area, const Use& use) {
  const int tilesAcross = (area.width + kTileSide - 1) / kTileSide;
  const int tilesDown = (area.height + kTileSide - 1) / kTileSide;
  Platform::parallelFor(0, tilesAcross * tilesDown, [&](int index) {
    const cv::Point corner(index % tilesAcross * kTileSide, index / tilesAcross * kTileSide);
    const cv::Rect tile =
        cv::Rect(corner, cv::Size(kTileSide, kTileSide)) & cv::Rect(cv::Point(), area.size());
    cv::Mat xMap(tile.size(), CV_32FC1);
    cv::Mat yMap(tile.size(), CV_32FC1);
    fillPlaneMaps(projector, tile + area.tl(), xMap, yMap);
    use(tile, xMap, yMap);
  });
}

/// Whether every position reads pixels of the source only, by any of OpenCV's interpolations. The
/// weights of 8-bit pixels add up exactly, so there a constant source gives the constant.
bool liesInside(const cv::Mat& xMap, const cv::Mat& yMap, cv::Size source) {
  constexpr float kReach = 4;  // of the widest one, Lanczos
  const auto right = static_cast<float>(source.width - 1) - kReach;
  const auto bottom = static_cast<float>(source.height - 1) - kReach;
  int inside = 1;  // not a bool and no early exit: vectorises
  for (int row = 0; row < xMap.rows; ++row) {
    const auto* x = xMap.ptr<float>(row);
    const auto* y = yMap.ptr<float>(row);
    for (int i = 0; i < xMap.cols; ++i) {
      inside &= static_cast<int>(x[i] >= kReach) & static_cast<int>(x[i] <= right) &
                static_cast<int>(y[i] >= kReach) & static_cast<int>(y[i] <= bottom);
    }
  }
  return inside != 0;
}

cv::Mat noTranslation() {
  return cv::Mat::zeros(3, 1, CV_32FC1);
}

}  // namespace

/// Takes over the camera and returns the destination on the plane.
cv::Rect ParallelPlaneWarper::project(cv::Size sourceSize,
                                      cv::InputArray K,
                                      cv::InputArray R,
                                      cv::InputArray T) {
  projector_.setCameraParams(K, R, T);
  cv::Point first;
  cv::Point last;
  detectResultRoi(sourceSize, first, last);
  // The corners of a camera that looks past the plane may lie anywhere in the range of int.
  const std::int64_t width = std::int64_t{last.x} - first.x + 1;
  const std::int64_t height = std::int64_t{last.y} - first.y + 1;
  requireFootprint(first, width, height);
  return {first, cv::Size(static_cast<int>(width), static_cast<int>(height))};
}

cv::Rect ParallelPlaneWarper::buildMaps(cv::Size sourceSize,
                                        cv::InputArray K,
                                        cv::InputArray R,
                                        cv::InputArray T,
                                        cv::OutputArray xMap,
                                        cv::OutputArray yMap) {
  const cv::Rect area = project(sourceSize, K, R, T);
  xMap.create(area.size(), CV_32FC1);
  yMap.create(area.size(), CV_32FC1);
  cv::Mat x = xMap.getMat();
  cv::Mat y = yMap.getMat();
  Platform::parallelFor(0, area.height, [&](int row) {
    cv::Mat xRow = x.row(row);
    cv::Mat yRow = y.row(row);
    fillPlaneMaps(projector_, {area.x, area.y + row, area.width, 1}, xRow, yRow);
  });
  return {area.tl(), area.br() - cv::Point(1, 1)};  // OpenCV's: between corner pixels
}

cv::Point ParallelPlaneWarper::warp(cv::InputArray source,
                                    cv::InputArray K,
                                    cv::InputArray R,
                                    cv::InputArray T,
                                    int interpolation,
                                    int border,
                                    cv::OutputArray warped) {
  const cv::Rect area = project(source.size(), K, R, T);
  cv::Mat from = source.getMat();
  warped.create(area.size(), source.type());
  cv::Mat to = warped.getMat();
  if (to.data == from.data) {
    from = from.clone();
  }
  forEachTile(
      projector_, area, [&](const cv::Rect& tile, const cv::Mat& xMap, const cv::Mat& yMap) {
        samplePixels(from, xMap, yMap, {interpolation, border}, to(tile));
      });
  return area.tl();
}

cv::Point ParallelPlaneWarper::warpWithMask(const cv::Mat& image,
                                            cv::InputArray K,
                                            cv::InputArray R,
                                            Sampling imageSampling,
                                            Sampling maskSampling,
                                            cv::Mat& warped,
                                            cv::Mat& mask) {
  const cv::Rect area = project(image.size(), K, R, noTranslation());
  const cv::Mat allValid(image.size(), CV_8UC1, cv::Scalar(kValid));
  cv::Mat warpedImage(area.size(), image.type());
  cv::Mat warpedMask(area.size(), CV_8UC1);
  forEachTile(
      projector_, area, [&](const cv::Rect& tile, const cv::Mat& xMap, const cv::Mat& yMap) {
        samplePixels(image, xMap, yMap, imageSampling, warpedImage(tile));
        if (liesInside(xMap, yMap, image.size())) {
          warpedMask(tile).setTo(kValid);
        } else {
          samplePixels(allValid, xMap, yMap, maskSampling, warpedMask(tile));
        }
      });
  warped = warpedImage;
  mask = warpedMask;
  return area.tl();
}

bool isPlaneWarper(const cv::detail::RotationWarper& warper) {
  const std::type_info& kind = typeid(warper);
  return kind == typeid(ParallelPlaneWarper) || kind == typeid(cv::detail::PlaneWarper);
}

cv::Point warpWithMask(cv::detail::RotationWarper& warper,
                       const cv::Mat& image,
                       cv::InputArray K,
                       cv::InputArray R,
                       Sampling imageSampling,
                       Sampling maskSampling,
                       cv::Mat& warped,
                       cv::Mat& mask) {
  if (auto* parallel = dynamic_cast<ParallelPlaneWarper*>(&warper)) {
    return parallel->warpWithMask(image, K, R, imageSampling, maskSampling, warped, mask);
  }
  const cv::Mat allValid(image.size(), CV_8UC1, cv::Scalar(kValid));
  cv::Mat warpedImage;
  cv::Mat warpedMask;
  const cv::Point corner =
      warper.warp(image, K, R, imageSampling.interpolation, imageSampling.border, warpedImage);
  warper.warp(allValid, K, R, maskSampling.interpolation, maskSampling.border, warpedMask);
  warped = warpedImage;
  mask = warpedMask;
  return corner;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
