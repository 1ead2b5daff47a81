// SPDX-License-Identifier: MIT
/// @file
/// What of an image is content: the rest is made black before the correction looks for it.
#ifndef ORV2D_CONTENT_MASK_H
#define ORV2D_CONTENT_MASK_H

#include "correct/ContentCircle.h"
#include "correct/ContentReach.h"

#include <opencv2/core.hpp>

#include <optional>
#include <string>

namespace orv2d {

/// The text "CX,CY,R" or "auto" of --circle.
struct CircleChoice {
  bool automatic = false;
  Circle circle;
};

/// "CX, CY, radius R px" for people.
std::string circleText(const Circle& circle);

/// Reads the text; the sentence of the error, empty on success.
std::string parseCircle(const std::string& text, CircleChoice& choice);

/// What was kept of an image.
struct KeptContent {
  std::optional<Circle> circle;        ///< Given or found.
  std::optional<ContentReach> within;  ///< `auto`: what the frame can show.
};

/// Blackens images outside a circle and outside a mask picture.
class ContentMask {
 public:
  /// @param[in] circle  text of --circle; empty: none.
  /// @param[in] file  mask picture: grey, white (above 127) is content; empty: none.
  /// Throws `HostError`.
  ContentMask(const std::string& circle, const std::string& file);

  /// Blackens `image`. `auto` keeps the circle that is found and, for a correction that has a
  /// reach, only what lies within it.
  ///
  /// Throws `HostError` for a mask picture of another size, and where `auto` finds no circle and
  /// there is no reach.
  KeptContent apply(const std::optional<ContentReach>& reach, cv::Mat& image) const;

 private:
  std::optional<CircleChoice> circle_;
  std::string file_;
  cv::Mat picture_;
};

}  // namespace orv2d

#endif  // ORV2D_CONTENT_MASK_H
