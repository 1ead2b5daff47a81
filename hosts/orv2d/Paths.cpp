// SPDX-License-Identifier: MIT
#include "Paths.h"

namespace fs = std::filesystem;

namespace orv2d {

fs::path resolved(const fs::path& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  const fs::path canonical = fs::weakly_canonical(absolute, error);
  return error ? absolute.lexically_normal() : canonical;
}

bool isBelow(const fs::path& path, const fs::path& folder) {
  const fs::path relative =
      resolved(path).lexically_relative(resolved(folder.empty() ? "." : folder));
  return !relative.empty() && *relative.begin() != "..";
}

}  // namespace orv2d
