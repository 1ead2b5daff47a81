// SPDX-License-Identifier: MIT
// Values come back from their files as they were; other files are refused in one sentence.
#include "support/ImageMatchers.h"
#include "support/TemporaryFolder.h"
#include "support/Views.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <string>

namespace {

using namespace montage;
using namespace ORV::TestSupport;

std::string bytesOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST(SavedValues, GiveTheSameMontage) {
  const TemporaryFolder folder;
  const MatSource source(eightViews().images);
  RegisterOptions options;
  options.keepMatches = true;
  options.pairing.kind = Pairing::sequential;
  options.pairing.followers = 3;
  options.pairing.pairs = {{1, 0}, {2, 1}};  // saved, too
  const Registration registration = registerImages(source, options);
  const MontagePlan plan = planMontage(registration, source);
  const cv::Mat montage = compose(plan, source);
  save(registration, folder / "scene.json");
  save(plan, folder / "scene.plan");
  const Registration loaded = loadRegistration(folder / "scene.json");
  EXPECT_THAT(compose(planMontage(loaded, source), source), EqualsImage(montage));
  EXPECT_THAT(compose(loadPlan(folder / "scene.plan"), source), EqualsImage(montage));
  EXPECT_EQ(loaded.images[2].reason, registration.images[2].reason);
  EXPECT_EQ(loaded.images[2].hash, registration.images[2].hash);
  EXPECT_EQ(loaded.pairs[5].confidence, registration.pairs[5].confidence);
  save(loaded, folder / "again.json");  // matches and all
  EXPECT_EQ(bytesOf(folder / "again.json"), bytesOf(folder / "scene.json"));

  const Features features = describe(eightViews().images[1]);
  save(features, folder / "one");
  const Features again = loadFeatures(folder / "one");
  EXPECT_THAT(again.descriptors, EqualsImage(features.descriptors));
  const PairMatches pair = match(again, describe(eightViews().images[4]));
  EXPECT_EQ(pair.inlierCount, match(features, describe(eightViews().images[4])).inlierCount);
  save(pair, folder / "pair");
  save(loadPairMatches(folder / "pair"), folder / "pair2");
  EXPECT_EQ(bytesOf(folder / "pair"), bytesOf(folder / "pair2"));
}

TEST(SavedValues, DamagedOrForeignFilesAreRefused) {
  const TemporaryFolder folder;
  const MatSource source(eightViews().images);
  const Registration registration = registerImages(source);
  save(registration, folder / "scene.json");
  save(planMontage(registration, source), folder / "scene.plan");
  const std::string json = bytesOf(folder / "scene.json");
  const std::string plan = bytesOf(folder / "scene.plan");
  const auto expectRefused = [&](const std::string& bytes, const std::string& why, bool isPlan) {
    SCOPED_TRACE(why);
    const std::filesystem::path file = folder / "file";
    write(file, bytes);
    try {
      isPlan ? static_cast<void>(loadPlan(file)) : static_cast<void>(loadRegistration(file));
      ADD_FAILURE() << "accepted";
    } catch (const FileError& error) {
      const std::string sentence = error.what();
      EXPECT_EQ(sentence.find("'" + file.string() + "'"), 0U) << sentence;
      EXPECT_NE(sentence.find(why), std::string::npos) << sentence;
      EXPECT_EQ(sentence.find('\n'), std::string::npos);
    }
  };
  expectRefused(json.substr(0, json.size() / 2), "not JSON", false);
  expectRefused("{}", "not a registration", false);
  expectRefused(std::string(100000, '['), "nested too deep", false);
  expectRefused(replaced(json, "\"version\": 1", "\"version\": 9"), "newer", false);
  expectRefused(replaced(json, "\"focal\": ", "\"focal\": -"), "camera", false);
  expectRefused(replaced(json, "\"used\": [\n  0,", "\"used\": [\n  99,"), "out of range", false);
  expectRefused(plan.substr(0, plan.size() - 9), "does not fit", true);
  std::string flipped = plan;
  flipped[flipped.size() - 20] = static_cast<char>(flipped[flipped.size() - 20] ^ 4);
  expectRefused(flipped, "checksum", true);
  expectRefused(json, "not a file of the kind 'plan'", true);
  // Sizes that a few bytes claim, and numbers that no type holds.
  const std::size_t headEnd = plan.find('\n', plan.find('\n') + 1) + 1;
  const std::size_t textEnd = headEnd + std::stoul(plan.substr(plan.find('\n') + 1));
  const auto changedPlan = [&](const std::string& key, const std::string& value) {
    std::string text = plan.substr(headEnd, textEnd - headEnd);
    const std::size_t at = text.find("\"" + key + "\":") + key.size() + 3;
    text.replace(at, text.find_first_of(",}]", at) - at, value);
    return "MONTAGE plan 2\n" + std::to_string(text.size()) + "\n" + text + plan.substr(textEnd);
  };
  expectRefused(changedPlan("sourceCount", "2000000000"), "do not fit together", true);
  expectRefused(changedPlan("composeScale", "1e-300"), "impossible size", true);
  expectRefused(changedPlan("width", "2147483647"), "impossible size", true);
  std::string vast = plan.substr(headEnd, textEnd - headEnd);
  for (const std::string key : {"\"montage\":", "\"canvas\":"}) {
    const std::size_t at = vast.find(key) + key.size();
    vast.replace(at, vast.find(']', at) + 1 - at, "[-30000,-30000,60000,60000]");
  }
  expectRefused(
      "MONTAGE plan 2\n" + std::to_string(vast.size()) + "\n" + vast + plan.substr(textEnd),
      "far larger than its images",
      true);
  expectRefused(changedPlan("rows", "2147483647"), "larger than its bytes", true);
  expectRefused(changedPlan("bytes", "18446744073709551615"), "does not fit", true);
  expectRefused(changedPlan("composeScale", "\"x\""), "damaged", true);
  expectRefused(changedPlan("index", "-1"), "outside of the montage", true);
  expectRefused(replaced(plan, "plan 2", "plan 7"), "newer", true);
  EXPECT_THROW(loadPlan(folder / "missing"), FileError);
  EXPECT_THROW(save(registration, folder / "no" / "such.json"), FileError);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 3);
}

}  // namespace
