// SPDX-License-Identifier: MIT
#include "batch/BatchCommand.h"

#include "Console.h"
#include "Failure.h"
#include "ImageIo.h"
#include "Platform/FreeMemory.h"
#include "StandardError.h"
#include "StopSignals.h"
#include "batch/SceneWork.h"
#include "batch/ScenesLine.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <filesystem>
#include <limits>
#include <mutex>
#include <poll.h>
#include <sstream>
#include <thread>
#include <utility>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

/// Divides threads and memory evenly among so many scenes at a time.
class Shares {
 public:
  explicit Shares(const BatchSettings& settings, int scenes)
      : jobs_(std::max(1, std::min(settings.jobs, scenes))),
        threads_(settings.threads > 0 ? settings.threads : cores()) {
    const std::uint64_t free = ORV::Common::Platform::freeMemoryBytes();
    const bool isKnown = free < std::numeric_limits<std::uint64_t>::max();
    constexpr std::uint64_t kTenths = 6;  // as the program takes of what is free by itself
    const std::uint64_t taken = isKnown ? free / 10 * kTenths : 0;
    memory_ = settings.maxMemory.value_or(taken) / static_cast<std::uint64_t>(jobs_);
  }

  /// How many scenes share.
  [[nodiscard]] int jobs() const { return jobs_; }

  /// @param[in] place  of the scene among those at work, from 0.
  [[nodiscard]] Share of(int place) const {
    const int extra = place < threads_ % jobs_ ? 1 : 0;
    return {std::max(1, threads_ / jobs_ + extra), memory_};
  }

 private:
  static int cores() { return static_cast<int>(std::thread::hardware_concurrency()); }

  int jobs_;
  int threads_;
  std::uint64_t memory_ = 0;
};

class Batch {
 public:
  Batch(const BatchSettings& settings, std::vector<Scene> scenes)
      : settings_(settings),
        scenes_(std::move(scenes)),
        shares_(settings, static_cast<int>(scenes_.size())),
        places_(static_cast<std::size_t>(shares_.jobs())),
        line_(scenes_.size(), settings.quiet) {
    for (const Scene& scene : scenes_) {
      waiting_.push_back(&scene);
    }
  }

  std::vector<SceneOutcome> run() {
    const StopAction action([this] { stopForGood(); });
    line_.show();
    while (outcomes_.size() < scenes_.size()) {
      for (Place& place : places_) {
        while (!place.work && !waiting_.empty()) {
          begin(place, nextScene());
        }
      }
      if (outcomes_.size() < scenes_.size()) {
        listen();
      }
    }
    return std::move(outcomes_);
  }

 private:
  /// Of one of the scenes at work; free without one.
  struct Place {
    const Scene* scene = nullptr;
    std::unique_ptr<SceneWork> work;
  };

  const Scene& nextScene() {
    const Scene& scene = *waiting_.front();
    waiting_.pop_front();
    return scene;
  }

  /// Takes the scene if nobody else has it, and starts it unless it is done.
  void begin(Place& place, const Scene& scene) {
    try {
      if (!scene.problem.empty()) {
        throw HostError(ExitCode::UnreadableInput, scene.problem);
      }
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        place = {&scene, SceneWork::claim(scene)};
      }
      if (!place.work) {
        elsewhere_.push_back(&scene);
        return;
      }
      place.work->readInputs();
      const bool isDone = !settings_.force && place.work->isDone();
      const std::lock_guard<std::mutex> lock(mutex_);
      if (isDone) {
        end(place, place.work->skipped());
      } else {
        place.work->start(shares_.of(static_cast<int>(&place - places_.data())));
      }
    } catch (...) {
      const Failure failure = currentFailure();
      const std::lock_guard<std::mutex> lock(mutex_);
      place.scene = &scene;
      end(place, failedScene(scene, failure.code, failure.message));
    }
  }

  void end(Place& place, const SceneOutcome& outcome) {
    if (place.work) {
      place.work->conclude(outcome);
    }
    place.work.reset();
    outcomes_.push_back(outcome);
    line_.ended(outcome);
  }

  /// Waits until a scene says something or ends, or for a while if others' scenes are left.
  void listen() {
    constexpr int kLookAgainMs = 500;
    std::vector<pollfd> files;
    std::vector<Place*> places;
    for (Place& place : places_) {
      if (place.work) {
        files.push_back({place.work->process().messagesFile(), POLLIN, 0});
        places.push_back(&place);
      }
    }
    const int ready = poll(files.data(), files.size(), elsewhere_.empty() ? -1 : kLookAgainMs);
    std::vector<Place*> ended;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      for (std::size_t i = 0; ready > 0 && i < files.size(); ++i) {
        if (files[i].revents != 0 && !places[i]->work->process().readMessages()) {
          places[i]->work->awaitEnd();
          ended.push_back(places[i]);
        }
      }
    }
    for (Place* place : ended) {
      finish(*place);
    }
    waiting_.insert(waiting_.end(), elsewhere_.begin(), elsewhere_.end());
    elsewhere_.clear();
  }

  /// The outputs are read without the lock: who stops the run does not wait for that.
  void finish(Place& place) {
    const SceneOutcome outcome = place.work->finish();
    const std::lock_guard<std::mutex> lock(mutex_);
    line_.say(*place.scene, place.work->process().messages());
    end(place, outcome);
  }

  /// In another thread: the lock is never given back, so that nothing begins or ends any more.
  void stopForGood() {
    std::unique_lock<std::mutex> lock(mutex_);
    lock.release();
    for (const Place& place : places_) {
      if (place.work) {
        place.work->stop();
      }
    }
    for (const Place& place : places_) {
      if (place.work) {
        place.work->abandon();
      }
    }
  }

  const BatchSettings& settings_;
  std::vector<Scene> scenes_;
  std::deque<const Scene*> waiting_;
  std::vector<const Scene*> elsewhere_;  ///< of another run, to be looked at again
  std::mutex mutex_;                     ///< of what stands in places, against stopping
  Shares shares_;
  std::vector<Place> places_;
  std::vector<SceneOutcome> outcomes_;
  ScenesLine line_;
};

std::vector<Scene> scenesOfShard(std::vector<Scene> scenes, const std::string& shard) {
  const Shard part = shard.empty() ? Shard() : parseShard(shard);
  std::vector<Scene> own;
  for (std::size_t i = 0; i < scenes.size(); ++i) {
    if (part.holds(i)) {
      own.push_back(std::move(scenes[i]));
    }
  }
  return own;
}

void requireOutputFolder(const std::string& folder) {
  std::error_code ignored;
  if (!folder.empty() && !fs::is_directory(folder, ignored)) {
    throw HostError(ExitCode::OutputNotWritable,
                    "--output-folder " + inQuotes(folder) + " is no folder; create it first");
  }
}

}  // namespace

ExitCode batchCommand(const BatchSettings& settings) {
  const Stopwatch watch;
  requireOutputFolder(settings.outputFolder);
  std::vector<Scene> scenes = scenesOfShard(readScenes(settings), settings.shard);
  const std::vector<SceneOutcome> outcomes = Batch(settings, std::move(scenes)).run();
  if (!settings.quiet) {
    std::ostringstream table;
    printSummary(outcomes, watch.seconds(), table);
    writeToStandardError(table.str());
  }
  const bool anyFailed = std::any_of(outcomes.begin(), outcomes.end(), [](const auto& outcome) {
    return outcome.status == SceneStatus::Failed;
  });
  return anyFailed ? ExitCode::ScenesFailed : ExitCode::Success;
}

}  // namespace orv2d
