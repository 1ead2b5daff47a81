// SPDX-License-Identifier: MIT
// StitchFiles MONTAGE IMAGE...: joins image files by cv::Stitcher with the settings of the whole
// montages in MontageBenchmark.cpp. Exit code 1 if it gives up.
#include "RivalStitcher.h"

#include <opencv2/imgcodecs.hpp>

#include <iostream>
#include <vector>

int main(int argumentCount, char** arguments) {
  std::vector<cv::Mat> images;
  for (int i = 2; i < argumentCount; ++i) {
    images.push_back(cv::imread(arguments[i], cv::IMREAD_COLOR));
  }
  cv::Mat montage;
  const cv::Stitcher::Status status = ORV::Benchmarks::makeStitcher()->stitch(images, montage);
  if (status != cv::Stitcher::OK || !cv::imwrite(arguments[1], montage)) {
    std::cerr << "no montage, status " << status << "\n";
    return 1;
  }
  return 0;
}
