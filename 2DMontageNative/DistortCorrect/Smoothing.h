// SPDX-License-Identifier: MIT
/// @file
/// Separable Gaussian smoothing of 8-bit pixels in place.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_SMOOTHING_H
#define ORV_MONTAGE_DISTORT_CORRECT_SMOOTHING_H

#include <cstddef>

namespace ORV::Common::Algorithms::DistortCorrect {

/// Interleaved 8-bit pixels of the caller.
struct PixelRows {
  unsigned char* data;
  std::ptrdiff_t step;  ///< Bytes from one row to the next.
  int rows;
  int cols;
  int channels;  ///< 1 or 3.
};

/// Smooths rows, then columns, with sampled Gaussians; samples beyond the border repeat the edge.
///
/// Taps and sums are single precision, taps summed in order; every pass rounds to 8 bits, ties to
/// even. Only the image's pixels are written, not what lies between its rows.
/// @param[in] sigma,kernelSize  2 values each: vertical, horizontal; a kernel reaches
///   kernelSize / 2 pixels to both sides.
/// @return whether it was done; an image without pixels is not. Throws `std::bad_alloc`.
/// @note Bands of rows run in parallel. Working memory is some rows per band, taken before the
///   first pixel is written.
[[nodiscard]] bool gaussianSmooth(const PixelRows& image,
                                  const float* sigma,
                                  const int* kernelSize);

/// `gaussianSmooth` with the settings of the corrections; an image without pixels stays as it is.
void smoothSource(const PixelRows& image);

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_SMOOTHING_H
