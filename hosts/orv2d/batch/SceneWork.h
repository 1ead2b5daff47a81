// SPDX-License-Identifier: MIT
/// @file
/// One scene of a batch at work.
#ifndef ORV2D_SCENE_WORK_H
#define ORV2D_SCENE_WORK_H

#include "ScratchFolder.h"
#include "batch/ChildProcess.h"
#include "batch/FileFacts.h"
#include "batch/Scene.h"
#include "batch/SceneClaim.h"
#include "batch/SceneOutcome.h"
#include "report/Measure.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orv2d {

/// What one of several scenes at a time may take.
struct Share {
  int threads = 1;
  std::uint64_t memory = 0;  ///< bytes; 0: what the program takes by itself
};

/// Claims a scene, sees whether it is done, and else makes it in a process of its own, so that
/// neither a crash nor lack of memory reaches the others.
///
/// What the montage was made from is noted in the file of the claim when it is complete. While the
/// process is at work the note says that instead: whoever finds it later knows that the scene was
/// broken off.
///
/// What reads files takes its time, and may be interrupted by `stop` and `abandon` from another
/// thread; everything else excludes each other.
class SceneWork {
 public:
  /// Nothing while another run is at this scene. Throws `HostError` where it cannot be claimed.
  static std::unique_ptr<SceneWork> claim(const Scene& scene);

  /// Reads the inputs, files. Throws `HostError` (unreadable input) if that fails.
  void readInputs();

  /// Whether the outputs were made from these inputs and choices, and are as they were made. Reads
  /// files.
  [[nodiscard]] bool isDone();

  [[nodiscard]] SceneOutcome skipped() const;

  /// Begins. Throws `HostError` where that is not possible.
  void start(const Share& share);

  /// The process; only after `start`.
  [[nodiscard]] ChildProcess& process() { return *process_; }

  /// To be called when the process has nothing more to say.
  void awaitEnd();

  /// How it ended. Reads files.
  SceneOutcome finish();

  /// Notes that the scene is done, or gives it up.
  void conclude(const SceneOutcome& outcome);

  /// Asks the process to stop, if there is one.
  void stop() const;

  /// Gives up a scene that is not done: ends its process, and nothing is left of it.
  void abandon();

 private:
  SceneWork(const Scene& scene, std::unique_ptr<SceneClaim> claim);
  void readOutputs(const std::vector<FileFacts>& known);
  void noteDone(std::optional<int> used);
  void removeScratch() const;
  [[nodiscard]] std::string reportFile() const;
  [[nodiscard]] std::optional<int> imagesUsed() const;

  const Scene& scene_;
  std::unique_ptr<SceneClaim> claim_;
  Stopwatch watch_;
  nlohmann::ordered_json note_;  ///< an object
  std::vector<FileFacts> inputs_;
  std::vector<FileFacts> outputs_;  ///< none: not read, or one was missing
  ChildEnd end_;
  std::optional<ScratchFolder> scratch_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace orv2d

#endif  // ORV2D_SCENE_WORK_H
