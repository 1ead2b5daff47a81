// SPDX-License-Identifier: MIT
#include "montage/MontageArguments.h"

#include "Checks.h"

#include <array>
#include <string>
#include <vector>

namespace orv2d {
namespace {

constexpr int kMaxSlabs = 10000;
constexpr int kMaxThreads = 10000;

CLI::Option* addFile(CLI::App& command,
                     const std::string& name,
                     std::string& file,
                     const std::string& help) {
  return command.add_option(name, file, help)->type_name("FILE");
}

CLI::Option* addResolution(CLI::App& command,
                           const std::string& name,
                           double& megapixels,
                           const std::string& help) {
  return command.add_option(name, megapixels, help + ", megapixels; -1 for full")
      ->check(megapixelCheck());
}

CLI::Option* addImages(CLI::App& command, MontageSettings& settings, const std::string& help) {
  return command.add_option("IMAGE", settings.images, help)->type_name("FILE");
}

CLI::Option* addOutput(CLI::App& command, MontageSettings& settings) {
  return addFile(command,
                 "-o,--output",
                 settings.output,
                 "Montage to write (.png, .tif or .jpg). With several slabs {slab}, %d or %03d in "
                 "the name stands for the slab's number from 0; else _slabN is appended");
}

void addReports(CLI::App& command, MontageSettings& settings) {
  addFile(command, "--report", settings.report, "Also write a report of the run, JSON");
  addFile(command,
          "--overlay",
          settings.overlay,
          "Also write the montage of slab 0 with the images' positions and numbers");
}

void addPipeline(CLI::App& command, MontageSettings& settings) {
  command
      .add_option("--pipeline",
                  settings.pipeline,
                  "picture: robust cameras, the best picture. basic: horizon straightened, "
                  "multi-band blending. diagnostic: feather blending, brightness normalised")
      ->check(CLI::IsMember({"picture", "basic", "diagnostic"}));
}

CLI::Option* addRegistrationResolution(CLI::App& command, MontageSettings& settings) {
  return addResolution(command,
                       "--registration-mp",
                       settings.registrationMp,
                       "Resolution of feature finding and camera estimation");
}

CLI::Option* addPairs(CLI::App& command, MontageSettings& settings) {
  return command
      .add_option("--pairs",
                  settings.pairs,
                  "Which images are compared. all: each with every other. auto: all up to 20 "
                  "images, in larger sets those that look alike. sequential:K[:loop]: each with "
                  "the K that follow. grid:RxC[:snake]: each with its neighbours in R rows of C, "
                  "row by row. Else a file of pairs: two numbers from 0 a line [picture: auto, "
                  "others: all]")
      ->type_name("PAIRS")
      ->capture_default_str();
}

void addGrey(CLI::App& command, MontageSettings& settings) {
  command.add_flag("--grey", settings.grey, "Turn all images to grey first");
}

void addThreads(CLI::App& command, MontageSettings& settings) {
  command.add_option("--threads", settings.threads, "Threads to work with [as many as cores]")
      ->check(CLI::Range(1, kMaxThreads))
      ->type_name("N");
}

void addQuiet(CLI::App& command, MontageSettings& settings) {
  command.add_flag("--quiet", settings.quiet, "No progress and no table; errors and notes only");
}

void addSeamsAndBlending(CLI::App& command, MontageSettings& settings) {
  addResolution(
      command, "--seam-mp", settings.seamMp, "Resolution of seam finding and exposure gains");
  addResolution(command,
                "--compose-mp",
                settings.composeMp,
                "Size that every image is reduced to in the montage");
  command
      .add_option(
          "--seams",
          settings.seams,
          "graphcut: cut overlaps where they differ least, equalise exposure. none: neither")
      ->check(CLI::IsMember({"graphcut", "none"}));
  command.add_flag("--no-blend", settings.noBlend, "Let later images cover earlier ones");
}

/// What a plan fixes.
const std::array<const char*, 11> kPlanChoices = {"--pipeline",
                                                  "--seam-mp",
                                                  "--compose-mp",
                                                  "--seams",
                                                  "--no-blend",
                                                  "--crop",
                                                  "--background",
                                                  "--straighten",
                                                  "--max-size",
                                                  "--report",
                                                  "--overlay"};

/// Notes which options of planning are given.
void notePlanChoices(CLI::App& command, MontageSettings& settings) {
  command.parse_complete_callback([&command, &settings] {
    for (const char* const name : kPlanChoices) {
      if (command.count(name) > 0) {
        settings.planChoices.emplace_back(name);
      }
    }
    if (command.count("--dry-run") > 0) {
      settings.planChoices.emplace_back("--dry-run");
    }
  });
}

void addWindow(CLI::App& command, MontageSettings& settings) {
  command
      .add_option_function<std::vector<int>>(
          "--window",
          [&settings](const std::vector<int>& numbers) {
            settings.window = cv::Rect(numbers[0], numbers[1], numbers[2], numbers[3]);
          },
          "Compose this part of the montage only: from X, Y so many pixels")
      ->delimiter(',')
      ->expected(4)
      ->type_name("X,Y,WIDTH,HEIGHT")
      ->check(CLI::Range(0, 1 << 20));
}

void addMemory(CLI::App& command, MontageSettings& settings) {
  command
      .add_option("--max-memory",
                  settings.maxMemory,
                  "Memory that may be taken, such as 800M or 3G (10^9 bytes); refused if that "
                  "cannot do [60 % of what is free]")
      ->transform(CLI::AsSizeValue(true))
      ->option_text("SIZE");
}

void addFraming(CLI::App& command, MontageSettings& settings) {
  command
      .add_option("--crop",
                  settings.crop,
                  "none: the box around all images as warped. content: the box around what they "
                  "cover. inner: the largest rectangle without background")
      ->check(CLI::IsMember({"none", "content", "inner"}));
  command
      .add_option("--background",
                  settings.background,
                  "Where no image is; transparent for PNG and TIFF only")
      ->check(CLI::IsMember({"black", "white", "transparent"}));
  command
      .add_option("--straighten",
                  settings.straighten,
                  "How the images lie: side by side, above each other, found from the cameras, or "
                  "as the first camera has it [picture: auto, basic: horizontal, diagnostic: none]")
      ->check(CLI::IsMember({"auto", "horizontal", "vertical", "none"}));
  command.add_option("--max-size", settings.maxSizeMp, "Refuse larger montages, megapixels")
      ->check(CLI::Range(1e-6, 1e9).description("MEGAPIXELS"));
}

void addTiff(CLI::App& command, MontageSettings& settings) {
  command.add_flag(
      "--tiles", settings.tiles, "Write a TIFF in tiles, while it is composed: for any size");
  command
      .add_option("--compression",
                  settings.compression,
                  "Of a tiled TIFF: deflate loses nothing, jpeg has --quality [deflate]")
      ->check(CLI::IsMember({"deflate", "jpeg", "none"}));
  command.add_flag("--pyramid",
                   settings.pyramid,
                   "A tiled TIFF that also holds 1/2, 1/4, ... of the resolution");
  command.add_flag("--bigtiff", settings.bigTiff, "A tiled TIFF with 64-bit offsets at any size");
}

/// What a montage is like, for `montage` and `compose`.
void addComposing(CLI::App& command, MontageSettings& settings) {
  command
      .add_option("--slabs",
                  settings.slabs,
                  "Number of slabs: image sets in register, for example colour channels. Gains and "
                  "seams are found in slab 0, all are composed alike")
      ->check(CLI::Range(1, kMaxSlabs));
  addPipeline(command, settings);
  addSeamsAndBlending(command, settings);
  addFraming(command, settings);
  command.add_option("--quality", settings.quality, "Quality of JPEG, 1 to 100 [95]")
      ->check(CLI::Range(1, 100));
  addTiff(command, settings);
  addGrey(command, settings);
}

/// How it is made.
void addRunning(CLI::App& command, MontageSettings& settings) {
  addMemory(command, settings);
  addThreads(command, settings);
  command.add_flag(
      "--dry-run", settings.dryRun, "Say size, memory and which images, and write nothing");
  addQuiet(command, settings);
}

}  // namespace

void addSceneOptions(CLI::App& command, MontageSettings& settings) {
  addReports(command, settings);
  CLI::Option* load = addFile(command,
                              "--registration",
                              settings.registration,
                              "Take the cameras from this file instead of registering slab 0");
  addFile(command,
          "--save-registration",
          settings.saveRegistration,
          "Also write the registration, JSON, for orv2d compose and inspect")
      ->excludes(load);
  command.option_defaults()->always_capture_default();  // of the options that have a default
  addRegistrationResolution(command, settings)->excludes(load);
  addPairs(command, settings)->excludes(load);
  addComposing(command, settings);
  command.add_flag("--try-gpu", settings.tryGpu, "Accepted; all work is done by the processor");
}

CLI::App* addMontageCommand(CLI::App& app, MontageSettings& settings) {
  CLI::App& command =
      *app.add_subcommand("montage", "Join overlapping images into one montage per slab");
  addImages(command, settings, "Overlapping 8-bit images, grey or colour; slab after slab")
      ->required();
  addOutput(command, settings)->required();
  addSceneOptions(command, settings);
  addRunning(command, settings);
  return &command;
}

CLI::App* addRegisterCommand(CLI::App& app, MontageSettings& settings) {
  CLI::App& command = *app.add_subcommand("register", "Find the cameras of overlapping images");
  addImages(command, settings, "Overlapping 8-bit images, grey or colour")->required();
  addFile(command, "-o,--output", settings.output, "Registration to write, JSON")->required();
  command.option_defaults()->always_capture_default();
  addPipeline(command, settings);
  addRegistrationResolution(command, settings);
  addPairs(command, settings);
  command.add_flag("--matches", settings.keepMatches, "Save the matches of all pairs too");
  addGrey(command, settings);
  addThreads(command, settings);
  addQuiet(command, settings);
  return &command;
}

CLI::App* addComposeCommand(CLI::App& app, MontageSettings& settings) {
  CLI::App& command =
      *app.add_subcommand("compose", "Make the montage of images that are registered");
  addFile(command, "FILE", settings.registration, "Of orv2d register or orv2d plan")->required();
  addImages(command,
            settings,
            "The images, or others in register with them, as many as were registered; slab after "
            "slab. None: those that FILE names");
  addOutput(command, settings)->required();
  addReports(command, settings);
  addWindow(command, settings);
  command.option_defaults()->always_capture_default();
  addComposing(command, settings);
  addRunning(command, settings);
  notePlanChoices(command, settings);
  return &command;
}

CLI::App* addPlanCommand(CLI::App& app, MontageSettings& settings) {
  CLI::App& command = *app.add_subcommand(
      "plan", "Lay out the montage of images that are registered, and save that");
  addFile(command, "FILE", settings.registration, "Registration, of orv2d register")->required();
  addImages(command,
            settings,
            "The images, or others in register with them, as many as were registered. None: those "
            "that the registration names");
  addFile(command, "-o,--output", settings.output, "Plan to write")->required();
  command.option_defaults()->always_capture_default();
  addPipeline(command, settings);
  addSeamsAndBlending(command, settings);
  addFraming(command, settings);
  addGrey(command, settings);
  addThreads(command, settings);
  addQuiet(command, settings);
  return &command;
}

CLI::App* addInspectCommand(CLI::App& app, MontageSettings& settings) {
  CLI::App& command = *app.add_subcommand("inspect", "Show what a registration holds");
  addFile(command, "FILE", settings.registration, "Registration, of orv2d register")->required();
  command.add_flag("--json", settings.json, "Print JSON instead of tables");
  return &command;
}

}  // namespace orv2d
