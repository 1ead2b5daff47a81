// SPDX-License-Identifier: MIT
/// @file
/// What is wrong with a command line, in one line that names the command and the word.
#ifndef ORV2D_COMMAND_LINE_H
#define ORV2D_COMMAND_LINE_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace orv2d {

using Words = std::vector<std::string>;

/// Throws `HostError` (usage) unless the first of `words` is a command of `app` or asks for help or
/// the version.
void requireCommand(const CLI::App& app, const Words& words);

/// Throws `HostError` (usage) for a value of an option that takes none, such as `--quiet=1`: the
/// parser would take it for a count. To be called before parsing.
void requireNoFlagValues(const CLI::App& app, const Words& words);

/// Throws `HostError` (usage) for an empty value, which means no file. To be called after parsing.
void requireNoEmptyValues(const CLI::App& command);

/// The sentence for a command line whose parsing failed with `error`.
std::string usageSentence(const CLI::App& app, const Words& words, const CLI::ParseError& error);

}  // namespace orv2d

#endif  // ORV2D_COMMAND_LINE_H
