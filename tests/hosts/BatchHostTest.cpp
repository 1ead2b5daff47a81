// SPDX-License-Identifier: MIT
/// @file
/// `orv2d batch` from end to end.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <csignal>
#include <map>
#include <sstream>

namespace orv2d::tests {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

constexpr int kSomeFailed = 11;

std::vector<nlohmann::json> outcomesIn(const std::string& out) {
  std::vector<nlohmann::json> outcomes;
  std::istringstream stream(out);
  for (std::string line; std::getline(stream, line);) {
    outcomes.push_back(nlohmann::json::parse(line));
  }
  return outcomes;
}

std::map<std::string, std::string> statusesIn(const std::string& out) {
  std::map<std::string, std::string> statuses;
  for (const nlohmann::json& outcome : outcomesIn(out)) {
    const auto name = outcome["name"].get<std::string>();
    EXPECT_EQ(statuses.count(name), 0U) << name << " is told twice";
    statuses[name] = outcome["status"];
  }
  return statuses;
}

class BatchHost : public HostTest {
 protected:
  BatchHost() {
    const std::vector<cv::Mat> views = overlappingViews(3);
    for (const std::string folder : {"a", "b"}) {
      fs::create_directory(path(folder));
      for (std::size_t i = 0; i < views.size(); ++i) {
        cv::imwrite(path(folder + "/v" + std::to_string(i) + ".png").string(), views[i]);
      }
    }
    fs::create_directory(path("out"));
  }

  /// A manifest of scenes s0, s1, ... of the same images.
  void writeScenes(int count) const {
    std::string text = "name,images\n";
    for (int i = 0; i < count; ++i) {
      text += "s" + std::to_string(i) + ",a/v*.png\n";
    }
    writeText("m.csv", text);
  }

  [[nodiscard]] std::map<std::string, std::string> statuses(const std::string& arguments,
                                                            int exitCode = 0) const {
    const RunResult result = run("batch " + arguments);
    EXPECT_EQ(result.exitCode, exitCode) << arguments;
    return statusesIn(result.out);
  }

  [[nodiscard]] bool holdsScratch() const {
    const std::set<std::string> names = files();
    return std::any_of(names.begin(), names.end(), [](const std::string& name) {
      return name.find(".tmp") != std::string::npos;
    });
  }
};

TEST_F(BatchHost, AFailingSceneDoesNotEndTheOthers) {
  cv::imwrite(path("stranger.png").string(), texturedScene({400, 300}, 99));
  writeText("m.csv",
            "\xEF\xBB\xBFname,options,images,slabs,output\r\n"
            "alone,,a/v0.png;stranger.png,,out/alone.png\r\n"
            "plain,,a/v[0-9].png,,out/plain.png\r\n"
            "nothing,,c/*.png,,out/nothing.png\r\n"
            "\r\n"
            "\"two, slabs\",--crop none --report 'out/{scene}.json',a/*.png;b/*.png,2,\r\n");
  const RunResult result =
      run("batch m.csv --jobs 2 --crop inner --grey -o 'out/{scene} {slab}.tif'");

  EXPECT_EQ(result.exitCode, kSomeFailed);
  EXPECT_EQ(run("montage a/v?.png -o plain.png --quiet --grey --crop inner").exitCode, 0);
  EXPECT_EQ(run("montage a/v?.png b/v?.png --slabs 2 -o slab.tif --quiet --grey").exitCode, 0);
  EXPECT_EQ(bytes("out/plain.png"), bytes("plain.png"));
  EXPECT_EQ(bytes("out/two, slabs 1.tif"), bytes("slab_slab1.tif"));
  EXPECT_FALSE(fs::exists(path("out/alone.png")));
  EXPECT_FALSE(holdsScratch());

  std::map<std::string, nlohmann::json> found;
  for (const nlohmann::json& outcome : outcomesIn(result.out)) {
    found[outcome["name"]] = outcome;
  }
  ASSERT_EQ(found.size(), 4U);
  EXPECT_EQ(found["alone"]["exitCode"], 4);
  EXPECT_THAT(found["alone"]["reason"].get<std::string>(), HasSubstr("connect"));
  EXPECT_EQ(found["alone"]["outputs"], nlohmann::json::array());
  EXPECT_EQ(found["plain"]["status"], "done");
  EXPECT_EQ(found["plain"]["imagesUsed"], 3);
  EXPECT_EQ(found["nothing"]["exitCode"], 3);
  EXPECT_EQ(
      found["two, slabs"]["outputs"],
      (nlohmann::json{"out/two, slabs 0.tif", "out/two, slabs 1.tif", "out/two, slabs.json"}));
  EXPECT_THAT(result.errorLines, testing::Contains(HasSubstr("orv2d: alone: no montage: ")));
  EXPECT_THAT(result.errorLines, testing::Contains(HasSubstr("no file matches 'c/*.png'")));

  const RunResult again =
      run("batch m.csv --crop inner --grey -o 'out/{scene} {slab}.tif' --quiet");
  EXPECT_EQ(again.exitCode, kSomeFailed);
  EXPECT_THAT(statusesIn(again.out),
              UnorderedElementsAre(Pair("alone", "failed"),
                                   Pair("plain", "skipped"),
                                   Pair("nothing", "failed"),
                                   Pair("two, slabs", "skipped")));
  EXPECT_THAT(again.errorLines, IsEmpty());
  const RunResult cramped = run("batch m.csv --force --max-memory 1M -o 'out/{scene}.png'");
  EXPECT_THAT(cramped.out, HasSubstr("\"exitCode\":10"));
  EXPECT_EQ(bytes("out/plain.png"), bytes("plain.png"));
}

TEST_F(BatchHost, WhatIsDoneIsSkippedUntilSomethingChanges) {
  writeText("m.jsonl",
            R"({"name": "a", "images": ["a/v0.png", "a/v*1.png"], "output": "out/a.png"})"
            "\n\n"
            R"({"name": "b", "images": "b/*.png", "options": "--pairs p.txt", "output": "b.png"})");
  writeText("p.txt", "0 1\n1 2\n");
  const auto expect = [&](const std::string& a, const std::string& b, const std::string& options) {
    EXPECT_THAT(statuses("m.jsonl --jobs 2 " + options), ElementsAre(Pair("a", a), Pair("b", b)));
  };
  expect("done", "done", "");
  const std::string before = bytes("out/a.png");
  fs::last_write_time(path("a/v0.png"), fs::file_time_type::clock::now());
  expect("skipped", "skipped", "--threads 1");
  writeText("p.txt", "0 1\n0 2\n");
  expect("skipped", "done", "");
  fs::rename(path("a/v1.png"), path("a/v.png"));  // another order of the same contents
  fs::rename(path("a/v0.png"), path("a/v1.png"));
  fs::rename(path("a/v.png"), path("a/v0.png"));
  expect("done", "skipped", "");
  EXPECT_NE(bytes("out/a.png"), before);
  expect("done", "done", "--crop inner");
  writeText("b.png", "not what was made");
  expect("skipped", "done", "--crop inner");
  fs::remove(path("out/a.png"));
  expect("done", "skipped", "--crop inner");
  expect("done", "done", "--crop inner --force");
  writeText("out/.a.png.orv2d-batch", "{\"choices\":");
  expect("done", "skipped", "--crop inner");
  // From another folder, all the same.
  const RunResult elsewhere =
      shell(R"(cd out && "$PROGRAM" batch ../m.jsonl --crop inner >"$OUT" 2>"$ERR")");
  EXPECT_THAT(statusesIn(elsewhere.out), Each(Pair(AnyOf("a", "b"), "skipped")));
}

TEST_F(BatchHost, TwoRunsAtATimeMakeEverySceneOnce) {
  constexpr int kScenes = 5;
  writeScenes(kScenes);
  const std::string one = R"("$PROGRAM" batch m.csv -o 'out/{scene}.png' )";
  const RunResult both = shell("{ " + one + R"(--jobs 2 >first 2>"$ERR" & )" + one +
                               R"(>second 2>>"$ERR"; code=$?; wait $! && exit $code; })");
  EXPECT_EQ(both.exitCode, 0);
  const auto first = statusesIn(bytes("first"));
  const auto second = statusesIn(bytes("second"));
  ASSERT_EQ(first.size(), static_cast<std::size_t>(kScenes));
  ASSERT_EQ(second.size(), static_cast<std::size_t>(kScenes));
  for (const auto& [name, status] : first) {
    EXPECT_THAT((std::vector<std::string>{status, second.at(name)}),
                UnorderedElementsAre("done", "skipped"))
        << name;
    EXPECT_EQ(bytes("out/" + name + ".png"), bytes("out/s0.png"));
  }
}

TEST_F(BatchHost, ShardsHaveEverySceneOnce) {
  writeScenes(5);
  const std::string out = " -o 'out/{scene}.png'";
  EXPECT_THAT(statuses("m.csv --shard 1/3" + out),
              ElementsAre(Pair("s0", "done"), Pair("s3", "done")));
  EXPECT_THAT(statuses("m.csv --shard 3/3" + out), ElementsAre(Pair("s2", "done")));
  const auto slurm = [&](int task, int count, int step) {
    const std::string begin = "SLURM_ARRAY_TASK_";
    std::ostringstream line;
    line << begin << "ID=" << task << ' ' << begin << "MIN=10 " << begin << "MAX=" << 10 + 2 * step
         << ' ' << begin << "COUNT=" << count << ' ' << begin << "STEP=" << step
         << R"( "$PROGRAM" batch m.csv --shard slurm)" << out << R"( >"$OUT" 2>"$ERR")";
    return shell(line.str());
  };
  EXPECT_THAT(statusesIn(slurm(15, 3, 5).out), ElementsAre(Pair("s1", "done"), Pair("s4", "done")));
  EXPECT_THAT(slurm(15, 2, 5).errorLines, ElementsAre(HasSubstr("have gaps")));
  expectRefused("batch m.csv --shard slurm" + out, 2, "no SLURM_ARRAY_TASK_ID");
  expectRefused("batch m.csv --shard 0/3" + out, 2, "I/N");
  EXPECT_THAT(statuses("m.csv" + out), Each(Pair(HasSubstr("s"), "skipped")));
}

TEST_F(BatchHost, AtAnyMomentAKilledRunLeavesWholeOutputsAndTheNextOneCompletes) {
  writeScenes(2);
  const std::string command = "batch m.csv --jobs 2 -o 'out/{scene}.png'";
  ASSERT_EQ(run(command).exitCode, 0);
  const std::set<std::string> complete = files();
  const std::string wanted = bytes("out/s0.png");
  const auto clear = [&] {
    fs::remove_all(path("out"));
    fs::create_directory(path("out"));
  };
  constexpr double kFirstMs = 30.0;
  constexpr double kGrowth = 1.8;
  bool finished = false;
  for (double milliseconds = kFirstMs; !finished; milliseconds *= kGrowth) {
    clear();
    const RunResult killed = runFor(milliseconds, "KILL", command);
    finished = killed.exitCode == 0;
    for (const std::string output : {"out/s0.png", "out/s1.png"}) {
      EXPECT_TRUE(!fs::exists(path(output)) || bytes(output) == wanted);
    }
    EXPECT_EQ(run(command).exitCode, 0);
    EXPECT_EQ(files(), complete) << milliseconds;
    EXPECT_EQ(bytes("out/s1.png"), wanted);

    clear();
    const std::set<std::string> before = files();
    const RunResult stopped = runFor(milliseconds, "TERM", command);
    EXPECT_THAT(stopped.exitCode, AnyOf(0, 128 + SIGTERM));
    EXPECT_FALSE(holdsScratch());
    for (const std::string& name : files()) {  // notes stand beside what was completed only
      EXPECT_TRUE(before.count(name) > 0 || name.find(".png") == name.size() - 4 ||
                  fs::exists(path("out/" + name.substr(5, 6))))
          << name;
    }
  }
}

TEST_F(BatchHost, AKilledSceneFailsAndTheOthersGoOn) {
  writeScenes(2);
  const RunResult result = shell(
      R"("$PROGRAM" batch m.csv -o 'out/{scene}.png' >"$OUT" 2>"$ERR" & p=$!; )"
      R"(until s=$(grep -ls "^PPid:.$p$" /proc/[0-9]*/status); do kill -0 $p || exit 9; sleep 0.01; done; )"
      R"(c=${s#/proc/}; kill -KILL "${c%%/*}"; wait $p)");
  EXPECT_EQ(result.exitCode, kSomeFailed);
  EXPECT_THAT(statusesIn(result.out), ElementsAre(Pair("s0", "failed"), Pair("s1", "done")));
  EXPECT_THAT(result.out, AllOf(HasSubstr("\"exitCode\":137"), HasSubstr("too little memory")));
  EXPECT_FALSE(holdsScratch());
  EXPECT_FALSE(fs::exists(path("out/.s0.png.orv2d-batch")));
}

TEST_F(BatchHost, AFullDiskFailsTheScene) {
  writeScenes(1);
  EXPECT_THAT(run("batch m.csv -o 'out/{scene}.png'", 20).out,
              AllOf(HasSubstr("\"exitCode\":6"), HasSubstr("is the disk full?")));
  EXPECT_FALSE(holdsScratch());
  writeText("out/.s0.png.orv2d-batch", R"({"choices":)" + std::string(3000000, '['));
  EXPECT_THAT(statuses("m.csv -o 'out/{scene}.png'"), ElementsAre(Pair("s0", "done")));
}

TEST_F(BatchHost, RefusesAManifestBeforeAnythingIsMade) {
  const auto refused = [&](const std::string& text, const std::string& phrase) {
    writeText("m", text);
    expectRefused("batch m", 3, phrase);
  };
  const std::string head = "name,images,options,output\n";
  const std::string good = "good,a/*.png,,out/good.png\n";
  refused("", "it has no scenes");
  refused(head, "it has no scenes");
  refused("name,image,output\n", "line 1: 'image' is unknown (did you mean images?)");
  refused("name,output\n", "there is no column 'images'");
  refused(head + good + "a,b\n", "line 3: it has 2 cells, the headings 4");
  refused(head + "\"a\nb", "line 2: a quotation mark is opened");
  refused(head + good + "good,a/*.png,,x.png\n",
          "line 3: there is a scene 'good' already, in line 2");
  refused(head + good + "b,a/*.png,,out/../out/good.png\n", "is written already, in line 2");
  refused(head + good + "b,a/*.png,--report out/good.png,b.png\n", "is written already, in line 2");
  refused(head + good + "b,out/good.png,,b.png\n", "is also an input, in line 3");
  refused(head + "b,a/*.png,,m.png\nc,a/*.png,,\n", "line 3: scene 'c' has no output");
  refused(head + "../b,a/*.png,,b.png\n", "'../b' is no name for a scene");
  refused(head + "b,a/*.png,,../b.png\n", "leads out of the folder of outputs");
  refused(head + "b,a/*.png,--overlay /tmp/b.png,b.png\n", "leads out of the folder of outputs");
  refused(head + good + "b,a/*.png,--corp inner,b.png\n",
          "line 3: unknown option '--corp' (did you");
  refused(head + "b,a/*.png,--crop wide,b.png\n", "wide not in {none,content,inner}");
  refused(head + "b,a/*.png,--pyramid,b.png\n", "are for a TIFF");
  refused(head + "b,a/*.png,--max-memory 1G,b.png\n", "--max-memory is no option of a scene");
  refused(head + "b,a/*.png,a/v0.png,b.png\n", "'a/v0.png' among the options is none");
  refused(head + "b,a/*.png,'--crop,b.png\n", "a quotation in options");
  refused("{\"name\": \"b\", \"images\": [[[[\"x\"]]]]}", "nested too deep");
  refused("\n{\"name\": \"b\", \"images\": [3]}", "line 2: 'images' is no text");
  refused("{\"name\": \"b\"}\n", "scene 'b' has no images");
  refused("{\"name\": \"b\"", "line 1: not JSON");
  refused("{}[]", "line 1: not JSON");
}

TEST_F(BatchHost, TheRecipeForParallelRuns) {
  writeText("scenes.csv", "name,images,output\nnorth,a/*.png,n.png\nsouth,b/*.png,s.png\n");
  const RunResult result =
      shell(R"(PATH=$(dirname "$PROGRAM"):$PATH && line=$(grep '^parallel ' ')" ORV2D_DOCS
            R"(/batch.md') && eval "$line" >"$OUT" 2>"$ERR")");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(statusesIn(bytes("outcomes.jsonl")),
              ElementsAre(Pair("north", "done"), Pair("south", "done")));
}

}  // namespace
}  // namespace orv2d::tests
