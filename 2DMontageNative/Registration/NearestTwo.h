// SPDX-License-Identifier: MIT
/// @file
/// Exact search for the two nearest descriptors, both ways between two images at once.
#ifndef ORV_MONTAGE_REGISTRATION_NEAREST_TWO_H
#define ORV_MONTAGE_REGISTRATION_NEAREST_TWO_H

#include "Registration/DescriptorPanels.h"

#include <limits>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// The nearest descriptor of the other image, and how far the two nearest are.
struct NearestTwo {
  int index = -1;  ///< of the nearest, the lowest where several are equally near; -1: there is none
  float nearest = std::numeric_limits<float>::infinity();  ///< Euclidean or, of bits, Hamming
  float second = std::numeric_limits<float>::infinity();   ///< infinite: there is no second
};

/// Nearest neighbours of every descriptor of two images in the other one.
struct MutualNearest {
  std::vector<NearestTwo> ofFirst;   ///< per descriptor of the first image
  std::vector<NearestTwo> ofSecond;  ///< per descriptor of the second image
};

/// Compares every descriptor of one image with every one of the other.
///
/// A blocked matrix product: each distance is computed once and serves both directions while it is
/// in a register. Whole numbers: |a|^2 + |b|^2 - 2 a.b in integers, hence exact. Real numbers: the
/// sum of squared differences in ascending element order, the same on every machine.
///
/// @param[in] first, second  of the same kind; the same length unless one is empty (else
///   `cv::Exception`).
/// @note Parallel over blocks of the first image's descriptors; the result does not depend on the
///   number of threads. Working memory about 12 * second.count bytes per 256 descriptors of the
///   first.
[[nodiscard]] MutualNearest findNearestTwo(const DescriptorPanels& first,
                                           const DescriptorPanels& second);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_NEAREST_TWO_H
