// SPDX-License-Identifier: MIT
/// @file
/// Why a correction ended without a result, in a sentence.
#ifndef ORV2D_FAILURE_REASON_H
#define ORV2D_FAILURE_REASON_H

#include "correct/LensParameters.h"

#include <opencv2/core.hpp>

#include <string>

namespace orv2d {

/// Finds which border the content touches or which band is empty, by rendering the frame of the
/// correction once more, coarsely, through exported maps; with what to try.
///
/// @param[in] halfExtent  of the square correction's plane; the other modes frame themselves.
std::string failureReason(CorrectMode mode,
                          const LensValues& values,
                          double halfExtent,
                          const cv::Mat& source);

}  // namespace orv2d

#endif  // ORV2D_FAILURE_REASON_H
