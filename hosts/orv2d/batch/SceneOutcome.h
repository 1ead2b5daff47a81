// SPDX-License-Identifier: MIT
/// @file
/// What became of the scenes of a batch, for programs and for people.
#ifndef ORV2D_SCENE_OUTCOME_H
#define ORV2D_SCENE_OUTCOME_H

#include "ExitCode.h"
#include "batch/Scene.h"

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace orv2d {

enum class SceneStatus { Done, Skipped, Failed };

struct SceneOutcome {
  std::string name;
  SceneStatus status = SceneStatus::Failed;
  double seconds = 0.0;
  std::vector<std::filesystem::path> outputs;  ///< none of a scene that failed
  std::size_t images = 0;
  std::optional<int> used;  ///< images in the montage
  int exitCode = 0;         ///< of the scene; 128 and the signal that ended it
  std::string reason;       ///< why it failed or was skipped; empty: done
};

/// Starts as failed, with that reason.
SceneOutcome failedScene(const Scene& scene, ExitCode code, const std::string& reason);

/// One line of JSON, without its end.
std::string jsonLine(const SceneOutcome& outcome);

/// How many scenes were done, skipped and failed in how much time, and why which ones failed.
void printSummary(const std::vector<SceneOutcome>& outcomes, double seconds, std::ostream& out);

}  // namespace orv2d

#endif  // ORV2D_SCENE_OUTCOME_H
