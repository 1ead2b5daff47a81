// SPDX-License-Identifier: MIT
/// @file
/// `orv2d correct`: wide-angle images are re-projected and cropped to their content.
#ifndef ORV2D_CORRECT_COMMAND_H
#define ORV2D_CORRECT_COMMAND_H

#include "ExitCode.h"
#include "correct/CorrectSettings.h"

namespace orv2d {

/// Runs the command. Of several images a failed one is reported in a line and the others are still
/// corrected; the result is then the code of the first failure.
ExitCode correctCommand(const CorrectSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_CORRECT_COMMAND_H
