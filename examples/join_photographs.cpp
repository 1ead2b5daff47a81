// SPDX-License-Identifier: MIT
// The smallest host of the application interface: joins photographs and says what became of each.
//
// usage: join_photographs MONTAGE IMAGE IMAGE...
#include "montage/Montage.h"

#include <opencv2/imgcodecs.hpp>

#include <iostream>

int main(int argc, char** argv) {
  if (argc < 4) {
    std::cerr << "usage: join_photographs MONTAGE IMAGE IMAGE...\n";
    return 2;
  }
  try {
    const montage::FileSource images({argv + 2, argv + argc});
    const montage::Registration registration = montage::registerImages(images);
    for (const montage::RegisteredImage& image : registration.images) {
      std::cout << image.name << ": " << image.reason << "\n";
    }
    const montage::MontagePlan plan = montage::planMontage(registration, images);
    std::cout << plan.reason << "\n";
    const bool isDone = plan.status == montage::PlanStatus::ok &&
                        cv::imwrite(argv[1], montage::compose(plan, images));
    return isDone ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 1;
  }
}
