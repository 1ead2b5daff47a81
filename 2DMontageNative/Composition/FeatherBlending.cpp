// SPDX-License-Identifier: MIT
#include "Composition/FeatherBlending.h"

#include "Composition/WeightedLayer.h"
#include "Platform/ParallelLoop.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kDistances = 256;

}  // namespace

FeatherBlending::FeatherBlending(std::vector<PlacedMask> masks, float sharpness)
    : distances_(std::move(masks)), weightOfDistance_(1, kDistances, CV_32FC1) {
  CV_Assert(sharpness * (kDistances - 1) >= 1.F);
  for (int distance = 0; distance < kDistances; ++distance) {
    weightOfDistance_.at<float>(distance) = std::min(1.F, static_cast<float>(distance) * sharpness);
  }
  Platform::parallelFor(0, static_cast<int>(distances_.size()), [&](int i) {
    cv::Mat& mask = distances_[static_cast<std::size_t>(i)].mask;
    cv::Mat distance;
    cv::distanceTransform(mask, distance, cv::DIST_L1, cv::DIST_MASK_3, CV_8U);
    mask = distance;
  });
}

void FeatherBlending::blend(const WarpedImages& images,
                            const cv::Rect& tile,
                            cv::Mat pixels) const {
  WeightedLayer layer(tile.size(), pixels.channels());
  cv::Mat weights;
  for (std::size_t i = 0; i < images.size(); ++i) {
    const cv::Rect& area = distances_[i].area;
    const cv::Mat& distances = distances_[i].mask;
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
