// SPDX-License-Identifier: MIT
#include "OutputFiles.h"

#include "DiskFlush.h"
#include "ExitCode.h"
#include "ImageIo.h"
#include "Paths.h"

#include <algorithm>
#include <iterator>
#include <set>
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

bool sameFile(const fs::path& a, const fs::path& b) {
  std::error_code error;
  return resolved(a) == resolved(b) || fs::equivalent(a, b, error);
}

/// The file keeps who may read and write the one that it replaces.
void takePermissions(const fs::path& file, const fs::path& replaced) {
  std::error_code error;
  const fs::file_status status = fs::status(replaced, error);
  if (fs::exists(status)) {
    fs::permissions(file, status.permissions() & fs::perms::all, error);
  }
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

}  // namespace

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
  std::error_code ignored;
  const fs::file_status folder = fs::status(folderOf(target), ignored);
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
  if (!fs::exists(existing) && existing.type() != fs::file_type::not_found) {
    unwritable(target, error.message());  // links in a circle, a name that is too long
  }
  if (!fs::exists(existing) && fs::is_symlink(fs::symlink_status(target, ignored))) {
    unwritable(target, "it is a symbolic link to a file that does not exist");
  }
  if (const ScratchFolder probe(resolved(target)); probe.error()) {
    unwritable(target, "no file can be created in its folder: " + probe.error().message());
  }
  planned_.push_back(target);
}

void OutputFiles::write(const fs::path& target, const Writer& writer) {
  Staged& staged = staged_.emplace_back(target, resolved(target));
  if (staged.scratch.error()) {
    unwritable(target, "no file can be created in its folder: " + staged.scratch.error().message());
  }
  writer(target, staged.scratch.file());
}

void OutputFiles::commit() {
  std::set<fs::path> folders;
  for (const Staged& staged : staged_) {
    if (const std::error_code error = flushToDisk(staged.scratch.file())) {
      unwritable(staged.name, error.message());
    }
    takePermissions(staged.scratch.file(), staged.target);
    folders.insert(folderOf(staged.target));
  }
  renameAll();
  staged_.clear();
  std::for_each(folders.begin(), folders.end(), flushToDisk);
}

void OutputFiles::renameAll() {
  const ScratchLock noSignal = lockScratchFolders();
  std::vector<std::string> renamed;
  for (auto staged = staged_.begin(); staged != staged_.end(); ++staged) {
    std::error_code error;
    fs::rename(staged->scratch.file(), staged->target, error);
    if (error) {
      std::vector<std::string> others;
      for (auto other = std::next(staged); other != staged_.end(); ++other) {
        others.push_back(inQuotes(other->name));
      }
      unwritable(staged->name,
                 error.message() +
                     (renamed.empty() ? "" : "; new and complete: " + joined(renamed)) +
                     (others.empty() ? "" : "; not written either: " + joined(others)));
    }
    renamed.push_back(inQuotes(staged->name));
  }
}

}  // namespace orv2d
