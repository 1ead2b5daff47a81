// SPDX-License-Identifier: MIT
#include "montage/MontageCommand.h"

#include "Console.h"
#include "Failure.h"
#include "ImageIo.h"
#include "OutputFiles.h"
#include "StageLine.h"
#include "StopSignals.h"
#include "montage/MontageReport.h"
#include "montage/MontageTable.h"
#include "montage/Notes.h"
#include "montage/Overlay.h"
#include "montage/PairsArgument.h"
#include "montage/RegistrationFiles.h"
#include "montage/SlabNames.h"
#include "report/Measure.h"

#include <iostream>
#include <montage/Montage.h>
#include <optional>
#include <utility>

namespace orv2d {
namespace {

namespace fs = std::filesystem;

/// Does the steps of one run; what it found so far stands in outcome().
class MontageRun {
 public:
  MontageRun(std::string command,
             MontageSettings settings,
             std::optional<montage::Registration> loaded,
             std::vector<ExpectedImage> expected)
      : command_(std::move(command)),
        settings_(std::move(settings)),
        loaded_(std::move(loaded)),
        progress_(settings_.quiet),
        firstSlab_(settings_.imagesOfSlab(0), settings_.grey) {
    firstSlab_.expect(std::move(expected));
    planOutputs();
  }

  ExitCode run() {
    try {
      makeMontages();
    } catch (const montage::Cancelled&) {
      throw;
    } catch (...) {
      reportFailure(currentFailure());
      throw;
    }
    return ExitCode::Success;
  }

 private:
  void planOutputs();
  void makeMontages();
  void registerFirstSlab();
  void plan();
  void composeSlabs();
  void composeSlab(montage::Composer& composer, int slab);
  void finish();
  void writePicture(const fs::path& path, const cv::Mat& picture);
  void stageReport();
  void stageRegistration();
  void reportFailure(const Failure& failure);
  void notePhase();
  [[nodiscard]] cv::Mat overlayOf(const cv::Mat& montage) const;

  std::string command_;
  MontageSettings settings_;
  std::optional<montage::Registration> loaded_;
  Progress progress_;
  StopSignals stopSignals_;
  ImageFiles firstSlab_;
  OutputFiles outputs_;
  std::vector<fs::path> montageFiles_;
  MontageOutcome outcome_;
};

void MontageRun::planOutputs() {
  std::vector<fs::path> inputs(settings_.images.begin(), settings_.images.end());
  if (!settings_.registration.empty()) {
    inputs.emplace_back(settings_.registration);
  }
  if (namesPairsFile(settings_.pairs)) {
    inputs.emplace_back(settings_.pairs);
  }
  montageFiles_ = slabNames(settings_.output, settings_.slabs);
  for (const fs::path& file : montageFiles_) {
    outputs_.plan(file, inputs);
  }
  for (const std::string& file :
       {settings_.overlay, settings_.report, settings_.saveRegistration}) {
    if (!file.empty()) {
      outputs_.plan(file, inputs);
    }
  }
}

void MontageRun::makeMontages() {
  registerFirstSlab();
  plan();
  if (settings_.dryRun) {
    if (!settings_.quiet) {
      printPlan(settings_, outcome_, std::cout);
    }
  } else {
    composeSlabs();
    finish();
  }
  for (const std::string& note : leftOutNotes(outcome_)) {
    printMessage(note);
  }
}

/// The facts of the images that have been read so far, for the report.
void MontageRun::notePhase() {
  outcome_.facts.clear();
  for (int i = 0; i < firstSlab_.count(); ++i) {
    outcome_.facts.push_back(firstSlab_.facts(i));
  }
}

void MontageRun::registerFirstSlab() {
  const Stopwatch watch;
  if (loaded_) {
    outcome_.registration = std::move(loaded_);
  } else {
    progress_.say("joining " + counted(settings_.images.size(), "image") + " in " +
                  counted(static_cast<std::size_t>(settings_.slabs), "slab") + " (" +
                  settings_.pipeline + " pipeline)");
    StageLine line(settings_.quiet);
    outcome_.registration =
        montage::registerImages(firstSlab_, settings_.registerOptions(), line.watch());
  }
  outcome_.times.registration = watch.seconds();
  if (const std::string note = looseNote(*outcome_.registration); !note.empty()) {
    printMessage(note);
  }
  requireConnected(*outcome_.registration, settings_.pipeline);
}

void MontageRun::plan() {
  const Stopwatch watch;
  try {
    StageLine line(settings_.quiet);
    outcome_.plan = montage::planMontage(
        *outcome_.registration, firstSlab_, settings_.planOptions(), line.watch());
  } catch (const std::invalid_argument& error) {  // of images that are not those registered
    throw HostError(ExitCode::UnreadableInput, std::string("cannot use the ") + error.what());
  }
  outcome_.times.plan = watch.seconds();
  requireShowable(*outcome_.plan, settings_);
}

void MontageRun::composeSlabs() {
  const bool transparent = settings_.background == "transparent";
  for (const fs::path& file : montageFiles_) {
    requireFormatHolds(outcome_.plan->size, transparent ? 4 : 1, file);
  }
  montage::Composer composer(*outcome_.plan);
  for (int slab = 0; slab < settings_.slabs; ++slab) {
    composeSlab(composer, slab);
  }
}

void MontageRun::composeSlab(montage::Composer& composer, int slab) {
  const Stopwatch composing;
  std::optional<ImageFiles> further;
  if (slab > 0) {
    std::vector<ExpectedImage> expected(static_cast<std::size_t>(firstSlab_.count()));
    for (const montage::PlannedImage& image : composer.plan().images) {
      expected[static_cast<std::size_t>(image.index)].size = image.sourceSize;
    }
    further.emplace(settings_.imagesOfSlab(slab), settings_.grey);
    further->expect(std::move(expected));
  }
  const ImageFiles& images = further ? *further : firstSlab_;
  cv::Mat picture;
  {
    StageLine line(settings_.quiet);
    picture = composer.compose(images, line.watch());
  }
  outcome_.times.compose += composing.seconds();
  outcome_.times.reading += images.readingSeconds();
  if (const std::string note = mixedChannelsNote(images, slab); !note.empty()) {
    printMessage(note);
  }
  const Stopwatch writing;
  const fs::path& file = montageFiles_[static_cast<std::size_t>(slab)];
  writePicture(file, picture);
  outcome_.montages.push_back({file, picture.size(), picture.channels()});
  if (slab == 0 && !settings_.overlay.empty()) {
    writePicture(settings_.overlay, overlayOf(picture));
  }
  outcome_.times.writing += writing.seconds();
}

cv::Mat MontageRun::overlayOf(const cv::Mat& montage) const {
  std::vector<Mark> marks;
  for (const auto& [index, position] : positionsOf(settings_.preset(), *outcome_.plan)) {
    marks.push_back({index, position.inMontage});
  }
  return drawOverlay(
      montage,
      marks,
      settings_.preset() == montage::Preset::basic ? MarkKind::TopLeftCorner : MarkKind::Centre);
}

void MontageRun::writePicture(const fs::path& path, const cv::Mat& picture) {
  StopSignals::check();
  progress_.say("writing " + path.string());
  outputs_.write(path, [&](const fs::path& target, const fs::path& file) {
    writeImage(picture, target, file, settings_.quality.value_or(kJpegQuality));
  });
}

void MontageRun::stageReport() {
  if (!settings_.report.empty()) {
    notePhase();
    writeReport(montageReport(command_, settings_, outcome_), settings_.report, outputs_);
  }
}

void MontageRun::stageRegistration() {
  if (!settings_.saveRegistration.empty() && outcome_.registration) {
    writeRegistration(*outcome_.registration, settings_.saveRegistration, outputs_);
  }
}

void MontageRun::finish() {
  stageRegistration();
  stageReport();
  StopSignals::check();
  outputs_.commit();
  if (!settings_.quiet) {
    printTable(settings_, outcome_, std::cout);
  }
}

/// Of a failed run only the report and the registration are written. A second failure, on the way
/// there, says nothing new.
void MontageRun::reportFailure(const Failure& failure) {
  outcome_.code = failure.code;
  outcome_.message = failure.message;
  outputs_.discard();
  if (settings_.dryRun) {
    return;
  }
  try {
    stageRegistration();
    stageReport();
    outputs_.commit();
  } catch (const std::exception&) {
    outputs_.discard();
  }
  if (!settings_.quiet && outcome_.registration &&
      outcome_.registration->status != montage::RegistrationStatus::ok) {
    for (const std::string& note : leftOutNotes(outcome_)) {
      printMessage(note);
    }
  }
}

void requireAsManyAsRegistered(const MontageSettings& settings,
                               const montage::Registration& registration) {
  if (static_cast<std::size_t>(settings.constituentCount()) != registration.images.size()) {
    throw HostError(ExitCode::Usage,
                    counted(static_cast<std::size_t>(settings.constituentCount()), "image") +
                        (settings.slabs > 1 ? " per slab" : "") + " given, but " +
                        inQuotes(settings.registration) + " holds " +
                        std::to_string(registration.images.size()));
  }
}

/// The images that were registered, by the names that the registration gives them.
std::vector<ExpectedImage> nameRegisteredImages(const montage::Registration& registration,
                                                MontageSettings& settings) {
  std::vector<ExpectedImage> expected;
  for (const montage::RegisteredImage& image : registration.images) {
    settings.images.push_back(image.name);
    expected.push_back({image.size, image.hash});
  }
  for (const int used : registration.used) {
    requireExistingFile(settings.images[static_cast<std::size_t>(used)]);
  }
  return expected;
}

}  // namespace

ExitCode montageCommand(const MontageSettings& settings) {
  requireWholeSlabs(settings);
  requirePossibleOutputs(settings);
  std::optional<montage::Registration> loaded;
  if (!settings.registration.empty()) {
    loaded = readRegistration(settings.registration);
    requireAsManyAsRegistered(settings, *loaded);
  }
  requirePossiblePairs(settings);
  return MontageRun("montage", settings, std::move(loaded), {}).run();
}

ExitCode composeCommand(const MontageSettings& given) {
  MontageSettings settings = given;
  requirePossibleOutputs(settings);
  montage::Registration registration = readRegistration(settings.registration);
  std::vector<ExpectedImage> expected;
  if (settings.images.empty()) {
    expected = nameRegisteredImages(registration, settings);
  }
  requireWholeSlabs(settings);
  requireAsManyAsRegistered(settings, registration);
  return MontageRun("compose", settings, std::move(registration), std::move(expected)).run();
}

}  // namespace orv2d
