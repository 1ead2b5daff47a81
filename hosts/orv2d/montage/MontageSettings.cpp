// SPDX-License-Identifier: MIT
#include "montage/MontageSettings.h"

#include "Console.h"
#include "ExitCode.h"
#include "ImageIo.h"
#include "montage/PairsArgument.h"

#include <array>
#include <utility>

namespace orv2d {
namespace {

constexpr int kMinImages = 2;

template <class Value, std::size_t Count>
Value valueOf(const std::array<std::pair<const char*, Value>, Count>& names,
              const std::string& name) {
  for (const auto& [each, value] : names) {
    if (name == each) {
      return value;
    }
  }
  throw HostError(ExitCode::Usage, "'" + name + "' is not known");
}

using montage::Background;
using montage::Crop;
using montage::Preset;
using montage::Straighten;
using montage::TiffCompression;

constexpr std::array<std::pair<const char*, Preset>, 3> kPresets = {
    {{"picture", Preset::picture}, {"basic", Preset::basic}, {"diagnostic", Preset::diagnostic}}};
constexpr std::array<std::pair<const char*, Crop>, 3> kCrops = {
    {{"none", Crop::none}, {"content", Crop::content}, {"inner", Crop::inner}}};
constexpr std::array<std::pair<const char*, Background>, 3> kBackgrounds = {
    {{"black", Background::black},
     {"white", Background::white},
     {"transparent", Background::transparent}}};
constexpr std::array<std::pair<const char*, TiffCompression>, 3> kCompressions = {
    {{"none", TiffCompression::none},
     {"deflate", TiffCompression::deflate},
     {"jpeg", TiffCompression::jpeg}}};
constexpr std::array<std::pair<const char*, Straighten>, 4> kStraightens = {
    {{"auto", Straighten::automatic},
     {"horizontal", Straighten::horizontal},
     {"vertical", Straighten::vertical},
     {"none", Straighten::none}}};

}  // namespace

montage::Preset MontageSettings::preset() const {
  return valueOf(kPresets, pipeline);
}

montage::RegisterOptions MontageSettings::registerOptions() const {
  montage::RegisterOptions options = montage::registerOptions(preset());
  options.features.megapixels = registrationMp;
  options.keepMatches = keepMatches;
  if (!pairs.empty()) {
    options.pairing = parsePairs(pairs, constituentCount());
  }
  return options;
}

montage::PlanOptions MontageSettings::planOptions() const {
  montage::PlanOptions options = montage::planOptions(preset());
  options.seams = seams == "none" ? montage::Seams::none : montage::Seams::graphCut;
  options.blending = noBlend ? montage::Blending::none : options.blending;
  options.seamMegapixels = seamMp;
  options.composeMegapixels = composeMp;
  options.crop = valueOf(kCrops, crop);
  options.background = valueOf(kBackgrounds, background);
  options.straighten = straighten.empty() ? options.straighten : valueOf(kStraightens, straighten);
  options.maxMegapixels = maxSizeMp;
  return options;
}

montage::TiffOptions MontageSettings::tiffOptions() const {
  montage::TiffOptions options;
  options.compression =
      compression.empty() ? options.compression : valueOf(kCompressions, compression);
  options.quality = quality.value_or(kJpegQuality);
  options.pyramid = pyramid;
  options.bigTiff = bigTiff;
  return options;
}

std::vector<Reduction> MontageSettings::reductions() const {
  constexpr double kNone = -1.0;
  return {{"--registration-mp", registration.empty() ? registrationMp : kNone},
          {"--seam-mp", seams == "none" ? kNone : seamMp},
          {"--compose-mp", composeMp}};
}

bool MontageSettings::lossy() const {
  return isJpegName(output) || compression == "jpeg";
}

std::vector<std::string> MontageSettings::imagesOfSlab(int slab) const {
  const auto first = images.begin() + std::ptrdiff_t{slab} * constituentCount();
  return {first, first + constituentCount()};
}

void requireWholeSlabs(const MontageSettings& settings) {
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
}

namespace {

void requirePossibleTiles(const MontageSettings& settings) {
  if (settings.wantsTiles() && !isTiffName(settings.output)) {
    throw HostError(ExitCode::Usage,
                    "--tiles, --compression, --pyramid and --bigtiff are for a TIFF, and " +
                        inQuotes(settings.output) +
                        " is none; a name that ends in .tif or .tiff is expected");
  }
  if (settings.compression == "jpeg" && settings.background == "transparent") {
    throw HostError(ExitCode::Usage,
                    "--compression jpeg cannot be transparent; choose deflate or none, or another "
                    "--background");
  }
}

}  // namespace

void requirePossiblePairs(const MontageSettings& settings) {
  static_cast<void>(settings.registerOptions());
}

void requirePossibleOutputs(const MontageSettings& settings) {
  requireImageFormat(settings.output);
  if (!settings.overlay.empty()) {
    requireImageFormat(settings.overlay);
  }
  if (settings.background == "transparent" && isJpegName(settings.output)) {
    throw HostError(ExitCode::Usage,
                    "--background transparent: a JPEG such as " + inQuotes(settings.output) +
                        " cannot be transparent; a name that ends in .png, .tif or .tiff is "
                        "expected");
  }
  requirePossibleTiles(settings);
  if (settings.window && !settings.overlay.empty()) {
    throw HostError(ExitCode::Usage, "--overlay shows the whole montage, not a --window of it");
  }
  const bool hasQuality =
      isJpegName(settings.output) || isJpegName(settings.overlay) || settings.compression == "jpeg";
  if (settings.quality && !hasQuality) {
    throw HostError(ExitCode::Usage,
                    "--quality is that of a JPEG, and " + inQuotes(settings.output) + " is none");
  }
}

}  // namespace orv2d
