// SPDX-License-Identifier: MIT
#include "batch/Manifest.h"

#include "ExitCode.h"
#include "ImageIo.h"
#include "SmallFile.h"
#include "Suggestion.h"
#include "batch/CsvRows.h"
#include "batch/OptionWords.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>
#include <optional>
#include <sstream>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

constexpr std::uintmax_t kMostBytes = 100000000;
constexpr int kDeepest = 4;
constexpr std::size_t kLongestName = 200;

/// What is wrong with a line that is being read.
using Refuse = std::function<void(const std::string& reason)>;

const std::vector<std::string>& fieldNames() {
  static const std::vector<std::string> kNames = {"name", "images", "slabs", "options", "output"};
  return kNames;
}

void requireKnown(const std::string& field, const Refuse& refuse) {
  const std::vector<std::string>& names = fieldNames();
  if (std::find(names.begin(), names.end(), field) == names.end()) {
    refuse("'" + field + "' is unknown" + suggestion(field, names) +
           "; name, images, slabs, options and output are expected");
  }
}

std::vector<std::string> splitImages(const std::string& text) {
  std::vector<std::string> images;
  std::istringstream stream(text);
  for (std::string image; std::getline(stream, image, ';');) {
    images.push_back(image);
  }
  return images;
}

Words splitOptions(const std::string& text, const Refuse& refuse) {
  std::optional<Words> words = wordsOf(text);
  if (!words) {
    refuse("a quotation in options is opened and not closed");
  }
  return std::move(*words);
}

/// The name may stand for a file, and in messages.
bool isSceneName(const std::string& name) {
  const auto isForbidden = [](char c) {
    const auto code = static_cast<unsigned char>(c);
    return c == '/' || c == '\\' || code < 0x20 || code == 0x7F;
  };
  return !name.empty() && name.size() <= kLongestName && name.front() != '.' &&
         std::none_of(name.begin(), name.end(), isForbidden);
}

void requireWholeScene(const ManifestScene& scene, const Refuse& refuse) {
  if (!isSceneName(scene.name)) {
    refuse(scene.name.empty() ? "the scene has no name"
                              : "'" + scene.name +
                                    "' is no name for a scene; up to 200 letters are expected, "
                                    "without / and \\, not beginning with a point");
  }
  const std::vector<std::string>& images = scene.images;
  if (images.empty() || std::find(images.begin(), images.end(), "") != images.end()) {
    refuse(images.empty() ? "scene '" + scene.name + "' has no images"
                          : "a name among the images of scene '" + scene.name + "' is empty");
  }
}

// JSON lines ---------------------------------------------------------------------------------------

std::string textOf(const std::string& field, const nlohmann::json& value, const Refuse& refuse) {
  if (!value.is_string()) {
    refuse("'" + field + "' is no text");
  }
  return value.get<std::string>();
}

std::vector<std::string> textsOf(const std::string& field,
                                 const nlohmann::json& values,
                                 const Refuse& refuse) {
  std::vector<std::string> texts;
  for (const nlohmann::json& value : values) {
    texts.push_back(textOf(field, value, refuse));
  }
  return texts;
}

void readField(const std::string& field,
               const nlohmann::json& value,
               const Refuse& refuse,
               ManifestScene& scene) {
  requireKnown(field, refuse);
  if (field == "name") {
    scene.name = textOf(field, value, refuse);
  } else if (field == "images") {
    scene.images = value.is_array() ? textsOf(field, value, refuse)
                                    : std::vector<std::string>{textOf(field, value, refuse)};
  } else if (field == "slabs") {
    scene.slabs = value.is_number() ? value.dump() : textOf(field, value, refuse);
  } else if (field == "options") {
    scene.options = value.is_array() ? textsOf(field, value, refuse)
                                     : splitOptions(textOf(field, value, refuse), refuse);
  } else {
    scene.output = textOf(field, value, refuse);
  }
}

nlohmann::json parseObject(const std::string& line, const Refuse& refuse) {
  const auto keepFlat = [&](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
    if (depth > kDeepest) {
      refuse("its JSON is nested too deep");
    }
    return true;
  };
  nlohmann::json value;
  try {
    value = nlohmann::json::parse(line, keepFlat);
  } catch (const nlohmann::json::exception& error) {
    refuse(std::string("not JSON (") + error.what() + ")");
  }
  if (!value.is_object()) {
    refuse("a JSON object is expected");
  }
  return value;
}

std::vector<ManifestScene> readJsonLines(const fs::path& path, const std::string& text) {
  std::vector<ManifestScene> scenes;
  std::istringstream stream(text);
  std::size_t number = 0;
  const Refuse refuse = [&](const std::string& reason) { refuseManifest(path, number, reason); };
  for (std::string line; std::getline(stream, line);) {
    ++number;
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
      continue;
    }
    ManifestScene& scene = scenes.emplace_back();
    scene.line = number;
    const nlohmann::json object = parseObject(line, refuse);
    for (const auto& [field, value] : object.items()) {
      readField(field, value, refuse, scene);
    }
    requireWholeScene(scene, refuse);
  }
  return scenes;
}

// Tables -------------------------------------------------------------------------------------------

void requireHeadings(const std::vector<std::string>& headings, const Refuse& refuse) {
  for (auto heading = headings.begin(); heading != headings.end(); ++heading) {
    requireKnown(*heading, refuse);
    if (std::find(headings.begin(), heading, *heading) != heading) {
      refuse("there are two columns '" + *heading + "'");
    }
  }
  for (const std::string needed : {"name", "images"}) {
    if (std::find(headings.begin(), headings.end(), needed) == headings.end()) {
      refuse("there is no column '" + needed + "'; a line of headings is expected first");
    }
  }
}

void readCell(const std::string& field,
              const std::string& cell,
              const Refuse& refuse,
              ManifestScene& scene) {
  if (field == "name") {
    scene.name = cell;
  } else if (field == "images") {
    scene.images = splitImages(cell);
  } else if (field == "slabs") {
    scene.slabs = cell;
  } else if (field == "options") {
    scene.options = splitOptions(cell, refuse);
  } else {
    scene.output = cell;
  }
}

std::vector<ManifestScene> readTable(const fs::path& path, const std::string& text) {
  std::vector<ManifestScene> scenes;
  std::vector<std::string> headings;
  for (const CsvRow& row : csvRows(text)) {
    const Refuse refuse = [&](const std::string& reason) {
      refuseManifest(path, row.line, reason);
    };
    if (headings.empty()) {
      headings = row.cells;
      requireHeadings(headings, refuse);
      continue;
    }
    if (row.cells.size() != headings.size()) {
      refuse("it has " + std::to_string(row.cells.size()) + " cells, the headings " +
             std::to_string(headings.size()));
    }
    ManifestScene& scene = scenes.emplace_back();
    scene.line = row.line;
    for (std::size_t column = 0; column < headings.size(); ++column) {
      readCell(headings[column], row.cells[column], refuse, scene);
    }
    requireWholeScene(scene, refuse);
  }
  return scenes;
}

std::string withoutByteOrderMark(std::string text) {
  const std::string mark = "\xEF\xBB\xBF";
  return text.compare(0, mark.size(), mark) == 0 ? text.substr(mark.size()) : text;
}

}  // namespace

void refuseManifest(const fs::path& path, std::size_t line, const std::string& reason) {
  throw HostError(ExitCode::UnreadableInput,
                  "cannot use manifest " + inQuotes(path) +
                      (line > 0 ? ", line " + std::to_string(line) : "") + ": " + reason);
}

std::vector<ManifestScene> readManifest(const fs::path& path) {
  const std::string text = withoutByteOrderMark(readSmallFile(path, kMostBytes));
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  std::vector<ManifestScene> scenes;
  try {
    scenes = begin != std::string::npos && text[begin] == '{' ? readJsonLines(path, text)
                                                              : readTable(path, text);
  } catch (const CsvError& error) {
    refuseManifest(path, error.line, error.what());
  }
  if (scenes.empty()) {
    refuseManifest(path, 0, "it has no scenes");
  }
  return scenes;
}

}  // namespace orv2d
