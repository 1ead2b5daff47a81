// SPDX-License-Identifier: MIT
#include "correct/CorrectOutcome.h"

#include "Console.h"
#include "ImageIo.h"
#include "report/Measure.h"

namespace orv2d {
namespace {

Json textOrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

Json settingsJson(const CorrectSettings& settings, const CorrectionPlan& plan) {
  return {{"output", settings.output},
          {"mode", modeName(plan.mode)},
          {"lens", textOrNull(settings.lensFile)},
          {"sharedMaps", plan.sharedMaps},
          {"circle", textOrNull(plan.circle)},
          {"mask", textOrNull(settings.mask)},
          {"maps", textOrNull(settings.maps)},
          {"preview", textOrNull(settings.preview)}};
}

/// Values with the unit in which they are handed to the library.
Json valuesJson(const LensValues& values) {
  Json json = Json::object();
  for (const auto& [name, value] : values) {
    json[name] = value;
  }
  return json;
}

Json contentJson(const KeptContent& kept) {
  return {{"circle",
           kept.circle ? Json{{"x", kept.circle->centre.x},
                              {"y", kept.circle->centre.y},
                              {"radius", kept.circle->radius},
                              {"unit", "px"}}
                       : Json()},
          {"largestAngle", kept.within ? quantity(kept.within->angleDeg, "deg") : Json()}};
}

Json outcomeJson(const CorrectOutcome& outcome) {
  Json json = {{"file", outcome.file},
               {"output", outcome.hasResult ? Json(outcome.output) : Json()},
               {"exitCode", static_cast<int>(outcome.code)},
               {"status", outcome.status},
               {"message", outcome.message},
               {"source", sizeJson(outcome.sourceSize.width, outcome.sourceSize.height)},
               {"channels", outcome.channels},
               {"parameters", valuesJson(outcome.values)},
               {"content", contentJson(outcome.kept)}};
  if (outcome.hasResult) {
    json["result"] = sizeJson(outcome.resultSize.width, outcome.resultSize.height);
    json["bounds"] = outcome.bounds ? Json{{"left", outcome.bounds->left},
                                           {"top", outcome.bounds->top},
                                           {"right", outcome.bounds->right},
                                           {"bottom", outcome.bounds->bottom},
                                           {"unit", "plane coordinates"}}
                                    : Json();
    json["centre"] = outcome.centre ? Json{{"x", outcome.centre->x},
                                           {"y", outcome.centre->y},
                                           {"unit", "-1 to 1 across the result"}}
                                    : Json();
  }
  json["times"] = {{"reading", quantity(outcome.readingSeconds, "s")},
                   {"correction", quantity(outcome.correctionSeconds, "s")},
                   {"writing", quantity(outcome.writingSeconds, "s")}};
  return json;
}

}  // namespace

std::string failureLine(const CorrectOutcome& outcome) {
  const bool namesFile = outcome.message.find(inQuotes(outcome.file)) != std::string::npos;
  return (namesFile ? "" : outcome.file + ": ") + outcome.message;
}

std::string tableLine(const CorrectOutcome& outcome) {
  std::string line = outcome.file + " -> " + outcome.output + ": " +
                     std::to_string(outcome.resultSize.width) + " x " +
                     std::to_string(outcome.resultSize.height) + " px";
  if (outcome.bounds) {
    line += ", plane " + fixed(outcome.bounds->left, 4) + " to " + fixed(outcome.bounds->right, 4) +
            " by " + fixed(outcome.bounds->top, 4) + " to " + fixed(outcome.bounds->bottom, 4);
  }
  if (outcome.centre) {
    line += ", centre " + fixed(outcome.centre->x, 4) + ", " + fixed(outcome.centre->y, 4);
  }
  return line + ", " + fixed(outcome.correctionSeconds, 2) + " s";
}

Json correctReport(const CorrectSettings& settings,
                   const CorrectionPlan& plan,
                   const std::vector<CorrectOutcome>& outcomes) {
  Json report = startReport("correct");
  report["settings"] = settingsJson(settings, plan);
  report["images"] = Json::array();
  for (const CorrectOutcome& outcome : outcomes) {
    report["images"].push_back(outcomeJson(outcome));
  }
  report["peakMemory"] = quantity(peakMemoryMegabytes(), "MB");
  return report;
}

}  // namespace orv2d
