// SPDX-License-Identifier: MIT
// Calls every step of the installed application interface once.
#include "montage/Montage.h"

int main() {
  const std::vector<cv::Mat> pictures{cv::Mat(50, 60, CV_8UC1, cv::Scalar(7))};
  const montage::MatSource images(pictures);
  const montage::Registration registration = montage::registerImages(images);
  const montage::MontagePlan plan = montage::planMontage(registration, images);
  bool refused = false;
  try {
    montage::compose(plan, images);
  } catch (const std::invalid_argument&) {
    refused = true;
  }
  bool missing = false;
  try {
    const cv::Mat image = montage::FileSource({"no such file"}).read(0);
    missing = !image.empty();
  } catch (const montage::FileError&) {  // must cross the library's border with its type
    missing = true;
  }
  const bool asDocumented = registration.images[0].verdict == montage::Verdict::tooFewCorners &&
                            plan.status == montage::PlanStatus::nothingToShow;
  return refused && missing && asDocumented ? 0 : 1;
}
