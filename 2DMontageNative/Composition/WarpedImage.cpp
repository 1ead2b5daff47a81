// SPDX-License-Identifier: MIT
#include "Composition/WarpedImage.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

/// Two maps take 128 KiB and stay in the second-level cache; wide, because the sampler works along
/// rows.
constexpr int kSamplingWidth = 256;
constexpr int kSamplingHeight = 64;

/// Fine enough to follow a seam, coarse enough to cost nothing.
constexpr int kCellSide = 32;

/// The cells that `area` touches.
cv::Rect cellsOf(const cv::Rect& area) {
  const cv::Point first(area.x / kCellSide, area.y / kCellSide);
  const cv::Point last((area.br().x - 1) / kCellSide, (area.br().y - 1) / kCellSide);
  return {first, last + cv::Point(1, 1)};
}

/// Width of the frame around a continued image: what lies within it is smooth across the rim.
constexpr int kFrame = 8;

/// From positions in an image to positions in its frame, so far inside that cubic sampling reads
/// nothing beyond.
void moveInside(int framedLength, cv::Mat& positions) {
  constexpr float kFirst = 2.F;
  const auto last = static_cast<float>(framedLength - 4);
  for (int row = 0; row < positions.rows; ++row) {
    auto* const values = positions.ptr<float>(row);
    for (int i = 0; i < positions.cols; ++i) {
      values[i] = std::min(last, std::max(kFirst, values[i] + static_cast<float>(kFrame)));
    }
  }
}

}  // namespace

SampledImage::SampledImage(const cv::Mat& source, const PlaneSampler& sampler)
    : source_(source),
      sampler_(sampler),
      isContinued_(sampler.sampling.interpolation == cv::INTER_CUBIC &&
                   sampler.sampling.border == cv::BORDER_REFLECT) {
  if (isContinued_) {
    cv::copyMakeBorder(
        source, source_, kFrame, kFrame, kFrame, kFrame, cv::BORDER_REFLECT | cv::BORDER_ISOLATED);
  }
}

cv::Mat SampledImage::read(const cv::Rect& area) const {
  cv::Mat pixels(area.size(), source_.type());
  for (int y = area.y; y < area.br().y; y += kSamplingHeight) {
    for (int x = area.x; x < area.br().x; x += kSamplingWidth) {
      const cv::Rect tile = cv::Rect(x, y, kSamplingWidth, kSamplingHeight) & area;
      cv::Mat part = pixels(tile - area.tl());
      if (cv::countNonZero(sampler_.wanted(cellsOf(tile))) > 0) {
        sampleTile(tile, part);
      } else {
        part.setTo(cv::Scalar::all(0));
      }
    }
  }
  return pixels;
}

void SampledImage::sampleTile(const cv::Rect& tile, cv::Mat pixels) const {
  cv::Mat xMap(tile.size(), CV_32FC1);
  cv::Mat yMap(tile.size(), CV_32FC1);
  fillPlaneMaps(sampler_.projector, tile + sampler_.corner, xMap, yMap);
  if (isContinued_) {
    moveInside(source_.cols, xMap);
    moveInside(source_.rows, yMap);
    samplePixels(source_, xMap, yMap, {cv::INTER_CUBIC, cv::BORDER_CONSTANT}, pixels);
  } else {
    samplePixels(source_, xMap, yMap, sampler_.sampling, pixels);
  }
  if (sampler_.gains) {
    sampler_.gains->apply(tile, pixels);
  }
}

cv::detail::PlaneProjector planeProjectorOf(const cv::detail::RotationWarper& warper,
                                            const ImagePlacement& placement) {
  cv::detail::PlaneProjector projector{};
  projector.scale = warper.getScale();
  projector.setCameraParams(placement.K, placement.R, cv::Mat::zeros(3, 1, CV_32FC1));
  return projector;
}

cv::Mat wantedCells(const cv::Mat& mask, cv::Size footprint, int reach) {
  cv::Mat used = cv::Mat::zeros(cellsOf({cv::Point(), footprint}).size(), CV_8UC1);
  for (int row = 0; row < used.rows; ++row) {
    for (int column = 0; column < used.cols; ++column) {
      const cv::Rect cell = cv::Rect(column * kCellSide, row * kCellSide, kCellSide, kCellSide) &
                            cv::Rect(cv::Point(), mask.size());
      used.at<uchar>(row, column) = !cell.empty() && cv::countNonZero(mask(cell)) > 0 ? 1 : 0;
    }
  }
  const int cellReach = (reach + kCellSide - 1) / kCellSide;
  const cv::Mat around = cv::Mat::ones(2 * cellReach + 1, 2 * cellReach + 1, CV_8UC1);
  cv::Mat wanted;
  cv::dilate(used, wanted, around);
  return wanted;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
