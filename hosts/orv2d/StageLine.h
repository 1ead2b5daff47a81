// SPDX-License-Identifier: MIT
/// @file
/// How far a montage has come, in one line on standard error.
#ifndef ORV2D_STAGE_LINE_H
#define ORV2D_STAGE_LINE_H

#include <chrono>
#include <montage/Progress.h>
#include <optional>

namespace orv2d {

/// Shows stage, count and time left of one call into the library: on a terminal in one line that is
/// rewritten at most twice a second and goes away at the end, elsewhere one line per stage.
class StageLine {
 public:
  explicit StageLine(bool quiet);
  ~StageLine();
  StageLine(const StageLine&) = delete;
  StageLine& operator=(const StageLine&) = delete;

  /// Shows each report. Not to be used any more when the line is gone.
  montage::Progress watch();

 private:
  using Clock = std::chrono::steady_clock;

  void show(const montage::ProgressReport& report);
  void rewrite(const montage::ProgressReport& report);

  bool quiet_;
  bool terminal_;
  std::optional<montage::Stage> stage_;
  Clock::time_point stageBegan_;
  Clock::time_point shown_;
  bool visible_ = false;
};

}  // namespace orv2d

#endif  // ORV2D_STAGE_LINE_H
