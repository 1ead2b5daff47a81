// SPDX-License-Identifier: MIT
#include "StopSignals.h"

#include "Console.h"
#include "ScratchFolder.h"
#include "StandardError.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <thread>

namespace orv2d {
namespace {

[[noreturn]] void endProgram(int signal) {
  constexpr int kSignalExit = 128;  // as shells have it
  const ScratchLock lock = lockScratchFolders();
  removeScratchFolders(lock);
  clearTerminalLine();
  printMessage("stopped; nothing unfinished is left");
  std::_Exit(kSignalExit + signal);
}

}  // namespace

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
