// SPDX-License-Identifier: MIT
#include "Composition/BrightnessNormalisation.h"

#include "Platform/ParallelLoop.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kBinCount = 256;
constexpr double kPercentile = 0.98;
constexpr double kTargetFraction = 0.7;  // of the full range

/// Rows handled at once: the luma/chroma version of a whole montage is never needed.
constexpr int kRowsPerBand = 64;

using Histogram = std::array<std::int64_t, kBinCount>;

/// Calls `body(band index, rows of the montage)` for every band, in parallel.
template <class Body>
void forEachBand(const cv::Mat& montage, const Body& body) {
  const int bandCount = (montage.rows + kRowsPerBand - 1) / kRowsPerBand;
  Platform::parallelFor(0, bandCount, [&](int band) {
    const int first = band * kRowsPerBand;
    cv::Mat rows = montage.rowRange(first, std::min(first + kRowsPerBand, montage.rows));
    body(static_cast<std::size_t>(band), rows);
  });
}

bool isColour(const cv::Mat& montage) {
  return montage.channels() >= 3;
}

/// Counts the values of the brightness: luma of a colour image, else the pixels themselves.
Histogram brightnessHistogram(const cv::Mat& montage) {
  const auto bandCount = static_cast<std::size_t>((montage.rows + kRowsPerBand - 1) / kRowsPerBand);
  std::vector<Histogram> perBand(bandCount, Histogram{});
  forEachBand(montage, [&](std::size_t band, const cv::Mat& rows) {
    cv::Mat brightness = rows;
    if (isColour(rows)) {
      cv::Mat lumaChroma;
      cv::cvtColor(rows, lumaChroma, cv::COLOR_BGR2YCrCb);
      cv::extractChannel(lumaChroma, brightness, 0);
    }
    for (int y = 0; y < brightness.rows; ++y) {
      const uchar* const row = brightness.ptr<uchar>(y);
      for (int x = 0; x < brightness.cols; ++x) {
        ++perBand[band][row[x]];
      }
    }
  });
  Histogram total{};
  for (const Histogram& counts : perBand) {
    std::transform(total.begin(), total.end(), counts.begin(), total.begin(), std::plus<>());
  }
  return total;
}

/// The first bin at which more than 98 % of the pixels have been counted, or 256. The running sum
/// is single precision, like the bins of OpenCV's histogram.
int percentileBin(const Histogram& histogram, std::size_t pixelCount) {
  const auto total = static_cast<float>(pixelCount);
  float sum = 0.0F;
  for (int bin = 0; bin < kBinCount; ++bin) {
    sum += static_cast<float>(histogram[static_cast<std::size_t>(bin)]);
    if (static_cast<double>(sum / total) > kPercentile) {
      return bin;
    }
  }
  return kBinCount;
}

/// The scaled value of every brightness, through OpenCV's own conversions.
cv::Mat scaledValues(double gain) {
  cv::Mat values(1, kBinCount, CV_8U);
  for (int value = 0; value < kBinCount; ++value) {
    values.at<uchar>(0, value) = static_cast<uchar>(value);
  }
  cv::Mat asFloat;
  values.convertTo(asFloat, CV_32F);
  cv::Mat multiplied;
  asFloat.convertTo(multiplied, CV_32F, gain, 0.0);
  cv::Mat scaled;
  multiplied.convertTo(scaled, CV_8U);
  return scaled;
}

/// A table that scales the first of three channels and keeps the others.
cv::Mat lumaTable(const cv::Mat& scaled) {
  cv::Mat identity(1, kBinCount, CV_8U);
  for (int value = 0; value < kBinCount; ++value) {
    identity.at<uchar>(0, value) = static_cast<uchar>(value);
  }
  const std::array<cv::Mat, 3> channels{scaled, identity, identity};
  cv::Mat table;
  cv::merge(channels.data(), channels.size(), table);
  return table;
}

}  // namespace

void normaliseBrightness(cv::Mat& montage) {
  const int bin = percentileBin(brightnessHistogram(montage), montage.total());
  const double gain = (256.0 / (bin + 1)) * kTargetFraction;
  const cv::Mat scaled = scaledValues(gain);
  const cv::Mat table = isColour(montage) ? lumaTable(scaled) : scaled;
  forEachBand(montage, [&](std::size_t, cv::Mat& rows) {
    if (!isColour(rows)) {
      cv::LUT(rows, table, rows);
      return;
    }
    cv::Mat lumaChroma;
    cv::cvtColor(rows, lumaChroma, cv::COLOR_BGR2YCrCb);
    cv::LUT(lumaChroma, table, lumaChroma);
    cv::cvtColor(lumaChroma, rows, cv::COLOR_YCrCb2BGR);
  });
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
