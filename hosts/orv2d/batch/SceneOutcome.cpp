// SPDX-License-Identifier: MIT
#include "batch/SceneOutcome.h"

#include "Console.h"
#include "report/Report.h"
#include "report/TextTable.h"

#include <algorithm>
#include <cmath>

namespace orv2d {
namespace {

const char* nameOf(SceneStatus status) {
  switch (status) {
    case SceneStatus::Done:
      return "done";
    case SceneStatus::Skipped:
      return "skipped";
    case SceneStatus::Failed:
      break;
  }
  return "failed";
}

double toMilliseconds(double seconds) {
  constexpr double kPerSecond = 1000.0;
  return std::round(seconds * kPerSecond) / kPerSecond;
}

}  // namespace

SceneOutcome failedScene(const Scene& scene, ExitCode code, const std::string& reason) {
  SceneOutcome outcome;
  outcome.name = scene.name;
  outcome.images = scene.images.size();
  outcome.exitCode = static_cast<int>(code);
  outcome.reason = reason;
  return outcome;
}

std::string jsonLine(const SceneOutcome& outcome) {
  Json outputs = Json::array();
  for (const std::filesystem::path& output : outcome.outputs) {
    outputs.push_back(output.string());
  }
  const Json line = {{"name", outcome.name},
                     {"status", nameOf(outcome.status)},
                     {"seconds", toMilliseconds(outcome.seconds)},
                     {"outputs", outputs},
                     {"images", outcome.images},
                     {"imagesUsed", outcome.used ? Json(*outcome.used) : Json()},
                     {"exitCode", outcome.exitCode},
                     {"reason", outcome.reason}};
  constexpr int kOneLine = -1;
  return line.dump(kOneLine, ' ', false, Json::error_handler_t::replace);
}

void printSummary(const std::vector<SceneOutcome>& outcomes, double seconds, std::ostream& out) {
  TextTable counts({"<scenes", "number", "seconds"});
  for (const SceneStatus status : {SceneStatus::Done, SceneStatus::Skipped, SceneStatus::Failed}) {
    std::size_t number = 0;
    double taken = 0.0;
    for (const SceneOutcome& outcome : outcomes) {
      number += outcome.status == status ? 1 : 0;
      taken += outcome.status == status ? outcome.seconds : 0.0;
    }
    counts.add({nameOf(status), std::to_string(number), fixed(taken, 1)});
  }
  counts.add({"all", std::to_string(outcomes.size()), fixed(seconds, 1)});
  counts.print(out);
  TextTable failures({"<failed", "exit code", "<reason"});
  bool any = false;
  for (const SceneOutcome& outcome : outcomes) {
    if (outcome.status == SceneStatus::Failed) {
      failures.add({outcome.name, std::to_string(outcome.exitCode), outcome.reason});
      any = true;
    }
  }
  if (any) {
    out << "\n";
    failures.print(out);
  }
}

}  // namespace orv2d
