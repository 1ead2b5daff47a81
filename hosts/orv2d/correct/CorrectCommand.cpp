// SPDX-License-Identifier: MIT
#include "correct/CorrectCommand.h"

#include "Console.h"
#include "ImageIo.h"
#include "OutputFiles.h"
#include "correct/ContentMask.h"
#include "correct/CorrectOutcome.h"
#include "correct/Correction.h"
#include "correct/FailureReason.h"
#include "correct/PlaneFrame.h"
#include "correct/Preview.h"
#include "correct/SamplingMaps.h"
#include "report/Measure.h"

#include <algorithm>
#include <optional>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

/// The file of `image` in the output folder: its own name, in the wanted or its own format.
fs::path nameInFolder(const CorrectSettings& settings, const fs::path& image) {
  const std::string extension = !settings.format.empty() ? "." + settings.format
                                : hasImageFormat(image)  ? image.extension().string()
                                                         : ".png";
  return fs::path(settings.output) / (image.stem().string() + extension);
}

/// One output name per image.
std::vector<fs::path> outputNames(const CorrectSettings& settings) {
  std::error_code error;
  if (!fs::is_directory(settings.output, error)) {
    if (settings.images.size() > 1) {
      throw HostError(ExitCode::Usage,
                      counted(settings.images.size(), "image") + " need a folder, and " +
                          inQuotes(settings.output) + " is not an existing one");
    }
    requireImageFormat(settings.output);
    return {settings.output};
  }
  std::vector<fs::path> names;
  for (const std::string& image : settings.images) {
    names.push_back(nameInFolder(settings, image));
  }
  return names;
}

void planOutputs(const CorrectSettings& settings,
                 const std::vector<fs::path>& names,
                 OutputFiles& outputs) {
  std::vector<fs::path> inputs(settings.images.begin(), settings.images.end());
  for (const std::string& file : {settings.lensFile, settings.mask}) {
    if (!file.empty()) {
      inputs.emplace_back(file);
    }
  }
  for (const fs::path& name : names) {
    outputs.plan(name, inputs);
  }
  if (!settings.preview.empty()) {
    requireImageFormat(settings.preview);
  }
  for (const std::string& path : {settings.preview, settings.maps, settings.report}) {
    if (!path.empty()) {
      outputs.plan(path, inputs);
    }
  }
}

/// Corrects images one after the other; keeps the shared maps from one to the next.
class Corrector {
 public:
  Corrector(const CorrectSettings& settings, const CorrectionPlan& plan, OutputFiles& outputs)
      : settings_(settings),
        plan_(plan),
        mask_(plan.circle, settings.mask),
        outputs_(outputs),
        progress_(settings.quiet) {}

  /// Reads, corrects and stages one image with its preview and maps; throws `HostError` with
  /// `outcome` filled as far as it came.
  void run(CorrectOutcome& outcome);

 private:
  [[nodiscard]] std::optional<ContentReach> reachOf(const LensValues& values) const;
  Correction correctContent(CorrectOutcome& outcome, const cv::Mat& source, cv::Mat& gridded);
  void sayWhatIsKept(const KeptContent& kept, bool narrowed) const;
  void noteRepetition(const CorrectOutcome& outcome, const cv::Mat& source) const;
  Correction correct(const LensValues& values, const cv::Mat& source);
  const SamplingMaps& mapsFor(const LensValues& values, const cv::Size& sourceSize);
  void requireContent(const Correction& correction,
                      const LensValues& values,
                      const cv::Mat& source) const;
  void stagePicture(const fs::path& name, const cv::Mat& picture);
  void stagePreview(CorrectOutcome& outcome, const cv::Mat& gridded);

  const CorrectSettings& settings_;
  const CorrectionPlan& plan_;
  const ContentMask mask_;
  OutputFiles& outputs_;
  const Progress progress_;
  std::optional<SamplingMaps> maps_;
};

const SamplingMaps& Corrector::mapsFor(const LensValues& values, const cv::Size& sourceSize) {
  if (!maps_ || maps_->sourceSize != sourceSize) {
    maps_.reset();  // before the next ones take memory
    maps_ = exportMaps(values,
                       static_cast<int>(values.at("output-size")),
                       values.at("plane-half-extent"),
                       sourceSize);
  }
  return *maps_;
}

std::optional<ContentReach> Corrector::reachOf(const LensValues& values) const {
  if (!isStereographic(plan_.mode)) {
    return std::nullopt;
  }
  const double extent = plan_.sharedMaps ? values.at("plane-half-extent") : 1.0;
  return contentReach(plan_.mode,
                      values,
                      plan_.mode == CorrectMode::kSquare
                          ? PlaneFrame{-extent, extent, -extent, extent}
                          : planeFrame(plan_.mode, values));
}

/// Corrects what is content of `source`. `auto` keeps less and less of it as long as the library
/// finds no unbroken content: towards its rim a picture may be as dark as its surround.
Correction Corrector::correctContent(CorrectOutcome& outcome,
                                     const cv::Mat& source,
                                     cv::Mat& gridded) {
  constexpr double kNarrowing = 0.97;
  constexpr int kNarrowings = 20;
  std::optional<ContentReach> reach = reachOf(outcome.values);
  for (int narrowings = 0;; ++narrowings) {
    cv::Mat content = source.clone();
    outcome.kept = mask_.apply(reach, content);
    if (!settings_.preview.empty()) {
      gridded = withGrid(content);
    }
    Correction correction = correct(outcome.values, content);
    outcome.status = correction.status;
    if (correction.status == 0 || !outcome.kept.within || narrowings == kNarrowings) {
      sayWhatIsKept(outcome.kept, narrowings > 0);
      requireContent(correction, outcome.values, content);
      noteRepetition(outcome, content);
      return correction;
    }
    reach = narrowedTo(kNarrowing * reach->angleDeg, *reach, outcome.values);
  }
}

void Corrector::sayWhatIsKept(const KeptContent& kept, bool narrowed) const {
  if (kept.circle) {
    progress_.say("content lies in the circle " + circleText(*kept.circle));
  }
  if (kept.within) {
    progress_.say("content is kept to " + fixed(kept.within->angleDeg, 1) +
                  " degrees from the lens axis: " +
                  (narrowed ? "further out it is too dark to be told from the surround"
                            : "the frame can show no more"));
  }
}

/// Says so where the square shows content twice.
void Corrector::noteRepetition(const CorrectOutcome& outcome, const cv::Mat& source) const {
  constexpr double kNegligible = 0.001;
  if (plan_.mode != CorrectMode::kSquare) {
    return;
  }
  const ContentReach reach = *reachOf(outcome.values);
  constexpr double kRim = 1.01;
  if (contentShare(source, kRim * reach.radius, reach.fullRadius) > kNegligible) {
    printMessage("note: " + outcome.file + " has content more than " + fixed(reach.angleDeg, 1) +
                 " degrees from the lens axis, which the corners of the result repeat mirrored; "
                 "--circle auto leaves it out");
  }
}

Correction Corrector::correct(const LensValues& values, const cv::Mat& source) {
  return plan_.sharedMaps ? correctThroughMaps(mapsFor(values, source.size()), source)
                          : correctImage(plan_.mode, values, source);
}

void Corrector::requireContent(const Correction& correction,
                               const LensValues& values,
                               const cv::Mat& source) const {
  if (correction.status != 0) {
    const double extent = plan_.sharedMaps ? values.at("plane-half-extent") : 1.0;
    throw HostError(ExitCode::NoCorrection, failureReason(plan_.mode, values, extent, source));
  }
  if (!correction.hasContent()) {
    throw HostError(ExitCode::NoCorrection,
                    "no content: the corrected image is black or empty; check the source and the "
                    "lens parameters");
  }
}

void Corrector::stagePicture(const fs::path& name, const cv::Mat& picture) {
  outputs_.write(name, [&](const fs::path& target, const fs::path& file) {
    writeImage(picture, target, file);
  });
}

/// The result stands without its preview: a failure is only noted.
void Corrector::stagePreview(CorrectOutcome& outcome, const cv::Mat& gridded) {
  const Correction preview = correct(outcome.values, gridded);
  try {
    requireContent(preview, outcome.values, gridded);
  } catch (const HostError& error) {
    outcome.code = ExitCode::NoPreview;
    outcome.message =
        std::string("the result is written, its preview cannot be made: ") + error.what();
    return;
  }
  stagePicture(settings_.preview, preview.image);
}

void Corrector::run(CorrectOutcome& outcome) {
  const Stopwatch reading;
  const cv::Mat source = readImage(outcome.file);
  outcome.readingSeconds = reading.seconds();
  outcome.sourceSize = source.size();
  outcome.channels = source.channels();
  outcome.values = withImageDefaults(plan_.mode, plan_.values, source.size());
  requirePossibleSize(plan_.mode, outcome.values);

  const Stopwatch correcting;
  cv::Mat gridded;
  const Correction correction = correctContent(outcome, source, gridded);
  outcome.correctionSeconds = correcting.seconds();
  outcome.code = ExitCode::Success;
  outcome.resultSize = correction.image.size();
  outcome.bounds = correction.bounds;
  outcome.centre = correction.centre;

  const Stopwatch writing;
  stagePicture(outcome.output, correction.image);
  if (!gridded.empty()) {
    stagePreview(outcome, gridded);
  }
  if (!settings_.maps.empty()) {
    const SamplingMaps& maps = mapsFor(outcome.values, source.size());
    outputs_.write(settings_.maps, [&](const fs::path& target, const fs::path& file) {
      writeMaps(maps, target, file);
    });
  }
  outcome.writingSeconds = writing.seconds();
  outcome.hasResult = true;
}

}  // namespace

ExitCode correctCommand(const CorrectSettings& settings) {
  const CorrectionPlan plan = planCorrection(settings);
  std::for_each(settings.images.begin(), settings.images.end(), requireExistingFile);
  const std::vector<fs::path> names = outputNames(settings);
  OutputFiles outputs;
  planOutputs(settings, names, outputs);
  const Progress progress(settings.quiet);

  const bool single = settings.images.size() == 1;
  Corrector corrector(settings, plan, outputs);
  std::vector<CorrectOutcome> outcomes;
  ExitCode firstFailure = ExitCode::Success;
  for (std::size_t i = 0; i < names.size(); ++i) {
    progress.say("correcting " + std::to_string(i + 1) + "/" + std::to_string(names.size()) + " " +
                 settings.images[i]);
    CorrectOutcome& outcome = outcomes.emplace_back();
    outcome.file = settings.images[i];
    outcome.output = names[i].string();
    try {
      corrector.run(outcome);
      if (!single) {
        outputs.commit();  // the images of a folder stand each for itself
      }
    } catch (const HostError& error) {
      // One bad image must not stop the others of a folder.
      outputs.discard();
      outcome.code = error.code();
      outcome.message = error.what();
    }
    if (outcome.code != ExitCode::Success) {
      firstFailure = firstFailure == ExitCode::Success ? outcome.code : firstFailure;
      printMessage(failureLine(outcome));
    }
  }
  if (!settings.report.empty()) {
    writeReport(correctReport(settings, plan, outcomes), settings.report, outputs);
  }
  outputs.commit();
  for (const CorrectOutcome& outcome : outcomes) {
    if (outcome.hasResult && !settings.quiet) {
      printLine(tableLine(outcome));
    }
  }
  return firstFailure;
}

}  // namespace orv2d
