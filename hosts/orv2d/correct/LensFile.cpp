// SPDX-License-Identifier: MIT
#include "correct/LensFile.h"

#include "ExitCode.h"
#include "ImageIo.h"
#include "SmallFile.h"
#include "Suggestion.h"
#include "correct/ContentMask.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace orv2d {
namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
  throw HostError(ExitCode::UnreadableInput,
                  "cannot use lens file " + inQuotes(path) + ": " + reason);
}

constexpr std::uintmax_t kMostBytes = 1000000;
constexpr int kDeepest = 8;

/// A value as it would be written on the command line.
std::string textOf(const nlohmann::json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::vector<std::string> parameterNames() {
  std::vector<std::string> names = {"mode", "circle", "name", "comment"};
  for (const LensParameter& parameter : lensParameters()) {
    names.emplace_back(parameter.name);
  }
  return names;
}

void readEntry(const std::string& path,
               const std::string& key,
               const nlohmann::json& value,
               Lens& lens) {
  if (key == "name" || key == "comment") {
    return;
  }
  const std::string text = textOf(value);
  if (key == "mode") {
    const auto& names = modeNames();
    if (std::find(names.begin(), names.end(), text) == names.end()) {
      refuse(path, "mode '" + text + "' is unknown; square, range, fov, rect, pinhole or view");
    }
    lens.mode = modeOf(text);
    return;
  }
  if (key == "circle") {
    CircleChoice choice;
    const std::string error = parseCircle(text, choice);
    if (!error.empty()) {
      refuse(path, "key 'circle': " + error);
    }
    lens.circle = text;
    return;
  }
  const LensParameter* parameter = findParameter(key);
  if (parameter == nullptr) {
    refuse(path,
           "key '" + key + "' is unknown" + suggestion(key, parameterNames()) +
               "; see orv2d correct --help for the names");
  }
  const std::string error = parseValue(*parameter, text, lens.values[key]);
  if (!error.empty()) {
    refuse(path, "key '" + key + "': " + error);
  }
}

}  // namespace

Lens readLens(const std::string& path) {
  const std::string text = readSmallFile(path, kMostBytes);
  const auto keepFlat = [&](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
    if (depth > kDeepest) {
      refuse(path, "its JSON is nested too deep");
    }
    return true;
  };
  nlohmann::json root;
  try {
    root = nlohmann::json::parse(text, keepFlat);
  } catch (const nlohmann::json::exception& error) {
    refuse(path, std::string("not JSON (") + error.what() + ")");
  }
  if (!root.is_object()) {
    refuse(path, "a JSON object of parameters is expected");
  }
  Lens lens;
  for (const auto& [key, value] : root.items()) {
    readEntry(path, key, value, lens);
  }
  return lens;
}

}  // namespace orv2d
