// SPDX-License-Identifier: MIT
#include "Composition/FeatherBlending.h"

#include "Composition/WeightedLayer.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kDistances = 256;

}  // namespace

FeatherBlending::FeatherBlending(const std::vector<cv::Rect>& areas, float sharpness)
    : TileBlending(areas), weightOfDistance_(1, kDistances, CV_32FC1) {
  CV_Assert(sharpness * (kDistances - 1) >= 1.F);
  for (int distance = 0; distance < kDistances; ++distance) {
    weightOfDistance_.at<float>(distance) = std::min(1.F, static_cast<float>(distance) * sharpness);
  }
}

void FeatherBlending::prepare(std::size_t /*index*/, PlacedMask& placed) {
  cv::Mat distance;
  cv::distanceTransform(placed.mask, distance, cv::DIST_L1, cv::DIST_MASK_3, CV_8U);
  placed.mask = distance;
}

void FeatherBlending::blend(const WarpedImages& images,
                            const cv::Rect& tile,
                            cv::Mat pixels) const {
  WeightedLayer layer(tile.size(), pixels.channels());
  cv::Mat weights;
  for (std::size_t i = 0; i < images.size(); ++i) {
    const cv::Rect& area = maskOf(i).area;
    const cv::Mat& distances = maskOf(i).mask;
    const cv::Rect shared = tile & area;
    if (shared.empty()) {
      continue;
    }
    const cv::Mat sharedDistances = distances(shared - area.tl());
    if (cv::countNonZero(sharedDistances) > 0) {
      cv::LUT(sharedDistances, weightOfDistance_, weights);
      layer.add(shared - tile.tl(), images[i]->read(shared - area.tl()), cv::Mat(), weights);
    }
  }
  layer.normalise();
  layer.write(cv::Rect(cv::Point(), tile.size()), pixels);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
