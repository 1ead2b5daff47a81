// SPDX-License-Identifier: MIT
#include "batch/SceneWork.h"

#include "ImageIo.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <utility>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

using Json = nlohmann::ordered_json;

/// Noted while a process is at the scene.
const char* const kWorking = "working";

/// An object without entries for what is none; without what is nested deeper than notes are.
Json parsedObject(const std::string& text) {
  constexpr int kDeepest = 4;
  const auto keepFlat = [](int depth, Json::parse_event_t, const Json&) {
    return depth <= kDeepest;
  };
  Json value = Json::parse(text, keepFlat, false);
  return value.is_object() ? value : Json::object();
}

std::vector<FileFacts> factsIn(const Json& note, const char* name) {
  try {
    return note.at(name).get<std::vector<FileFacts>>();
  } catch (const Json::exception&) {
    return {};
  }
}

std::optional<int> notedUsed(const Json& note) {
  const auto used = note.find("imagesUsed");
  return used != note.end() && used->is_number_integer() ? std::optional(used->get<int>())
                                                         : std::nullopt;
}

Words linesOf(const std::string& text) {
  Words lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// The error of a run of the program stands in its last line.
std::string lastSentence(const std::string& messages) {
  const Words lines = linesOf(messages);
  const std::string begin = "orv2d: ";
  const std::string last = lines.empty() ? "" : lines.back();
  return last.compare(0, begin.size(), begin) == 0 ? last.substr(begin.size()) : last;
}

std::string sentenceOf(int signal) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
  return "ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")" +
         (signal == SIGKILL ? "; was there too little memory?" : "");
}

}  // namespace

std::unique_ptr<SceneWork> SceneWork::claim(const Scene& scene) {
  std::unique_ptr<SceneClaim> claim = SceneClaim::take(scene.outputs.front());
  return std::unique_ptr<SceneWork>(claim ? new SceneWork(scene, std::move(claim)) : nullptr);
}

SceneWork::SceneWork(const Scene& scene, std::unique_ptr<SceneClaim> claim)
    : scene_(scene), claim_(std::move(claim)), note_(parsedObject(claim_->text())) {
  if (note_.find(kWorking) != note_.end()) {
    removeScratch();
  }
}

void SceneWork::readInputs() {
  try {
    inputs_ = factsOf(scene_.inputs, factsIn(note_, "inputs"));
  } catch (const fs::filesystem_error& error) {
    throw HostError(ExitCode::UnreadableInput,
                    "cannot use " + inQuotes(error.path1()) + ": " + error.code().message());
  }
}

bool SceneWork::isDone() {
  const auto choices = note_.find("choices");
  if (choices == note_.end() || *choices != scene_.choices ||
      !sameContents(inputs_, factsIn(note_, "inputs"))) {
    return false;
  }
  const std::vector<FileFacts> made = factsIn(note_, "outputs");
  readOutputs(made);
  return sameContents(outputs_, made);
}

SceneOutcome SceneWork::skipped() const {
  SceneOutcome outcome = failedScene(scene_, ExitCode::Success, "done already");
  outcome.status = SceneStatus::Skipped;
  outcome.seconds = watch_.seconds();
  outcome.outputs = scene_.outputs;
  outcome.used = notedUsed(note_);
  return outcome;
}

void SceneWork::start(const Share& share) {
  note_ = {{kWorking, true}};
  claim_->note(note_.dump());
  scratch_.emplace(scene_.outputs.front());
  Words words = {"montage", "--quiet", "--threads=" + std::to_string(share.threads)};
  if (share.memory > 0) {
    words.push_back("--max-memory=" + std::to_string(share.memory));
  }
  if (scene_.report.empty()) {
    words.push_back("--report=" + reportFile());
  }
  words.insert(words.end(), scene_.options.begin(), scene_.options.end());
  words.emplace_back("--");
  words.insert(words.end(), scene_.images.begin(), scene_.images.end());
  process_ = std::make_unique<ChildProcess>(words, claim_->file());
}

SceneOutcome SceneWork::finish() {
  constexpr int kSignalExit = 128;  // as shells have it
  SceneOutcome outcome = failedScene(scene_, ExitCode::Success, "");
  outcome.seconds = watch_.seconds();
  if (end_.signal == 0 && end_.exitCode == 0) {
    outcome.status = SceneStatus::Done;
    outcome.outputs = scene_.outputs;
    outcome.used = imagesUsed();
    readOutputs({});
  } else {
    outcome.exitCode = end_.signal > 0 ? kSignalExit + end_.signal : end_.exitCode;
    outcome.reason = end_.signal > 0 ? sentenceOf(end_.signal) : lastSentence(process_->messages());
  }
  return outcome;
}

void SceneWork::conclude(const SceneOutcome& outcome) {
  if (outcome.status == SceneStatus::Failed) {
    abandon();
  } else {
    noteDone(outcome.used);
  }
}

void SceneWork::stop() const {
  if (process_) {
    process_->stop();
  }
}

void SceneWork::awaitEnd() {
  end_ = process_->wait();
}

void SceneWork::abandon() {
  stop();
  if (process_) {
    process_->wait();
    removeScratch();
  }
  if (note_.find("choices") == note_.end()) {  // else it was made earlier, and still stands
    claim_->forget();
  }
}

void SceneWork::readOutputs(const std::vector<FileFacts>& known) {
  try {
    outputs_ = factsOf(scene_.outputs, known);
  } catch (const fs::filesystem_error&) {
    outputs_.clear();  // one is missing
  }
}

void SceneWork::noteDone(std::optional<int> used) {
  if (outputs_.empty()) {
    return;  // taken away meanwhile; the scene is made again by the next run
  }
  note_ = {{"choices", scene_.choices},
           {"imagesUsed", used ? Json(*used) : Json()},
           {"inputs", inputs_},
           {"outputs", outputs_}};
  const std::string text = note_.dump(-1, ' ', false, Json::error_handler_t::replace);
  if (text != claim_->text()) {
    claim_->note(text);
  }
}

void SceneWork::removeScratch() const {
  std::set<fs::path> folders;
  for (const fs::path& output : scene_.outputs) {
    folders.insert(output.parent_path());
  }
  std::for_each(folders.begin(), folders.end(), removeDeadScratchFolders);
}

std::string SceneWork::reportFile() const {
  return scratch_->file().string();
}

std::optional<int> SceneWork::imagesUsed() const {
  std::ifstream stream(scene_.report.empty() ? reportFile() : scene_.report, std::ios::binary);
  const Json report = Json::parse(stream, nullptr, false);
  const auto images = report.find("images");
  if (images == report.end()) {
    return std::nullopt;
  }
  return static_cast<int>(std::count_if(images->begin(), images->end(), [](const Json& image) {
    return image.value("used", false);
  }));
}

}  // namespace orv2d
