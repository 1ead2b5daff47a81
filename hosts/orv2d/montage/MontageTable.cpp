// SPDX-License-Identifier: MIT
#include "montage/MontageTable.h"

#include "Console.h"
#include "montage/RegistrationTable.h"
#include "report/TextTable.h"

namespace orv2d {
namespace {

const char* positionNote(montage::Preset preset) {
  switch (preset) {
    case montage::Preset::picture:
      return "x, y: centre of the image in the montage, pixels";
    case montage::Preset::basic:
      return "x, y: top-left corner of the warped image on the montage plane, pixels of the "
             "montage; may be negative";
    case montage::Preset::diagnostic:
      return "x, y: centre of the warped image, full-resolution pixels from the top-left corner of "
             "all images";
  }
  return "";
}

void printImagesAndFigures(const MontageSettings& settings,
                           const MontageOutcome& outcome,
                           std::ostream& out) {
  const std::map<int, Position> positions = positionsOf(settings.preset(), *outcome.plan);
  TextTable table({"image", "<verdict", "x [px]", "y [px]", "rms [px]", "<file", "<reason"});
  for (int i = 0; i < static_cast<int>(outcome.registration->images.size()); ++i) {
    const montage::RegisteredImage& image =
        outcome.registration->images[static_cast<std::size_t>(i)];
    const ImageVerdict verdict = verdictOf(outcome, i);
    const auto at = positions.find(i);
    const bool placed = at != positions.end();
    table.add({std::to_string(i),
               verdict.name,
               placed ? fixed(at->second.reported.x, 0) : "-",
               placed ? fixed(at->second.reported.y, 0) : "-",
               placed ? fixed(image.rms, 2) : "-",
               image.name,
               verdict.reason});
  }
  table.print(out);
  out << positionNote(settings.preset())
      << "\nrms: reprojection error, pixels at registration resolution\n\n";
  printFigures(*outcome.registration, out);
  out << "\n";
}

std::string sizeText(cv::Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height) + " px";
}

std::string megabytes(std::uint64_t bytes) {
  constexpr double kBytesPerMegabyte = 1e6;
  return fixed(static_cast<double>(bytes) / kBytesPerMegabyte, 0) + " MB";
}

const char* colourOf(int channels) {
  switch (channels) {
    case 1:
      return "grey";
    case 3:
      return "colour";
    default:
      return "colour with transparency";
  }
}

}  // namespace

void printMontages(const MontageOutcome& outcome, std::ostream& out) {
  for (std::size_t slab = 0; slab < outcome.montages.size(); ++slab) {
    const WrittenMontage& montage = outcome.montages[slab];
    out << "montage of slab " << slab << ": " << sizeText(montage.size) << ", "
        << colourOf(montage.channels) << ", " << escaped(montage.file.string()) << "\n";
  }
  out << std::flush;
}

void printTable(const MontageSettings& settings, const MontageOutcome& outcome, std::ostream& out) {
  printImagesAndFigures(settings, outcome, out);
  printMontages(outcome, out);
  const PhaseTimes& times = outcome.times;
  out << "registration " << fixed(times.registration, 2) << " s, plan " << fixed(times.plan, 2)
      << " s, composing " << fixed(times.compose, 2) << " s, writing " << fixed(times.writing, 2)
      << " s\n"
      << std::flush;
}

void printPlan(const MontageSettings& settings, const MontageOutcome& outcome, std::ostream& out) {
  printImagesAndFigures(settings, outcome, out);
  const montage::Estimate& estimate = outcome.plan->estimate;
  constexpr double kPixelsPerMegapixel = 1e6;
  out << "montage: " << sizeText(outcome.plan->size) << ", "
      << fixed(static_cast<double>(estimate.pixels) / kPixelsPerMegapixel, 1) << " megapixels, "
      << megabytes(estimate.montageBytes) << " of samples per slab\n"
      << "composing takes about " << fixed(estimate.seconds, 1) << " s per slab and "
      << megabytes(estimate.memoryBytes) << " of memory; into a tiled TIFF at least "
      << megabytes(estimate.leastMemoryBytes) << "\n"
      << std::flush;
}

}  // namespace orv2d
