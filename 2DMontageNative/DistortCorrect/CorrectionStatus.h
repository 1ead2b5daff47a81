// SPDX-License-Identifier: MIT
/// @file
/// What the operations of the distortion correction return.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_CORRECTION_STATUS_H
#define ORV_MONTAGE_DISTORT_CORRECT_CORRECTION_STATUS_H

namespace ORV::Common::Algorithms::DistortCorrect {

constexpr int kCorrected = 0;  ///< Done; outputs are written.
constexpr int kRefused =
    1;  ///< The parameters are not possible, or there is no content as asked for.

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_CORRECTION_STATUS_H
