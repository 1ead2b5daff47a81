// SPDX-License-Identifier: MIT
/// @file
/// Bad input of `orv2d montage` and the command line itself: one clear line, its own exit code, and
/// no file written.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace orv2d::tests {
namespace {

namespace fs = std::filesystem;

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int kUsage = 2;
constexpr int kUnreadable = 3;
constexpr int kCamerasNotFinite = 5;
constexpr int kUnwritable = 6;

class RefusedInput : public HostTest {
 protected:
  RefusedInput() {
    const std::vector<cv::Mat> views = overlappingViews(2);
    cv::imwrite(path("a.png").string(), views[0]);
    cv::imwrite(path("b.png").string(), views[1]);
  }
};

TEST_F(RefusedInput, CommandLine) {
  expectRefused(
      "", kUsage, "no command; orv2d montage, batch, register, compose, inspect or correct");
  expectRefused("a.png b.png -o out.png", kUsage, "no command before 'a.png'");
  expectRefused("join a.png b.png", kUsage, "'join' is no command; orv2d montage");
  expectRefused(
      "corect a.png -o out.png", kUsage, "'corect' is no command (did you mean correct?)");
  expectRefused("--quiet montage a.png", kUsage, "'--quiet' stands before the command");
  expectRefused("montage a.png b.png", kUsage, "--output");
  expectRefused("montage -o out.png", kUsage, "IMAGE");
  expectRefused(
      "montage a.png b.png -o out.png --fast", kUsage, "'--fast'; see orv2d montage --help");
  expectRefused("montage a.png --fast b.png --out out.png --sems none", kUsage, "'--fast'");
  expectRefused(
      "correct a.png --outptu out.png --min-angle-deg -60", kUsage, "(did you mean --output?)");
  expectRefused("correct a.png", kUsage, "see orv2d correct --help");
  expectRefused("montage a.png b.png -o out.png --pipeline best", kUsage, "--pipeline");
  expectRefused("montage a.png b.png -o out.png --seams voronoi", kUsage, "--seams");
}

TEST_F(RefusedInput, ValuesOfFlagsAndEmptyValues) {
  const std::string montage = "montage a.png b.png -o out.png ";
  for (const std::string& command : {std::string(), std::string("montage "), montage}) {
    expectRefused(command + "--help=x", kUsage, "--help takes no value");
  }
  expectRefused("--version=1", kUsage, "--version takes no value");
  expectRefused(montage + "--no-blend=7x", kUsage, "--no-blend takes no value");
  expectRefused(montage + "--quiet=false", kUsage, "--quiet takes no value");
  for (const std::string option : {"--report", "--overlay", "--save-registration", "--pairs"}) {
    expectRefused(montage + option + " ''", kUsage, option + ": a value is expected");
  }
  expectRefused("correct a.png -o out.png --lens ''", kUsage, "--lens: a value is expected");
  expectRefused("inspect ''", kUsage, "FILE: a value is expected");
}

TEST_F(RefusedInput, ImagesThatAReductionWouldLeaveNothingOf) {
  cv::Mat thin;
  cv::resize(cv::imread(path("a.png").string()), thin, {20000, 3}, 0, 0, cv::INTER_AREA);
  for (const char* name : {"thin.png", "thin2.png"}) {
    cv::imwrite(path(name).string(), thin);
  }
  for (const std::string option : {"--registration-mp", "--seam-mp", "--compose-mp"}) {
    const std::string choice = option + " 0.0001";
    expectRefused("montage thin.png thin2.png -o out.png --quiet " + choice, kUnreadable, choice);
  }
}

TEST_F(RefusedInput, FilesOfPairs) {
  writeText("long.txt", "0 1" + std::string(3000000, ' ') + "x");
  writeText("twice.txt", "0 1\n1,0\n");
  writeText("self.txt", "# none\n0 0");
  writeText("none.txt", "");
  for (const std::string name : {"long.txt", "twice.txt", "self.txt", "none.txt", "missing.txt"}) {
    expectRefused("montage a.png b.png -o out.png --pairs " + name, kUnreadable, name);
  }
}

TEST_F(RefusedInput, Resolutions) {
  for (const std::string option : {"--registration-mp", "--seam-mp", "--compose-mp"}) {
    for (const std::string value : {"0", "1001"}) {
      expectRefused("montage a.png b.png -o out.png " + option + " " + value, kUsage, option);
    }
  }
  for (const std::string value : {"-2", "nan", "0.6x", "''"}) {  // one check serves all three
    expectRefused("montage a.png b.png -o out.png --seam-mp " + value, kUsage, "--seam-mp");
  }
}

TEST_F(RefusedInput, Pairs) {
  const auto refuses = [&](const std::string& pairs, int exitCode, const std::string& why) {
    expectRefused("montage a.png b.png a.png -o out.png --pairs " + pairs, exitCode, why);
  };
  refuses("grid:2x2", kUsage, "--pairs grid:2x2: a grid of 3 images is expected, this one has 4");
  refuses("grid:3", kUsage, "grid:RxC is expected");
  refuses("sequential:0", kUsage, "sequential:K is expected");
  refuses("autom", kUnreadable, "neither all, auto, sequential:K or grid:RxC nor a file");
  const std::pair<const char*, const char*> files[] = {
      {"# nothing\n\n", "no pairs in it"},
      {"0 1\n1 two\n", "line 2: two numbers of images are expected, '1 two' found"},
      {"0, 1 # good\n\n2,2", "line 3: image 2 cannot be compared with itself"},
      {"0 3", "line 1: there is no image 3; the last one is 2"},
      {"0 1\r\n2 1\r\n1 2\r\n", "line 3: the pair 1 2 is in line 2 already"}};
  for (const auto& [text, why] : files) {
    writeText("pairs.txt", text);
    refuses("pairs.txt", kUnreadable, why);
  }
  expectRefused("register a.png b.png -o pairs.txt --pairs pairs.txt", kUnreadable, "pairs.txt");
}

TEST_F(RefusedInput, Counts) {
  expectRefused("montage a.png -o out.png", kUsage, "two images");
  expectRefused("montage a.png b.png --slabs 2 -o out.png", kUsage, "two images");
  expectRefused("montage a.png b.png a.png --slabs 2 -o out.png", kUsage, "divided");
  for (const std::string slabs : {"0", "-1", "1.5", "many", "99999999999"}) {
    expectRefused("montage a.png b.png -o out.png --slabs " + slabs, kUsage, "--slabs");
  }
}

TEST_F(RefusedInput, ControlCharactersOfNamesDoNotReachTheTerminal) {
  const std::string name = "n\x1b[31m\n\xc3\xa4\xc2\x9b\xff.png";  // a terminal's colour, and worse
  writeText(name, "no picture");
  const std::string written = R"('n\x1b[31m\n)"
                              "\xc3\xa4"
                              R"(\xc2\x9b\xff.png')";
  expectRefused("montage a.png '" + name + "' -o out.png --quiet", kUnreadable, written);
  cv::imwrite(path("disc.png").string(), disc(100, 0.7, 3));
  fs::rename(path("disc.png"), path(name));
  const RunResult result =
      run("correct '" + name + "' -o out.png --mode view --fov-x-deg 60 --fov-y-deg 60");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.out.find(written.substr(1, written.size() - 2)), std::string::npos)
      << result.out;
  EXPECT_EQ(result.errorLines.size(), 1U);
}

TEST_F(RefusedInput, ImagesThatAreNotInRegister) {
  const cv::Mat view = cv::imread(path("a.png").string());
  cv::imwrite(path("small.png").string(), view(cv::Rect(0, 0, 399, 300)));
  cv::imwrite(path("flat.png").string(), view(cv::Rect(0, 0, 400, 150)));
  ASSERT_EQ(run("register a.png b.png -o r.json --quiet").exitCode, 0);
  expectRefused("montage a.png b.png a.png small.png --slabs 2 -o out.png --quiet",
                kUnreadable,
                "'small.png': it has 399 x 300 pixels, but 400 x 300 are expected");
  expectRefused("compose r.json a.png flat.png -o out.png --quiet", kUnreadable, "400 x 150");
  expectRefused("compose r.json a.png b.png a.png -o out.png", kUsage, "'r.json' holds 2");
  expectRefused("montage a.png b.png --registration r.json --registration-mp 1 -o out.png",
                kUsage,
                "--registration");
}

TEST_F(RefusedInput, DamagedRegistrations) {
  ASSERT_EQ(run("register a.png b.png -o r.json --quiet").exitCode, 0);
  const std::string good = bytes("r.json");
  writeText("half.json", good.substr(0, good.size() / 2));
  const auto changed = [&](const std::string& from, const std::string& to) {
    std::string text = good;
    return text.replace(text.find(from), from.size(), to);
  };
  writeText("newer.json", changed("\"version\": 1", "\"version\": 7"));
  writeText("used.json", changed("\"used\": [\n  0", "\"used\": [\n  9"));
  // What a registration names is only ever read as an image.
  writeText("names.json", changed("\"b.png\"", "\"r.json\""));
  fs::create_directory(path("folder.json"));
  const std::pair<std::string, std::string> cases[] = {{"missing.json", "no such file"},
                                                       {"folder.json", "it is a folder"},
                                                       {"a.png", "'a.png'"},
                                                       {"half.json", "'half.json'"},
                                                       {"newer.json", "newer"},
                                                       {"used.json", "damaged"}};
  for (const auto& [file, reason] : cases) {
    expectRefused("compose " + file + " -o out.png --quiet", kUnreadable, reason);
    expectRefused("inspect " + file, kUnreadable, reason);
    expectRefused(
        "montage a.png b.png --registration " + file + " -o out.png", kUnreadable, reason);
  }
  expectRefused(
      "compose names.json -o out.png --quiet", kUnreadable, "'r.json': it is not an image");
  // And only where the user has pointed to.
  for (const std::string name : {"/etc/b.png", "../b.png", "way/b.png"}) {
    writeText("names.json", changed("\"b.png\"", "\"" + name + "\""));
    fs::create_directory_symlink("/etc", path("way"));
    expectRefused("compose names.json -o out.png", kUnreadable, "it names the image '" + name);
    fs::remove(path("way"));
  }
  ASSERT_EQ(run("plan r.json -o r.plan --quiet").exitCode, 0);
  std::string plan = bytes("r.plan");
  writeText("r.plan", plan.replace(plan.find("\"a.png\""), 7, "\"/.png\""));
  expectRefused("compose r.plan -o out.png", kUnreadable, "it names the image '/.png'");
}

TEST_F(RefusedInput, ASecondTakeOfTheSameViewHasNoFiniteCameras) {
  const cv::Mat view = cv::imread(path("a.png").string());
  cv::Mat noise(view.size(), view.type());
  cv::RNG(1).fill(noise, cv::RNG::UNIFORM, 0, 20);
  cv::imwrite(path("again.png").string(), view + noise);
  expectRefused("montage a.png again.png -o out.png --quiet --pipeline basic",
                kCamerasNotFinite,
                "did not stay finite");
}

TEST_F(RefusedInput, OutputsThatCannotBe) {
  fs::create_directory(path("folder.png"));
  writeText("file", "");
  const std::string montage = "montage a.png b.png -o ";
  expectRefused(montage + "out", kUsage, ".png");
  expectRefused(montage + "out.gif", kUsage, "'out.gif'");
  expectRefused(montage + "out.png --overlay marks.txt", kUsage, "'marks.txt'");
  expectRefused(montage + "out.jpg --background transparent", kUsage, "cannot be transparent");
  expectRefused(montage + "out.png --quality 50", kUsage, "'out.png' is none");
  expectRefused(montage + "out.png --pyramid", kUsage, "'out.png' is none");
  expectRefused(montage + "out.tif --compression jpeg --background transparent",
                kUsage,
                "cannot be transparent");
  expectRefused(montage + "out.tif --tiles --quality 50", kUsage, "'out.tif' is none");
  expectRefused(montage + "./b.png", kUsage, "input");
  expectRefused(montage + "out.png --report a.png", kUsage, "input");
  fs::create_symlink("b.png", path("link.png"));
  fs::create_hard_link(path("b.png"), path("hard.png"));
  expectRefused(montage + "link.png", kUsage, "input");
  expectRefused(montage + "hard.png", kUsage, "input");
  expectRefused(montage + "/proc/out.png", kUnwritable, "no file can be created in its folder");
  expectRefused(montage + "out.png --overlay ./out.png", kUsage, "two outputs");
  expectRefused(montage + "folder.png", kUnwritable, "folder");
  expectRefused(montage + "nowhere/out.png", kUnwritable, "does not exist");
  expectRefused(montage + "file/out.png", kUnwritable, "'file/out.png'");
  expectRefused(montage + "out.png --report nowhere/r.json", kUnwritable, "'nowhere/r.json'");
}

TEST_F(RefusedInput, SlabOutputsAreAllChecked) {
  fs::create_directory(path("m_slab1.png"));
  expectRefused("montage a.png b.png a.png b.png --slabs 2 -o m.png", kUnwritable, "m_slab1.png");
}

TEST_F(RefusedInput, StandardOutputThatCannotBeWritten) {
  for (const std::string command : {"--help", "--version", "montage a.png b.png -o out.png"}) {
    for (const std::string where : {">&-", ">/dev/full"}) {
      const RunResult result = shell(R"("$PROGRAM" )" + command + " " + where + R"( 2>"$ERR")");
      EXPECT_EQ(result.exitCode, kUnwritable) << command << where;
      EXPECT_THAT(result.errorLines.back(), HasSubstr("standard output cannot be written"));
    }
  }
  EXPECT_FALSE(cv::imread(path("out.png").string()).empty()) << "the montage itself is whole";
}

TEST_F(RefusedInput, WithTooFewFilesItStillSpeaks) {
  writeText("text.png", "no image");
  for (const int files : {4, 5}) {
    const RunResult result =
        shell(R"((exec >"$OUT" 2>"$ERR" 3>&- 4>&- 5>&- && ulimit -n )" + std::to_string(files) +
              R"( && exec "$PROGRAM" montage text.png a.png -o o.png --quiet))");
    EXPECT_EQ(result.exitCode, kUnreadable) << files;
    // The other image cannot be opened while this one is; whichever is said first.
    EXPECT_THAT(result.errorLines, ElementsAre(AnyOf(HasSubstr("text.png"), HasSubstr("a.png"))))
        << files;
  }
}

TEST_F(RefusedInput, HelpAndVersionAreNoErrors) {
  for (const std::string request : {"--help", "montage --help", "correct --help", "--version"}) {
    const RunResult result = run(request);
    EXPECT_EQ(result.exitCode, 0) << request;
    EXPECT_FALSE(result.out.empty()) << request;
  }
  EXPECT_NE(run("montage --help").out.find("Exit codes:"), std::string::npos);
}

}  // namespace
}  // namespace orv2d::tests
