// SPDX-License-Identifier: MIT
/// @file
/// `orv2d batch`: many scenes, each on its own.
#ifndef ORV2D_BATCH_COMMAND_H
#define ORV2D_BATCH_COMMAND_H

#include "ExitCode.h"
#include "batch/BatchSettings.h"

namespace orv2d {

/// Makes what is not done of the scenes of the manifest, several at a time; writes a line of JSON to
/// standard output as each of them ends, and a summary to standard error. Scenes that another run
/// has claimed come last: it waits for them, and makes those that were not made there.
///
/// Answers `ScenesFailed` if one of them failed. Throws `HostError` for a manifest or settings that
/// cannot be used, before anything is made.
ExitCode batchCommand(const BatchSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_BATCH_COMMAND_H
