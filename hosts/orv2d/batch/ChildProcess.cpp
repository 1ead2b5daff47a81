// SPDX-License-Identifier: MIT
#include "batch/ChildProcess.h"

#include "ExitCode.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#ifdef __linux__
#include <sys/prctl.h>
#endif

extern char** environ;  // NOLINT(readability-redundant-declaration): not declared everywhere

namespace orv2d {
namespace {

[[noreturn]] void fail(int error) {
  throw HostError(ExitCode::InternalError,
                  error == E2BIG
                      ? "the names of its images are too long for one command line"
                      : "cannot start a process: " + std::generic_category().message(error));
}

class Pipe {
 public:
  Pipe() {
    if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
      fail(errno);
    }
  }
  ~Pipe() {
    closeIn();
    closeOne(ends_[0]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  [[nodiscard]] int in() const { return ends_[1]; }
  [[nodiscard]] int out() const { return ends_[0]; }
  void closeIn() { closeOne(ends_[1]); }
  int takeOut() { return std::exchange(ends_[0], -1); }

 private:
  static void closeOne(int& file) {
    if (file >= 0) {
      close(std::exchange(file, -1));
    }
  }

  std::array<int, 2> ends_ = {-1, -1};
};

ssize_t readSome(int file, void* bytes, std::size_t count) {
  ssize_t got = 0;
  do {
    got = read(file, bytes, count);
  } while (got < 0 && errno == EINTR);
  return got;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

/// What may be done between fork and exec: nothing that takes locks or memory.
struct Start {
  char* const* words;
  int nowhere;
  int messages;
  int failure;
  int inherited;
  pid_t parent;

  [[noreturn]] void operator()() const {
#ifdef __linux__
    prctl(PR_SET_PDEATHSIG, SIGTERM);
#endif
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    dup2(messages, STDERR_FILENO);
    fcntl(inherited, F_SETFD, 0);
    if (getppid() == parent) {  // else it was killed before it could be told apart
      execve("/proc/self/exe", words, environ);
    }
    const int error = errno;
    static_cast<void>(!write(failure, &error, sizeof error));
    _exit(1);
  }
};

}  // namespace

ChildProcess::ChildProcess(const Words& words, int inherited) {
  std::vector<std::string> arguments = {"orv2d"};
  arguments.insert(arguments.end(), words.begin(), words.end());
  const std::vector<char*> argumentPointers = pointersTo(arguments);
  Pipe messages;
  Pipe failure;
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  const Start start = {
      argumentPointers.data(), nowhere, messages.in(), failure.in(), inherited, getpid()};
  process_ = fork();
  if (process_ == 0) {
    start();
  }
  int error = process_ < 0 ? errno : 0;
  close(nowhere);
  failure.closeIn();
  if (process_ > 0 && readSome(failure.out(), &error, sizeof error) > 0) {
    waitpid(process_, nullptr, 0);
  }
  if (error != 0) {
    fail(error);
  }
  messagesFile_ = messages.takeOut();
}

ChildProcess::~ChildProcess() {
  wait();
  close(messagesFile_);
}

bool ChildProcess::readMessages() {
  constexpr std::size_t kMostKept = 65536;
  std::array<char, 4096> bytes = {};
  const ssize_t got = readSome(messagesFile_, bytes.data(), bytes.size());
  if (got <= 0) {
    return false;
  }
  messages_.append(bytes.data(), static_cast<std::size_t>(got));
  if (messages_.size() > 2 * kMostKept) {
    messages_.erase(0, messages_.size() - kMostKept);
  }
  return true;
}

void ChildProcess::stop() const {
  if (process_ > 0) {
    kill(process_, SIGTERM);
  }
}

ChildEnd ChildProcess::wait() {
  if (process_ <= 0) {
    return {};
  }
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return WIFSIGNALED(status) ? ChildEnd{0, WTERMSIG(status)} : ChildEnd{WEXITSTATUS(status), 0};
}

}  // namespace orv2d
