// SPDX-License-Identifier: MIT
#include "montage/RegistrationFiles.h"

#include "ExitCode.h"
#include "ImageIo.h"

namespace orv2d {

montage::Registration readRegistration(const std::string& file) {
  requireExistingFile(file);
  try {
    return montage::loadRegistration(file);
  } catch (const montage::FileError& error) {
    throw HostError(ExitCode::UnreadableInput, std::string("cannot use ") + error.what());
  }
}

void writeRegistration(const montage::Registration& registration,
                       const std::string& name,
                       OutputFiles& outputs) {
  outputs.write(name, [&](const std::filesystem::path& target, const std::filesystem::path& file) {
    try {
      montage::save(registration, file);
    } catch (const montage::FileError& error) {
      throw HostError(ExitCode::OutputNotWritable,
                      "cannot write " + inQuotes(target) + ": " + error.reason());
    }
  });
}

}  // namespace orv2d
