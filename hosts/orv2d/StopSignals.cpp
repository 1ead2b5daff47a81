// SPDX-License-Identifier: MIT
#include "StopSignals.h"

#include "Console.h"
#include "ScratchFolder.h"
#include "StandardError.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

namespace orv2d {
namespace {

struct Registry {
  std::mutex mutex;
  std::function<void()> action;
};

/// A signal ends the process, not one run in it. Never destroyed: it may come at any time.
Registry& registry() {
  static Registry& only = *new Registry;
  return only;
}

[[noreturn]] void endProgram(int signal) {
  constexpr int kSignalExit = 128;  // as shells have it
  const std::lock_guard<std::mutex> actionLock(registry().mutex);
  if (registry().action) {
    registry().action();
  }
  const ScratchLock lock = lockScratchFolders();
  removeScratchFolders(lock);
  clearTerminalLine();
  printMessage("stopped; nothing unfinished is left");
  std::_Exit(kSignalExit + signal);
}

}  // namespace

StopAction::StopAction(std::function<void()> action) {
  const std::lock_guard<std::mutex> lock(registry().mutex);
  registry().action = std::move(action);
}

StopAction::~StopAction() {
  const std::lock_guard<std::mutex> lock(registry().mutex);
  registry().action = nullptr;
}

#ifdef _WIN32

void endOnStopSignals() {
  for (const int signal : {SIGINT, SIGTERM}) {
    std::signal(signal, endProgram);  // called in a thread of its own
  }
}

#else

namespace {

bool isIgnored(int signal) {
  struct sigaction action = {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void endOnStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    if (!isIgnored(signal)) {
      sigaddset(&signals, signal);
    }
  }
  // A thread that waits for them may do what a handler may not: take locks and remove folders.
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread([signals] {
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    endProgram(signal);
  }).detach();
}

#endif

}  // namespace orv2d
