// SPDX-License-Identifier: MIT
/// @file
/// The options of the montage commands on the command line.
#ifndef ORV2D_MONTAGE_ARGUMENTS_H
#define ORV2D_MONTAGE_ARGUMENTS_H

#include "montage/MontageSettings.h"

#include <CLI/CLI.hpp>

namespace orv2d {

/// Add a command to `app`; parsing fills `settings`, which must outlive the parsing.
CLI::App* addMontageCommand(CLI::App& app, MontageSettings& settings);
CLI::App* addRegisterCommand(CLI::App& app, MontageSettings& settings);
CLI::App* addPlanCommand(CLI::App& app, MontageSettings& settings);
CLI::App* addComposeCommand(CLI::App& app, MontageSettings& settings);
CLI::App* addInspectCommand(CLI::App& app, MontageSettings& settings);

/// Adds what `orv2d montage` can be told about one scene: all of its options but the output and how
/// much memory, how many threads and how many words the run takes.
void addSceneOptions(CLI::App& command, MontageSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_ARGUMENTS_H
