// SPDX-License-Identifier: MIT
#include "hosts/HostRun.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace orv2d::tests {
namespace {

std::string contentOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

fs::path makeFolder() {
  std::string name = (fs::temp_directory_path() / "orv2d-test-XXXXXX").string();
  EXPECT_NE(mkdtemp(name.data()), nullptr);
  return name;
}

}  // namespace

HostTest::HostTest() : folder_(makeFolder()) {}

HostTest::~HostTest() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
  fs::remove(folder_.string() + ".out", ignored);
  fs::remove(folder_.string() + ".err", ignored);
}

RunResult HostTest::shell(const std::string& line) const {
  const std::string out = folder_.string() + ".out";
  const std::string err = folder_.string() + ".err";
  const std::string command = "cd '" + folder_.string() + "' && PROGRAM='" ORV2D_PROGRAM "' OUT='" +
                              out + "' ERR='" + err + "' && " + line;
  const int status = std::system(command.c_str());  // NOLINT(concurrency-mt-unsafe): one thread
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(out), linesOf(contentOf(err))};
}

RunResult HostTest::run(const std::string& arguments, int maxKilobytes) const {
  // The unit of the limit is 512 bytes.
  const std::string limit =
      maxKilobytes > 0 ? "ulimit -f " + std::to_string(2 * maxKilobytes) + " && " : "";
  return shell(limit + R"("$PROGRAM" )" + arguments + R"( >"$OUT" 2>"$ERR")");
}

RunResult HostTest::runUntilItSpeaks(const std::string& arguments) const {
  const std::string stop = R"(t=$(date +%s%N); kill -TERM $p; wait $p; code=$?; )"
                           R"(echo $(($(date +%s%N) - t)) >"$OUT.ns"; exit $code; })";
  RunResult result =
      shell(R"(: >"$ERR" && { "$PROGRAM" )" + arguments + R"( >"$OUT" 2>"$ERR" & p=$!; )" +
            R"(while [ ! -s "$ERR" ] && kill -0 $p; do sleep 0.01; done; )" + stop);
  const std::string nanoseconds = folder_.string() + ".out.ns";
  constexpr double kPerSecond = 1e9;
  result.secondsToStop = std::stod(contentOf(nanoseconds)) / kPerSecond;
  fs::remove(nanoseconds);
  return result;
}

RunResult HostTest::runFor(double milliseconds,
                           const std::string& signal,
                           const std::string& arguments) const {
  const std::string seconds = std::to_string(milliseconds / 1000.0);
  return shell("timeout --preserve-status -s " + signal + " " + seconds + R"( "$PROGRAM" )" +
               arguments + R"( >"$OUT" 2>"$ERR")");
}

std::set<std::string> HostTest::files() const {
  std::set<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
    names.insert(fs::relative(entry.path(), folder_).string());
  }
  return names;
}

nlohmann::json HostTest::json(const std::string& name) const {
  return nlohmann::json::parse(bytes(name));
}

std::string HostTest::bytes(const std::string& name) const {
  return contentOf(path(name));
}

void HostTest::writeText(const std::string& name, const std::string& text) const {
  std::ofstream(path(name), std::ios::binary) << text;
}

void HostTest::expectRefused(const std::string& arguments,
                             int exitCode,
                             const std::string& phrase) const {
  SCOPED_TRACE(arguments);
  const std::set<std::string> before = files();
  const RunResult result = run(arguments);
  EXPECT_EQ(result.exitCode, exitCode);
  EXPECT_THAT(result.errorLines, ::testing::ElementsAre(::testing::HasSubstr(phrase)));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(files(), before);
}

}  // namespace orv2d::tests
