// SPDX-License-Identifier: MIT
#include "Composition/OverlayBlending.h"

namespace ORV::Common::Algorithms::Montage::Composition {

void OverlayBlending::blend(const WarpedImages& images,
                            const cv::Rect& tile,
                            cv::Mat pixels) const {
  pixels.setTo(cv::Scalar::all(0));
  for (std::size_t i = 0; i < images.size(); ++i) {
    const cv::Rect& area = maskOf(i).area;
    const cv::Mat& mask = maskOf(i).mask;
    const cv::Rect shared = tile & area;
    if (shared.empty()) {
      continue;
    }
    const cv::Mat sharedMask = mask(shared - area.tl());
    if (cv::countNonZero(sharedMask) > 0) {
      images[i]->read(shared - area.tl()).copyTo(pixels(shared - tile.tl()), sharedMask);
    }
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
