// SPDX-License-Identifier: MIT
#include "montage/SlabWriter.h"

#include "ExitCode.h"
#include "ImageIo.h"
#include "StageLine.h"
#include "montage/Notes.h"
#include "montage/SlabNames.h"
#include "montage/TiledFile.h"
#include "report/Measure.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace orv2d {
namespace {

namespace fs = std::filesystem;

constexpr int kWithAlpha = 4;

bool isTransparent(const montage::MontagePlan& plan) {
  return plan.options.background == montage::Background::transparent;
}

/// Of the montages as far as they are known before they are made: at least so many.
int fewestChannels(const montage::MontagePlan& plan) {
  return isTransparent(plan) ? kWithAlpha : std::max(plan.channels, 1);
}

/// Memory for composing: what may be taken, less what the program holds now. Channels where they are
/// known, so that a window need not read the first image to know them.
montage::ComposeOptions composeOptions(const MontageSettings& settings,
                                       const montage::MontagePlan& plan) {
  constexpr int kColour = 3;
  montage::ComposeOptions options;
  options.channels =
      settings.planImages && !settings.grey && plan.channels == kColour ? kColour : 0;
  if (settings.maxMemory) {
    const std::uint64_t held = residentBytes();
    options.memoryBytes = *settings.maxMemory > held ? *settings.maxMemory - held : 1;
  }
  return options;
}

std::string megabytes(std::uint64_t bytes) {
  constexpr double kBytesPerMegabyte = 1e6;
  return fixed(static_cast<double>(bytes) / kBytesPerMegabyte, 0) + " MB";
}

HostError memoryError(const montage::MemoryLimitError& error,
                      const MontageSettings& settings,
                      const fs::path& file) {
  const std::string allowed =
      settings.maxMemory
          ? "beside the " +
                megabytes(*settings.maxMemory - std::min(*settings.maxMemory, error.allowed())) +
                " that are taken already; --max-memory allows " + megabytes(*settings.maxMemory)
          : "and " + megabytes(error.allowed()) + " are 60 % of what is free";
  return {ExitCode::NoRoom,
          "composing takes at least " + megabytes(error.needed()) + " of memory, " + allowed +
              "; allow more with --max-memory, " +
              (isTiffName(file) ? "" : "write a .tif file, which takes less, ") +
              "or lower --compose-mp"};
}

}  // namespace

SlabWriter::SlabWriter(const MontageSettings& settings,
                       const std::vector<fs::path>& inputs,
                       OutputFiles& outputs)
    : settings_(settings),
      outputs_(outputs),
      progress_(settings.quiet),
      files_(slabNames(settings.output, settings.slabs)) {
  for (const fs::path& file : files_) {
    outputs_.plan(file, inputs);
  }
}

void SlabWriter::write(const montage::MontagePlan& plan,
                       ImageFiles& firstSlab,
                       const Draw& overlay,
                       MontageOutcome& outcome) {
  requireRoom(plan);
  returnFreedMemory();
  montage::Composer composer(plan, composeOptions(settings_, plan));
  for (int slab = 0; slab < settings_.slabs; ++slab) {
    std::optional<ImageFiles> further;
    if (slab > 0) {
      std::vector<ExpectedImage> expected(static_cast<std::size_t>(firstSlab.count()));
      for (const montage::PlannedImage& image : plan.images) {
        expected[static_cast<std::size_t>(image.index)].size = image.sourceSize;
      }
      further.emplace(settings_.imagesOfSlab(slab), settings_.grey);
      further->expect(std::move(expected));
    }
    ImageFiles& images = further ? *further : firstSlab;
    images.beginLastReading();
    const fs::path& file = files_[static_cast<std::size_t>(slab)];
    times_ = {};
    composeSlab(composer, images, file, slab == 0 ? overlay : Draw());
    outcome.times.compose += times_.compose;
    outcome.times.writing += times_.writing;
    outcome.times.reading += images.readingSeconds();
    const auto facts = images.facts(plan.images.front().index);
    outcome.montages.push_back(
        {file,
         sizeOf(plan),
         isTransparent(plan) ? kWithAlpha : (facts ? facts->channels : plan.channels)});
    if (const std::string note = mixedChannelsNote(images, slab); !note.empty()) {
      printMessage(note);
    }
  }
}

cv::Size SlabWriter::sizeOf(const montage::MontagePlan& plan) const {
  return settings_.window ? settings_.window->size() : plan.size;
}

/// Formats and disk; memory is checked by the composer before it begins.
void SlabWriter::requireRoom(const montage::MontagePlan& plan) const {
  const cv::Rect all(cv::Point(), plan.size);
  if (settings_.window && (*settings_.window & all) != *settings_.window) {
    throw HostError(ExitCode::Usage,
                    "--window: a part of the montage of " + std::to_string(plan.size.width) +
                        " x " + std::to_string(plan.size.height) + " pixels is expected");
  }
  const cv::Size size = sizeOf(plan);
  for (const fs::path& file : files_) {
    if (!isTiffName(file)) {  // else there are tiles
      requireFormatHolds(size, fewestChannels(plan), file);
    }
  }
  const auto bytesPerSlab = static_cast<std::uint64_t>(size.width) *
                            static_cast<std::uint64_t>(size.height) *
                            static_cast<std::uint64_t>(fewestChannels(plan));
  constexpr std::uint64_t kLeastSavedByLosses = 4;
  std::uint64_t bytes = bytesPerSlab * files_.size();
  bytes += settings_.pyramid ? bytes / 3 : 0;
  requireDiskSpace(files_.front(), settings_.lossy() ? bytes / kLeastSavedByLosses : bytes);
}

void SlabWriter::composeSlab(montage::Composer& composer,
                             const ImageFiles& images,
                             const fs::path& file,
                             const Draw& overlay) {
  const montage::MontagePlan& plan = composer.plan();
  const bool whole = !settings_.window && !overlay;  // else all of it is needed in memory
  const bool inTiles =
      settings_.wantsTiles() || needsTiles(file, sizeOf(plan), fewestChannels(plan));
  try {
    if (inTiles && whole) {
      composeIntoFile(composer, images, file);
      return;
    }
    try {
      composeInMemory(composer, images, file, overlay);
    } catch (const montage::MemoryLimitError&) {
      if (!isTiffName(file) || !whole) {
        throw;
      }
      composeIntoFile(composer, images, file);
    }
  } catch (const montage::MemoryLimitError& error) {
    throw memoryError(error, settings_, file);
  }
}

void SlabWriter::composeIntoFile(montage::Composer& composer,
                                 const ImageFiles& images,
                                 const fs::path& path) {
  const Stopwatch composing;
  progress_.say("writing " + path.string() + " while it is composed");
  outputs_.write(path, [&](const fs::path& target, const fs::path& file) {
    writeTiles(target, file, settings_.tiffOptions(), [&](montage::MontageSink& sink) {
      StageLine line(settings_.quiet);
      composer.compose(images, sink, line.watch());
    });
  });
  times_.compose += composing.seconds();
}

void SlabWriter::composeInMemory(montage::Composer& composer,
                                 const ImageFiles& images,
                                 const fs::path& path,
                                 const Draw& overlay) {
  const Stopwatch composing;
  cv::Mat picture;
  {
    StageLine line(settings_.quiet);
    picture = settings_.window ? composer.compose(images, *settings_.window, line.watch())
                               : composer.compose(images, line.watch());
  }
  times_.compose += composing.seconds();
  const Stopwatch writing;
  writePicture(path, picture);
  if (overlay) {
    writePicture(settings_.overlay, overlay(picture));
  }
  times_.writing += writing.seconds();
}

void SlabWriter::writePicture(const fs::path& path, const cv::Mat& picture) {
  progress_.say("writing " + path.string());
  const bool asked = settings_.wantsTiles() && path != settings_.overlay;
  const bool inTiles = asked || needsTiles(path, picture.size(), picture.channels());
  outputs_.write(path, [&](const fs::path& target, const fs::path& file) {
    if (!inTiles) {
      writeImage(picture, target, file, settings_.quality.value_or(kJpegQuality));
      return;
    }
    writeTiles(target, file, settings_.tiffOptions(), [&](montage::MontageSink& sink) {
      sink.begin(picture.size(), picture.type());
      sink.write({cv::Point(), picture.size()}, picture);
      sink.finish();
    });
  });
}

}  // namespace orv2d
