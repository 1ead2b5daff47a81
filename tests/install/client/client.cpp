// SPDX-License-Identifier: MIT
// Uses every class of the installed library once.
#include "Composition.h"
#include "DistortCorrect.h"
#include "Registration.h"
#include "Scaler.h"
#include "SlabMontage.h"

int main() {
  using namespace ORV::Common::Algorithms;
  std::vector<cv::Mat> images{cv::Mat(1000, 2000, CV_8UC1, cv::Scalar(7))};
  Montage::Scaler scaler(images);
  scaler.processParams(0.5F, 0.5F, -1.0F);
  Montage::Composition::Compensate compensate(0);
  const Montage::Registration::FeatureFinding finding;
  const Montage::SlabMontage montage;
  DistortCorrect::SterProject correct;
  std::vector<double> tooShort(3);
  const bool asDocumented = scaler.workScale == 0.5F && correct(tooShort, images[0]) == 1;
  return asDocumented ? 0 : 1;
}
