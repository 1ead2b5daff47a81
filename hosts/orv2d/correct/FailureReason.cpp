// SPDX-License-Identifier: MIT
#include "correct/FailureReason.h"

#include "Console.h"
#include "correct/ContentReach.h"
#include "correct/PlaneFrame.h"
#include "correct/SamplingMaps.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace orv2d {
namespace {

constexpr int kCoarseSize = 2000;  // samples per side; the averages do not depend on it

/// One axis of the rendering: which columns (rows) hold content.
struct Axis {
  std::vector<bool> content;
  const char* bands;  ///< "columns" or "rows"
  const char* firstBorder;
  const char* lastBorder;
};

/// The frame of the correction, cut out of a square rendering that holds it.
cv::Mat renderFrame(const LensValues& values, const PlaneFrame& frame, const cv::Mat& source) {
  const double extent = frame.halfExtent();
  const SamplingMaps maps = exportMaps(values, kCoarseSize, extent, source.size());
  const auto index = [&](double coordinate) {
    const double sample = (coordinate / extent + 1.0) * 0.5 * (kCoarseSize - 1);
    return std::clamp(cvRound(sample), 0, kCoarseSize - 1);
  };
  const cv::Rect cut(
      cv::Point(index(frame.firstColumn), std::min(index(frame.firstRow), index(frame.lastRow))),
      cv::Point(index(frame.lastColumn) + 1,
                std::max(index(frame.firstRow), index(frame.lastRow)) + 1));
  cv::Mat picture;
  cv::remap(
      source, picture, maps.columns()(cut), maps.rows()(cut), cv::INTER_CUBIC, cv::BORDER_CONSTANT);
  if (frame.firstRow > frame.lastRow) {
    cv::flip(picture, picture, 0);
  }
  return picture;
}

/// Columns (dimension 0) or rows (dimension 1) whose rounded average is not black.
std::vector<bool> contentAlong(const cv::Mat& picture, int dimension) {
  cv::Mat averages;
  cv::reduce(picture, averages, dimension, cv::REDUCE_AVG);
  averages = averages.reshape(1, static_cast<int>(averages.total()));
  std::vector<bool> content;
  content.reserve(averages.total());
  for (int i = 0; i < averages.rows; ++i) {
    content.push_back(cv::countNonZero(averages.row(i)) > 0);
  }
  return content;
}

/// The first empty stretch between two stretches of content, in percent of the axis; empty if none.
std::string gapOf(const Axis& axis) {
  const auto begin = axis.content.begin();
  const auto end = axis.content.end();
  const auto gap = std::find(std::find(begin, end, true), end, false);
  const auto next = std::find(gap, end, true);
  if (next == end) {
    return {};
  }
  const auto percent = [&](auto position) {
    constexpr double kPercent = 100.0;
    return fixed(
        kPercent * static_cast<double>(position - begin) / static_cast<double>(end - begin), 1);
  };
  return std::string("the content is broken: an empty band of ") + axis.bands +
         " divides it, from " + percent(gap) + " % to " + percent(next) + " % of the frame";
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
  }
  return text;
}

std::string touchedBorders(const std::vector<Axis>& axes) {
  std::vector<std::string> borders;
  for (const Axis& axis : axes) {
    if (axis.content.front()) {
      borders.emplace_back(axis.firstBorder);
    }
    if (axis.content.back()) {
      borders.emplace_back(axis.lastBorder);
    }
  }
  return borders.empty() ? ""
                         : "the content touches the " + joined(borders) +
                               (borders.size() == 1 ? " border" : " borders") + " of the frame";
}

std::string outsideReason(const PlaneFrame& frame) {
  std::ostringstream text;
  text << "the cone's outline leaves the plane's unit square (columns " << frame.firstColumn
       << " to " << frame.lastColumn << ", rows " << frame.firstRow << " to " << frame.lastRow
       << "); try a smaller --cone-angle-deg or --margin-percent, or less --yaw and --pitch";
  return text.str();
}

/// What helps where content touches the border of the frame.
std::string wayOut(CorrectMode mode, const ContentReach& reach, const cv::Mat& source) {
  constexpr double kRim = 0.97;
  constexpr double kNegligible = 0.001;
  constexpr double kAnyRadius = 1e9;
  const bool goesOn = contentShare(source, kRim * reach.fullRadius, kAnyRadius) > kNegligible;
  const std::string widen = mode == CorrectMode::kRange
                                ? "widen --min-angle-deg, --max-angle-deg or --margin-deg, or "
                                : "widen --cone-angle-deg or --margin-percent, or ";
  const double radius =
      reach.contentRadius(source.size()) * std::min(source.cols, source.rows) / 2.0;
  return (goesOn ? " and goes on past the half sphere, so that no frame holds it; "
                 : "; " + widen) +
         "keep only what lies within " + fixed(reach.angleDeg, 1) +
         " degrees of the lens axis: --circle auto, or --circle " + fixed(source.cols / 2.0, 0) +
         "," + fixed(source.rows / 2.0, 0) + "," + fixed(std::floor(radius), 0);
}

std::string stereographicReason(CorrectMode mode,
                                const LensValues& values,
                                const PlaneFrame& frame,
                                const cv::Mat& source) {
  const cv::Mat picture = renderFrame(values, frame, source);
  const std::vector<Axis> axes = {{contentAlong(picture, 0), "columns", "left", "right"},
                                  {contentAlong(picture, 1), "rows", "top", "bottom"}};
  for (const Axis& axis : axes) {
    if (std::find(axis.content.begin(), axis.content.end(), true) == axis.content.end()) {
      return "no content lies in the frame; check --half-field-angle, --yaw and --pitch";
    }
  }
  const std::string borders = mode == CorrectMode::kSquare ? "" : touchedBorders(axes);
  if (!borders.empty()) {
    return borders + wayOut(mode, contentReach(mode, values, frame), source);
  }
  for (const Axis& axis : axes) {
    const std::string gap = gapOf(axis);
    if (!gap.empty()) {
      return gap +
             "; fill or cut off black bands of the source, and leave out a dark rim with --circle "
             "auto";
    }
  }
  return "the content is not one unbroken band of columns and rows inside the frame";
}

}  // namespace

std::string failureReason(CorrectMode mode,
                          const LensValues& values,
                          double halfExtent,
                          const cv::Mat& source) {
  switch (mode) {
    case CorrectMode::kSquare:
      return stereographicReason(
          mode, values, {-halfExtent, halfExtent, -halfExtent, halfExtent}, source);
    case CorrectMode::kRange:
    case CorrectMode::kFov: {
      const PlaneFrame frame = planeFrame(mode, values);
      return mode == CorrectMode::kFov && !frame.insideUnitSquare()
                 ? outsideReason(frame)
                 : stereographicReason(mode, values, frame, source);
    }
    case CorrectMode::kPinhole:
      return "no pixel of the corrected image is brighter than 10; check --focal-x, --focal-y and "
             "the distortion coefficients";
    default:
      return "the library refused the image";
  }
}

}  // namespace orv2d
