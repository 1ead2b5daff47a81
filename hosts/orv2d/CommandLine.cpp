// SPDX-License-Identifier: MIT
#include "CommandLine.h"

#include "ExitCode.h"
#include "Suggestion.h"

#include <algorithm>
#include <filesystem>

namespace orv2d {
namespace {

const char* const kSeeHelp = "; see orv2d --help";

bool holds(const Words& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

/// Whether `word` starts as an option does, and not as a negative number.
bool isOption(const std::string& word) {
  return word.size() > 1 && word.front() == '-' &&
         std::string("0123456789.").find(word[1]) == std::string::npos;
}

bool isFileName(const std::string& word) {
  std::error_code ignored;
  return word.find_first_of("./*?") != std::string::npos || std::filesystem::exists(word, ignored);
}

Words commandNames(const CLI::App& app) {
  Words names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return names;
}

/// Long and short names of the options, with their dashes.
Words optionNames(const CLI::App& command) {
  Words names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      names.push_back("--" + name);
    }
    for (const std::string& name : option->get_snames()) {
      names.push_back("-" + name);
    }
  }
  return names;
}

/// The first of `words` that starts as an option of `command` would but is none; empty without any.
std::string unknownOption(const CLI::App& command, const Words& words) {
  const Words known = optionNames(command);
  for (const std::string& word : words) {
    constexpr std::size_t kShortLength = 2;  // a value may follow at once
    const bool isLong = word.compare(0, kShortLength, "--") == 0;
    std::string name = word.substr(0, isLong ? word.find('=') : kShortLength);
    if (isOption(word) && word != "--" && !holds(known, name)) {
      return name;
    }
  }
  return {};
}

std::string seeHelpOf(const CLI::App& command) {
  return command.get_parent() == nullptr ? kSeeHelp
                                         : "; see orv2d " + command.get_name() + " --help";
}

[[noreturn]] void refuse(const std::string& message) {
  throw HostError(ExitCode::Usage, message + kSeeHelp);
}

}  // namespace

void requireCommand(const CLI::App& app, const Words& words) {
  const Words commands = commandNames(app);
  const std::string expected =
      "orv2d montage, batch, register, compose, inspect or correct is expected";
  if (words.empty()) {
    refuse("no command; " + expected);
  }
  const std::string& first = words.front();
  if (holds(commands, first) || holds(optionNames(app), first)) {
    return;
  }
  if (isOption(first)) {
    const bool commandFollows = std::any_of(
        words.begin(), words.end(), [&](const auto& word) { return holds(commands, word); });
    refuse(commandFollows ? "option '" + first + "' stands before the command; options follow it"
                          : "no command before '" + first + "'" +
                                suggestion(first, optionNames(app)) + "; " + expected);
  }
  const std::string meant = suggestion(first, commands);
  refuse(meant.empty() && isFileName(first)
             ? "no command before '" + first + "'; " + expected
             : "'" + first + "' is no command" + (meant.empty() ? "; " + expected : meant));
}

void requireNoFlagValues(const CLI::App& app, const Words& words) {
  const bool hasCommand = !words.empty() && holds(commandNames(app), words.front());
  const CLI::App& command = hasCommand ? *app.get_subcommand(words.front()) : app;
  for (const std::string& word : words) {
    const std::string name = word.substr(0, word.find('='));
    if (word == "--") {
      return;
    }
    if (name.size() < word.size() && isOption(word) && holds(optionNames(command), name) &&
        command.get_option(name)->get_items_expected_max() == 0) {
      throw HostError(ExitCode::Usage, name + " takes no value" + seeHelpOf(command));
    }
  }
}

void requireNoEmptyValues(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options()) {
    const CLI::results_t values = option->results();
    if (std::find(values.begin(), values.end(), "") != values.end()) {
      throw HostError(
          ExitCode::Usage,
          option->get_name() + ": a value is expected, an empty one found" + seeHelpOf(command));
    }
  }
}

std::string usageSentence(const CLI::App& app, const Words& words, const CLI::ParseError& error) {
  const std::string name = words.empty() ? "" : words.front();
  if (!holds(commandNames(app), name)) {
    return error.what() + std::string(kSeeHelp);
  }
  const CLI::App& command = *app.get_subcommand(name);
  const std::string seeHelp = seeHelpOf(command);
  const std::string unknown = unknownOption(command, words);
  if (!unknown.empty()) {  // also behind another error, such as that of the option it stands for
    return "unknown option '" + unknown + "'" + suggestion(unknown, optionNames(command)) + seeHelp;
  }
  return error.what() + seeHelp;
}

}  // namespace orv2d
