// SPDX-License-Identifier: MIT
#include "Pipeline/Sweep.h"

#include "Composition/CompositionImage.h"
#include "Pipeline/PlanLayout.h"
#include "Platform/ParallelLoop.h"
#include "montage/Compose.h"

#include <algorithm>
#include <utility>

namespace montage {
namespace {

std::uint64_t areaOf(cv::Size size) {
  return static_cast<std::uint64_t>(std::max(size.width, 0)) *
         static_cast<std::uint64_t>(std::max(size.height, 0));
}

std::uint64_t threadCount() {
  return static_cast<std::uint64_t>(std::max(1, tbb::this_task_arena::max_concurrency()));
}

/// Of the tiles in work, see `PlaneComposer`.
std::uint64_t tileBytes(const MontagePlan& plan) {
  return threadCount() * (std::uint64_t{16} << (20 + std::max(0, plan.bands - 3)));
}

}  // namespace

SweepPlanner::SweepPlanner(const MontagePlan& plan,
                           std::vector<composition::PlaneComposer::Image> images,
                           int channels)
    : plan_(plan),
      images_(std::move(images)),
      channels_(channels),
      plane_(
          images_, {}, plan.canvas.size(), blendingOf(plan), samplingOf(plan.options), channels) {
  for (std::size_t i = 0; i < images_.size(); ++i) {
    held_.push_back(heldBytes(i));
  }
}

/// Pixels, mask, gains and weights of an image.
std::uint64_t SweepPlanner::heldBytes(std::size_t index) const {
  const composition::ImagePlacement& placement = images_[index].placement;
  const auto channels = static_cast<std::uint64_t>(channels_);
  const cv::Size scaled =
      composition::scaledSizeForComposition(plan_.images[index].sourceSize, plan_.composeScale);
  std::uint64_t bytes = areaOf(scaled) * channels;
  if (composition::isContinued(samplingOf(plan_.options))) {
    constexpr int kCells = 64;  // cells of the area may reach beyond it
    const cv::Rect area(placement.footprint.tl() + placement.offset, placement.area.size());
    bytes = areaOf(composition::partRead(
                       images_[index].projector, composition::grown(area, kCells), scaled)
                       .size()) *
            channels;
  }
  const std::uint64_t maskBytes = areaOf(placement.area.size());
  bytes += maskBytes;
  if (plan_.options.blending == Blending::multiBand) {
    const cv::Size framed = composition::grown(placement.area, 4 << plan_.bands).size();
    bytes += areaOf(framed) * 4 / 3;
  }
  const cv::Mat& gains = images_[index].gains;
  bytes += static_cast<std::uint64_t>(gains.rows) * sizeof(float) * channels *
           static_cast<std::uint64_t>(placement.footprint.width);
  return bytes;
}

/// What preparing and reading images takes for a while, on all threads.
std::uint64_t SweepPlanner::loadingBytes() const {
  std::uint64_t largest = 0;
  for (std::size_t i = 0; i < images_.size(); ++i) {
    const composition::ImagePlacement& placement = images_[i].placement;
    constexpr std::uint64_t kColour = 3;
    const std::uint64_t source = areaOf(plan_.images[i].sourceSize) * kColour;
    // The file itself, the decoded image, and what it is reduced or converted to.
    const std::uint64_t reading = source / 2 + source + (plan_.composeScale < 1.0 ? source : 0);
    const std::uint64_t weighing =
        areaOf(placement.footprint.size()) +
        (plan_.options.blending == Blending::multiBand ? 5 * areaOf(placement.area.size()) : 0);
    largest = std::max({largest, reading, weighing});
  }
  return largest * std::min<std::uint64_t>(threadCount(), images_.size());
}

/// A picture with what is made on the way to it.
std::uint64_t SweepPlanner::pictureBytes(const cv::Rect& area) const {
  constexpr std::uint64_t kWithAlpha = 4;
  std::uint64_t perPixel = static_cast<std::uint64_t>(channels_);
  switch (plan_.options.background) {
    case Background::black:
      break;
    case Background::white:
      perPixel += 1;
      break;
    case Background::transparent:
      perPixel += 1 + kWithAlpha + (channels_ == 1 ? 3 : 0);
      break;
  }
  return areaOf(area.size()) * perPixel;
}

Sweep SweepPlanner::inStrips(const cv::Rect& window,
                             cv::Size strip,
                             bool holdAll,
                             Destination destination) const {
  Sweep sweep;
  sweep.holdAll = holdAll;
  const auto heldFor = [&](const cv::Rect& area) {
    std::uint64_t bytes = 0;
    for (const std::size_t i : plane_.imagesOf(area)) {
      bytes += held_[i];
    }
    return bytes;
  };
  // What hands strips on gathers them into its own tiles.
  constexpr std::uint64_t kHandedOn = 3;
  const auto firstAt = [](int start, int step) { return start / step * step; };
  std::uint64_t most = holdAll ? heldFor(window) : 0;
  std::uint64_t mostOfStrip = 0;
  for (int y = firstAt(window.y, strip.height); y < window.br().y; y += strip.height) {
    for (int x = firstAt(window.x, strip.width); x < window.br().x; x += strip.width) {
      const cv::Rect part = cv::Rect(cv::Point(x, y), strip) & window;
      sweep.strips.push_back(part);
      most = std::max(most, holdAll ? 0 : heldFor(part));
      mostOfStrip = std::max(mostOfStrip, pictureBytes(part));
    }
  }
  sweep.peakBytes =
      most + loadingBytes() + tileBytes(plan_) +
      (destination == Destination::memory ? pictureBytes(window) : kHandedOn * mostOfStrip);
  return sweep;
}

Sweep SweepPlanner::whole(const cv::Rect& window, Destination destination) const {
  const cv::Size all = window.br();
  return inStrips(window,
                  destination == Destination::memory ? all : cv::Size(all.width, plane_.tileSide()),
                  true,
                  destination);
}

Sweep SweepPlanner::leastMemory(const cv::Rect& window, Destination destination) const {
  const cv::Size all = window.br();
  Sweep rows = inStrips(window, {all.width, plane_.tileSide()}, false, destination);
  if (destination == Destination::rows) {
    return rows;
  }
  Sweep columns = inStrips(window, {plane_.tileSide(), all.height}, false, destination);
  return rows.peakBytes <= columns.peakBytes ? rows : columns;
}

Sweep sweepWithin(const SweepPlanner& planner,
                  const cv::Rect& window,
                  Destination destination,
                  std::uint64_t memoryBytes) {
  Sweep whole = planner.whole(window, destination);
  if (whole.peakBytes <= memoryBytes) {
    return whole;
  }
  Sweep least = planner.leastMemory(window, destination);
  if (least.peakBytes > memoryBytes) {
    throw MemoryLimitError(least.peakBytes, memoryBytes);
  }
  return least;
}

}  // namespace montage
