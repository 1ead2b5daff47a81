// SPDX-License-Identifier: MIT
/// @file
/// Image kernels on raw buffers: first pixel, row step in bytes, region size.
///
/// In the names `8u` and `32f` are the sample types, `C1` and `C3` one or three interleaved
/// channels, `R` a region with row steps, `I` in place. Rows may be longer than the region; what
/// lies between them is neither read nor written. Source and destination do not overlap unless the
/// routine works in place.
///
/// Every routine returns `ippStsNoErr` (0), or a negative status before anything is written:
/// `ippStsNullPtrErr` for a null pointer, `ippStsSizeErr` for a side or length below 1,
/// `ippStsStepErr` for a step shorter than a row, `ippStsBadArgErr` for any other argument it does
/// not serve. All are re-entrant and give the same bytes for any number of threads.
#ifndef ORV_MONTAGE_PLATFORM_IMAGING_PRIMITIVES_H
#define ORV_MONTAGE_PLATFORM_IMAGING_PRIMITIVES_H

namespace ORV::Common::Platform {

// Shared types ----------------------------------------------------------------------------------

/// Size of a region in pixels.
struct IppiSize {
  int width;
  int height;
};

/// Region in pixels; (x, y) is its top left pixel.
struct IppiRect {
  int x;
  int y;
  int width;
  int height;
};

constexpr int ippStsNoErr = 0;        ///< Done.
constexpr int ippStsBadArgErr = -5;   ///< An argument outside what the routine serves.
constexpr int ippStsSizeErr = -6;     ///< A side or length below 1, or too large a work buffer.
constexpr int ippStsNullPtrErr = -8;  ///< A null pointer.
constexpr int ippStsStepErr = -14;    ///< A row step shorter than a row of the region.

// Minimum eigenvalue ----------------------------------------------------------------------------

constexpr int ippKernelSobel = 0;  ///< Sobel derivative kernels.

/// Size in bytes of the work buffer of `ippiMinEigenVal_32f_C1R`.
///
/// @param[in] apertureSize, averagingWindow  5 and 5, the only ones served.
/// @param[out] bufferSize  also refused with `ippStsSizeErr` when it would exceed an `int`.
[[nodiscard]] int ippiMinEigenValGetBufferSize_32f_C1R(IppiSize size,
                                                       int apertureSize,
                                                       int averagingWindow,
                                                       int* bufferSize);

/// Smaller eigenvalue of the gradient covariance matrix of every pixel.
///
/// J. Shi and C. Tomasi, "Good features to track", CVPR 1994. Gradients by 5 x 5 Sobel kernels,
/// scaled by 1/80; their products summed over the 5 x 5 window around the pixel to the matrix
/// [a b; b c]; the response is (a + c) / 2 - sqrt(((a - c) / 2)^2 + b^2). Rounding can make it
/// slightly negative. Scale and border (mirrored without repeating the edge pixel, for samples and
/// again for gradient products) are those of `cv::cornerMinEigenVal`.
///
/// @param[in] kernelType  `ippKernelSobel`.
/// @param[in] apertureSize, averagingWindow  5 and 5, the only ones served.
/// @param[in] buffer  as many bytes as asked for, of any alignment; contents before and after are
///   of no use.
/// @note Bands of rows run in parallel.
[[nodiscard]] int ippiMinEigenVal_32f_C1R(const float* source,
                                          int sourceStep,
                                          float* destination,
                                          int destinationStep,
                                          IppiSize size,
                                          int kernelType,
                                          int apertureSize,
                                          int averagingWindow,
                                          unsigned char* buffer);

// Arrays and conversion -------------------------------------------------------------------------

/// Largest of `length` values; NaN is passed over, and without any other value -infinity results.
[[nodiscard]] int ippsMax_32f(const float* values, int length, float* maximum);

/// Multiplies `length` values in place by a constant.
[[nodiscard]] int ippsMulC_32f_I(float factor, float* values, int length);

constexpr int ippRndNear = 1;  ///< Round to nearest, halves to even.

/// Floats to bytes: rounded to nearest (halves to even), saturated to 0..255; NaN becomes 0.
///
/// @param[in] roundMode  `ippRndNear`.
[[nodiscard]] int ippiConvert_32f8u_C1R(const float* source,
                                        int sourceStep,
                                        unsigned char* destination,
                                        int destinationStep,
                                        IppiSize size,
                                        int roundMode);

// Copies and memory -----------------------------------------------------------------------------

/// Copies a region of one-channel pixels.
[[nodiscard]] int ippiCopy_8u_C1R(const unsigned char* source,
                                  int sourceStep,
                                  unsigned char* destination,
                                  int destinationStep,
                                  IppiSize size);

/// Copies a region of three-channel pixels.
[[nodiscard]] int ippiCopy_8u_C3R(const unsigned char* source,
                                  int sourceStep,
                                  unsigned char* destination,
                                  int destinationStep,
                                  IppiSize size);

/// Memory for an image of `width` x `height` bytes without gaps between rows, not initialised.
///
/// @param[out] stepBytes  the row step, `width`; untouched on failure.
/// @return memory to be released with `ippiFree`; null without memory or for a side below 1.
[[nodiscard]] unsigned char* ippiMalloc_8u_C1(int width, int height, int* stepBytes);

/// Releases memory from `ippiMalloc_8u_C1`; null is allowed.
void ippiFree(void* memory);

// Differences and threshold ---------------------------------------------------------------------

/// Subtracts a constant in place, saturated at 0.
///
/// @param[in] scaleFactor  0: differences are not scaled.
[[nodiscard]] int ippiSubC_8u_C1IRSfs(
    unsigned char subtrahend, unsigned char* image, int step, IppiSize size, int scaleFactor);

/// Subtracts an image in place (`image` - `subtrahend`), saturated at 0.
///
/// @param[in] scaleFactor  0: differences are not scaled.
[[nodiscard]] int ippiSub_8u_C1IRSfs(const unsigned char* subtrahend,
                                     int subtrahendStep,
                                     unsigned char* image,
                                     int imageStep,
                                     IppiSize size,
                                     int scaleFactor);

/// Gives every pixel greater than `threshold` the value `value`, in place.
[[nodiscard]] int ippiThreshold_GTVal_8u_C1IR(
    unsigned char* image, int step, IppiSize size, unsigned char threshold, unsigned char value);

// Morphological reconstruction ------------------------------------------------------------------

constexpr int ippiNormInf = 0;  ///< Infinity norm: the 8-connected neighbourhood.

/// Size in bytes of the work buffer of `ippiMorphReconstructDilate_8u_C1IR`.
///
/// @param[out] bufferSize  also refused with `ippStsSizeErr` when it would exceed an `int`.
[[nodiscard]] int ippiMorphReconstructGetBufferSize_8u_C1(IppiSize size, int* bufferSize);

/// Morphological reconstruction by dilation of a marker under a mask, in place of the marker.
///
/// The largest image that is nowhere above the mask and that repeated 3 x 3 dilations of the
/// marker, each cut down to the mask, can reach. A marker above the mask counts as the mask. Hybrid
/// algorithm of L. Vincent, "Morphological grayscale reconstruction in image analysis: applications
/// and efficient algorithms", IEEE Trans. Image Processing 2(2), 1993: one scan each way, then a
/// first-in first-out queue for what they left.
///
/// @param[in] buffer  as many bytes as asked for, of any alignment; contents before and after are
///   of no use.
/// @param[in] norm  `ippiNormInf`.
[[nodiscard]] int ippiMorphReconstructDilate_8u_C1IR(const unsigned char* mask,
                                                     int maskStep,
                                                     unsigned char* marker,
                                                     int markerStep,
                                                     IppiSize size,
                                                     unsigned char* buffer,
                                                     int norm);

// Separable filters -------------------------------------------------------------------------------

/// Weighted sum along each row, for every channel of its own.
///
/// destination(x) = sum over j of taps[j] * source(x + j - anchor): taps in order, products and
/// sums in single precision; rounded to nearest, halves to even, and saturated to 0..255; NaN
/// becomes 0.
/// @param[in] source  first pixel of the region; `anchor` pixels to the left and
///   tapCount - 1 - anchor to the right of every row are read too.
/// @param[in] anchor  0 to tapCount - 1.
[[nodiscard]] int ippiFilterRow32f_8u_C1R(const unsigned char* source,
                                          int sourceStep,
                                          unsigned char* destination,
                                          int destinationStep,
                                          IppiSize size,
                                          const float* taps,
                                          int tapCount,
                                          int anchor);

/// `ippiFilterRow32f_8u_C1R` for three interleaved channels.
[[nodiscard]] int ippiFilterRow32f_8u_C3R(const unsigned char* source,
                                          int sourceStep,
                                          unsigned char* destination,
                                          int destinationStep,
                                          IppiSize size,
                                          const float* taps,
                                          int tapCount,
                                          int anchor);

/// Weighted sum along each column: destination(y) = sum over j of taps[j] * source(y + j - anchor),
/// computed like `ippiFilterRow32f_8u_C1R`.
///
/// @param[in] source  first pixel of the region; `anchor` rows above and tapCount - 1 - anchor rows
///   below it are read too.
[[nodiscard]] int ippiFilterColumn32f_8u_C1R(const unsigned char* source,
                                             int sourceStep,
                                             unsigned char* destination,
                                             int destinationStep,
                                             IppiSize size,
                                             const float* taps,
                                             int tapCount,
                                             int anchor);

/// `ippiFilterColumn32f_8u_C1R` for three interleaved channels.
[[nodiscard]] int ippiFilterColumn32f_8u_C3R(const unsigned char* source,
                                             int sourceStep,
                                             unsigned char* destination,
                                             int destinationStep,
                                             IppiSize size,
                                             const float* taps,
                                             int tapCount,
                                             int anchor);

// Remapping ---------------------------------------------------------------------------------------

constexpr int ippiInterCubic = 4;  ///< Cubic interpolation.

/// Samples the source at the positions of a pair of maps.
///
/// Cubic convolution with a = -0.75 over 4 x 4 pixels (R. Keys, "Cubic convolution interpolation
/// for digital image processing", IEEE Trans. Acoustics, Speech, and Signal Processing 29(6),
/// 1981), at the exact position, in double precision; rounded to nearest, halves to even, and
/// saturated.
///
/// A position is inside when it lies in the closed rectangle from the centre of the region's first
/// pixel to the centre of its last, [x, x + width - 1] x [y, y + height - 1]; 4 x 4 neighbours that
/// the region lacks repeat its edge pixels. Any other position, the half-pixel rim around that
/// rectangle and NaN included, leaves the destination pixel as it is.
/// @param[in] source  first pixel of the whole image.
/// @param[in] sourceRegion  part of the image to sample, cut down to the image.
/// @param[in] mapCols,mapRows  source column and row of every destination pixel, in whole-image
///   coordinates; steps in bytes.
/// @param[in] interpolation  `ippiInterCubic`.
/// @note Rows run in parallel.
[[nodiscard]] int ippiRemap_8u_C1R(const unsigned char* source,
                                   IppiSize sourceSize,
                                   int sourceStep,
                                   IppiRect sourceRegion,
                                   const float* mapCols,
                                   int mapColsStep,
                                   const float* mapRows,
                                   int mapRowsStep,
                                   unsigned char* destination,
                                   int destinationStep,
                                   IppiSize destinationSize,
                                   int interpolation);

/// `ippiRemap_8u_C1R` for three interleaved channels.
[[nodiscard]] int ippiRemap_8u_C3R(const unsigned char* source,
                                   IppiSize sourceSize,
                                   int sourceStep,
                                   IppiRect sourceRegion,
                                   const float* mapCols,
                                   int mapColsStep,
                                   const float* mapRows,
                                   int mapRowsStep,
                                   unsigned char* destination,
                                   int destinationStep,
                                   IppiSize destinationSize,
                                   int interpolation);

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_IMAGING_PRIMITIVES_H
