// SPDX-License-Identifier: MIT
#include "batch/ScenesLine.h"

#include "Console.h"
#include "StandardError.h"

#include <iostream>
#include <sstream>

namespace orv2d {

ScenesLine::ScenesLine(std::size_t scenes, bool quiet)
    : scenes_(scenes), quiet_(quiet), visible_(!quiet && standardErrorIsTerminal()) {}

ScenesLine::~ScenesLine() {
  clear();
}

void ScenesLine::ended(const SceneOutcome& outcome) {
  ++ended_;
  failed_ += outcome.status == SceneStatus::Failed ? 1 : 0;
  worked_ += outcome.status == SceneStatus::Skipped ? 0 : 1;
  clear();
  std::cout << jsonLine(outcome) + "\n" << std::flush;
  show();
}

void ScenesLine::say(const Scene& scene, const std::string& messages) {
  if (quiet_) {
    return;
  }
  clear();
  std::istringstream stream(messages);
  const std::string own = "orv2d: ";
  for (std::string line; std::getline(stream, line);) {
    const bool isOwn = line.compare(0, own.size(), own) == 0;
    printMessage(scene.name + ": " + (isOwn ? line.substr(own.size()) : line));
  }
}

void ScenesLine::show() {
  if (!visible_) {
    return;
  }
  std::string text = "scenes " + std::to_string(ended_) + "/" + std::to_string(scenes_);
  text += failed_ > 0 ? ", " + std::to_string(failed_) + " failed" : "";
  if (worked_ > 0 && ended_ < scenes_) {
    const double perScene = watch_.seconds() / static_cast<double>(worked_);
    text += ", about " + timeLeft(perScene * static_cast<double>(scenes_ - ended_)) + " left";
  }
  clear();
  writeToStandardError("orv2d: " + text);
}

void ScenesLine::clear() const {
  if (visible_) {
    clearTerminalLine();
  }
}

}  // namespace orv2d
