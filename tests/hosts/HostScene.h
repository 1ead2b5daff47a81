// SPDX-License-Identifier: MIT
/// @file
/// Pictures for the program: views of a turning camera and wide-angle discs.
#ifndef ORV2D_TESTS_HOST_SCENE_H
#define ORV2D_TESTS_HOST_SCENE_H

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace orv2d::tests {

/// A plane full of shapes of all sizes, `CV_8UC3`; other seeds have nothing in common.
cv::Mat texturedScene(const cv::Size& size, int seed);

/// What a camera of focal length 500 at the scene's middle sees, turned to the right by `yawDeg`.
cv::Mat viewOf(const cv::Mat& scene, const cv::Size& size, double yawDeg);

/// `count` overlapping views from left to right.
std::vector<cv::Mat> overlappingViews(int count);

/// A black picture of `side` x `side` with a bright textured disc; `radius` 1 touches the borders.
cv::Mat disc(int side, double radius, int channels);

}  // namespace orv2d::tests

#endif  // ORV2D_TESTS_HOST_SCENE_H
