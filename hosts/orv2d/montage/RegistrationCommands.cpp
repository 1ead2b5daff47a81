// SPDX-License-Identifier: MIT
#include "montage/RegistrationCommands.h"

#include "Console.h"
#include "OutputFiles.h"
#include "StageLine.h"
#include "montage/Notes.h"
#include "montage/PairsArgument.h"
#include "montage/RegistrationFiles.h"
#include "montage/RegistrationTable.h"

#include <iostream>
#include <montage/Registration.h>

namespace orv2d {
namespace {

montage::Registration registerFiles(const MontageSettings& settings) {
  const Progress progress(settings.quiet);
  progress.say("registering " + counted(settings.images.size(), "image") + " (" +
               settings.pipeline + " pipeline)");
  ImageFiles images(settings.images, settings.grey);
  images.reduceBy({{"--registration-mp", settings.registrationMp}});
  StageLine line(settings.quiet);
  return montage::registerImages(images, settings.registerOptions(), line.watch());
}

void printTables(const montage::Registration& registration) {
  printImages(registration, std::cout);
  std::cout << "\n";
  printPairs(registration, std::cout);
  if (registration.status != montage::RegistrationStatus::notConnected) {
    std::cout << "\n";
    printGroups(registration, std::cout);
  }
  if (registration.status == montage::RegistrationStatus::ok) {
    std::cout << "\n";
    printFigures(registration, std::cout);
  }
  std::cout << std::flush;
}

Json toJson(const montage::Registration& registration) {
  Json images = Json::array();
  for (int i = 0; i < static_cast<int>(registration.images.size()); ++i) {
    images.push_back(imageJson(registration, i));
  }
  const bool connected = registration.status == montage::RegistrationStatus::ok;
  return {{"library", registration.version},
          {"connected", connected},
          {"message", sentenceOf(registration.status)},
          {"scale", registration.scale},
          {"options", Json::parse(montage::toString(registration.options))},
          {"images", images},
          {"pairs", pairsJson(registration)},
          {"groups", groupsJson(registration)},
          {"quality", connected ? figuresJson(registration) : Json()}};
}

}  // namespace

ExitCode registerCommand(const MontageSettings& settings) {
  requireWholeSlabs(settings);
  requirePossiblePairs(settings);
  OutputFiles outputs;
  std::vector<std::filesystem::path> inputs(settings.images.begin(), settings.images.end());
  if (namesPairsFile(settings.pairs)) {
    inputs.emplace_back(settings.pairs);
  }
  outputs.plan(settings.output, inputs);
  MontageOutcome outcome;
  outcome.registration = registerFiles(settings);
  const montage::Registration& registration = *outcome.registration;
  Progress(settings.quiet).say("writing " + settings.output);
  writeRegistration(registration, settings.output, outputs);
  outputs.commit();
  if (!settings.quiet) {
    printTables(registration);
    for (const std::string& note : leftOutNotes(outcome)) {
      printMessage(note);
    }
  }
  if (const std::string note = looseNote(registration); !note.empty()) {
    printMessage(note);
  }
  requireConnected(registration, settings.pipeline);
  return ExitCode::Success;
}

ExitCode inspectCommand(const MontageSettings& settings) {
  const montage::Registration registration = readRegistration(settings.registration);
  if (settings.json) {
    constexpr int kIndent = 2;
    std::cout << toJson(registration).dump(kIndent, ' ', false, Json::error_handler_t::replace)
              << "\n"
              << std::flush;
    return ExitCode::Success;
  }
  std::cout << (registration.status == montage::RegistrationStatus::ok
                    ? counted(registration.used.size(), "image") + " of " +
                          std::to_string(registration.images.size()) + " connect"
                    : sentenceOf(registration.status))
            << "; made by version " << escaped(registration.version) << " at scale "
            << fixed(registration.scale, 4) << "\n\n";
  printTables(registration);
  return ExitCode::Success;
}

}  // namespace orv2d
