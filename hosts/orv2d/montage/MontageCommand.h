// SPDX-License-Identifier: MIT
/// @file
/// `orv2d montage` and `orv2d compose`: overlapping images become one montage per slab.
#ifndef ORV2D_MONTAGE_COMMAND_H
#define ORV2D_MONTAGE_COMMAND_H

#include "ExitCode.h"
#include "montage/MontageSettings.h"

namespace orv2d {

/// Run a command; failures that have a sentence are `HostError`. However the run ends, unless it is
/// stopped, the report and the registration that were asked for are written.
ExitCode montageCommand(const MontageSettings& settings);
ExitCode composeCommand(const MontageSettings& settings);

/// Saves the plan of a registration's montage.
ExitCode planCommand(const MontageSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_COMMAND_H
