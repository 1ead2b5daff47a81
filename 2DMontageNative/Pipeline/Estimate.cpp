// SPDX-License-Identifier: MIT
#include "Pipeline/Estimate.h"

#include "Pipeline/PlanLayout.h"
#include "Pipeline/Sweep.h"
#include "montage/Compose.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace montage {
namespace {

constexpr int kColour = 3;

std::uint64_t areaOf(cv::Size size) {
  return static_cast<std::uint64_t>(std::max(size.width, 0)) *
         static_cast<std::uint64_t>(std::max(size.height, 0));
}

std::uint64_t samplesPerPixel(const MontagePlan& plan) {
  const bool isGrey = plan.channels == 1;
  return plan.options.background == Background::transparent ? kColour + 1 : isGrey ? 1 : kColour;
}

/// Pixels that images give to the montage: what lies within their seam masks.
double blendedPixels(const MontagePlan& plan) {
  double pixels = 0.0;
  for (const PlannedImage& image : plan.images) {
    const auto area = static_cast<double>(areaOf(image.footprint.size()));
    const bool withMask = !image.seamMask.empty();
    pixels += withMask ? area * cv::countNonZero(image.seamMask) /
                             static_cast<double>(image.seamMask.total())
                       : area;
  }
  return pixels;
}

/// A montage of one small image that is blended as the plan's are.
MontagePlan trialOf(const MontagePlan& plan) {
  constexpr int kSide = 256;
  const cv::Rect area(0, 0, kSide - 1, kSide - 1);
  MontagePlan trial;
  trial.status = PlanStatus::ok;
  trial.options = plan.options;
  trial.options.normaliseBrightness = false;
  trial.bands = plan.bands;
  trial.sourceCount = 1;
  trial.planeScale = kSide;
  PlannedImage image;
  image.sourceSize = {kSide, kSide};
  image.camera.focal = kSide;
  image.footprint = area;
  if (plan.options.seams != Seams::none) {
    image.seamMask = cv::Mat(kSide / 4, kSide / 4, CV_8UC1, cv::Scalar(255));
    image.gains = cv::Mat::ones(4, 4, CV_32FC1);
  }
  trial.images = {image};
  trial.canvas = area;
  trial.size = area.size();
  return trial;
}

/// Composes the trial to see how long a pixel takes here and now.
double secondsPerPixel(const MontagePlan& plan) {
  using Clock = std::chrono::steady_clock;
  const MontagePlan trial = trialOf(plan);
  const MatSource source({cv::Mat::zeros(trial.images[0].sourceSize, CV_8UC3)});
  const Clock::time_point start = Clock::now();
  compose(trial, source);
  const std::chrono::duration<double> taken = Clock::now() - start;
  return taken.count() / static_cast<double>(areaOf(trial.size));
}

}  // namespace

Estimate estimateOf(const MontagePlan& plan) {
  const SweepPlanner planner(plan, layOut(plan), plan.channels == 1 ? 1 : kColour);
  const cv::Rect window(plan.origin - plan.canvas.tl(), plan.size);
  Estimate estimate;
  estimate.pixels = areaOf(plan.size);
  estimate.montageBytes = estimate.pixels * samplesPerPixel(plan);
  estimate.memoryBytes = planner.whole(window, Destination::memory).peakBytes;
  estimate.leastMemoryBytes = planner.leastMemory(window, Destination::rowsOrColumns).peakBytes;
  estimate.seconds = secondsPerPixel(plan) * blendedPixels(plan);
  return estimate;
}

}  // namespace montage
