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
/// of
///   no use.
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
/// of
///   no use.
/// @param[in] norm  `ippiNormInf`.
[[nodiscard]] int ippiMorphReconstructDilate_8u_C1IR(const unsigned char* mask,
                                                     int maskStep,
                                                     unsigned char* marker,
                                                     int markerStep,
                                                     IppiSize size,
                                                     unsigned char* buffer,
                                                     int norm);

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_IMAGING_PRIMITIVES_H
