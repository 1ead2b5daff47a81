// SPDX-License-Identifier: MIT
#include "StageLine.h"

#include "Console.h"
#include "StandardError.h"

#include <string>

namespace orv2d {
namespace {

struct Words {
  const char* doing;
  const char* unit;  ///< what is counted; empty where a count says nothing
};

Words wordsOf(montage::Stage stage) {
  switch (stage) {
    case montage::Stage::describe:
      return {"finding features", "image"};
    case montage::Stage::select:
      return {"choosing pairs", ""};
    case montage::Stage::match:
      return {"comparing images", "pair"};
    case montage::Stage::adjust:
      return {"estimating cameras", ""};
    case montage::Stage::warp:
      return {"laying out", "image"};
    case montage::Stage::gains:
      return {"equalising exposures", ""};
    case montage::Stage::seams:
      return {"cutting overlaps", ""};
    case montage::Stage::compose:
      return {"composing", "tile"};
  }
  return {"working", ""};
}

}  // namespace

StageLine::StageLine(bool quiet) : quiet_(quiet), terminal_(standardErrorIsTerminal()) {}

StageLine::~StageLine() {
  if (visible_) {
    clearTerminalLine();
  }
}

montage::Progress StageLine::watch() {
  return [this](const montage::ProgressReport& report) {
    show(report);
    return true;
  };
}

void StageLine::show(const montage::ProgressReport& report) {
  if (quiet_) {
    return;
  }
  const bool isNew = stage_ != report.stage;
  if (isNew) {
    stage_ = report.stage;
    stageBegan_ = Clock::now();
  }
  if (terminal_) {
    rewrite(report);
  } else if (isNew) {
    const Words words = wordsOf(report.stage);
    const std::string unit = words.unit;
    printMessage(
        words.doing +
        (unit.empty() ? "" : ", " + counted(static_cast<std::size_t>(report.total), unit)));
  }
}

void StageLine::rewrite(const montage::ProgressReport& report) {
  constexpr auto kInterval = std::chrono::milliseconds(500);
  const Clock::time_point now = Clock::now();
  if (visible_ && now - shown_ < kInterval) {
    return;
  }
  shown_ = now;
  visible_ = true;
  const Words words = wordsOf(report.stage);
  std::string text = words.doing;
  if (report.total > 1) {
    text += " " + std::to_string(report.done) + "/" + std::to_string(report.total);
  }
  const double seconds = std::chrono::duration<double>(now - stageBegan_).count();
  if (report.done > 0 && seconds >= 1.0) {
    text += ", about " + timeLeft(seconds * (report.total - report.done) / report.done) + " left";
  }
  clearTerminalLine();
  writeToStandardError("orv2d: " + text);
}

}  // namespace orv2d
