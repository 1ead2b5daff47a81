// SPDX-License-Identifier: MIT
#include "MontageCommand.h"

#include "Console.h"
#include "ImageIo.h"
#include "Measure.h"
#include "MontageReport.h"
#include "MontageRun.h"
#include "MontageTable.h"
#include "OutputFiles.h"
#include "Overlay.h"
#include "SlabNames.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <iostream>

namespace orv2d {
namespace {

std::string sizeText(const cv::Mat& image) {
  return std::to_string(image.cols) + " x " + std::to_string(image.rows);
}

void requireSize(const cv::Mat& image,
                 const cv::Mat& first,
                 const MontageSettings& settings,
                 const std::string& path) {
  if (image.size() != first.size()) {
    throw HostError(ExitCode::UnreadableInput,
                    "cannot use " + inQuotes(path) + ": it has " + sizeText(image) +
                        " pixels, but " + inQuotes(settings.images.front()) + " has " +
                        sizeText(first) + "; all images must be of one size");
  }
}

std::vector<cv::Mat> readImages(const MontageSettings& settings, const Progress& progress) {
  std::vector<cv::Mat> images;
  for (const std::string& path : settings.images) {
    progress.say("reading " + std::to_string(images.size() + 1) + "/" +
                 std::to_string(settings.images.size()) + " " + path);
    cv::Mat image = readImage(path);
    if (settings.grey && image.channels() == 3) {
      cv::cvtColor(image, image, cv::COLOR_BGR2GRAY);
    }
    requireSize(image, images.empty() ? image : images.front(), settings, path);
    images.push_back(image);
  }
  return images;
}

/// Says so when a slab holds both grey and colour images: its montage can only be one of them.
void noteMixedChannels(const std::vector<cv::Mat>& images, int slabCount) {
  const auto isGrey = [](const cv::Mat& image) { return image.channels() == 1; };
  const std::size_t perSlab = images.size() / static_cast<std::size_t>(slabCount);
  for (std::size_t first = 0; first < images.size(); first += perSlab) {
    const auto slab = images.begin() + static_cast<std::ptrdiff_t>(first);
    const auto grey = std::count_if(slab, slab + static_cast<std::ptrdiff_t>(perSlab), isGrey);
    if (grey > 0 && grey < static_cast<std::ptrdiff_t>(perSlab)) {
      printMessage("note: in slab " + std::to_string(first / perSlab) + ", " +
                   std::to_string(grey) + " of the " + counted(perSlab, "image") +
                   " are grey, the others colour; use --grey for an all-grey montage");
    }
  }
}

std::vector<std::filesystem::path> planOutputs(const MontageSettings& settings,
                                               OutputFiles& outputs) {
  const std::vector<std::filesystem::path> inputs(settings.images.begin(), settings.images.end());
  const std::vector<std::filesystem::path> montages = slabNames(settings.output, settings.slabs);
  for (const auto& montage : montages) {
    outputs.plan(montage, inputs);
  }
  for (const std::string& path : {settings.overlay, settings.report}) {
    if (!path.empty()) {
      outputs.plan(path, inputs);
    }
  }
  return montages;
}

cv::Mat overlayOf(const MontageSettings& settings, const MontageResult& result) {
  std::vector<Mark> marks;
  for (std::size_t i = 0; i < result.used.size(); ++i) {
    if (result.used[i] != 0) {
      marks.push_back({static_cast<int>(i), result.inMontage[i]});
    }
  }
  return drawOverlay(result.montages.front(),
                     marks,
                     settings.diagnostic() ? MarkKind::Centre : MarkKind::TopLeftCorner);
}

void writePictures(const MontageSettings& settings,
                   const MontageResult& result,
                   const Progress& progress,
                   OutputFiles& outputs) {
  const auto write = [&](const std::filesystem::path& path, const cv::Mat& picture) {
    progress.say("writing " + path.string());
    outputs.write(path,
                  [&](const auto& target, const auto& file) { writeImage(picture, target, file); });
  };
  for (std::size_t slab = 0; slab < result.montages.size(); ++slab) {
    write(result.montageFiles[slab], result.montages[slab]);
  }
  if (!settings.overlay.empty()) {
    write(settings.overlay, overlayOf(settings, result));
  }
}

void reportAndCommit(const MontageSettings& settings,
                     const MontageResult& result,
                     OutputFiles& outputs) {
  if (!settings.report.empty()) {
    writeReport(montageReport(settings, result), settings.report, outputs);
  }
  outputs.commit();
}

}  // namespace

ExitCode montageCommand(const MontageSettings& settings) {
  validate(settings);
  std::for_each(settings.images.begin(), settings.images.end(), requireExistingFile);
  OutputFiles outputs;
  const std::vector<std::filesystem::path> montageFiles = planOutputs(settings, outputs);
  const Progress progress(settings.quiet);

  const Stopwatch reading;
  const std::vector<cv::Mat> images = readImages(settings, progress);
  noteMixedChannels(images, settings.slabs);
  const double readingSeconds = reading.seconds();

  progress.say("joining " + counted(images.size(), "image") + " of " + sizeText(images.front()) +
               " pixels in " + counted(static_cast<std::size_t>(settings.slabs), "slab") + " (" +
               settings.pipeline + " pipeline)");
  const Stopwatch joining;
  MontageResult result = runMontage(settings, images);
  result.montageFiles = montageFiles;
  result.times = {readingSeconds, joining.seconds(), 0.0};
  if (result.status != 0) {
    reportAndCommit(settings, result, outputs);
    throw HostError(result.status == 2 ? ExitCode::CamerasNotFinite : ExitCode::NoMontage,
                    failureNote(settings, result));
  }

  const Stopwatch writing;
  writePictures(settings, result, progress, outputs);
  result.times.writing = writing.seconds();
  reportAndCommit(settings, result, outputs);
  if (!settings.quiet) {
    printTable(settings, result, std::cout);
  }
  if (const std::string note = leftOutNote(settings, result); !note.empty()) {
    printMessage(note);
  }
  return ExitCode::Success;
}

}  // namespace orv2d
