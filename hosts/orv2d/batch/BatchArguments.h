// SPDX-License-Identifier: MIT
/// @file
/// The options of `orv2d batch` on the command line.
#ifndef ORV2D_BATCH_ARGUMENTS_H
#define ORV2D_BATCH_ARGUMENTS_H

#include "batch/BatchSettings.h"

#include <CLI/CLI.hpp>

namespace orv2d {

/// Adds the command to `app`; parsing fills `settings`, which must outlive the parsing.
CLI::App* addBatchCommand(CLI::App& app, BatchSettings& settings);

/// The options that were given to a command, but for its positional ones and `without`.
std::vector<GivenOption> givenOptions(const CLI::App& command,
                                      const std::vector<std::string>& without);

}  // namespace orv2d

#endif  // ORV2D_BATCH_ARGUMENTS_H
