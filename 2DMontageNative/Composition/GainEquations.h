// SPDX-License-Identifier: MIT
/// @file
/// The linear equations between the exposure gains of overlapping blocks.
#ifndef ORV_MONTAGE_COMPOSITION_GAIN_EQUATIONS_H
#define ORV_MONTAGE_COMPOSITION_GAIN_EQUATIONS_H

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// What two blocks whose rectangles overlap have in common.
struct BlockCoupling {
  int first;
  int second;        ///< above `first`
  int sharedPixels;  ///< 0 where the masks exclude each other
  double firstMean;  ///< brightness of the shared pixels; 0 without any
  double secondMean;
};

/// The gains g that minimise the sum over couplings of
/// N ((first mean g_first - second mean g_second)^2 / sigma_N^2 + (1 - g_first)^2 / sigma_g^2), with
/// the weights of `cv::detail::GainCompensator`; 1 for blocks that share pixels with no other.
///
/// @param[in] pixels  valid pixels of every block.
/// @param[in] couplings  sorted by `first`, then `second`.
/// @param[in] mostDense  up to so many equations are solved densely in single precision with the
///   bits of OpenCV, more by a sparse factorisation in double precision.
std::vector<double> solveGains(const std::vector<int>& pixels,
                               const std::vector<BlockCoupling>& couplings,
                               int mostDense);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_GAIN_EQUATIONS_H
