// SPDX-License-Identifier: MIT
#include "Registration/Cameras/QualityFigures.h"

#include <cmath>
#include <limits>

namespace ORV::Common::Algorithms::Montage::Registration {

double projectionErrorRmsOf(const cv::Mat& residuals) {
  constexpr int kValuesPerRecord = 7;
  constexpr int kFirstErrorColumn = 4;
  constexpr int kComponents = 3;
  const int recordCount = static_cast<int>(residuals.total()) / kValuesPerRecord;
  if (recordCount == 0) {
    return 0.0;
  }
  const cv::Mat records = residuals.reshape(0, recordCount);
  const cv::Mat errors = records(cv::Rect(kFirstErrorColumn, 0, kComponents, recordCount)).clone();
  const auto elementCount = static_cast<float>(errors.total());
  return std::sqrt(errors.dot(errors) / (elementCount / 3.0));
}

double largestRotationOf(const cv::Mat& angles) {
  double largest = 0.0;
  for (int row = 0; row + 2 < angles.rows; row += 3) {
    const double x = angles.at<double>(row, 0);
    const double y = angles.at<double>(row + 1, 0);
    const double z = angles.at<double>(row + 2, 0);
    const double norm = std::sqrt((x * x + y * y) + z * z);
    if (norm > largest) {
      largest = norm;
    }
  }
  return largest;
}

FocalStatistics focalStatisticsOf(const cv::Mat& focals) {
  double sum = 0.0;
  double largest = std::numeric_limits<double>::min();
  double smallest = std::numeric_limits<double>::max();
  for (int row = 0; row < focals.rows; ++row) {
    const double focal = focals.at<double>(row, 0);
    sum += focal;
    if (focal > largest) {
      largest = focal;
    }
    if (focal < smallest) {
      smallest = focal;
    }
  }
  if (focals.rows == 0) {
    return {-1.0, -1.0};
  }
  return {sum / focals.rows, largest - smallest};
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
