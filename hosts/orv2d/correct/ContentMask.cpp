// SPDX-License-Identifier: MIT
#include "correct/ContentMask.h"

#include "Checks.h"
#include "Console.h"
#include "ExitCode.h"
#include "ImageIo.h"

#include <array>
#include <sstream>

namespace orv2d {
namespace {

void blackenOutside(const Circle& circle, cv::Mat& image) {
  const double squaredRadius = circle.radius * circle.radius;
  cv::Mat outside(image.size(), CV_8UC1);
  for (int row = 0; row < image.rows; ++row) {
    const double dy = row - circle.centre.y;
    for (int col = 0; col < image.cols; ++col) {
      const double dx = col - circle.centre.x;
      outside.at<unsigned char>(row, col) = dx * dx + dy * dy > squaredRadius ? 1 : 0;
    }
  }
  image.setTo(cv::Scalar(), outside);
}

std::string sizeText(const cv::Mat& image) {
  return std::to_string(image.cols) + " x " + std::to_string(image.rows);
}

}  // namespace

std::string circleText(const Circle& circle) {
  return fixed(circle.centre.x, 0) + ", " + fixed(circle.centre.y, 0) + ", radius " +
         fixed(circle.radius, 0) + " px";
}

std::string parseCircle(const std::string& text, CircleChoice& choice) {
  if (text == "auto") {
    choice.automatic = true;
    return {};
  }
  std::array<double, 3> numbers{};
  std::istringstream parts(text);
  std::size_t count = 0;
  bool valid = !text.empty() && text.back() != ',';
  for (std::string part; std::getline(parts, part, ','); ++count) {
    const std::optional<double> number = parseNumber(part);
    valid = valid && number && count < numbers.size();
    if (valid) {
      numbers[count] = *number;
    }
  }
  if (!valid || count != numbers.size() || numbers[2] <= 0.0) {
    return "'" + text + "' is not possible; CX,CY,R in pixels with R above 0, or auto, is expected";
  }
  choice.circle = {{numbers[0], numbers[1]}, numbers[2]};
  return {};
}

ContentMask::ContentMask(const std::string& circle, const std::string& file) : file_(file) {
  if (!circle.empty()) {
    const std::string error = parseCircle(circle, circle_.emplace());
    if (!error.empty()) {
      throw HostError(ExitCode::Usage, "--circle: " + error);
    }
  }
  if (!file.empty()) {
    picture_ = readImage(file);
    if (picture_.channels() != 1) {
      throw HostError(ExitCode::UnreadableInput,
                      "cannot use mask " + inQuotes(file) +
                          ": it is a colour image, a grey one is expected that is white where the "
                          "content is");
    }
  }
}

KeptContent ContentMask::apply(const std::optional<ContentReach>& reach, cv::Mat& image) const {
  KeptContent kept;
  if (!picture_.empty()) {
    if (picture_.size() != image.size()) {
      throw HostError(ExitCode::UnreadableInput,
                      "cannot use mask " + inQuotes(file_) + ": it has " + sizeText(picture_) +
                          " pixels, but the image has " + sizeText(image));
    }
    constexpr int kWhite = 127;
    image.setTo(cv::Scalar(), picture_ <= kWhite);
  }
  if (!circle_) {
    return kept;
  }
  if (!circle_->automatic) {
    kept.circle = circle_->circle;
  } else {
    kept.circle = findContentCircle(image);
    kept.within = reach;
    if (!kept.circle && !reach) {
      throw HostError(ExitCode::NoCorrection,
                      "--circle auto finds no bright circle on a dark surround; give --circle "
                      "CX,CY,R or --mask");
    }
  }
  if (kept.circle) {
    blackenOutside(*kept.circle, image);
  }
  if (kept.within) {
    image.setTo(cv::Scalar(), kept.within->within(image.size()) == 0);
  }
  return kept;
}

}  // namespace orv2d
