// SPDX-License-Identifier: MIT
#include "montage/MontageCommand.h"

#include "Console.h"
#include "Failure.h"
#include "ImageIo.h"
#include "OutputFiles.h"
#include "StageLine.h"
#include "montage/MontageReport.h"
#include "montage/MontageTable.h"
#include "montage/Notes.h"
#include "montage/Overlay.h"
#include "montage/PairsArgument.h"
#include "montage/Planning.h"
#include "montage/RegisteredImages.h"
#include "montage/RegistrationFiles.h"
#include "montage/SlabWriter.h"
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
        firstSlab_(settings_.imagesOfSlab(0), settings_.grey),
        writer_(settings_, inputs(), outputs_) {
    firstSlab_.expect(std::move(expected));
    firstSlab_.reduceBy(settings_.reductions());
    planOutputs();
  }

  ExitCode run() {
    try {
      makeMontages();
    } catch (...) {
      reportFailure(currentFailure());
      throw;
    }
    return ExitCode::Success;
  }

 private:
  [[nodiscard]] std::vector<fs::path> inputs() const;
  void planOutputs();
  void makeMontages();
  void registerFirstSlab();
  void plan();
  void composeSlabs();
  void finish();
  void stageReport();
  void stageRegistration();
  void reportFailure(const Failure& failure);
  void notePhase();
  [[nodiscard]] cv::Mat overlayOf(const cv::Mat& montage) const;

  std::string command_;
  MontageSettings settings_;
  std::optional<montage::Registration> loaded_;
  Progress progress_;
  ImageFiles firstSlab_;
  OutputFiles outputs_;
  SlabWriter writer_;
  MontageOutcome outcome_;
};

std::vector<fs::path> MontageRun::inputs() const {
  std::vector<fs::path> files(settings_.images.begin(), settings_.images.end());
  if (!settings_.registration.empty()) {
    files.emplace_back(settings_.registration);
  }
  if (namesPairsFile(settings_.pairs)) {
    files.emplace_back(settings_.pairs);
  }
  return files;
}

void MontageRun::planOutputs() {
  for (const std::string& file :
       {settings_.overlay, settings_.report, settings_.saveRegistration}) {
    if (!file.empty()) {
      outputs_.plan(file, inputs());
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
  outcome_.plan = makePlan(*outcome_.registration, firstSlab_, settings_);
  outcome_.times.plan = watch.seconds();
  requireShowable(*outcome_.plan, settings_);
}

void MontageRun::composeSlabs() {
  SlabWriter::Draw overlay;
  if (!settings_.overlay.empty()) {
    overlay = [this](const cv::Mat& montage) { return overlayOf(montage); };
  }
  writer_.write(*outcome_.plan, firstSlab_, overlay, outcome_);
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

/// A plan has fixed what the options of planning would choose.
void requireNoPlanChoices(const MontageSettings& settings) {
  if (!settings.planChoices.empty()) {
    throw HostError(ExitCode::Usage,
                    settings.planChoices.front() + " cannot be chosen for the plan " +
                        inQuotes(settings.registration) +
                        "; compose the registration that it was made from");
  }
}

/// Makes the montages of a plan.
ExitCode composePlan(MontageSettings settings) {
  requireNoPlanChoices(settings);
  const montage::MontagePlan plan = readPlan(settings.registration);
  std::vector<fs::path> inputs{settings.registration};
  std::vector<ExpectedImage> expected = takeNamedImages(plan, settings);
  inputs.insert(inputs.end(), settings.images.begin(), settings.images.end());
  requireWholeSlabs(settings);
  requireAsManyAs(plan.sourceCount, settings);
  ImageFiles images(settings.imagesOfSlab(0), settings.grey);
  images.expect(std::move(expected));
  OutputFiles outputs;
  SlabWriter writer(settings, inputs, outputs);
  MontageOutcome outcome;
  try {
    writer.write(plan, images, {}, outcome);
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) {
      throw;
    }
    throw HostError(ExitCode::UnreadableInput,
                    "cannot use " + inQuotes(settings.registration) +
                        ": its parts do not fit together (" + error.err + ")");
  }
  outputs.commit();
  if (!settings.quiet) {
    printMontages(outcome, std::cout);
  }
  return ExitCode::Success;
}

}  // namespace

ExitCode montageCommand(const MontageSettings& settings) {
  requireWholeSlabs(settings);
  requirePossibleOutputs(settings);
  std::optional<montage::Registration> loaded;
  if (!settings.registration.empty()) {
    loaded = readRegistration(settings.registration);
    requireAsManyAs(static_cast<int>(loaded->images.size()), settings);
  }
  requirePossiblePairs(settings);
  return MontageRun("montage", settings, std::move(loaded), {}).run();
}

ExitCode composeCommand(const MontageSettings& given) {
  MontageSettings settings = given;
  requirePossibleOutputs(settings);
  if (isPlanFile(settings.registration)) {
    return composePlan(std::move(settings));
  }
  montage::Registration registration = readRegistration(settings.registration);
  std::vector<ExpectedImage> expected = takeNamedImages(registration, settings);
  requireWholeSlabs(settings);
  requireAsManyAs(static_cast<int>(registration.images.size()), settings);
  return MontageRun("compose", settings, std::move(registration), std::move(expected)).run();
}

ExitCode planCommand(const MontageSettings& given) {
  MontageSettings settings = given;
  MontageOutcome outcome;
  outcome.registration = readRegistration(settings.registration);
  std::vector<ExpectedImage> expected = takeNamedImages(*outcome.registration, settings);
  requireWholeSlabs(settings);
  requireAsManyAs(static_cast<int>(outcome.registration->images.size()), settings);
  OutputFiles outputs;
  outputs.plan(settings.output, {settings.images.begin(), settings.images.end()});
  requireConnected(*outcome.registration, settings.pipeline);
  ImageFiles images(settings.images, settings.grey);
  images.expect(std::move(expected));
  images.reduceBy(settings.reductions());
  outcome.plan = makePlan(*outcome.registration, images, settings);
  requireShowable(*outcome.plan, settings);
  writePlan(*outcome.plan, settings.output, outputs);
  outputs.commit();
  if (!settings.quiet) {
    printPlan(settings, outcome, std::cout);
  }
  for (const std::string& note : leftOutNotes(outcome)) {
    printMessage(note);
  }
  return ExitCode::Success;
}

}  // namespace orv2d
