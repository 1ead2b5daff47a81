// SPDX-License-Identifier: MIT
/// @file
/// How far a batch has come, in one line of the terminal.
#ifndef ORV2D_SCENES_LINE_H
#define ORV2D_SCENES_LINE_H

#include "batch/SceneOutcome.h"
#include "report/Measure.h"

#include <string>

namespace orv2d {

/// Counts the scenes that have ended and tells the time left. Shows nothing where standard error is
/// no terminal, or when quiet. Other lines go through it, so that they do not mix.
class ScenesLine {
 public:
  ScenesLine(std::size_t scenes, bool quiet);
  ~ScenesLine();
  ScenesLine(const ScenesLine&) = delete;
  ScenesLine& operator=(const ScenesLine&) = delete;

  /// Writes the outcome to standard output, as a line of JSON.
  void ended(const SceneOutcome& outcome);

  /// Writes messages of a scene to standard error, each with its name before it.
  void say(const Scene& scene, const std::string& messages);

  void show();

 private:
  void clear() const;

  std::size_t scenes_;
  bool quiet_;
  bool visible_;
  std::size_t ended_ = 0;
  std::size_t failed_ = 0;
  std::size_t worked_ = 0;  ///< ended without being skipped
  Stopwatch watch_;
};

}  // namespace orv2d

#endif  // ORV2D_SCENES_LINE_H
