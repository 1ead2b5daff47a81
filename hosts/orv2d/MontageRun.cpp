// SPDX-License-Identifier: MIT
#include "MontageRun.h"

#include "Scaler.h"
#include "SlabMontage.h"

#include <algorithm>
#include <array>
#include <limits>

namespace orv2d {
namespace {

namespace Montage = ORV::Common::Algorithms::Montage;

std::string sentenceOf(int status) {
  switch (status) {
    case 0:
      return "success";
    case 1:
      return "fewer than two images connect";
    case 2:
      return "a focal length is not finite";
    default:
      return "unknown status " + std::to_string(status);
  }
}

/// The buffers and their sizes as the library takes them.
struct Buffers {
  std::vector<unsigned char*> data;
  std::vector<int> widths;
  std::vector<int> heights;
  std::vector<int> channels;

  explicit Buffers(const std::vector<cv::Mat>& images) {
    for (const cv::Mat& image : images) {
      data.push_back(image.data);
      widths.push_back(image.cols);
      heights.push_back(image.rows);
      channels.push_back(image.channels());
    }
  }
};

/// Calls the chosen overload; `positions` receives x, y per constituent.
void callLibrary(const MontageSettings& settings,
                 Buffers& buffers,
                 MontageResult& result,
                 std::vector<int>& positions) {
  std::array<double, 3> megapixels = {settings.registrationMp, settings.seamMp, settings.composeMp};
  std::array<bool, 3> options = {settings.seams == "graphcut", !settings.noBlend, settings.tryGpu};
  const int bufferCount = static_cast<int>(buffers.data.size());
  Montage::SlabMontage montage;
  if (!settings.diagnostic()) {
    result.status = montage(buffers.data,
                            buffers.widths.data(),
                            buffers.heights.data(),
                            buffers.channels.data(),
                            bufferCount,
                            settings.constituentCount(),
                            settings.slabs,
                            megapixels.data(),
                            options.data(),
                            result.used.data(),
                            positions.data(),
                            result.montages);
    return;
  }
  QualityFigures quality;
  result.status = montage(buffers.data,
                          buffers.widths.data(),
                          buffers.heights.data(),
                          buffers.channels.data(),
                          bufferCount,
                          settings.constituentCount(),
                          settings.slabs,
                          megapixels.data(),
                          options.data(),
                          result.used.data(),
                          positions.data(),
                          &quality.projectionErrorRms,
                          &quality.focalMean,
                          &quality.focalRange,
                          &quality.rotationMax,
                          result.montages,
                          false);
  if (result.status == 0) {
    result.quality = quality;
  }
}

Scales scalesOf(const MontageSettings& settings, std::vector<cv::Mat> images) {
  Montage::Scaler scaler(images);
  scaler.processParams(static_cast<float>(settings.registrationMp),
                       static_cast<float>(settings.seamMp),
                       static_cast<float>(settings.composeMp));
  return {scaler.workScale, scaler.seamScale, scaler.composeScale};
}

/// Positions in pixels of the montage.
///
/// The diagnostic pipeline reports centres in full-resolution pixels from the top-left corner; the
/// basic one top-left corners on the montage plane, whose smallest is the montage's own corner.
std::vector<cv::Point> montagePixels(const MontageSettings& settings, const MontageResult& result) {
  cv::Point origin(0, 0);
  if (!settings.diagnostic()) {
    origin = cv::Point(std::numeric_limits<int>::max(), std::numeric_limits<int>::max());
    for (std::size_t i = 0; i < result.used.size(); ++i) {
      if (result.used[i] != 0) {
        origin.x = std::min(origin.x, result.positions[i].x);
        origin.y = std::min(origin.y, result.positions[i].y);
      }
    }
  }
  const double scale = settings.diagnostic() ? result.scales.compose : 1.0;
  std::vector<cv::Point> points(result.positions.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (result.used[i] != 0) {
      points[i] = cv::Point(cvRound((result.positions[i].x - origin.x) * scale),
                            cvRound((result.positions[i].y - origin.y) * scale));
    }
  }
  return points;
}

}  // namespace

MontageResult runMontage(const MontageSettings& settings, const std::vector<cv::Mat>& images) {
  const auto count = static_cast<std::size_t>(settings.constituentCount());
  MontageResult result;
  result.imageSize = images.front().size();
  result.used.assign(count, 0);
  result.montages.resize(static_cast<std::size_t>(settings.slabs));
  result.scales = scalesOf(settings, images);
  for (const cv::Mat& image : images) {
    result.channels.push_back(image.channels());
  }

  Buffers buffers(images);
  std::vector<int> positions(2 * count, 0);
  callLibrary(settings, buffers, result, positions);
  result.message = sentenceOf(result.status);
  if (result.status == 0) {
    for (std::size_t i = 0; i < count; ++i) {
      result.positions.emplace_back(positions[2 * i], positions[2 * i + 1]);
    }
    result.inMontage = montagePixels(settings, result);
  }
  return result;
}

}  // namespace orv2d
