// SPDX-License-Identifier: MIT
/// @file
/// The program is told to stop: nothing unfinished is left, and no earlier file is lost.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <array>
#include <csignal>

namespace orv2d::tests {
namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

constexpr int kSignalExit = 128;

class StoppedHost : public HostTest {
 protected:
  StoppedHost() {
    const std::vector<cv::Mat> views = overlappingViews(3);
    for (std::size_t i = 0; i < views.size(); ++i) {
      cv::imwrite(path("v" + std::to_string(i) + ".png").string(), views[i]);
    }
    cv::imwrite(path("disc.png").string(), disc(300, 0.7, 3));
  }

  /// Kills the command so long after it began to write its output.
  [[nodiscard]] RunResult killedWhileItWrites(double milliseconds,
                                              const std::string& command) const {
    const std::string begun = R"(set -- .orv2d-*/output*; [ -e "$1" ] && break; )";
    return shell(
        R"({ "$PROGRAM" )" + command + R"( >"$OUT" 2>"$ERR" & p=$!; )" + "while kill -0 $p; do " +
        begun + "done; " +
        (milliseconds > 0.0 ? "sleep " + std::to_string(milliseconds / 1000.0) + "; " : "") +
        "kill -KILL $p; wait $p; } 2>/dev/null");
  }

  /// Stops the command at moments that are spread over its run.
  void expectAllOrNothing(const std::string& command, const std::vector<std::string>& outputs) {
    SCOPED_TRACE(command);
    constexpr double kFirstMs = 20.0;
    constexpr double kGrowth = 1.25;
    constexpr std::array<std::pair<const char*, int>, 3> kSignals = {
        {{"INT", SIGINT}, {"TERM", SIGTERM}, {"HUP", SIGHUP}}};
    const std::string earlier = "earlier";
    const auto writeEarlier = [&](const std::string& name) { writeText(name, earlier); };
    std::for_each(outputs.begin(), outputs.end(), writeEarlier);
    const std::set<std::string> before = files();
    std::size_t moment = 0;
    double milliseconds = kFirstMs;
    for (bool finished = false; !finished; ++moment, milliseconds *= kGrowth) {
      std::for_each(outputs.begin(), outputs.end(), writeEarlier);
      const auto& [name, number] = kSignals.at(moment % kSignals.size());
      const RunResult result = runFor(milliseconds, name, command);
      finished = result.exitCode == 0;
      ASSERT_THAT(result.exitCode, AnyOf(0, kSignalExit + number));
      EXPECT_EQ(files(), before);
      const auto asBefore = std::count_if(outputs.begin(), outputs.end(), [&](const auto& output) {
        return bytes(output) == earlier;
      });
      EXPECT_THAT(asBefore, AnyOf(0, static_cast<std::ptrdiff_t>(outputs.size())));
    }
    EXPECT_GT(moment, 1U) << "none was stopped";
  }
};

TEST_F(StoppedHost, AtAnyMomentAllOutputsAreNewOrAllAreOld) {
  expectAllOrNothing(
      "montage v0.png v1.png v2.png -o out.png --report r.json --overlay o.png "
      "--save-registration s.json",
      {"out.png", "r.json", "o.png", "s.json"});
  expectAllOrNothing("montage v0.png v1.png v2.png -o tiles.tif --tiles --report r.json",
                     {"tiles.tif", "r.json"});
  expectAllOrNothing(
      "correct disc.png -o c.png --half-field-angle 90deg --mode rect --output-size 2000 "
      "--report r.json",
      {"c.png", "r.json"});
}

TEST_F(StoppedHost, EveryCommandSaysThatItStoppedWithinASecond) {
  ASSERT_EQ(run("register v0.png v1.png v2.png -o s.json --quiet").exitCode, 0);
  const std::set<std::string> before = files();
  for (const std::string command :
       {"montage v0.png v1.png v2.png -o out.png --report r.json",
        "register v0.png v1.png v2.png -o r.json",
        "plan s.json -o s.plan",
        "compose s.json -o out.tif --tiles",
        "correct disc.png -o c.png --half-field-angle 90deg --mode square"}) {
    const RunResult result = runUntilItSpeaks(command);
    EXPECT_EQ(result.exitCode, kSignalExit + SIGTERM) << command;
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.errorLines.back(), HasSubstr("stopped; nothing unfinished is left"));
    EXPECT_EQ(files(), before) << command;
    EXPECT_LT(result.secondsToStop, 1.0) << command;
  }
}

TEST_F(StoppedHost, AKilledRunLeavesWholeOutputsAndTheNextOneClearsTheRest) {
  const std::string earlier = "earlier";
  bool wasLeft = false;
  for (const auto& [command, output] :
       {std::pair("montage v0.png v1.png v2.png -o out.png", "out.png"),
        std::pair("montage v0.png v1.png v2.png -o tiles.tif --tiles --pyramid", "tiles.tif")}) {
    ASSERT_EQ(run(command).exitCode, 0);
    const std::string wanted = bytes(output);
    const std::set<std::string> complete = files();
    constexpr double kStepMs = 3.0;
    constexpr int kAtOnce = 3;
    int exitCode = kSignalExit + SIGKILL;
    for (int i = 0; exitCode != 0 || i < kAtOnce; ++i) {
      const double milliseconds = i < kAtOnce ? 0.0 : (i - kAtOnce) * kStepMs;
      writeText(output, earlier);
      exitCode = killedWhileItWrites(milliseconds, command).exitCode;
      EXPECT_THAT(exitCode, AnyOf(0, kSignalExit + SIGKILL));
      EXPECT_THAT(bytes(output), AnyOf(earlier, wanted));
      wasLeft = wasLeft || files() != complete;
    }
    EXPECT_EQ(files(), complete);
    EXPECT_EQ(bytes(output), wanted);
  }
  EXPECT_TRUE(wasLeft) << "no kill came while it wrote";
}

}  // namespace
}  // namespace orv2d::tests
