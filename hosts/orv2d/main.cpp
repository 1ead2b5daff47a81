// SPDX-License-Identifier: MIT
/// @file
/// orv2d: image montage and wide-angle correction from the command line.
#include "CommandLine.h"
#include "Console.h"
#include "ExitCode.h"
#include "Failure.h"
#include "HelpFormat.h"
#include "ImageIo.h"
#include "StandardStreams.h"
#include "StopSignals.h"
#include "ThreadLimit.h"
#include "correct/CorrectCommand.h"
#include "montage/MontageArguments.h"
#include "montage/MontageCommand.h"
#include "montage/RegistrationCommands.h"

#ifndef _WIN32
#include "batch/BatchArguments.h"
#include "batch/BatchCommand.h"
#endif

#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <algorithm>
#include <csignal>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using orv2d::ExitCode;

std::string exitCodeHelp() {
  std::ostringstream text;
  text << "Exit codes:\n";
  for (const orv2d::ExitCodeMeaning& meaning : orv2d::kExitCodes) {
    text << "  " << static_cast<int>(meaning.code) << "  " << meaning.sentence << "\n";
  }
  return text.str();
}

/// One line per error: OpenCV must not print its own.
void silenceOpenCv() {
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
}

/// A file beyond the user's size limit is then an error of writing and does not end the process.
void ignoreFileSizeSignal() {
#ifdef SIGXFSZ
  std::signal(SIGXFSZ, SIG_IGN);
#endif
}

/// Parses the command line and runs the command; help and version are printed here.
ExitCode run(int argc, char** argv) {
  CLI::App app("Image montage and wide-angle distortion correction", "orv2d");
  const std::string version = std::string("orv2d ") + ORV2D_VERSION + ", OpenCV " + CV_VERSION;
  app.set_version_flag("--version", version);
  app.formatter(std::make_shared<orv2d::HelpFormat>());  // the commands inherit it
  orv2d::MontageSettings montage;
  orv2d::MontageSettings registration;
  orv2d::MontageSettings planning;
  orv2d::MontageSettings composition;
  orv2d::MontageSettings inspection;
  orv2d::CorrectSettings correction;
  struct Command {
    CLI::App* app;
    const std::vector<std::string>& images;
    const int& threads;
    std::function<ExitCode()> run;
  };
  const auto montageLike = [](CLI::App* command, const orv2d::MontageSettings& settings, auto run) {
    return Command{
        command, settings.images, settings.threads, [&settings, run] { return run(settings); }};
  };
  const int allCores = 0;
  std::vector<Command> commands = {
      montageLike(orv2d::addMontageCommand(app, montage), montage, orv2d::montageCommand),
      montageLike(
          orv2d::addRegisterCommand(app, registration), registration, orv2d::registerCommand),
      montageLike(orv2d::addPlanCommand(app, planning), planning, orv2d::planCommand),
      montageLike(orv2d::addComposeCommand(app, composition), composition, orv2d::composeCommand),
      montageLike(orv2d::addInspectCommand(app, inspection), inspection, orv2d::inspectCommand),
      {orv2d::addCorrectCommand(app, correction), correction.images, allCores, [&] {
         return orv2d::correctCommand(correction);
       }}};
#ifndef _WIN32
  orv2d::BatchSettings batch;
  commands.push_back({orv2d::addBatchCommand(app, batch), batch.montage.images, allCores, [&] {
                        return orv2d::batchCommand(batch);
                      }});
#endif
  app.footer(exitCodeHelp());
  for (const Command& command : commands) {
    command.app->footer(exitCodeHelp());
  }
  const orv2d::Words words(argv + std::min(argc, 1), argv + argc);
  orv2d::requireNoFlagValues(app, words);
  orv2d::requireCommand(app, words);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    app.exit(request);
    return ExitCode::Success;
  } catch (const CLI::ParseError& error) {
    throw orv2d::HostError(ExitCode::Usage, orv2d::usageSentence(app, words, error));
  }
  const auto chosen = std::find_if(commands.begin(), commands.end(), [](const Command& command) {
    return command.app->parsed();
  });
  orv2d::requireNoEmptyValues(*chosen->app);
  // A missing file or a folder is named before anything else is said of the images.
  std::for_each(chosen->images.begin(), chosen->images.end(), orv2d::requireExistingFile);
  const orv2d::ThreadLimit limit(chosen->threads);
  return chosen->run();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    orv2d::secureStandardStreams();
    orv2d::endOnStopSignals();
    silenceOpenCv();
    ignoreFileSizeSignal();
    const ExitCode code = run(argc, argv);
    orv2d::finishStandardOutput();
    return static_cast<int>(code);
  } catch (...) {
    const orv2d::Failure failure = orv2d::currentFailure();
    orv2d::printMessage(failure.message);
    return static_cast<int>(failure.code);
  }
}
