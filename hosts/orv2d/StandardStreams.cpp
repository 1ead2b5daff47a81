// SPDX-License-Identifier: MIT
#include "StandardStreams.h"

#include "ExitCode.h"

#include <csignal>
#include <iostream>

#ifndef _WIN32
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#endif

namespace orv2d {

#ifdef _WIN32

void secureStandardStreams() {}

namespace {
void endWithoutReader() {}
}  // namespace

#else

void secureStandardStreams() {
  std::signal(SIGPIPE, SIG_IGN);
  // A new file takes the lowest free number. Opened for reading, these refuse what is written.
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) {
      open("/dev/null", O_RDONLY);
    }
  }
}

namespace {

void endWithoutReader() {
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  if (poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0) {
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
  }
}

}  // namespace

#endif

void finishStandardOutput() {
  if (!std::cout.flush()) {
    endWithoutReader();
    throw HostError(ExitCode::OutputNotWritable,
                    "standard output cannot be written, and what was to be read there is lost; is "
                    "it closed, or its disk full?");
  }
}

}  // namespace orv2d
