// SPDX-License-Identifier: MIT
#include "batch/BatchArguments.h"

#include "montage/MontageArguments.h"

#include <algorithm>

namespace orv2d {
namespace {

constexpr int kMaxJobs = 1000;
constexpr int kMaxThreads = 10000;

void addRunning(CLI::App& command, BatchSettings& settings) {
  command.add_option("--jobs", settings.jobs, "Scenes at a time, which share threads and memory")
      ->check(CLI::Range(1, kMaxJobs))
      ->type_name("N")
      ->capture_default_str();
  command
      .add_option("--threads",
                  settings.threads,
                  "Threads that all scenes at work take together [as many as cores]")
      ->check(CLI::Range(1, kMaxThreads))
      ->type_name("N");
  command
      .add_option("--max-memory",
                  settings.maxMemory,
                  "Memory that all scenes at work may take together, such as 800M or 3G (10^9 "
                  "bytes); a scene that its share cannot do fails [60 % of what is free]")
      ->transform(CLI::AsSizeValue(true))
      ->option_text("SIZE");
  command
      .add_option(
          "--shard",
          settings.shard,
          "Every N-th scene only, from the I-th on (I from 1 to N); slurm: the part of this "
          "task of a Slurm array")
      ->option_text("I/N|slurm");
  command.add_flag("--force", settings.force, "Make scenes again that are done");
  command.add_flag("--quiet", settings.quiet, "No progress, messages of scenes and summary");
}

}  // namespace

CLI::App* addBatchCommand(CLI::App& app, BatchSettings& settings) {
  CLI::App& command =
      *app.add_subcommand("batch", "Make the montages of many scenes that a manifest lists");
  command
      .add_option("MANIFEST",
                  settings.manifest,
                  "CSV with headings, or JSON lines: name, images, slabs, options, output")
      ->type_name("FILE")
      ->required();
  command
      .add_option(
          "-o,--output",
          settings.montage.output,
          "Montage of scenes whose output the manifest does not say; {scene} stands for the "
          "name, here and in other names of files")
      ->type_name("FILE");
  command
      .add_option("--output-folder",
                  settings.outputFolder,
                  "What outputs are relative to and may not lead out of [the manifest's folder]")
      ->type_name("FOLDER");
  addRunning(command, settings);
  const std::vector<CLI::Option*> own = command.get_options();
  addSceneOptions(command, settings.montage);
  std::vector<std::string> ownNames;
  for (CLI::Option* option : command.get_options()) {
    if (std::find(own.begin(), own.end(), option) != own.end()) {
      ownNames.push_back(option->get_name());
    } else {
      option->group("For scenes that do not say otherwise");
    }
  }
  command.parse_complete_callback(
      [&command, &settings, ownNames] { settings.defaults = givenOptions(command, ownNames); });
  return &command;
}

std::vector<GivenOption> givenOptions(const CLI::App& command,
                                      const std::vector<std::string>& without) {
  std::vector<GivenOption> given;
  for (const CLI::Option* option : command.get_options()) {
    const std::string name = option->get_name();
    const bool isOwn = std::find(without.begin(), without.end(), name) != without.end();
    if (option->count() > 0 && !option->get_positional() && !isOwn) {
      const bool isFlag = option->get_items_expected_max() == 0;
      given.push_back({name, isFlag ? std::nullopt : std::optional(option->results().front())});
    }
  }
  return given;
}

}  // namespace orv2d
