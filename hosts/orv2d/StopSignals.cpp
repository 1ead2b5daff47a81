// SPDX-License-Identifier: MIT
#include "StopSignals.h"

#include <atomic>
#include <csignal>
#include <montage/Progress.h>

namespace orv2d {
namespace {

std::atomic<int> signalReceived{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may take no lock");

void note(int signal) {
  int none = 0;
  signalReceived.compare_exchange_strong(none, signal);
  std::signal(signal, SIG_DFL);  // the next one does not wait
}

}  // namespace

StopSignals::StopSignals() {
  std::signal(SIGINT, note);
  std::signal(SIGTERM, note);
}

StopSignals::~StopSignals() {
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
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
