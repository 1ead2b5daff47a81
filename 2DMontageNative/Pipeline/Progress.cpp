// SPDX-License-Identifier: MIT
#include "montage/Progress.h"

namespace montage {

const char* nameOf(Stage stage) {
  switch (stage) {
    case Stage::describe:
      return "describe";
    case Stage::select:
      return "select";
    case Stage::match:
      return "match";
    case Stage::adjust:
      return "adjust";
    case Stage::warp:
      return "warp";
    case Stage::gains:
      return "gains";
    case Stage::seams:
      return "seams";
    case Stage::compose:
      return "compose";
  }
  return "";
}

}  // namespace montage
