// SPDX-License-Identifier: MIT
#include "StopSignals.h"

#include <atomic>
#include <csignal>
#include <montage/Progress.h>

namespace orv2d {
namespace {

/// One press of Ctrl-C can arrive twice, from the terminal and from a program around this one.
constexpr int kPatience = 2;

std::atomic<int> signalReceived{0};
std::atomic<int> signalCount{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may take no lock");

void note(int signal) {
  int none = 0;
  signalReceived.compare_exchange_strong(none, signal);
  if (++signalCount >= kPatience) {
    std::signal(signal, SIG_DFL);
  }
}

}  // namespace

StopSignals::StopSignals() {
  for (const int signal : {SIGINT, SIGTERM}) {
    if (std::signal(signal, note) == SIG_IGN) {
      std::signal(signal, SIG_IGN);  // as a shell has it for what runs in the background
    }
  }
}

StopSignals::~StopSignals() {
  for (const int signal : {SIGINT, SIGTERM}) {
    if (std::signal(signal, SIG_DFL) == SIG_IGN) {
      std::signal(signal, SIG_IGN);
    }
  }
}

int StopSignals::received() {
  return signalReceived;
}

void StopSignals::check() {
  if (received() != 0) {
    throw montage::Cancelled();
  }
}

}  // namespace orv2d
