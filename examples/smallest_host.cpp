// SPDX-License-Identifier: MIT
// The smallest host: smallest_host MONTAGE IMAGE IMAGE... joins the images and writes the montage.
#include "SlabMontage.h"

#include <opencv2/imgcodecs.hpp>

#include <iostream>
#include <vector>

int main(int argumentCount, char** arguments) {
  std::vector<cv::Mat> images;
  std::vector<unsigned char*> buffers;
  std::vector<int> widths, heights, channels;
  for (int i = 2; i < argumentCount; ++i) {
    images.push_back(cv::imread(arguments[i], cv::IMREAD_COLOR));
    if (images.back().empty()) {
      std::cerr << "cannot read " << arguments[i] << "\n";
      return 1;
    }
    buffers.push_back(images.back().data);
    widths.push_back(images.back().cols);
    heights.push_back(images.back().rows);
    channels.push_back(3);
  }
  const int count = static_cast<int>(images.size());
  double megapixels[] = {0.6, 0.1, -1};  // registration, seams, composition (-1: full size)
  bool options[] = {true, true, false};  // cut seams, blend, try the GPU
  std::vector<int> used(images.size()), positions(2 * images.size());
  std::vector<cv::Mat> montages(1);
  ORV::Common::Algorithms::Montage::SlabMontage montage;
  const int status = montage(buffers,
                             widths.data(),
                             heights.data(),
                             channels.data(),
                             count,
                             count,
                             1,
                             megapixels,
                             options,
                             used.data(),
                             positions.data(),
                             montages);
  if (status != 0) {
    std::cerr << "no montage: status " << status << "\n";
    return 1;
  }
  return cv::imwrite(arguments[1], montages[0]) ? 0 : 1;
}
