// SPDX-License-Identifier: MIT
/// @file
/// The corner detector: well separated local maxima of the minimum-eigenvalue response.
///
/// Coordinates are (column, row), pixel centres at integers.
#ifndef ORV_MONTAGE_REGISTRATION_CORNER_DETECTOR_H
#define ORV_MONTAGE_REGISTRATION_CORNER_DETECTOR_H

namespace ORV::Common::Algorithms::Montage::Registration {

/// Finds the strongest corners of an image that keep a distance from each other.
///
/// Response of J. Shi and C. Tomasi, "Good features to track", CVPR 1994 (5 x 5 Sobel kernels,
/// 5 x 5 window); weak responses dropped; regional maxima of the response in 8 bits as candidates,
/// strongest first, equals in scan order; a candidate closer to a corner already taken than the
/// minimum distance is dropped.
///
/// @param[in] image  rows x cols samples, row-major without gaps; borrowed for the call.
/// @param[in] qualityLevel  responses below this fraction of the strongest one are no corners.
/// @param[in] minDistance  least Euclidean distance of two corners in pixels; exactly this far
///   apart both stay.
/// @param[out] points  room for `count` pairs (x, y), written from the first.
/// @param[out] responses  room for `count` values, in the scale of `ippiMinEigenVal_32f_C1R`.
/// @param[in,out] count  in: the capacity, at least 1; out: the number of corners, 0 for an image
///   without gradient.
/// @return 0, or -1 if an argument is null, a side is below 1, the image is too large for work
///   buffers counted by an `int` (from about 1.6e9 pixels) or memory cannot be had; the outputs are
///   then untouched. Throws nothing of its own.
/// @note Re-entrant; the response is computed in parallel bands with the same result for any number
///   of threads. Time O(pixels + candidates log candidates), about 8 bytes of memory per pixel.
[[nodiscard]] int findCorners(const float* image,
                              int rows,
                              int cols,
                              float qualityLevel,
                              float minDistance,
                              float* points,
                              float* responses,
                              int* count);

/// Marks the regional maxima of an 8-bit image: plateaus without a greater 8-connected neighbour.
///
/// Height-1 domes by morphological reconstruction (L. Vincent, "Morphological grayscale
/// reconstruction in image analysis: applications and efficient algorithms", IEEE Trans. Image
/// Processing 2(2), 1993).
///
/// @param[in] image  rows x cols samples, row-major without gaps; borrowed for the call.
/// @param[out] result  rows x cols; 255 on maxima of value 1 or more, else 0; must not overlap
///   `image`.
/// @return 0, or -1 if an argument is null, a side is below 1 or memory cannot be had (`result` is
///   then undefined). Throws nothing of its own.
/// @note Re-entrant. Time O(pixels), working memory about 2 bytes per pixel.
[[nodiscard]] int findRegionalMaxima(const unsigned char* image,
                                     int rows,
                                     int cols,
                                     unsigned char* result);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CORNER_DETECTOR_H
