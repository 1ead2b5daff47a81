// SPDX-License-Identifier: MIT
#include "montage/MontageReport.h"

#include "montage/RegistrationTable.h"
#include "report/Measure.h"

#include <cmath>

namespace orv2d {
namespace {

Json orNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

Json windowJson(const std::optional<cv::Rect>& window) {
  return window ? Json{window->x, window->y, window->width, window->height} : Json();
}

Json settingsJson(const MontageSettings& settings) {
  return {{"output", settings.output},
          {"slabs", settings.slabs},
          {"pipeline", settings.pipeline},
          {"registration", orNull(settings.registration)},
          {"saveRegistration", orNull(settings.saveRegistration)},
          {"registrationMp", settings.registrationMp},
          {"seamMp", settings.seamMp},
          {"composeMp", settings.composeMp},
          {"seams", settings.seams},
          {"blend", !settings.noBlend},
          {"crop", settings.crop},
          {"background", settings.background},
          {"straighten", orNull(settings.straighten)},
          {"maxSizeMp", settings.maxSizeMp},
          {"quality", settings.quality ? Json(*settings.quality) : Json()},
          {"tiles", settings.wantsTiles()},
          {"compression", orNull(settings.compression)},
          {"pyramid", settings.pyramid},
          {"bigTiff", settings.bigTiff},
          {"maxMemory", settings.maxMemory ? Json(*settings.maxMemory) : Json()},
          {"window", windowJson(settings.window)},
          {"tryGpu", settings.tryGpu},
          {"grey", settings.grey},
          {"overlay", orNull(settings.overlay)}};
}

/// The library's status; null where the run ended for another reason.
Json statusOf(ExitCode code) {
  switch (code) {
    case ExitCode::Success:
      return 0;
    case ExitCode::NoMontage:
      return 1;
    case ExitCode::CamerasNotFinite:
      return 2;
    case ExitCode::NotShowable:
      return 3;
    default:
      return nullptr;
  }
}

/// Whole numbers are written as such.
Json numberJson(double value) {
  return value == std::round(value) ? Json(std::lround(value)) : Json(value);
}

void addPosition(const std::map<int, Position>& positions, int index, Json& image) {
  const auto at = positions.find(index);
  const bool placed = at != positions.end();
  image["x"] = placed ? numberJson(at->second.reported.x) : Json();
  image["y"] = placed ? numberJson(at->second.reported.y) : Json();
  image["montageX"] = placed ? Json(at->second.inMontage.x) : Json();
  image["montageY"] = placed ? Json(at->second.inMontage.y) : Json();
}

/// One entry per image of slab 0; `slabFiles` lists its image in every slab.
Json imagesJson(const MontageSettings& settings, const MontageOutcome& outcome) {
  std::map<int, Position> positions;
  if (outcome.planned()) {
    positions = positionsOf(settings.preset(), *outcome.plan);
  }
  Json images = Json::array();
  for (int i = 0; i < settings.constituentCount(); ++i) {
    const auto at = static_cast<std::size_t>(i);
    Json image = outcome.registration ? imageJson(*outcome.registration, i) : Json{{"index", i}};
    image["file"] = settings.images[at];
    const auto facts = at < outcome.facts.size() ? outcome.facts[at] : std::nullopt;
    if (facts) {
      image.update(sizeJson(facts->size.width, facts->size.height));
    }
    image["channels"] = facts ? Json(facts->channels) : Json();
    for (int slab = 0; settings.slabs > 1 && slab < settings.slabs; ++slab) {
      image["slabFiles"].push_back(settings.imagesOfSlab(slab)[at]);
    }
    if (outcome.planned()) {
      const ImageVerdict verdict = verdictOf(outcome, i);
      image["used"] = verdict.used;
      image["verdict"] = verdict.name;
      image["reason"] = verdict.reason;
      image["advice"] = verdict.advice;
      addPosition(positions, i, image);
    }
    images.push_back(image);
  }
  return images;
}

Json positionJson(montage::Preset preset) {
  switch (preset) {
    case montage::Preset::picture:
      return {{"kind", "centreInMontage"},
              {"unit", "px of the montage"},
              {"origin", "centre of the montage's top-left pixel"}};
    case montage::Preset::basic:
      return {{"kind", "topLeftCorner"},
              {"unit", "px of the montage"},
              {"origin", "optical axis of the common frame; values may be negative"}};
    case montage::Preset::diagnostic:
      return {{"kind", "centre"},
              {"unit", "px at full resolution"},
              {"origin", "top-left corner of all warped images"}};
  }
  return {};
}

Json montagesJson(const std::vector<WrittenMontage>& written) {
  Json montages = Json::array();
  for (std::size_t slab = 0; slab < written.size(); ++slab) {
    const WrittenMontage& montage = written[slab];
    montages.push_back({{"slab", slab},
                        {"file", montage.file.string()},
                        {"width", montage.size.width},
                        {"height", montage.size.height},
                        {"channels", montage.channels}});
  }
  return montages;
}

Json timesJson(const PhaseTimes& times) {
  return {{"reading", quantity(times.reading, "s")},
          {"montage", quantity(times.registration + times.plan + times.compose, "s")},
          {"registration", quantity(times.registration, "s")},
          {"plan", quantity(times.plan, "s")},
          {"compose", quantity(times.compose, "s")},
          {"writing", quantity(times.writing, "s")}};
}

}  // namespace

Json montageReport(const std::string& command,
                   const MontageSettings& settings,
                   const MontageOutcome& outcome) {
  Json report = startReport(command);
  report["status"] = statusOf(outcome.code);
  report["exitCode"] = static_cast<int>(outcome.code);
  report["message"] = outcome.message;
  report["settings"] = settingsJson(settings);
  report["images"] = imagesJson(settings, outcome);
  if (outcome.registration) {
    report["pairs"] = pairsJson(*outcome.registration);
    report["groups"] = groupsJson(*outcome.registration);
  }
  if (outcome.code == ExitCode::Success) {
    report["positions"] = positionJson(settings.preset());
    report["montages"] = montagesJson(outcome.montages);
    report["quality"] = figuresJson(*outcome.registration);
  }
  report["scales"] = {
      {"registration", outcome.registration ? Json(outcome.registration->scale) : Json()},
      {"seam", outcome.planned() ? Json(outcome.plan->seamScale) : Json()},
      {"compose", outcome.planned() ? Json(outcome.plan->composeScale) : Json()}};
  report["times"] = timesJson(outcome.times);
  report["peakMemory"] = quantity(peakMemoryMegabytes(), "MB");
  return report;
}

}  // namespace orv2d
