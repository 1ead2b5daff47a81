// SPDX-License-Identifier: MIT
#include "SmallFile.h"

#include "ExitCode.h"
#include "ImageIo.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace orv2d {
namespace {

[[noreturn]] void refuse(const std::filesystem::path& path, const std::string& reason) {
  throw HostError(ExitCode::UnreadableInput, "cannot use " + inQuotes(path) + ": " + reason);
}

}  // namespace

std::string readSmallFile(const std::filesystem::path& path, std::uintmax_t mostBytes) {
  requireExistingFile(path);
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (!error && size > mostBytes) {
    refuse(path,
           "it has " + std::to_string(size) + " bytes, at most " + std::to_string(mostBytes) +
               " are expected");
  }
  std::ifstream stream(path, std::ios::binary);
  if (error || !stream) {
    refuse(path, "it cannot be opened: " + std::generic_category().message(errno));
  }
  std::string bytes(static_cast<std::size_t>(size), '\0');
  if (!stream.read(bytes.data(), static_cast<std::streamsize>(size))) {
    refuse(path, "it cannot be read");
  }
  return bytes;
}

}  // namespace orv2d
