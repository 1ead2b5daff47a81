// SPDX-License-Identifier: MIT
/// @file
/// Lens files: the parameters of a lens, described once.
#ifndef ORV2D_LENS_FILE_H
#define ORV2D_LENS_FILE_H

#include "correct/LensParameters.h"

#include <optional>
#include <string>

namespace orv2d {

struct Lens {
  std::optional<CorrectMode> mode;
  LensValues values;
  std::string circle;  ///< as of --circle; empty: none
};

/// Reads a JSON object whose keys are parameter names; values are numbers, or strings for angles
/// with the suffix "deg". "mode" names the mode, "circle" the content as --circle does; "name" and
/// "comment" are for people. Parameters of other modes than the one in use are allowed, so that one
/// file serves several.
///
/// Throws `HostError` (unreadable input) naming the file and the key.
Lens readLens(const std::string& path);

}  // namespace orv2d

#endif  // ORV2D_LENS_FILE_H
