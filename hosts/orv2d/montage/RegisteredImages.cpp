// SPDX-License-Identifier: MIT
#include "montage/RegisteredImages.h"

#include "Console.h"
#include "ExitCode.h"
#include "ImageIo.h"
#include "Paths.h"

#include <filesystem>

namespace orv2d {
namespace {

/// A file from elsewhere must not reach what the user did not give.
void requireWithinReach(const std::string& image, const std::string& file) {
  const std::filesystem::path folder = std::filesystem::path(file).parent_path();
  if (!isBelow(image, folder) && !isBelow(image, {})) {
    throw HostError(ExitCode::UnreadableInput,
                    "cannot use " + inQuotes(file) + ": it names the image " + inQuotes(image) +
                        ", which lies neither in its folder nor in the current one; name the "
                        "images, or begin from another folder");
  }
}

}  // namespace

void requireAsManyAs(int count, const MontageSettings& settings) {
  if (settings.constituentCount() != count) {
    throw HostError(ExitCode::Usage,
                    counted(static_cast<std::size_t>(settings.constituentCount()), "image") +
                        (settings.slabs > 1 ? " per slab" : "") + " given, but " +
                        inQuotes(settings.registration) + " holds " + std::to_string(count));
  }
}

std::vector<ExpectedImage> takeNamedImages(const montage::Registration& registration,
                                           MontageSettings& settings) {
  std::vector<ExpectedImage> expected;
  if (!settings.images.empty()) {
    return expected;
  }
  for (const montage::RegisteredImage& image : registration.images) {
    requireWithinReach(image.name, settings.registration);
    settings.images.push_back(image.name);
    expected.push_back({image.size, image.hash});
  }
  for (const int used : registration.used) {
    requireExistingFile(settings.images[static_cast<std::size_t>(used)]);
  }
  return expected;
}

std::vector<ExpectedImage> takeNamedImages(const montage::MontagePlan& plan,
                                           MontageSettings& settings) {
  std::vector<ExpectedImage> expected(static_cast<std::size_t>(plan.sourceCount));
  const bool named = settings.images.empty();
  settings.planImages = named;
  if (named) {
    settings.images.resize(expected.size());
  }
  for (const montage::PlannedImage& image : plan.images) {
    const auto i = static_cast<std::size_t>(image.index);
    if (named) {
      requireWithinReach(image.name, settings.registration);
      settings.images[i] = image.name;
      if (!settings.window) {  // else only some are needed
        requireExistingFile(image.name);
      }
    }
    expected[i] = {image.sourceSize, named ? image.hash : 0};
  }
  return expected;
}

}  // namespace orv2d
