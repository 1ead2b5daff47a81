// SPDX-License-Identifier: MIT
#include "MontageTable.h"

#include "Console.h"
#include "ImageIo.h"

#include <array>
#include <iomanip>
#include <sstream>

namespace orv2d {
namespace {

void printImages(const MontageSettings& settings, const MontageResult& result, std::ostream& out) {
  out << "image  used   x [px]   y [px]  file\n";
  for (std::size_t i = 0; i < result.used.size(); ++i) {
    const bool used = result.used[i] != 0;
    out << std::setw(5) << i << std::setw(6) << (used ? "yes" : "no");
    if (used) {
      out << std::setw(9) << result.positions[i].x << std::setw(9) << result.positions[i].y;
    } else {
      out << std::setw(9) << "-" << std::setw(9) << "-";
    }
    out << "  " << settings.images[i] << "\n";
  }
  out << (settings.diagnostic()
              ? "x, y: centre of the warped image, full-resolution pixels from the top-left corner "
                "of all images\n"
              : "x, y: top-left corner of the warped image on the montage plane, pixels of the "
                "montage; may be negative\n");
}

struct Row {
  const char* name;
  double value;
  int decimals;
  const char* unit;
};

void printFigures(const QualityFigures& quality, std::ostream& out) {
  constexpr double kDegreesPerRadian = 57.29577951308232;
  const std::array<Row, 4> rows = {
      {{"projection error, rms", quality.projectionErrorRms, 3, "px at registration resolution"},
       {"focal length, mean", quality.focalMean, 1, "px at registration resolution"},
       {"focal length, range", quality.focalRange, 1, "px at registration resolution"},
       {"largest rotation", quality.rotationMax * kDegreesPerRadian, 2, "degrees"}}};
  out << "\n";
  for (const Row& row : rows) {
    out << std::left << std::setw(22) << row.name << std::right << std::setw(11)
        << fixed(row.value, row.decimals) << "  " << row.unit << "\n";
  }
}

void printMontages(const MontageResult& result, std::ostream& out) {
  out << "\n";
  for (std::size_t slab = 0; slab < result.montages.size(); ++slab) {
    const cv::Mat& montage = result.montages[slab];
    out << "montage of slab " << slab << ": " << montage.cols << " x " << montage.rows << " px, "
        << (montage.channels() == 1 ? "grey" : "colour") << ", "
        << result.montageFiles[slab].string() << "\n";
  }
}

const char* const kOverlapAdvice =
    "try images that share a third or more of their picture, taken from one place";

std::string registrationAdvice(const MontageSettings& settings) {
  if (settings.registrationMp < 0.0) {
    return "or a registration at lower resolution, for example --registration-mp 0.6";
  }
  std::ostringstream advice;
  advice << "or --registration-mp higher than " << settings.registrationMp
         << " (-1 for full resolution)";
  return advice.str();
}

}  // namespace

void printTable(const MontageSettings& settings, const MontageResult& result, std::ostream& out) {
  printImages(settings, result, out);
  if (result.quality) {
    printFigures(*result.quality, out);
  }
  printMontages(result, out);
  out << "reading " << fixed(result.times.reading, 2) << " s, montage "
      << fixed(result.times.montage, 2) << " s, writing " << fixed(result.times.writing, 2)
      << " s\n"
      << std::flush;
}

std::string leftOutNote(const MontageSettings& settings, const MontageResult& result) {
  std::string names;
  for (std::size_t i = 0; i < result.used.size(); ++i) {
    if (result.used[i] == 0) {
      names += (names.empty() ? "" : ", ") + inQuotes(settings.images[i]);
    }
  }
  if (names.empty()) {
    return {};
  }
  return "left out, because nothing connects them to the others: " + names + "; " + kOverlapAdvice +
         ", " + registrationAdvice(settings);
}

std::string failureNote(const MontageSettings& settings, const MontageResult& result) {
  const std::string count = counted(result.used.size(), "image");
  if (result.status == 1) {
    return "no montage: fewer than two of the " + count + " connect; " + kOverlapAdvice + ", " +
           registrationAdvice(settings);
  }
  if (result.status == 2) {
    return "no montage: the camera estimate of the " + count +
           " did not stay finite; try without images that show the same view twice, " +
           registrationAdvice(settings);
  }
  return "no montage: " + result.message;
}

}  // namespace orv2d
