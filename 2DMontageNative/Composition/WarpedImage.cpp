// SPDX-License-Identifier: MIT
#include "Composition/WarpedImage.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

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

/// The pixels of the footprint that marked cells take.
cv::Rect boxAround(const cv::Mat& cells) {
  cv::Mat marked;
  cv::findNonZero(cells, marked);
  const cv::Rect box = marked.empty() ? cv::Rect() : cv::boundingRect(marked);
  return {box.tl() * kCellSide, box.size() * kCellSide};
}

/// From positions in an image to positions in a part of its frame, so far inside that cubic sampling
/// reads nothing beyond.
void moveInside(int framedLength, float first, cv::Mat& positions) {
  constexpr float kFirst = 2.F;
  const auto last = static_cast<float>(framedLength - 4);
  for (int row = 0; row < positions.rows; ++row) {
    auto* const values = positions.ptr<float>(row);
    for (int i = 0; i < positions.cols; ++i) {
      values[i] = std::min(last, std::max(kFirst, values[i] + static_cast<float>(kFrame))) - first;
    }
  }
}

/// A part of the image framed by reflected pixels, in pixels of the image.
cv::Mat cutOutFramed(const cv::Mat& image, const cv::Rect& part) {
  const cv::Rect inside = part & cv::Rect(cv::Point(), image.size());
  cv::Mat result;
  cv::copyMakeBorder(image(inside),
                     result,
                     inside.y - part.y,
                     part.br().y - inside.br().y,
                     inside.x - part.x,
                     part.br().x - inside.br().x,
                     cv::BORDER_REFLECT | cv::BORDER_ISOLATED);
  return result;
}

}  // namespace

bool isContinued(const Sampling& sampling) {
  return sampling.interpolation == cv::INTER_CUBIC && sampling.border == cv::BORDER_REFLECT;
}

cv::Rect partRead(const cv::detail::PlaneProjector& projector,
                  const cv::Rect& area,
                  cv::Size image) {
  // Cubic sampling reads two pixels around a position; reflection repeats those of the frame.
  constexpr int kMargin = 4 + kFrame;
  const cv::Rect all = {-kFrame, -kFrame, image.width + 2 * kFrame, image.height + 2 * kFrame};
  if (area.empty() || std::min(all.width, all.height) < 4 * kMargin) {
    return all;
  }
  double left = all.br().x;
  double top = all.br().y;
  double right = all.x;
  double bottom = all.y;
  // A rectangle in front of the camera is shown as a quadrangle of its corners.
  for (const cv::Point& corner :
       {area.tl(), cv::Point(area.br().x, area.y), cv::Point(area.x, area.br().y), area.br()}) {
    const auto lineOf = [&](int line) {
      const float* const k = projector.k_rinv + 3 * line;
      return (static_cast<double>(k[0]) * corner.x + static_cast<double>(k[1]) * corner.y) /
                 static_cast<double>(projector.scale) +
             static_cast<double>(k[2]);
    };
    const double z = lineOf(2);
    if (!(z > 0.0)) {
      return all;
    }
    left = std::min(left, lineOf(0) / z);
    right = std::max(right, lineOf(0) / z);
    top = std::min(top, lineOf(1) / z);
    bottom = std::max(bottom, lineOf(1) / z);
  }
  // Of what lies beyond the rim, the rim is read.
  const auto within = [](double value, int first, int last) {
    return static_cast<int>(
        std::clamp(value, static_cast<double>(first), static_cast<double>(last)));
  };
  const cv::Point first(within(std::floor(left) - kMargin, all.x, all.br().x - 2 * kMargin),
                        within(std::floor(top) - kMargin, all.y, all.br().y - 2 * kMargin));
  const cv::Point last(within(std::ceil(right) + kMargin, all.x + 2 * kMargin, all.br().x),
                       within(std::ceil(bottom) + kMargin, all.y + 2 * kMargin, all.br().y));
  return {first, last};
}

SampledImage::SampledImage(const cv::Mat& source, const PlaneSampler& sampler)
    : source_(source),
      framed_(source.cols + 2 * kFrame, source.rows + 2 * kFrame),
      sampler_(sampler),
      isContinued_(isContinued(sampler.sampling)) {
  if (isContinued_) {
    const cv::Rect part =
        partRead(sampler.projector, boxAround(sampler.wanted) + sampler.corner, source.size());
    source_ = cutOutFramed(source, part);
    first_ = {static_cast<float>(part.x + kFrame), static_cast<float>(part.y + kFrame)};
  }
}

cv::Mat SampledImage::read(const cv::Rect& blended) const {
  const cv::Rect area = blended + sampler_.offset;
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
    moveInside(framed_.width, first_.x, xMap);
    moveInside(framed_.height, first_.y, yMap);
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

cv::Mat wantedCells(const cv::Mat& mask, cv::Point offset, cv::Size footprint, int reach) {
  cv::Mat used = cv::Mat::zeros(cellsOf({cv::Point(), footprint}).size(), CV_8UC1);
  for (int row = 0; row < used.rows; ++row) {
    for (int column = 0; column < used.cols; ++column) {
      const cv::Rect cell = cv::Rect(column * kCellSide, row * kCellSide, kCellSide, kCellSide) &
                            cv::Rect(offset, mask.size());
      used.at<uchar>(row, column) =
          !cell.empty() && cv::countNonZero(mask(cell - offset)) > 0 ? 1 : 0;
    }
  }
  const int cellReach = (reach + kCellSide - 1) / kCellSide;
  const cv::Mat around = cv::Mat::ones(2 * cellReach + 1, 2 * cellReach + 1, CV_8UC1);
  cv::Mat wanted;
  cv::dilate(used, wanted, around);
  return wanted;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
