// SPDX-License-Identifier: MIT
#include "batch/Scene.h"

#include "ExitCode.h"
#include "ImageIo.h"
#include "Paths.h"
#include "batch/BatchArguments.h"
#include "batch/ImagePatterns.h"
#include "batch/Manifest.h"
#include "montage/MontageArguments.h"
#include "montage/PairsArgument.h"
#include "montage/SlabNames.h"

#include <algorithm>
#include <array>
#include <map>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

const std::array<const char*, 3> kWritten = {"--report", "--overlay", "--save-registration"};

/// What the batch says for all of its scenes, or a column of the manifest.
const std::array<const char*, 6> kNotForScenes = {
    "--output", "--slabs", "--max-memory", "--threads", "--dry-run", "--quiet"};

fs::path folderOfManifest(const BatchSettings& settings) {
  return fs::path(settings.manifest).parent_path();
}

fs::path outputFolder(const BatchSettings& settings) {
  return settings.outputFolder.empty() ? folderOfManifest(settings)
                                       : fs::path(settings.outputFolder);
}

/// {scene} in `text` becomes the name of the scene.
std::string filled(std::string text, const std::string& scene) {
  const std::string mark = "{scene}";
  for (std::size_t at = text.find(mark); at != std::string::npos;
       at = text.find(mark, at + scene.size())) {
    text.replace(at, mark.size(), scene);
  }
  return text;
}

/// Checks one scene of the manifest and puts it together.
class Preparation {
 public:
  Preparation(const BatchSettings& settings, const ManifestScene& given)
      : settings_(settings), given_(given) {
    scene_.name = given.name;
  }

  Scene scene() {
    parseOptions();
    placeOutputs();
    placeInputs();
    findImages();
    return std::move(scene_);
  }

 private:
  [[noreturn]] void refuse(const std::string& reason) const {
    refuseManifest(settings_.manifest, given_.line, reason);
  }

  /// Through the parser of `orv2d montage`, with a name in place of the images.
  std::vector<GivenOption> parsed(Words words) {
    CLI::App app("", "orv2d");
    montage_ = MontageSettings();
    const CLI::App& command = *addMontageCommand(app, montage_);
    words.insert(words.begin(), {"montage", "image", "--output=" + output()});
    try {
      requireNoFlagValues(app, words);
      app.parse(Words(words.rbegin(), words.rend()));  // taken from the back
      requireNoEmptyValues(command);
      if (montage_.images.size() > 1) {
        refuse("'" + montage_.images.back() + "' among the options is none");
      }
    } catch (const CLI::Success&) {
      refuse("--help is no option of a scene");
    } catch (const CLI::ParseError& error) {
      refuse(usageSentence(app, words, error));
    } catch (const HostError& error) {
      if (error.code() != ExitCode::Usage) {
        throw;
      }
      refuse(error.what());
    }
    return givenOptions(command, {"--output"});
  }

  [[nodiscard]] std::string output() const {
    const std::string& output = given_.output.empty() ? settings_.montage.output : given_.output;
    if (output.empty()) {
      refuse("scene '" + given_.name + "' has no output; say it there, or with --output for all");
    }
    return filled(output, given_.name);
  }

  /// The options of the scene win over those for all.
  void parseOptions() {
    for (const std::string& word : given_.options) {
      const std::string name = word.substr(0, word.find('='));
      if (name == "-o" ||
          std::find(kNotForScenes.begin(), kNotForScenes.end(), name) != kNotForScenes.end()) {
        refuse(name + " is no option of a scene; see orv2d batch --help");
      }
    }
    options_ = parsed(given_.options);
    if (!given_.slabs.empty()) {
      options_.push_back({"--slabs", given_.slabs});
    }
    for (const GivenOption& option : settings_.defaults) {
      const auto hasName = [&](const GivenOption& own) { return own.name == option.name; };
      if (std::none_of(options_.begin(), options_.end(), hasName)) {
        options_.push_back(option);
      }
    }
    Words words;
    for (const GivenOption& option : options_) {
      words.push_back(wordOf(option));
    }
    options_ = parsed(words);  // now in the order of the program
  }

  static std::string wordOf(const GivenOption& option) {
    return option.value ? option.name + "=" + *option.value : option.name;
  }

  void placeOutputs() {
    try {
      requirePossibleOutputs(montage_);
    } catch (const HostError& error) {
      refuse(error.what());
    }
    scene_.choices = {{"program", ORV2D_VERSION}, {"options", nlohmann::json::array()}};
    const fs::path montage = placed(output());
    scene_.options.push_back("--output=" + montage.string());
    scene_.outputs = slabNames(montage, montage_.slabs);
    for (GivenOption& option : options_) {
      const bool isWritten =
          std::find(kWritten.begin(), kWritten.end(), option.name) != kWritten.end();
      if (isWritten) {
        const std::string name = filled(*option.value, given_.name);
        scene_.choices["options"].push_back(option.name + "=" + name);
        option.value = placed(name).string();
        scene_.outputs.emplace_back(*option.value);
        scene_.report = option.name == "--report" ? *option.value : scene_.report;
        scene_.options.push_back(wordOf(option));
      }
    }
    for (const fs::path& file : scene_.outputs) {
      scene_.choices["outputs"].push_back(
          file.lexically_relative(outputFolder(settings_)).string());
    }
  }

  /// An output of the manifest as seen from here.
  [[nodiscard]] fs::path placed(const std::string& name) const {
    const fs::path folder = outputFolder(settings_);
    fs::path path = folder / name;
    if (!isBelow(path, folder)) {
      refuse("output '" + name + "' leads out of the folder of outputs, " +
             inQuotes(folder.empty() ? "." : folder) + "; choose that by --output-folder");
    }
    return path;
  }

  void placeInputs() {
    for (GivenOption& option : options_) {
      if (std::find(kWritten.begin(), kWritten.end(), option.name) != kWritten.end()) {
        continue;
      }
      scene_.choices["options"].push_back(wordOf(option));
      const bool isRead = option.name == "--registration" ||
                          (option.name == "--pairs" && namesPairsFile(*option.value));
      if (isRead) {
        option.value = (folderOfManifest(settings_) / filled(*option.value, given_.name)).string();
        scene_.inputs.emplace_back(*option.value);
      }
      scene_.options.push_back(wordOf(option));
    }
  }

  void findImages() {
    for (const std::string& name : given_.images) {
      const std::vector<std::string> files = matchingFiles(folderOfManifest(settings_), name);
      if (files.empty()) {
        scene_.problem = "no file matches '" + name + "'";
      }
      scene_.images.insert(scene_.images.end(), files.begin(), files.end());
    }
    scene_.inputs.insert(scene_.inputs.begin(), scene_.images.begin(), scene_.images.end());
  }

  const BatchSettings& settings_;
  const ManifestScene& given_;
  MontageSettings montage_;
  std::vector<GivenOption> options_;
  Scene scene_;
};

/// Scenes in one folder must not write the same file, nor what another one reads.
class Names {
 public:
  explicit Names(const std::string& manifest) : manifest_(manifest) {
    inputs_.insert({resolved(manifest), 0});
  }

  void add(const Scene& scene, std::size_t line) {
    if (!scenes_.insert({scene.name, line}).second) {
      refuse(line, "there is a scene '" + scene.name + "' already", scenes_.at(scene.name));
    }
    for (const fs::path& output : scene.outputs) {
      const auto [earlier, isNew] = outputs_.insert({resolved(output), line});
      if (!isNew) {
        refuse(line, "output " + inQuotes(output) + " is written already", earlier->second);
      }
    }
    for (const fs::path& input : scene.inputs) {
      inputs_.insert({resolved(input), line});
    }
  }

  void requireNoOutputIsInput() const {
    for (const auto& [output, line] : outputs_) {
      const auto reader = inputs_.find(output);
      if (reader != inputs_.end()) {
        refuse(line, "output " + inQuotes(output) + " is also an input", reader->second);
      }
    }
  }

 private:
  [[noreturn]] void refuse(std::size_t line, const std::string& reason, std::size_t other) const {
    refuseManifest(
        manifest_,
        line,
        reason + (other == line || other == 0 ? "" : ", in line " + std::to_string(other)));
  }

  const std::string& manifest_;
  std::map<std::string, std::size_t> scenes_;
  std::map<fs::path, std::size_t> outputs_;
  std::map<fs::path, std::size_t> inputs_;
};

}  // namespace

std::vector<Scene> readScenes(const BatchSettings& settings) {
  std::vector<Scene> scenes;
  Names names(settings.manifest);
  for (const ManifestScene& given : readManifest(settings.manifest)) {
    names.add(scenes.emplace_back(Preparation(settings, given).scene()), given.line);
  }
  names.requireNoOutputIsInput();
  return scenes;
}

}  // namespace orv2d
