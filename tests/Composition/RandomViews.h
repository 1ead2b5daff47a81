// SPDX-License-Identifier: MIT
/// @file
/// Small overlapping views with all kinds of masks: whole, round, torn, soft-rimmed, empty.
#ifndef ORV_TESTS_COMPOSITION_RANDOM_VIEWS_H
#define ORV_TESTS_COMPOSITION_RANDOM_VIEWS_H

#include "Composition/SeamViews.h"
#include "support/SyntheticScene.h"

#include <opencv2/imgproc.hpp>

#include <vector>

namespace ORV::TestSupport {

inline cv::Mat randomMask(cv::Size size, cv::RNG& random) {
  cv::Mat mask(size, CV_8UC1, cv::Scalar(255));
  switch (random.uniform(0, 6)) {
    case 0:
      mask.setTo(0);
      cv::ellipse(mask, {cv::Point2f(cv::Point(size / 2)), size, 20.0F}, 255, -1);
      break;
    case 1:
      random.fill(mask, cv::RNG::UNIFORM, 0, 10);
      mask = mask > 1;
      break;
    case 2:
      cv::rectangle(mask, {{}, size}, 0, 5);
      cv::GaussianBlur(mask, mask, cv::Size(), 2.0);
      break;
    case 3:
      mask.setTo(random.uniform(0, 3) == 0 ? 0 : 255);
      break;
    default:
      break;
  }
  return mask;
}

/// Two to eight views of one picture at random places, unequally bright, partly noisy.
inline Common::Algorithms::Montage::Composition::SeamViews randomViews(cv::RNG& random) {
  static const cv::Mat picture = makePicture({400, 350}, 9);
  Common::Algorithms::Montage::Composition::SeamViews views;
  for (int left = random.uniform(2, 9); left > 0; --left) {
    const cv::Size size(random.uniform(5, 130), random.uniform(5, 130));
    const cv::Point corner(random.uniform(-40, 110), random.uniform(-40, 80));
    cv::Mat image = picture(cv::Rect(corner + cv::Point(50, 50), size)).clone();
    cv::Mat noise(size, CV_8UC3);
    random.fill(noise, cv::RNG::UNIFORM, 0, 1 + 20 * random.uniform(0, 2));
    image = image * random.uniform(0.5, 1.4) + noise;
    views.corners.push_back(corner);
    views.sizes.push_back(size);
    views.colour.emplace_back();
    image.copyTo(views.colour.back());
    views.masks.emplace_back();
    randomMask(size, random).copyTo(views.masks.back());
  }
  return views;
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_COMPOSITION_RANDOM_VIEWS_H
