// SPDX-License-Identifier: MIT
/// @file
/// Runs the program in a temporary folder and collects what it says.
#ifndef ORV2D_TESTS_HOST_RUN_H
#define ORV2D_TESTS_HOST_RUN_H

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace orv2d::tests {

struct RunResult {
  int exitCode = -1;
  std::string out;
  std::vector<std::string> errorLines;
  double secondsToStop = 0.0;  ///< of `runUntilItSpeaks`: from the signal to the end
};

/// A test with an empty folder of its own, in which the program runs.
class HostTest : public ::testing::Test {
 protected:
  HostTest();
  ~HostTest() override;
  HostTest(const HostTest&) = delete;
  HostTest& operator=(const HostTest&) = delete;

  /// Runs the program with `arguments`, written as in a shell, where files may grow to
  /// `maxKilobytes` only (0: to any size).
  RunResult run(const std::string& arguments, int maxKilobytes = 0) const;

  /// Runs the program and sends it SIGTERM as soon as it has said something on standard error.
  [[nodiscard]] RunResult runUntilItSpeaks(const std::string& arguments) const;

  /// Runs the program and sends it `signal`, "TERM" for example, after so many milliseconds.
  [[nodiscard]] RunResult runFor(double milliseconds,
                                 const std::string& signal,
                                 const std::string& arguments) const;

  /// Runs a line of shell, in which $PROGRAM stands for the program, and $OUT and $ERR for the files
  /// that its streams are collected in.
  [[nodiscard]] RunResult shell(const std::string& line) const;

  [[nodiscard]] std::filesystem::path path(const std::string& name) const { return folder_ / name; }
  /// Names of all files and folders in the folder, hidden ones included.
  [[nodiscard]] std::set<std::string> files() const;
  [[nodiscard]] nlohmann::json json(const std::string& name) const;
  [[nodiscard]] std::string bytes(const std::string& name) const;
  void writeText(const std::string& name, const std::string& text) const;

  /// Expects failure with `exitCode`, one line on standard error that holds `phrase`, and no change
  /// in the folder.
  void expectRefused(const std::string& arguments, int exitCode, const std::string& phrase) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace orv2d::tests

#endif  // ORV2D_TESTS_HOST_RUN_H
