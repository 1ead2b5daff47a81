// SPDX-License-Identifier: MIT
#include "montage/Overlay.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <string>

namespace orv2d {
namespace {

const cv::Scalar kMarkColour(0, 255, 255);  // yellow, blue-green-red
const cv::Scalar kEdgeColour(0, 0, 0);

/// Sizes of the drawing, in pixels of the montage.
struct Pen {
  int radius;
  int line;
  int edge;
  double textScale;

  explicit Pen(const cv::Size& size) {
    constexpr int kRadiiPerSide = 30;
    constexpr int kMinRadius = 6;
    constexpr double kTextPixelsAtScaleOne = 22.0;  // height of Hershey digits
    radius = std::max(kMinRadius, std::min(size.width, size.height) / kRadiiPerSide);
    line = std::max(1, radius / 6);
    edge = line + 2 * std::max(1, line / 2);
    textScale = radius * 1.5 / kTextPixelsAtScaleOne;
  }
};

/// Two strokes through the centre, or from the corner to the right and down.
void drawStrokes(cv::Mat& image,
                 cv::Point at,
                 MarkKind kind,
                 int radius,
                 const cv::Scalar& colour,
                 int thickness) {
  const int before = kind == MarkKind::Centre ? radius : 0;
  const int after = kind == MarkKind::Centre ? radius : 2 * radius;
  cv::line(image, {at.x - before, at.y}, {at.x + after, at.y}, colour, thickness, cv::LINE_AA);
  cv::line(image, {at.x, at.y - before}, {at.x, at.y + after}, colour, thickness, cv::LINE_AA);
}

void drawMark(cv::Mat& image, const Mark& mark, MarkKind kind, const Pen& pen) {
  const std::string number = std::to_string(mark.number);
  int baseline = 0;
  const cv::Size text =
      cv::getTextSize(number, cv::FONT_HERSHEY_SIMPLEX, pen.textScale, pen.line, &baseline);
  const int gap = pen.radius / 2;
  const cv::Point wanted(mark.position.x + gap, mark.position.y + gap + text.height);
  // Kept inside the picture, also for a mark at its rim.
  const cv::Point origin(std::clamp(wanted.x, 0, std::max(0, image.cols - text.width)),
                         std::clamp(wanted.y, text.height, std::max(text.height, image.rows - 1)));
  // A dark edge first, so that the mark shows on any background.
  drawStrokes(image, mark.position, kind, pen.radius, kEdgeColour, pen.edge);
  drawStrokes(image, mark.position, kind, pen.radius, kMarkColour, pen.line);
  for (const bool isEdge : {true, false}) {
    cv::putText(image,
                number,
                origin,
                cv::FONT_HERSHEY_SIMPLEX,
                pen.textScale,
                isEdge ? kEdgeColour : kMarkColour,
                isEdge ? pen.edge : pen.line,
                cv::LINE_AA);
  }
}

}  // namespace

cv::Mat drawOverlay(const cv::Mat& montage, const std::vector<Mark>& marks, MarkKind kind) {
  cv::Mat picture;
  switch (montage.channels()) {
    case 1:
      cv::cvtColor(montage, picture, cv::COLOR_GRAY2BGR);
      break;
    case 3:
      picture = montage.clone();
      break;
    default:
      cv::cvtColor(montage, picture, cv::COLOR_BGRA2BGR);
  }
  const Pen pen(picture.size());
  for (const Mark& mark : marks) {
    drawMark(picture, mark, kind, pen);
  }
  return picture;
}

}  // namespace orv2d
