// SPDX-License-Identifier: MIT
/// @file
/// Calls the montage the way a host does and keeps everything that comes back.
#ifndef ORV_TESTS_SUPPORT_MONTAGE_CALL_H
#define ORV_TESTS_SUPPORT_MONTAGE_CALL_H

#include "SlabMontage.h"
#include "support/Checksum.h"

#include <algorithm>
#include <array>
#include <vector>

namespace ORV::TestSupport {

enum class Pipeline { kBasic, kDiagnostic };

struct MontageOptions {
  int slabCount = 1;
  int constituentCount = -1;  ///< images per slab; -1: all buffers, divided by the slabs
  bool graphCutSeams = true;
  bool blend = true;
  /// Registration, seam finding, composition; negative: full resolution. Graph cuts take most of
  /// the time, so they get less.
  std::array<double, 3> megapixels = {-1, 0.02, -1};
  bool trailingFlag = false;
};

/// Outputs of one call; every element starts as a mark that no montage writes.
struct MontageResult {
  static constexpr int kMark = -77777;

  int status = kMark;
  std::vector<int> included;
  std::vector<int> positions;
  std::array<double, 4> figures = {
      kMark, kMark, kMark, kMark};  ///< RMS error, focal mean and range, rotation
  std::vector<cv::Mat> montages;

  bool untouched() const {
    const auto isMark = [](auto value) { return value == kMark; };
    return std::all_of(included.begin(), included.end(), isMark) &&
           std::all_of(positions.begin(), positions.end(), isMark) &&
           std::all_of(figures.begin(), figures.end(), isMark) &&
           std::all_of(montages.begin(), montages.end(), [](const cv::Mat& montage) {
             return montage.empty();
           });
  }

  /// One number for all outputs: equal for two calls exactly when all their bytes are.
  std::uint64_t fingerprint() const {
    std::uint64_t sum = checksum(montages);
    sum = checksumBytes(&status, sizeof status, sum);
    sum = checksumBytes(included.data(), included.size() * sizeof(int), sum);
    sum = checksumBytes(positions.data(), positions.size() * sizeof(int), sum);
    return checksumBytes(figures.data(), sizeof figures, sum);
  }
};

/// Hands over the pixels of the images (continuous; slab after slab) as raw buffers.
inline MontageResult callMontage(Pipeline pipeline,
                                 const std::vector<cv::Mat>& images,
                                 const MontageOptions& options = {}) {
  std::vector<unsigned char*> buffers;
  std::vector<int> widths, heights, channels;
  for (const cv::Mat& image : images) {
    CV_Assert(image.isContinuous() && image.depth() == CV_8U);
    buffers.push_back(image.data);
    widths.push_back(image.cols);
    heights.push_back(image.rows);
    channels.push_back(image.channels());
  }
  const int bufferCount = static_cast<int>(images.size());
  const int constituentCount = options.constituentCount >= 0
                                   ? options.constituentCount
                                   : bufferCount / std::max(1, options.slabCount);
  std::array<double, 3> megapixels = options.megapixels;
  std::array<bool, 3> switches = {options.graphCutSeams, options.blend, false};

  MontageResult result;
  result.included.assign(static_cast<std::size_t>(constituentCount), MontageResult::kMark);
  result.positions.assign(2 * static_cast<std::size_t>(constituentCount), MontageResult::kMark);
  result.montages.resize(static_cast<std::size_t>(options.slabCount));
  Common::Algorithms::Montage::SlabMontage montage;
  if (pipeline == Pipeline::kBasic) {
    result.status = montage(buffers,
                            widths.data(),
                            heights.data(),
                            channels.data(),
                            bufferCount,
                            constituentCount,
                            options.slabCount,
                            megapixels.data(),
                            switches.data(),
                            result.included.data(),
                            result.positions.data(),
                            result.montages);
  } else {
    result.status = montage(buffers,
                            widths.data(),
                            heights.data(),
                            channels.data(),
                            bufferCount,
                            constituentCount,
                            options.slabCount,
                            megapixels.data(),
                            switches.data(),
                            result.included.data(),
                            result.positions.data(),
                            &result.figures[0],
                            &result.figures[1],
                            &result.figures[2],
                            &result.figures[3],
                            result.montages,
                            options.trailingFlag);
  }
  return result;
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_MONTAGE_CALL_H
