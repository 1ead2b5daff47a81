// SPDX-License-Identifier: MIT
/// @file
/// orv2d: image montage and wide-angle correction from the command line.
#include "CommandLine.h"
#include "Console.h"
#include "CorrectCommand.h"
#include "ExitCode.h"
#include "HelpFormat.h"
#include "ImageIo.h"
#include "MontageCommand.h"

#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <algorithm>
#include <csignal>
#include <memory>
#include <new>
#include <sstream>

namespace {

using orv2d::ExitCode;

const char* const kOutOfMemory =
    "out of memory; use fewer or smaller images, or a lower resolution";

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
  orv2d::CorrectSettings correct;
  CLI::App* montageApp = orv2d::addMontageCommand(app, montage);
  CLI::App* correctApp = orv2d::addCorrectCommand(app, correct);
  for (CLI::App* part : {&app, montageApp, correctApp}) {
    part->footer(exitCodeHelp());
  }
  const orv2d::Words words(argv + std::min(argc, 1), argv + argc);
  orv2d::requireCommand(app, words);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    app.exit(request);
    return ExitCode::Success;
  } catch (const CLI::ParseError& error) {
    throw orv2d::HostError(ExitCode::Usage, orv2d::usageSentence(app, words, error));
  }
  // A missing file or a folder is named before anything else is said of the images.
  for (const auto* images : {&montage.images, &correct.images}) {
    std::for_each(images->begin(), images->end(), orv2d::requireExistingFile);
  }
  return montageApp->parsed() ? orv2d::montageCommand(montage) : orv2d::correctCommand(correct);
}

std::string sentenceOf(const cv::Exception& error) {
  if (error.code == cv::Error::StsNoMem) {
    return kOutOfMemory;
  }
  if (error.code == cv::Error::StsOutOfRange) {
    return "the result would be too large (" + error.err + "); use a lower resolution";
  }
  return "internal error in " + error.func + ": " + error.err;
}

}  // namespace

int main(int argc, char** argv) {
  ExitCode code = ExitCode::InternalError;
  try {
    silenceOpenCv();
    ignoreFileSizeSignal();
    code = run(argc, argv);
  } catch (const orv2d::HostError& error) {
    orv2d::printMessage(error.what());
    code = error.code();
  } catch (const cv::Exception& error) {
    orv2d::printMessage(sentenceOf(error));
  } catch (const std::bad_alloc&) {
    orv2d::printMessage(kOutOfMemory);
  } catch (const std::exception& error) {
    orv2d::printMessage(std::string("internal error: ") + error.what());
  } catch (...) {
    orv2d::printMessage("internal error");
  }
  return static_cast<int>(code);
}
