// SPDX-License-Identifier: MIT
/// @file
/// The promise of the output files: all of them, each complete, or none.
#include "ExitCode.h"
#include "ImageIo.h"
#include "OutputFiles.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <map>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace orv2d::tests {
namespace {

namespace fs = std::filesystem;

class OutputFilesTest : public ::testing::Test {
 protected:
  void write(const std::string& name, const std::string& text) {
    outputs_.write(folder_ / name, [&](const fs::path& target, const fs::path& file) {
      EXPECT_NE(target, file);
      writeBytes(text.data(), text.size(), target, file);
    });
  }
  void put(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }
  /// Names and contents of the files that are seen in the folder; hidden ones count as "hidden".
  [[nodiscard]] std::map<std::string, std::string> files() const {
    std::map<std::string, std::string> contents;
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
      const std::string name = entry.path().filename().string();
      std::ifstream stream(entry.path(), std::ios::binary);
      std::string& content = contents[name.front() == '.' ? "hidden" : name];
      if (entry.is_regular_file()) {
        content = {std::istreambuf_iterator<char>(stream), {}};
      }
    }
    return contents;
  }

  const ORV::TestSupport::TemporaryFolder folder_;
  OutputFiles outputs_;
};

using Files = std::map<std::string, std::string>;

TEST_F(OutputFilesTest, ReplaceEarlierFilesTogetherAtTheCommit) {
  put("a", "earlier");
  write("a", "new");
  write("b", "other");
  EXPECT_EQ(files()["a"], "earlier");
  EXPECT_EQ(files().count("b"), 0U);
  outputs_.commit();
  EXPECT_EQ(files(), (Files{{"a", "new"}, {"b", "other"}}));
}

TEST_F(OutputFilesTest, DiscardedOrFailedFilesNeverAppear) {
  put("a", "earlier");
  write("a", "given up");
  outputs_.discard();
  EXPECT_EQ(files(), (Files{{"a", "earlier"}}));
  EXPECT_THROW(outputs_.write(folder_ / "a",
                              [](const fs::path&, const fs::path& file) {
                                std::ofstream(file) << "half";
                                throw HostError(ExitCode::OutputNotWritable, "full");
                              }),
               HostError);
  outputs_.discard();
  write("b", "good");
  outputs_.commit();
  EXPECT_EQ(files(), (Files{{"a", "earlier"}, {"b", "good"}}));
  {
    OutputFiles abandoned;
    abandoned.write(folder_ / "c", [](const fs::path&, const fs::path& file) {
      std::ofstream(file) << "never committed";
    });
  }
  EXPECT_EQ(files(), (Files{{"a", "earlier"}, {"b", "good"}}));
}

TEST_F(OutputFilesTest, AFailedCommitLosesNothingAndSaysWhatIsNew) {
  for (const char* name : {"a", "b", "c", "d"}) {
    put(name, "earlier");
    outputs_.plan(folder_ / name, {});
    write(name, "new");
  }
  fs::remove(folder_ / "c");
  fs::create_directory(folder_ / "c");  // in the way since it was planned
  put("c/inside", "kept");
  std::string message;
  try {
    outputs_.commit();
  } catch (const HostError& error) {
    message = error.what();
  }
  outputs_.discard();
  const auto quoted = [&](const char* name) { return inQuotes(folder_ / name); };
  EXPECT_EQ(message,
            "cannot write " + quoted("c") + ": Is a directory; new and complete: " + quoted("a") +
                ", " + quoted("b") + "; not written either: " + quoted("d"));
  EXPECT_EQ(files(), (Files{{"a", "new"}, {"b", "new"}, {"c", ""}, {"d", "earlier"}}));
  EXPECT_TRUE(fs::exists(folder_ / "c/inside"));
}

TEST_F(OutputFilesTest, AReplacedFileKeepsItsPermissions) {
  constexpr fs::perms kPrivate = fs::perms::owner_read | fs::perms::owner_write;
  put("a", "earlier");
  fs::permissions(folder_ / "a", kPrivate);
  write("a", "new");
  write("b", "new");
  outputs_.commit();
  EXPECT_EQ(fs::status(folder_ / "a").permissions(), kPrivate);
  put("c", "as any new file");
  EXPECT_EQ(fs::status(folder_ / "b").permissions(), fs::status(folder_ / "c").permissions());
}

TEST_F(OutputFilesTest, AFileThatIsReplacedIsMissingAtNoTime) {
  constexpr int kCommits = 60;
  for (const char* name : {"a", "b", "c"}) {
    put(name, "earlier");
  }
  std::atomic<bool> done{false};
  std::atomic<int> missing{0};
  std::thread watcher([&] {
    while (!done) {
      missing += fs::exists(folder_ / "a") && fs::exists(folder_ / "b") ? 0 : 1;
    }
  });
  for (int i = 0; i < kCommits; ++i) {
    for (const char* name : {"a", "b", "c"}) {
      write(name, "new");
    }
    outputs_.commit();
  }
  done = true;
  watcher.join();
  EXPECT_EQ(missing, 0);
}

TEST_F(OutputFilesTest, OnlyWhatDeadProcessesLeftIsCleared) {
  const pid_t process = fork();
  if (process == 0) {
    const auto* const killed = new ScratchFolder(folder_ / "a");
    put(killed->file().lexically_relative(folder_.path()).string(), "unfinished");
    new ScratchFolder(folder_ / "b");
    _exit(0);
  }
  waitpid(process, nullptr, 0);
  const auto count = [&] {
    return std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator());
  };
  ASSERT_EQ(count(), 2);
  const ScratchFolder own(folder_ / "a");
  EXPECT_EQ(count(), 1) << "the first one clears the folder";
  write("b", "being written");
  const fs::path elsewhere = folder_ / ".orv2d-elsewhere.tmp";
  fs::create_directory(elsewhere);
  put(".orv2d-elsewhere.tmp/life", "another machine\nof another start\n");
  fs::create_directory(folder_ / ".orv2d-notes");
  fs::create_directory(folder_ / ".orv2d-empty.tmp");
  fs::create_symlink(elsewhere, folder_ / ".orv2d-link.tmp");
  removeDeadScratchFolders(folder_.path());
  EXPECT_EQ(count(), 5) << "all but the empty one";
  outputs_.commit();
  EXPECT_EQ(files()["b"], "being written");
}

TEST_F(OutputFilesTest, LinksAreFollowedAndNotReplaced) {
  put("real", "earlier");
  fs::create_symlink("real", folder_ / "link");
  write("link", "new");
  outputs_.commit();
  EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
  EXPECT_EQ(files()["real"], "new");
}

TEST_F(OutputFilesTest, LinksToNothingAreRefusedAndKept) {
  fs::create_symlink("nowhere", folder_ / "dangling");
  fs::create_symlink("loop", folder_ / "loop");
  for (const char* name : {"dangling", "loop"}) {
    EXPECT_THROW(outputs_.plan(folder_ / name, {}), HostError) << name;
    EXPECT_TRUE(fs::is_symlink(folder_ / name)) << name;
  }
}

}  // namespace
}  // namespace orv2d::tests
