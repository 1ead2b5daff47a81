// SPDX-License-Identifier: MIT
#include "correct/LensParameters.h"

#include "Checks.h"
#include "ExitCode.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace orv2d {
namespace {

constexpr unsigned bit(CorrectMode mode) {
  return 1U << static_cast<unsigned>(mode);
}

constexpr unsigned kSquare = bit(CorrectMode::kSquare);
constexpr unsigned kRange = bit(CorrectMode::kRange);
constexpr unsigned kFov = bit(CorrectMode::kFov);
constexpr unsigned kRect = bit(CorrectMode::kRect);
constexpr unsigned kPinhole = bit(CorrectMode::kPinhole);
constexpr unsigned kView = bit(CorrectMode::kView);
constexpr unsigned kWideAngle = kSquare | kRange | kFov | kRect;

constexpr double kTurn = 6.283185307179586;  // radians
constexpr double kRadiansPerDegree = kTurn / 360.0;
constexpr double kSmallest = 1e-9;  // of what must be positive
constexpr double kMaxCoefficient = 1e6;
constexpr double kMaxSide = 32766;  // OpenCV's remapping takes no larger side
constexpr double kSquareSize = 9200;

constexpr auto kNumber = ValueKind::kNumber;
constexpr auto kInteger = ValueKind::kInteger;
constexpr auto kDegrees = ValueKind::kDegrees;
constexpr auto kRadians = ValueKind::kRadians;
constexpr auto kValue = DefaultKind::kValue;
constexpr auto kRequired = DefaultKind::kRequired;
constexpr auto kFromImage = DefaultKind::kFromImage;

std::vector<LensParameter> makeParameters() {
  const double c = kMaxCoefficient;
  return {
      {"half-field-angle",
       kWideAngle,
       kRadians,
       kRequired,
       0,
       0.001,
       3.14,
       "Polar angle of the ray that meets the source border on its axes (linear 1, cubic 0)"},
      {"linear", kWideAngle, kNumber, kValue, 1, -c, c, "Constant term of the lens model"},
      {"cubic",
       kWideAngle,
       kNumber,
       kValue,
       0,
       -c,
       c,
       "Coefficient of the squared radius in the lens model"},
      {"yaw", kWideAngle, kRadians, kValue, 0, -kTurn, kTurn, "Rotation about the vertical axis"},
      {"pitch",
       kWideAngle,
       kRadians,
       kValue,
       0,
       -kTurn,
       kTurn,
       "Rotation about the horizontal axis"},
      {"roll", kWideAngle, kRadians, kValue, 0, -kTurn, kTurn, "Rotation about the optical axis"},
      {"min-angle-deg", kRange, kDegrees, kValue, -90, -180, 180, "Lower end of the range"},
      {"max-angle-deg", kRange, kDegrees, kValue, 90, -180, 180, "Upper end of the range"},
      {"margin-deg",
       kRange,
       kInteger,
       kValue,
       0,
       -180,
       180,
       "Whole degrees added on both sides of the range"},
      {"cone-angle-deg",
       kFov,
       kDegrees,
       kRequired,
       0,
       0.1,
       180,
       "Polar angle of the framed cone around the lens axis"},
      {"margin-percent",
       kFov,
       kInteger,
       kValue,
       0,
       -99,
       1000,
       "Enlargement of the cone, whole percent"},
      {"pixels-per-unit",
       kRange | kFov,
       kNumber,
       kFromImage,
       0,
       kSmallest,
       c,
       "Output pixels per unit of plane coordinate; default: the source's resolution at its "
       "centre"},
      {"output-size",
       kWideAngle,
       kInteger,
       kValue,
       kSquareSize,
       2,
       kMaxSide,
       "Samples per side of mode rect, --shared-maps and --maps"},
      {"plane-half-extent",
       kWideAngle,
       kNumber,
       kValue,
       1,
       kSmallest,
       1000,
       "Half the side of the sampled plane of mode rect, --shared-maps and --maps"},
      {"focal-x", kPinhole, kNumber, kRequired, 0, kSmallest, 1e9, "Focal length in x, pixels"},
      {"focal-y", kPinhole, kNumber, kRequired, 0, kSmallest, 1e9, "Focal length in y, pixels"},
      {"centre-x",
       kPinhole,
       kNumber,
       kFromImage,
       0,
       -c,
       c,
       "Principal point and rotation centre, x in pixels; default: the image's centre"},
      {"centre-y",
       kPinhole,
       kNumber,
       kFromImage,
       0,
       -c,
       c,
       "Principal point and rotation centre, y in pixels; default: the image's centre"},
      {"k1", kPinhole, kNumber, kValue, 0, -c, c, "First radial distortion coefficient"},
      {"k2", kPinhole, kNumber, kValue, 0, -c, c, "Second radial distortion coefficient"},
      {"k3", kPinhole, kNumber, kValue, 0, -c, c, "Third radial distortion coefficient"},
      {"p1", kPinhole, kNumber, kValue, 0, -c, c, "First tangential distortion coefficient"},
      {"p2", kPinhole, kNumber, kValue, 0, -c, c, "Second tangential distortion coefficient"},
      {"scale", kPinhole, kNumber, kValue, 1, kSmallest, 1000, "Scale factor of the rotation"},
      {"angle-deg", kPinhole, kDegrees, kValue, 0, -360, 360, "Rotation, counter-clockwise"},
      {"view-x-deg", kView, kDegrees, kValue, 0, -180, 180, "Horizontal view angle"},
      {"view-y-deg", kView, kDegrees, kValue, 0, -180, 180, "Vertical view angle"},
      {"fov-x-deg", kView, kDegrees, kRequired, 0, 0.1, 180, "Horizontal field of view"},
      {"fov-y-deg", kView, kDegrees, kRequired, 0, 0.1, 180, "Vertical field of view"},
      {"angle-scale", kView, kNumber, kValue, 1, -100, 100, "Factor on both view angles"},
      {"radial", kView, kNumber, kValue, 0, -c, c, "Radial coefficient per squared radian"},
  };
}

bool removeSuffix(std::string& text, std::string_view suffix) {
  const bool ends = text.size() > suffix.size() &&
                    text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
  if (ends) {
    text.resize(text.size() - suffix.size());
  }
  return ends;
}

std::string expectation(const LensParameter& parameter) {
  std::ostringstream text;
  text << (parameter.kind == kInteger ? "a whole number" : "a number") << " from " << parameter.low
       << " to " << parameter.high;
  if (parameter.kind == kRadians) {
    text << " radians (or degrees with the suffix deg)";
  } else if (parameter.kind == kDegrees) {
    text << " degrees";
  }
  return text.str() + " is expected";
}

}  // namespace

const std::vector<std::string>& modeNames() {
  static const std::vector<std::string> kNames = {
      "square", "range", "fov", "rect", "pinhole", "view"};
  return kNames;
}

bool isStereographic(CorrectMode mode) {
  return mode == CorrectMode::kSquare || mode == CorrectMode::kRange || mode == CorrectMode::kFov;
}

std::string modeName(CorrectMode mode) {
  return modeNames().at(static_cast<std::size_t>(mode));
}

CorrectMode modeOf(const std::string& name) {
  const auto& names = modeNames();
  return static_cast<CorrectMode>(std::find(names.begin(), names.end(), name) - names.begin());
}

const std::vector<LensParameter>& lensParameters() {
  static const std::vector<LensParameter> kParameters = makeParameters();
  return kParameters;
}

const LensParameter* findParameter(std::string_view name) {
  const auto& all = lensParameters();
  const auto found = std::find_if(all.begin(), all.end(), [&](const LensParameter& parameter) {
    return parameter.name == name;
  });
  return found == all.end() ? nullptr : &*found;
}

std::string parseValue(const LensParameter& parameter, const std::string& text, double& value) {
  std::string digits = text;
  const bool isAngle = parameter.kind == kRadians || parameter.kind == kDegrees;
  const bool inDegrees = isAngle && removeSuffix(digits, "deg");
  const std::optional<double> number = parseNumber(digits);
  std::string error = "'" + text + "' is not possible; " + expectation(parameter);
  if (!number || (parameter.kind == kInteger && *number != std::trunc(*number))) {
    return error;
  }
  const bool convert = inDegrees && parameter.kind == kRadians;
  const double converted = convert ? *number * kRadiansPerDegree : *number;
  if (converted < parameter.low || converted > parameter.high) {
    return error;
  }
  value = converted;
  return {};
}

LensValues withDefaults(CorrectMode mode, const LensValues& given) {
  LensValues values;
  std::string missing;
  for (const LensParameter& parameter : lensParameters()) {
    if (!parameter.takenBy(mode)) {
      continue;
    }
    const std::string name(parameter.name);
    const auto found = given.find(name);
    if (found != given.end()) {
      values[name] = found->second;
    } else if (parameter.defaultKind == kValue) {
      values[name] = parameter.fallback;
    } else if (parameter.defaultKind == kRequired) {
      missing += (missing.empty() ? "--" : ", --") + name;
    }
  }
  if (!missing.empty()) {
    throw HostError(
        ExitCode::Usage,
        "mode " + modeName(mode) + " needs " + missing + " as options or in the lens file");
  }
  return values;
}

LensValues withImageDefaults(CorrectMode mode, LensValues values, const cv::Size& imageSize) {
  if (mode == CorrectMode::kRange || mode == CorrectMode::kFov) {
    const double sourceWidthsPerUnit =
        std::abs(values.at("linear")) / std::sin(values.at("half-field-angle"));
    values.emplace("pixels-per-unit", sourceWidthsPerUnit * imageSize.width);
  } else if (mode == CorrectMode::kPinhole) {
    values.emplace("centre-x", (imageSize.width - 1) / 2.0);
    values.emplace("centre-y", (imageSize.height - 1) / 2.0);
  }
  return values;
}

}  // namespace orv2d
