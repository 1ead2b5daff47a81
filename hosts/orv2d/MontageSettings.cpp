// SPDX-License-Identifier: MIT
#include "MontageSettings.h"

#include "Checks.h"
#include "Console.h"
#include "ExitCode.h"
#include "ImageIo.h"

namespace orv2d {
namespace {

constexpr int kMaxSlabs = 10000;
constexpr int kMinImages = 2;

void addResolutions(CLI::App& command, MontageSettings& settings) {
  command
      .add_option("--registration-mp",
                  settings.registrationMp,
                  "Resolution of feature finding and camera estimation, megapixels; -1 for full")
      ->check(megapixelCheck());
  command
      .add_option("--seam-mp",
                  settings.seamMp,
                  "Resolution of seam finding and exposure gains, megapixels; -1 for full")
      ->check(megapixelCheck());
  command
      .add_option("--compose-mp",
                  settings.composeMp,
                  "Size that every image is reduced to in the montage, megapixels; -1 for full")
      ->check(megapixelCheck());
}

void addFiles(CLI::App& command, MontageSettings& settings) {
  command
      .add_option("IMAGE",
                  settings.images,
                  "Overlapping 8-bit images of one size, grey or colour; slab after slab")
      ->type_name("FILE")
      ->required();
  command
      .add_option("-o,--output",
                  settings.output,
                  "Montage to write (.png, .tif or .jpg). With several slabs {slab}, %d or %03d in "
                  "the name stands for the slab's number from 0; else _slabN is appended")
      ->type_name("FILE")
      ->required();
  command.add_option("--report", settings.report, "Also write a report of the run, JSON")
      ->type_name("FILE");
  command
      .add_option("--overlay",
                  settings.overlay,
                  "Also write the montage of slab 0 with the images' positions and numbers")
      ->type_name("FILE");
}

}  // namespace

CLI::App* addMontageCommand(CLI::App& app, MontageSettings& settings) {
  CLI::App& command =
      *app.add_subcommand("montage", "Join overlapping images into one montage per slab");
  addFiles(command, settings);
  command.option_defaults()->always_capture_default();  // of the options that have a default
  command
      .add_option("--slabs",
                  settings.slabs,
                  "Number of slabs: image sets in register, for example colour channels. Slab 0 is "
                  "registered, all are composed alike")
      ->check(CLI::Range(1, kMaxSlabs));
  command
      .add_option("--pipeline",
                  settings.pipeline,
                  "diagnostic: feather blending, brightness normalised, quality figures. basic: "
                  "horizon straightened, multi-band blending, brightness kept")
      ->check(CLI::IsMember({"diagnostic", "basic"}));
  addResolutions(command, settings);
  command
      .add_option(
          "--seams",
          settings.seams,
          "graphcut: cut overlaps where they differ least, equalise exposure. none: neither")
      ->check(CLI::IsMember({"graphcut", "none"}));
  command.add_flag("--no-blend", settings.noBlend, "Let later images cover earlier ones");
  command.add_flag("--try-gpu", settings.tryGpu, "Let OpenCV use a GPU where it was built for one");
  command.add_flag("--grey", settings.grey, "Turn all images to grey first");
  command.add_flag("--quiet", settings.quiet, "No progress and no table; errors only");
  return &command;
}

void validate(const MontageSettings& settings) {
  const std::size_t count = settings.images.size();
  const auto slabs = static_cast<std::size_t>(settings.slabs);
  if (count % slabs != 0) {
    throw HostError(ExitCode::Usage,
                    counted(count, "image") + " cannot be divided into " + std::to_string(slabs) +
                        " slabs of equal size; give every slab the same "
                        "number of images, slab after slab");
  }
  if (settings.constituentCount() < kMinImages) {
    throw HostError(ExitCode::Usage,
                    counted(count, "image") + " in " + counted(slabs, "slab") +
                        ": a montage needs at least two images per slab");
  }
  requireImageFormat(settings.output);
  if (!settings.overlay.empty()) {
    requireImageFormat(settings.overlay);
  }
}

}  // namespace orv2d
