// SPDX-License-Identifier: MIT
/// @file
/// A number that tells images apart.
#ifndef ORV_MONTAGE_PIPELINE_HASH_H
#define ORV_MONTAGE_PIPELINE_HASH_H

#include <opencv2/core.hpp>

#include <cstdint>

namespace montage {

/// Of size, channels and pixels; the same on every machine, never 0. Not meant against forgery.
std::uint64_t hashOf(const cv::Mat& image);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_HASH_H
