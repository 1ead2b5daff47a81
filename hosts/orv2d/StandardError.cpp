// SPDX-License-Identifier: MIT
#include "StandardError.h"

#include <cstdio>
#include <mutex>

#ifdef _WIN32
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace orv2d {

#ifdef _WIN32

DecoderSilence::DecoderSilence() = default;
DecoderSilence::~DecoderSilence() = default;

void writeToStandardError(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

bool standardErrorIsTerminal() {
  return _isatty(_fileno(stderr)) != 0;
}

#else

namespace {

/// The process has one standard error, so its redirection is a state of the process too.
struct Redirection {
  std::mutex mutex;
  int users = 0;
  int saved = -1;  ///< the true standard error while it is redirected

  [[nodiscard]] int trueFile() const { return saved >= 0 ? saved : STDERR_FILENO; }
};

Redirection& redirection() {
  static Redirection only;
  return only;
}

}  // namespace

DecoderSilence::DecoderSilence() {
  Redirection& state = redirection();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (state.users++ > 0) {
    return;
  }
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  std::fflush(stderr);
  state.saved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (nowhere >= 0 && state.saved >= 0) {  // else there are no more files to be had
    dup2(nowhere, STDERR_FILENO);
  }
  if (nowhere >= 0) {
    close(nowhere);
  }
}

DecoderSilence::~DecoderSilence() {
  Redirection& state = redirection();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (--state.users == 0 && state.saved >= 0) {
    std::fflush(stderr);
    dup2(state.saved, STDERR_FILENO);
    close(state.saved);
    state.saved = -1;
  }
}

void writeToStandardError(const std::string& text) {
  Redirection& state = redirection();
  const std::lock_guard<std::mutex> lock(state.mutex);
  const int file = state.trueFile();
  for (std::size_t at = 0; at < text.size();) {
    const ssize_t written = write(file, text.data() + at, text.size() - at);
    if (written <= 0) {
      return;  // nobody listens
    }
    at += static_cast<std::size_t>(written);
  }
}

bool standardErrorIsTerminal() {
  Redirection& state = redirection();
  const std::lock_guard<std::mutex> lock(state.mutex);
  return isatty(state.trueFile()) != 0;
}

#endif

void clearTerminalLine() {
  if (standardErrorIsTerminal()) {
    writeToStandardError("\r\x1b[K");
  }
}

}  // namespace orv2d
