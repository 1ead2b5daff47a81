// SPDX-License-Identifier: MIT
/// @file
/// The scenes of a batch, checked and ready to be made.
#ifndef ORV2D_SCENE_H
#define ORV2D_SCENE_H

#include "CommandLine.h"
#include "batch/BatchSettings.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace orv2d {

/// All names of files are as seen from the current folder.
struct Scene {
  std::string name;
  std::vector<std::string> images;
  std::vector<std::filesystem::path> inputs;   ///< images and other files that are read
  std::vector<std::filesystem::path> outputs;  ///< all files that are written, montages first
  std::string report;                          ///< one of the outputs; empty: none is asked for
  Words options;                               ///< of orv2d montage, with the output
  nlohmann::ordered_json choices;  ///< what decides the outputs beside the contents of the inputs
  std::string problem;             ///< why it cannot be made; empty: it may be
};

/// The scenes of the manifest, in its order. Patterns of images that match nothing, and scenes with
/// an image that is missing, are a `problem` of the scene; what is wrong with the manifest itself
/// (options, names, two scenes or outputs of one name) is a `HostError` (unreadable input) with the
/// number of the line.
std::vector<Scene> readScenes(const BatchSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_SCENE_H
