// SPDX-License-Identifier: MIT
#include "montage/Planning.h"

#include "ExitCode.h"
#include "ImageIo.h"
#include "StageLine.h"

#include <fstream>
#include <stdexcept>

namespace orv2d {

montage::MontagePlan makePlan(const montage::Registration& registration,
                              const montage::ImageSource& images,
                              const MontageSettings& settings) {
  try {
    StageLine line(settings.quiet);
    return montage::planMontage(registration, images, settings.planOptions(), line.watch());
  } catch (const std::invalid_argument& error) {  // of images that are not those registered
    throw HostError(ExitCode::UnreadableInput, std::string("cannot use the ") + error.what());
  }
}

bool isPlanFile(const std::string& file) {
  const std::string kBegin = "MONTAGE ";
  std::string begin(kBegin.size(), ' ');
  std::ifstream stream(file, std::ios::binary);
  return stream.read(begin.data(), static_cast<std::streamsize>(begin.size())) && begin == kBegin;
}

montage::MontagePlan readPlan(const std::string& file) {
  requireExistingFile(file);
  try {
    return montage::loadPlan(file);
  } catch (const montage::FileError& error) {
    throw HostError(ExitCode::UnreadableInput, std::string("cannot use ") + error.what());
  }
}

void writePlan(const montage::MontagePlan& plan, const std::string& name, OutputFiles& outputs) {
  outputs.write(name, [&](const std::filesystem::path& target, const std::filesystem::path& file) {
    try {
      montage::save(plan, file);
    } catch (const montage::FileError& error) {
      throw HostError(ExitCode::OutputNotWritable,
                      "cannot write " + inQuotes(target) + ": " + error.reason());
    }
  });
}

}  // namespace orv2d
