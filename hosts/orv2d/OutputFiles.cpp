// SPDX-License-Identifier: MIT
#include "OutputFiles.h"

#include "ExitCode.h"
#include "ImageIo.h"

#include <algorithm>
#include <cstdio>
#include <random>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

[[noreturn]] void unwritable(const fs::path& path, const std::string& reason) {
  throw HostError(ExitCode::OutputNotWritable, "cannot write " + inQuotes(path) + ": " + reason);
}

fs::path folderOf(const fs::path& target) {
  return target.has_parent_path() ? target.parent_path() : fs::path(".");
}

/// Follows symbolic links, so that the file behind a link is replaced and not the link.
fs::path resolved(const fs::path& path) {
  std::error_code error;
  const fs::path full = fs::weakly_canonical(fs::absolute(path, error), error);
  return error ? path : full;
}

bool sameFile(const fs::path& a, const fs::path& b) {
  std::error_code error;
  return resolved(a) == resolved(b) || fs::equivalent(a, b, error);
}

/// Creates an empty file with a name of its own beside `target`; empty path if that fails.
fs::path createBeside(const fs::path& target) {
  constexpr int kAttempts = 8;
  std::random_device random;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::ostringstream name;
    name << ".orv2d-" << std::hex << random() << random() << ".tmp";
    fs::path file = folderOf(target) / name.str();
    if (std::FILE* created = std::fopen(file.string().c_str(), "wbx")) {
      std::fclose(created);
      return file;
    }
  }
  return {};
}

/// Renames `file` to `target`; with `setAside` the file that stood there is kept as `earlier`
/// (empty if none did). On failure nothing has changed.
std::error_code replace(const fs::path& file,
                        const fs::path& target,
                        bool setAside,
                        fs::path& earlier) {
  std::error_code error;
  std::error_code ignored;
  if (setAside && fs::exists(target, ignored)) {
    earlier = createBeside(target);
    fs::rename(target, earlier, error);
    if (error) {
      fs::remove(earlier, ignored);
      return error;
    }
  }
  fs::rename(file, target, error);
  if (error && !earlier.empty()) {
    fs::rename(earlier, target, ignored);
  }
  return error;
}

}  // namespace

OutputFiles::~OutputFiles() {
  discard();
}

void OutputFiles::discard() {
  std::error_code ignored;
  for (const Staged& staged : staged_) {
    fs::remove(staged.file, ignored);
  }
  staged_.clear();
}

void OutputFiles::plan(const fs::path& target, const std::vector<fs::path>& inputs) {
  const auto isTarget = [&](const fs::path& other) { return sameFile(other, target); };
  if (std::any_of(inputs.begin(), inputs.end(), isTarget)) {
    throw HostError(ExitCode::Usage,
                    "output " + inQuotes(target) + " is also an input; choose another name");
  }
  if (std::any_of(planned_.begin(), planned_.end(), isTarget)) {
    throw HostError(ExitCode::Usage,
                    "two outputs would have the name " + inQuotes(target) + "; choose other names");
  }
  std::error_code error;
  const fs::file_status folder = fs::status(folderOf(target), error);
  if (!fs::is_directory(folder)) {
    unwritable(target,
               fs::exists(folder) ? "its folder is a file"
                                  : "its folder does not exist; create the folder first");
  }
  const fs::file_status existing = fs::status(target, error);
  if (fs::is_directory(existing)) {
    unwritable(target, "it is a folder, a file name is expected");
  }
  if (fs::exists(existing) && !fs::is_regular_file(existing)) {
    unwritable(target, "it is not a regular file");
  }
  const fs::path probe = createBeside(resolved(target));
  if (probe.empty()) {
    unwritable(target, "no file can be created in its folder; check the permissions");
  }
  fs::remove(probe, error);
  planned_.push_back(target);
}

void OutputFiles::write(const fs::path& target, const Writer& writer) {
  const fs::path full = resolved(target);
  const fs::path file = createBeside(full);
  if (file.empty()) {
    unwritable(target, "no file can be created in its folder");
  }
  staged_.push_back({full, file});
  writer(target, file);
}

void OutputFiles::commit() {
  struct Replaced {
    fs::path target;
    fs::path earlier;
  };
  // A single file is replaced in one step; of several, the earlier ones must be restorable.
  const bool setAside = staged_.size() > 1;
  std::vector<Replaced> done;
  std::error_code ignored;
  for (const Staged& staged : staged_) {
    fs::path earlier;
    const std::error_code error = replace(staged.file, staged.target, setAside, earlier);
    if (error) {
      for (const Replaced& replaced : done) {
        fs::remove(replaced.target, ignored);
        if (!replaced.earlier.empty()) {
          fs::rename(replaced.earlier, replaced.target, ignored);
        }
      }
      unwritable(staged.target, error.message());
    }
    done.push_back({staged.target, earlier});
  }
  for (const Replaced& replaced : done) {
    fs::remove(replaced.earlier, ignored);
  }
  staged_.clear();
}

}  // namespace orv2d
