// SPDX-License-Identifier: MIT
#include "montage/MontageOutcome.h"

#include <algorithm>

namespace orv2d {
namespace {

const montage::LeftOutImage* leftOutOfPlan(const MontageOutcome& outcome, int index) {
  if (!outcome.plan) {
    return nullptr;
  }
  const auto& all = outcome.plan->leftOut;
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.index == index; });
  return found == all.end() ? nullptr : &*found;
}

cv::Point rounded(cv::Point2d point) {
  return {cvRound(point.x), cvRound(point.y)};
}

cv::Point2d centreOf(cv::Size size) {
  return {(size.width - 1) / 2.0, (size.height - 1) / 2.0};
}

}  // namespace

ImageVerdict verdictOf(const MontageOutcome& outcome, int index) {
  if (const montage::LeftOutImage* leftOut = leftOutOfPlan(outcome, index)) {
    return {false, "offPlane", leftOut->reason, "make a montage of its own of such views"};
  }
  const montage::RegisteredImage& image =
      outcome.registration->images[static_cast<std::size_t>(index)];
  return {image.verdict == montage::Verdict::used,
          nameOf(image.verdict),
          image.reason,
          adviceFor(*outcome.registration, image.verdict)};
}

std::string adviceFor(const montage::Registration& registration, montage::Verdict verdict) {
  if (registration.scale >= 1.0 && verdict == montage::Verdict::tooFewCorners) {
    return "take a sharper picture, or one that shows more";
  }
  if (registration.scale >= 1.0 && verdict == montage::Verdict::noPartner) {
    return "take images that share a third or more of their picture from one place";
  }
  return montage::adviceOn(verdict);
}

std::map<int, Position> positionsOf(montage::Preset preset, const montage::MontagePlan& plan) {
  const std::vector<cv::Point> centres = plan.footprintCentres();
  std::map<int, Position> positions;
  for (std::size_t i = 0; i < plan.images.size(); ++i) {
    const montage::PlannedImage& image = plan.images[i];
    Position& position = positions[image.index];
    switch (preset) {
      case montage::Preset::picture:
        position.reported = plan.montageFromImage(image.index, centreOf(image.sourceSize));
        position.inMontage = rounded(position.reported);
        break;
      case montage::Preset::basic:
        position.reported = image.footprint.tl();
        position.inMontage = image.footprint.tl() - plan.origin;
        break;
      case montage::Preset::diagnostic:
        position.reported = centres[i];
        position.inMontage =
            rounded(cv::Point2d(centres[i]) * plan.composeScale) - (plan.origin - plan.canvas.tl());
        break;
    }
  }
  return positions;
}

}  // namespace orv2d
