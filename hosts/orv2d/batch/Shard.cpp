// SPDX-License-Identifier: MIT
#include "batch/Shard.h"

#include "ExitCode.h"

#include <charconv>
#include <cstdlib>
#include <optional>

namespace orv2d {
namespace {

constexpr int kMostShards = 1000000;

std::optional<int> parseCount(const std::string& text) {
  int value = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  const bool whole = result.ec == std::errc() && result.ptr == end;
  return whole && value >= 0 ? std::optional<int>(value) : std::nullopt;
}

[[noreturn]] void refuse(const std::string& reason) {
  throw HostError(ExitCode::Usage, "--shard " + reason);
}

/// A variable of the environment that is a number.
int slurmNumber(const std::string& name, std::optional<int> otherwise = {}) {
  const char* const text = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe): only read
  if (text == nullptr && otherwise) {
    return *otherwise;
  }
  if (text == nullptr) {
    refuse("slurm: the environment has no " + name + "; is this a task of a Slurm array?");
  }
  const std::optional<int> value = parseCount(text);
  if (!value) {
    refuse("slurm: " + name + " is '" + text + "', a number is expected");
  }
  return *value;
}

/// Tasks of an array are numbered from a first to a last number in steps.
Shard slurmShard() {
  const int task = slurmNumber("SLURM_ARRAY_TASK_ID");
  const int count = slurmNumber("SLURM_ARRAY_TASK_COUNT");
  const int first = slurmNumber("SLURM_ARRAY_TASK_MIN");
  const int last = slurmNumber("SLURM_ARRAY_TASK_MAX");
  const int step = slurmNumber("SLURM_ARRAY_TASK_STEP", 1);
  const bool isEven = step > 0 && first <= task && task <= last && (task - first) % step == 0 &&
                      (last - first) / step + 1 == count;
  if (!isEven) {
    refuse("slurm: the numbers of the array's tasks have gaps; an array such as 1-" +
           std::to_string(count) + " is expected, or --shard I/N");
  }
  return {(task - first) / step + 1, count};
}

}  // namespace

Shard parseShard(const std::string& text) {
  if (text == "slurm") {
    return slurmShard();
  }
  const std::size_t slash = text.find('/');
  if (slash != std::string::npos) {
    const std::optional<int> number = parseCount(text.substr(0, slash));
    const std::optional<int> count = parseCount(text.substr(slash + 1));
    if (number && count && *number >= 1 && *number <= *count && *count <= kMostShards) {
      return {*number, *count};
    }
  }
  refuse("'" + text + "': I/N with I from 1 to N, or slurm, is expected");
}

}  // namespace orv2d
