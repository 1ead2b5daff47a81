// SPDX-License-Identifier: MIT
/// @file
/// `orv2d montage`: overlapping images become one montage per slab.
#ifndef ORV2D_MONTAGE_COMMAND_H
#define ORV2D_MONTAGE_COMMAND_H

#include "ExitCode.h"
#include "MontageSettings.h"

namespace orv2d {

/// Runs the command; failures that have a sentence are `HostError`.
ExitCode montageCommand(const MontageSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_COMMAND_H
