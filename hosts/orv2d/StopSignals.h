// SPDX-License-Identifier: MIT
/// @file
/// Ctrl-C and its kin: the program ends at once and leaves nothing unfinished.
#ifndef ORV2D_STOP_SIGNALS_H
#define ORV2D_STOP_SIGNALS_H

#include <functional>

namespace orv2d {

/// From here on SIGINT, SIGTERM and SIGHUP end the program, whatever it does: scratch folders are
/// removed, a line says so, and the exit code is 128 and the number of the signal. While outputs get
/// their names the signal waits. Signals that are ignored already, as a shell has it for what runs
/// in the background, stay ignored.
///
/// To be called once, before other threads begin: they inherit that these signals are not theirs.
void endOnStopSignals();

/// While it lives, a signal that ends the program calls `action` first, in another thread. One at a
/// time.
class StopAction {
 public:
  explicit StopAction(std::function<void()> action);
  ~StopAction();
  StopAction(const StopAction&) = delete;
  StopAction& operator=(const StopAction&) = delete;
};

}  // namespace orv2d

#endif  // ORV2D_STOP_SIGNALS_H
