// SPDX-License-Identifier: MIT
/// @file
/// The n-th read, write, rename or flush fails: the program says so in one line and every earlier
/// file is as it was, or the failure did not matter and all outputs are right.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

#include <iostream>
#include <map>

namespace orv2d::tests {
namespace {

using ::testing::AnyOf;

class FailingCalls : public HostTest {
 protected:
  FailingCalls() {
    const std::vector<cv::Mat> views = overlappingViews(2);
    for (std::size_t i = 0; i < views.size(); ++i) {
      cv::imwrite(path("v" + std::to_string(i) + ".png").string(), views[i]);
    }
    cv::imwrite(path("disc.png").string(), disc(300, 0.7, 3));
  }

  /// Runs the command with the `number`th of the calls failing; whether there were that many.
  bool runFailing(const std::string& call,
                  int number,
                  const std::string& command,
                  RunResult& result) {
    const std::string mark =
        path("").string() + "../failed-" + path("").parent_path().filename().string();
    std::filesystem::remove(mark);
    result = shell("LD_PRELOAD='" FAILING_CALLS "' FAILING_CALL=" + call +
                   " FAILING_AT=" + std::to_string(number) + " FAILING_MARK='" + mark +
                   R"(' "$PROGRAM" )" + command + R"( >"$OUT" 2>"$ERR")");
    return std::filesystem::remove(mark);
  }

  /// @param[in] outputs  with the same bytes in every run; r.json, the report, is written of a run
  ///   that failed too.
  void expectAllOrNothing(const std::string& command, const std::vector<std::string>& outputs) {
    SCOPED_TRACE(command);
    ASSERT_EQ(run(command).exitCode, 0);
    std::map<std::string, std::string> expected;
    for (const std::string& output : outputs) {
      expected[output] = bytes(output);
    }
    const std::set<std::string> before = files();
    const std::string earlier = "earlier";
    std::map<std::string, int> failures;
    for (const std::string call : {"read", "write", "rename", "fsync"}) {
      int number = 1;
      for (RunResult result;; ++number) {
        for (const std::string& output : outputs) {
          writeText(output, earlier);
        }
        if (!runFailing(call, number, command, result)) {
          break;
        }
        SCOPED_TRACE(call + " " + std::to_string(number));
        EXPECT_EQ(files(), before);
        if (result.exitCode == 0) {
          for (const auto& [name, content] : expected) {
            EXPECT_EQ(bytes(name), content) << name;
          }
          continue;
        }
        ++failures[call];
        EXPECT_EQ(result.errorLines.size(), 1U) << testing::PrintToString(result.errorLines);
        EXPECT_THAT(result.exitCode, AnyOf(1, 3, 6));  // 1: what OpenCV reads of the machine
        for (const auto& [name, content] : expected) {
          // Should a rename fail, those before it stand.
          EXPECT_THAT(bytes(name), AnyOf(earlier, call == "rename" ? content : earlier)) << name;
        }
      }
      std::cout << call << ": " << number - 1 << " tried, " << failures[call] << " ended the run\n";
      EXPECT_GT(failures[call], 0) << call;
    }
  }
};

TEST_F(FailingCalls, AreSaidAndLeaveEarlierFiles) {
  expectAllOrNothing("montage v0.png v1.png -o out.png --report r.json --quiet", {"out.png"});
  expectAllOrNothing("montage v0.png v1.png -o tiles.tif --tiles --pyramid --report r.json --quiet",
                     {"tiles.tif"});
  expectAllOrNothing(
      "correct disc.png -o c.png --half-field-angle 90deg --mode range "
      "--min-angle-deg=-60 --max-angle-deg 60 --report r.json --quiet",
      {"c.png"});
}

}  // namespace
}  // namespace orv2d::tests
