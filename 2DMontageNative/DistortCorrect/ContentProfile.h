// SPDX-License-Identifier: MIT
/// @file
/// Brightness of the columns and rows of a picture, also of one that is made tile by tile.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_CONTENT_PROFILE_H
#define ORV_MONTAGE_DISTORT_CORRECT_CONTENT_PROFILE_H

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::DistortCorrect {

/// Brightness of every column and row: the 8-bit average (`cv::reduce` with `cv::REDUCE_AVG`),
/// summed over the channels. 0 means empty.
struct ContentProfile {
  std::vector<int> columns;
  std::vector<int> rows;
};

/// Column and row sums of a picture that is rendered tile by tile.
///
/// The picture is divided into bands of rows; bands may be added to at the same time, the tiles of
/// one band one after another. The result does not depend on the order.
class BrightnessSums {
 public:
  /// @param[in] channels  interleaved 8-bit channels.
  BrightnessSums(cv::Size pictureSize, int channels, int bands);

  /// Adds an 8-bit tile of at most `kMaxTileRows` rows whose top left pixel lies at `origin`.
  void add(int band, const cv::Mat& tile, cv::Point origin);

  /// Whether each of these rows is bright already: what else is added cannot make its average 0.
  /// Not to be called for rows that another thread adds to.
  [[nodiscard]] bool rowsSettled(const cv::Range& rows) const;

  /// The same of columns; not while tiles are added.
  [[nodiscard]] bool columnsSettled(const cv::Range& columns) const;

  /// Averages of what was added, each pixel counted once, in the arithmetic of `cv::reduce`.
  [[nodiscard]] ContentProfile profile() const;

  static constexpr int kMaxTileRows = 256;

 private:
  cv::Mat columnSums_;  ///< bands x width, 32-bit
  cv::Mat rowSums_;     ///< height x 1, 32-bit
};

/// Profile of a finished 8-bit picture.
[[nodiscard]] ContentProfile profileOf(const cv::Mat& picture);

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_CONTENT_PROFILE_H
