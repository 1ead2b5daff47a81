// SPDX-License-Identifier: MIT
#include "DistortCorrect/Smoothing.h"

#include "Platform/ImagingPrimitives.h"
#include "Platform/ParallelLoop.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <vector>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

using Bytes = std::vector<unsigned char>;

/// Rows that one filter call makes; with their neighbours they stay in the second-level cache.
constexpr int kChunkRows = 16;
constexpr int kMaxBands = 16;

int ceilDiv(int value, int divisor) {
  return (value + divisor - 1) / divisor;
}

/// Normalised samples of a Gaussian, `kernelSize / 2` on either side of the middle.
class GaussianKernel {
 public:
  GaussianKernel(float sigma, int kernelSize)
      : half(kernelSize / 2), taps(static_cast<std::size_t>(2 * half + 1)) {
    float sum = 0.0F;
    auto distance = static_cast<float>(-half);
    for (float& tap : taps) {
      tap = std::exp(-(distance * distance) / (2.0F * sigma * sigma));
      sum += tap;
      distance += 1.0F;
    }
    for (float& tap : taps) {
      tap /= sum;
    }
  }

  [[nodiscard]] int length() const { return static_cast<int>(taps.size()); }

  const int half;
  std::vector<float> taps;
};

/// Smooths one image band by band: a band filters its rows horizontally into a buffer that also
/// holds the rows above and below, and from there vertically back into the image.
///
///     source row -> padded row -> [horizontal] -> buffer of chunk + 2 half rows -> [vertical] ->
///     image
///
/// A band overwrites rows that its neighbours still need, so those rows are kept in advance.
class BandwiseSmoothing {
 public:
  BandwiseSmoothing(const PixelRows& image, GaussianKernel vertical, GaussianKernel horizontal)
      : image_(image),
        vertical_(std::move(vertical)),
        horizontal_(std::move(horizontal)),
        rowBytes_(static_cast<std::size_t>(image.cols) * static_cast<std::size_t>(image.channels)),
        bandHeight_(std::max(kChunkRows, ceilDiv(image.rows, kMaxBands))),
        bands_(static_cast<std::size_t>(ceilDiv(image.rows, bandHeight_))) {
    for (std::size_t i = 0; i < bands_.size(); ++i) {
      prepare(bands_[i], static_cast<int>(i) * bandHeight_);
    }
  }

  /// Filters all bands; false if a filter failed.
  [[nodiscard]] bool run() {
    std::atomic<bool> done{true};
    Platform::parallelFor(0, static_cast<int>(bands_.size()), [&](int i) {
      if (!smooth(bands_[static_cast<std::size_t>(i)])) {
        done = false;
      }
    });
    return done;
  }

 private:
  struct Band {
    int first;
    int end;
    Bytes above;      ///< Copies of the `half` rows before the band, edge rows repeated.
    Bytes below;      ///< Copies of the `half` rows after it.
    Bytes paddedRow;  ///< One row with its edge pixels repeated.
    Bytes filtered;   ///< Horizontally filtered rows: 2 * half of context, then a chunk.
  };

  [[nodiscard]] unsigned char* row(int index) const { return image_.data + index * image_.step; }

  void prepare(Band& band, int first) const {
    band.first = first;
    band.end = std::min(first + bandHeight_, image_.rows);
    const int half = vertical_.half;
    const auto haloBytes = static_cast<std::size_t>(half) * rowBytes_;
    band.above.resize(haloBytes);
    band.below.resize(haloBytes);
    for (int i = 0; i < half; ++i) {
      const auto offset = static_cast<std::size_t>(i) * rowBytes_;
      const int aboveRow = std::max(first - half + i, 0);
      const int belowRow = std::min(band.end + i, image_.rows - 1);
      std::copy_n(row(aboveRow), rowBytes_, band.above.data() + offset);
      std::copy_n(row(belowRow), rowBytes_, band.below.data() + offset);
    }
    const auto padding = 2 * static_cast<std::size_t>(horizontal_.half * image_.channels);
    band.paddedRow.resize(rowBytes_ + padding);
    band.filtered.resize(static_cast<std::size_t>(kChunkRows + 2 * half) * rowBytes_);
  }

  /// The band's source row `index`, from the copies where it lies outside the band.
  [[nodiscard]] const unsigned char* sourceRow(const Band& band, int index) const {
    if (index < band.first) {
      return band.above.data() +
             static_cast<std::size_t>(index - band.first + vertical_.half) * rowBytes_;
    }
    if (index >= band.end) {
      return band.below.data() + static_cast<std::size_t>(index - band.end) * rowBytes_;
    }
    return row(index);
  }

  [[nodiscard]] bool smooth(Band& band) const {
    const int half = vertical_.half;
    const auto contextBytes = static_cast<std::size_t>(2 * half) * rowBytes_;
    bool done = true;
    for (int i = 0; i < 2 * half; ++i) {
      done = done && filterRow(band, band.first - half + i, i);
    }
    for (int first = band.first; first < band.end; first += kChunkRows) {
      const int count = std::min(kChunkRows, band.end - first);
      for (int i = 0; i < count; ++i) {
        done = done && filterRow(band, first + half + i, 2 * half + i);
      }
      done = done && filterColumns(band, first, count);
      // The last rows of this chunk are the context of the next.
      std::memmove(band.filtered.data(),
                   band.filtered.data() + static_cast<std::size_t>(count) * rowBytes_,
                   contextBytes);
    }
    return done;
  }

  /// Horizontal pass: source row `index` into row `slot` of the band's buffer.
  [[nodiscard]] bool filterRow(Band& band, int index, int slot) const {
    const auto pixelBytes = static_cast<std::size_t>(image_.channels);
    const unsigned char* const source = sourceRow(band, index);
    unsigned char* out = band.paddedRow.data();
    for (int i = 0; i < horizontal_.half; ++i) {
      out = std::copy_n(source, pixelBytes, out);
    }
    out = std::copy_n(source, rowBytes_, out);
    for (int i = 0; i < horizontal_.half; ++i) {
      out = std::copy_n(source + rowBytes_ - pixelBytes, pixelBytes, out);
    }
    const auto filter = image_.channels == 1 ? Platform::ippiFilterRow32f_8u_C1R
                                             : Platform::ippiFilterRow32f_8u_C3R;
    const auto origin = static_cast<std::size_t>(horizontal_.half) * pixelBytes;
    return filter(band.paddedRow.data() + origin,
                  static_cast<int>(band.paddedRow.size()),
                  band.filtered.data() + static_cast<std::size_t>(slot) * rowBytes_,
                  static_cast<int>(rowBytes_),
                  {image_.cols, 1},
                  horizontal_.taps.data(),
                  horizontal_.length(),
                  horizontal_.half) == Platform::ippStsNoErr;
  }

  /// Vertical pass: `count` image rows from `first` out of the band's buffer.
  [[nodiscard]] bool filterColumns(const Band& band, int first, int count) const {
    const auto filter = image_.channels == 1 ? Platform::ippiFilterColumn32f_8u_C1R
                                             : Platform::ippiFilterColumn32f_8u_C3R;
    return filter(band.filtered.data() + static_cast<std::size_t>(vertical_.half) * rowBytes_,
                  static_cast<int>(rowBytes_),
                  row(first),
                  static_cast<int>(image_.step),
                  {image_.cols, count},
                  vertical_.taps.data(),
                  vertical_.length(),
                  vertical_.half) == Platform::ippStsNoErr;
  }

  const PixelRows image_;
  const GaussianKernel vertical_;
  const GaussianKernel horizontal_;
  const std::size_t rowBytes_;
  const int bandHeight_;
  std::vector<Band> bands_;
};

}  // namespace

bool gaussianSmooth(const PixelRows& image, const float* sigma, const int* kernelSize) {
  const bool hasKernels = kernelSize[0] > -2 && kernelSize[1] > -2;  // from -1 to 1: one tap
  if (image.rows < 1 || image.cols < 1 || !hasKernels) {
    return false;
  }
  BandwiseSmoothing smoothing(
      image, GaussianKernel(sigma[0], kernelSize[0]), GaussianKernel(sigma[1], kernelSize[1]));
  return smoothing.run();
}

void smoothSource(const PixelRows& image) {
  constexpr std::array<float, 2> kSigma{1.0F, 1.0F};
  constexpr std::array<int, 2> kKernelSize{3, 3};
  // What is not done here is an image without pixels: there is nothing to sample then either.
  static_cast<void>(gaussianSmooth(image, kSigma.data(), kKernelSize.data()));
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
