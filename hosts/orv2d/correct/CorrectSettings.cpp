// SPDX-License-Identifier: MIT
#include "correct/CorrectSettings.h"

#include "ExitCode.h"
#include "correct/ContentMask.h"
#include "correct/LensFile.h"

#include <cmath>
#include <sstream>

namespace orv2d {
namespace {

[[noreturn]] void misuse(const std::string& message) {
  throw HostError(ExitCode::Usage, message);
}

/// "Modes square, rect": the heading of a group of options.
std::string groupOf(const LensParameter& parameter) {
  std::string names;
  for (const std::string& name : modeNames()) {
    if (parameter.takenBy(modeOf(name))) {
      names += (names.empty() ? "" : ", ") + name;
    }
  }
  return "Parameters of mode " + names;
}

std::string helpOf(const LensParameter& parameter) {
  std::ostringstream text;
  text << parameter.help;
  if (parameter.kind == ValueKind::kRadians) {
    text << "; radians, or degrees with the suffix deg";
  } else if (parameter.kind == ValueKind::kDegrees) {
    text << "; degrees";
  }
  if (parameter.defaultKind == DefaultKind::kRequired) {
    text << " (required)";
  } else if (parameter.defaultKind == DefaultKind::kValue) {
    text << " (default " << parameter.fallback << ")";
  }
  return text.str();
}

void addParameters(CLI::App& command, CorrectSettings& settings) {
  for (const LensParameter& parameter : lensParameters()) {
    const auto check = [&parameter](const std::string& text) {
      double value = 0.0;
      return parseValue(parameter, text, value);
    };
    const std::string name(parameter.name);
    command.add_option("--" + name, settings.given[name], helpOf(parameter))
        ->check(CLI::Validator(check, ""))
        ->type_name(parameter.kind == ValueKind::kInteger ? "INT" : "NUMBER")
        ->group(groupOf(parameter));
  }
}

void addFiles(CLI::App& command, CorrectSettings& settings) {
  command.add_option("IMAGE", settings.images, "8-bit wide-angle images, grey or colour")
      ->type_name("FILE")
      ->required();
  command
      .add_option("-o,--output",
                  settings.output,
                  "Result to write (.png, .tif or .jpg), or an existing folder for one file per "
                  "image under its own name")
      ->type_name("FILE")
      ->required();
  command
      .add_option("--format",
                  settings.format,
                  "Format of the files in a folder; default: the "
                  "input's, or png")
      ->check(CLI::IsMember({"png", "tif", "jpg"}));
  command
      .add_option("--lens",
                  settings.lensFile,
                  "JSON file with mode and parameters; options given here win over it")
      ->type_name("FILE");
  command
      .add_option("--circle",
                  settings.circle,
                  "Content is what lies in this circle, the rest is made black first. CX,CY,R: "
                  "centre and radius in pixels. auto: the circle of a fisheye lens, found from the "
                  "picture, and of it what the frame can show (square, range, fov)")
      ->check(CLI::Validator(
          [](const std::string& text) {
            CircleChoice choice;
            return parseCircle(text, choice);
          },
          ""))
      ->type_name("CX,CY,R|auto");
  command
      .add_option("--mask",
                  settings.mask,
                  "Content is what is white in this grey picture of the images' size, the rest is "
                  "made black first")
      ->type_name("FILE");
  command.add_option("--report", settings.report, "Also write a report of the run, JSON")
      ->type_name("FILE");
  command
      .add_option("--maps",
                  settings.maps,
                  "Also write the sampling maps of one image (square, range, fov) as a NumPy "
                  "file: float32, 2 x N x N, source columns then source rows")
      ->type_name("FILE");
  command
      .add_option("--preview",
                  settings.preview,
                  "Also write the result of one image with a grid of the source drawn over it")
      ->type_name("FILE");
}

/// The values of the options; one that the mode does not take is refused.
LensValues optionValues(const CorrectSettings& settings, CorrectMode mode) {
  LensValues values;
  for (const auto& [name, text] : settings.given) {
    if (text.empty()) {
      continue;
    }
    const LensParameter& parameter = *findParameter(name);
    if (!parameter.takenBy(mode)) {
      misuse("--" + name + " is not a parameter of mode " + modeName(mode));
    }
    parseValue(parameter, text, values[name]);
  }
  return values;
}

/// Whether --output-size and --plane-half-extent are used.
bool hasGrid(const CorrectSettings& settings, CorrectMode mode) {
  return mode == CorrectMode::kRect || settings.sharedMaps || !settings.maps.empty();
}

void checkCombination(const CorrectSettings& settings, CorrectMode mode, const LensValues& given) {
  if (settings.sharedMaps && mode != CorrectMode::kSquare) {
    misuse("--shared-maps belongs to mode square, not to mode " + modeName(mode));
  }
  if (!settings.maps.empty() && !isStereographic(mode)) {
    misuse("--maps belongs to the modes square, range and fov, not to mode " + modeName(mode));
  }
  if (settings.images.size() > 1 && !(settings.maps.empty() && settings.preview.empty())) {
    misuse("--maps and --preview take a single image");
  }
  if (!hasGrid(settings, mode) &&
      given.count("output-size") + given.count("plane-half-extent") > 0) {
    misuse(
        "--output-size and --plane-half-extent belong to mode rect, --shared-maps and --maps; "
        "the plain square correction always takes 9200 x 9200 samples from -1 to 1");
  }
}

/// The range must stay clear of the point opposite the view, which has no place on the plane.
void checkRange(const LensValues& values) {
  constexpr double kDegreesPerRadian = 57.29577951308232;
  constexpr double kOppositeDeg = 180.0;
  for (const char* angle : {"yaw", "pitch"}) {
    const double viewDeg = values.at(angle) * kDegreesPerRadian;
    const double low = values.at("min-angle-deg") - viewDeg - values.at("margin-deg");
    const double high = values.at("max-angle-deg") - viewDeg + values.at("margin-deg");
    if (!(low < high) || low <= -kOppositeDeg || high >= kOppositeDeg) {
      std::ostringstream message;
      message << "the range with its margin, seen from " << angle << " " << viewDeg
              << " degrees, runs from " << low << " to " << high
              << " degrees; it must grow and stay between -180 and 180";
      misuse(message.str());
    }
  }
}

}  // namespace

CLI::App* addCorrectCommand(CLI::App& app, CorrectSettings& settings) {
  CLI::App& command = *app.add_subcommand("correct", "Correct wide-angle distortion");
  addFiles(command, settings);
  command
      .add_option("--mode",
                  settings.mode,
                  "square: the whole half sphere. range: an angular range. fov: framed by a cone. "
                  "rect: perspective-like sibling of square. pinhole: radial and tangential lens "
                  "distortion. view: turn the view, keep the size")
      ->check(CLI::IsMember(modeNames()));
  command.add_flag("--shared-maps",
                   settings.sharedMaps,
                   "Mode square: compute the maps once for all images, at --output-size; sources "
                   "are smoothed (3 x 3) and sampled with the library's own cubic sampler");
  command.add_flag("--quiet", settings.quiet, "No progress and no table; errors only");
  addParameters(command, settings);
  return &command;
}

CorrectionPlan planCorrection(const CorrectSettings& settings) {
  Lens lens;
  if (!settings.lensFile.empty()) {
    lens = readLens(settings.lensFile);
  }
  if (!settings.mode.empty()) {
    lens.mode = modeOf(settings.mode);
  }
  if (!lens.mode) {
    misuse(
        "no mode: give --mode square, range, fov, rect, pinhole or view, or a lens file with "
        "\"mode\"");
  }
  const LensValues options = optionValues(settings, *lens.mode);
  checkCombination(settings, *lens.mode, options);
  LensValues values = options;
  values.insert(lens.values.begin(), lens.values.end());
  CorrectionPlan plan{*lens.mode,
                      withDefaults(*lens.mode, values),
                      settings.sharedMaps,
                      settings.circle.empty() ? lens.circle : settings.circle};
  if (!hasGrid(settings, plan.mode)) {
    plan.values.erase("output-size");
    plan.values.erase("plane-half-extent");
  }
  if (plan.mode == CorrectMode::kRange) {
    checkRange(plan.values);
  }
  return plan;
}

}  // namespace orv2d
