// SPDX-License-Identifier: MIT
/// @file
/// This program, run once more in a process of its own.
#ifndef ORV2D_CHILD_PROCESS_H
#define ORV2D_CHILD_PROCESS_H

#include "CommandLine.h"

#include <string>
#include <sys/types.h>

namespace orv2d {

struct ChildEnd {
  int exitCode = 0;
  int signal = 0;  ///< that ended it; 0: none did
};

/// A run of the program whose standard error is read here; it has no input and its standard output is
/// dropped. It is told to stop (SIGTERM) when the process that started it is killed.
class ChildProcess {
 public:
  /// Starts it.
  /// @param[in] words  its arguments.
  /// @param[in] inherited  a file that stays open in it.
  /// @throw HostError (internal error) where the system starts no process or takes no such arguments.
  ChildProcess(const Words& words, int inherited);

  /// Destroying it waits for its end.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// To be polled: it can be read from when there are messages, or none will come any more.
  [[nodiscard]] int messagesFile() const { return messagesFile_; }

  /// Takes what has been said. False: it has closed its standard error, and is about to end.
  bool readMessages();

  /// The last lines that it said, at most some 64 kilobytes.
  [[nodiscard]] std::string messages() const { return messages_; }

  /// Asks it to stop, as SIGTERM does.
  void stop() const;

  /// Waits for its end.
  ChildEnd wait();

 private:
  pid_t process_ = -1;
  int messagesFile_ = -1;
  std::string messages_;
};

}  // namespace orv2d

#endif  // ORV2D_CHILD_PROCESS_H
