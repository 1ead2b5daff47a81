// SPDX-License-Identifier: MIT
/// @file
/// The parameters of the distortion corrections: one table gives the options, the keys of the lens
/// file, the limits, the defaults and the help.
#ifndef ORV2D_LENS_PARAMETERS_H
#define ORV2D_LENS_PARAMETERS_H

#include <opencv2/core.hpp>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orv2d {

enum class CorrectMode { kSquare, kRange, kFov, kRect, kPinhole, kView };

/// Whether the mode renders a frame of the stereographic plane: square, range and fov.
bool isStereographic(CorrectMode mode);

/// The name of a mode on the command line.
std::string modeName(CorrectMode mode);

/// All names, in the order of the enumeration.
const std::vector<std::string>& modeNames();

/// The mode of a name of `modeNames`.
CorrectMode modeOf(const std::string& name);

enum class ValueKind {
  kNumber,
  kInteger,
  kDegrees,  ///< the interface takes degrees; the suffix "deg" may be written
  kRadians,  ///< the interface takes radians; a number with the suffix "deg" is converted
};

enum class DefaultKind {
  kValue,      ///< `fallback`
  kRequired,   ///< no default
  kFromImage,  ///< computed from the image's size and the other values
};

struct LensParameter {
  std::string_view name;  ///< option without dashes, and key of the lens file
  unsigned modes;         ///< bit m set: mode m takes it
  ValueKind kind;
  DefaultKind defaultKind;
  double fallback;
  double low;  ///< limits, inclusive
  double high;
  std::string_view help;

  [[nodiscard]] bool takenBy(CorrectMode mode) const {
    return ((modes >> static_cast<unsigned>(mode)) & 1U) != 0;
  }
};

/// Every parameter, in the order of the help.
const std::vector<LensParameter>& lensParameters();

/// The parameter of that name; null if there is none.
const LensParameter* findParameter(std::string_view name);

/// Reads a value into `value` (radians for angles); the sentence of the error, empty on success.
std::string parseValue(const LensParameter& parameter, const std::string& text, double& value);

/// Values by parameter name.
using LensValues = std::map<std::string, double, std::less<>>;

/// `given` completed with the defaults of `mode` that need no image. Throws `HostError` (usage)
/// naming the parameters that are required and missing.
LensValues withDefaults(CorrectMode mode, const LensValues& given);

/// `values` completed with what follows from the image.
///
/// `pixels-per-unit` keeps the source's own resolution at its centre: a plane unit there covers
/// linear / sin(half-field-angle) source widths. The principal point is the image's centre.
LensValues withImageDefaults(CorrectMode mode, LensValues values, const cv::Size& imageSize);

}  // namespace orv2d

#endif  // ORV2D_LENS_PARAMETERS_H
