// SPDX-License-Identifier: MIT
#include "batch/ImagePatterns.h"

#include <algorithm>
#include <glob.h>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

/// The folder's own name has no wildcards.
std::string quoted(const std::string& text) {
  std::string pattern;
  for (const char c : text) {
    pattern += std::string("*?[\\").find(c) == std::string::npos ? "" : "\\";
    pattern += c;
  }
  return pattern;
}

}  // namespace

std::vector<std::string> matchingFiles(const fs::path& folder, const std::string& name) {
  const std::string plain = (folder / name).string();
  std::error_code ignored;
  if (name.find_first_of("*?[") == std::string::npos || fs::exists(plain, ignored)) {
    return {plain};
  }
  const std::string prefix = plain.substr(0, plain.size() - name.size());
  glob_t found = {};
  std::vector<std::string> files;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
  if (glob((quoted(prefix) + name).c_str(), 0, nullptr, &found) == 0) {
    files.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  }
  globfree(&found);
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace orv2d
