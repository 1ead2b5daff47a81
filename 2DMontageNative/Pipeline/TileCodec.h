// SPDX-License-Identifier: MIT
/// @file
/// The bytes of one tile of a TIFF.
#ifndef ORV_MONTAGE_PIPELINE_TILE_CODEC_H
#define ORV_MONTAGE_PIPELINE_TILE_CODEC_H

#include "montage/TiffSink.h"

#include <opencv2/core.hpp>

#include <vector>

namespace montage {

/// @param[in] tile  continuous, `CV_8UC1`, `CV_8UC3` or `CV_8UC4` in blue-green-red order.
/// @return samples in red-green-blue order; deflated with their horizontal differences (predictor 2
///   of TIFF 6.0); or a JPEG stream with its own tables, YCbCr with 2 x 2 subsampling.
std::vector<unsigned char> encodeTile(const cv::Mat& tile,
                                      TiffCompression compression,
                                      int quality);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_TILE_CODEC_H
