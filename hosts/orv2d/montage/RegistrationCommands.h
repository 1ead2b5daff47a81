// SPDX-License-Identifier: MIT
/// @file
/// `orv2d register`: the cameras of overlapping images, saved. `orv2d inspect`: what was saved.
#ifndef ORV2D_REGISTRATION_COMMANDS_H
#define ORV2D_REGISTRATION_COMMANDS_H

#include "ExitCode.h"
#include "montage/MontageSettings.h"

#include <filesystem>
#include <montage/Registration.h>

namespace orv2d {

/// Run a command; failures that have a sentence are `HostError`. `register` writes its file also if
/// fewer than two images connect.
ExitCode registerCommand(const MontageSettings& settings);
ExitCode inspectCommand(const MontageSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_REGISTRATION_COMMANDS_H
