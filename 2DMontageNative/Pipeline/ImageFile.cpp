// SPDX-License-Identifier: MIT
#include "montage/Images.h"

#include <opencv2/imgcodecs.hpp>

#include <fstream>

namespace montage {

cv::Mat readImageFile(const std::filesystem::path& file) {
  cv::Mat image = cv::imread(file.string(), cv::IMREAD_ANYCOLOR);
  if (image.empty()) {
    throw FileError(file, "not an image");
  }
  return image;
}

}  // namespace montage
