// SPDX-License-Identifier: MIT
/// @file
/// How far two pictures of the same thing are out of register, tile by tile.
#ifndef ORV_EXAMPLES_TILE_SHIFTS_H
#define ORV_EXAMPLES_TILE_SHIFTS_H

#include <opencv2/core.hpp>

#include <vector>

namespace examples {

/// Lengths, in pixels, of the displacements between two grey pictures (`CV_8UC1`, of one size).
///
/// Every square tile that lies wholly inside the mask and has texture in both directions gives one:
/// its least-squares displacement (B. Lucas, T. Kanade, "An iterative image registration technique
/// with an application to stereo vision", IJCAI 1981), refined by resampling. Displacements beyond
/// about two pixels are not found.
std::vector<double> tileShifts(const cv::Mat& picture, const cv::Mat& truth, const cv::Mat& mask);

/// The value that the share (0 to 1) of `values`, not empty, does not exceed.
double quantile(std::vector<double> values, double share);

}  // namespace examples

#endif  // ORV_EXAMPLES_TILE_SHIFTS_H
