// SPDX-License-Identifier: MIT
#include "Composition/SeamViews.h"

#include "Composition/PlaneWarper.h"

#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

/// Three channels, as exposure estimation and the seam finders take them.
cv::Mat colourOf(const cv::Mat& warped) {
  if (warped.type() != CV_8UC1) {
    return warped;
  }
  cv::Mat colour;
  cv::cvtColor(warped, colour, cv::COLOR_GRAY2BGR);
  return colour;
}

}  // namespace

cv::Mat reducedForSeams(const cv::Mat& image, double seamScale) {
  cv::Mat reduced;
  cv::resize(image, reduced, cv::Size(), seamScale, seamScale, cv::INTER_LINEAR);
  return reduced;
}

cv::Size reducedSizeForSeams(cv::Size size, double seamScale) {
  const cv::Size reduced(cvRound(size.width * seamScale), cvRound(size.height * seamScale));
  CV_Assert(!size.empty() && !reduced.empty());
  return reduced;
}

void SeamViews::add(cv::detail::RotationWarper& warper,
                    const cv::Mat& reduced,
                    const cv::Mat& K,
                    const cv::Mat& R,
                    int maskInterpolation) {
  cv::Mat warped;
  cv::Mat mask;
  corners.push_back(warpWithMask(warper,
                                 reduced,
                                 K,
                                 R,
                                 {cv::INTER_CUBIC, cv::BORDER_CONSTANT},
                                 {maskInterpolation, cv::BORDER_CONSTANT},
                                 warped,
                                 mask));
  sizes.push_back(warped.size());
  // Copies: a UMat that shares a Mat's pixels must not outlive it.
  colour.emplace_back();
  colourOf(warped).copyTo(colour.back());
  masks.emplace_back();
  mask.copyTo(masks.back());
}

std::vector<cv::UMat> SeamViews::inSinglePrecision() const {
  std::vector<cv::UMat> images(colour.size());
  for (std::size_t i = 0; i < colour.size(); ++i) {
    colour[i].convertTo(images[i], CV_32F);
  }
  return images;
}

std::vector<ViewPair> overlappingPairs(const SeamViews& views) {
  std::vector<ViewPair> pairs;
  for (std::size_t i = 0; i < views.corners.size(); ++i) {
    const cv::Rect footprint(views.corners[i], views.sizes[i]);
    for (std::size_t j = i + 1; j < views.corners.size(); ++j) {
      const cv::Rect overlap = footprint & cv::Rect(views.corners[j], views.sizes[j]);
      if (!overlap.empty()) {
        pairs.push_back({i, j, overlap});
      }
    }
  }
  return pairs;
}

cv::Mat widened(const cv::UMat& mask, int width) {
  const int side = 2 * width + 1;
  cv::Mat cut;
  mask.copyTo(cut);
  cv::Mat result;
  cv::dilate(cut, result, cv::getStructuringElement(cv::MORPH_RECT, cv::Size(side, side)));
  return result;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
