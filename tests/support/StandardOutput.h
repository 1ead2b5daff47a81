// SPDX-License-Identifier: MIT
/// @file
/// Catches what a process writes to standard output, by whatever means.
#ifndef ORV_TESTS_SUPPORT_STANDARD_OUTPUT_H
#define ORV_TESTS_SUPPORT_STANDARD_OUTPUT_H

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <unistd.h>

namespace ORV::TestSupport {

/// Redirects the file descriptor of standard output into a file while it lives; so it catches
/// `std::cout`, `printf` and `write` alike, of all threads.
class StandardOutput {
 public:
  StandardOutput() : file_(std::tmpfile()), saved_(dup(STDOUT_FILENO)) {
    flush();
    dup2(fileno(file_.get()), STDOUT_FILENO);
  }
  ~StandardOutput() {
    flush();
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// Everything written so far.
  std::string text() const {
    flush();
    std::string all;
    char part[256];
    off_t offset = 0;
    for (ssize_t count = 0; (count = pread(fileno(file_.get()), part, sizeof part, offset)) > 0;
         offset += count) {
      all.append(part, static_cast<std::size_t>(count));
    }
    return all;
  }

 private:
  static void flush() {
    std::cout.flush();
    std::fflush(stdout);
  }

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> file_;
  int saved_;
};

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_STANDARD_OUTPUT_H
