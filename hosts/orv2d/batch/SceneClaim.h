// SPDX-License-Identifier: MIT
/// @file
/// One scene, one run at a time: its hidden file beside the montage.
#ifndef ORV2D_SCENE_CLAIM_H
#define ORV2D_SCENE_CLAIM_H

#include <filesystem>
#include <memory>
#include <string>

namespace orv2d {

/// Holds `.NAME.orv2d-batch` beside the montage NAME, locked: no other run, here or on another
/// machine that sees the folder and its locks, has it at the same time. The system lets go of the
/// lock when this object and the processes that inherited it are gone, however they end.
class SceneClaim {
 public:
  /// Nothing while another run holds it. Throws `HostError` (output not writable) where the file
  /// cannot be made.
  static std::unique_ptr<SceneClaim> take(const std::filesystem::path& montage);
  ~SceneClaim();
  SceneClaim(const SceneClaim&) = delete;
  SceneClaim& operator=(const SceneClaim&) = delete;

  /// What was noted last; empty in a new file, and in one that cannot be read.
  [[nodiscard]] std::string text() const;

  /// Replaces that. Should it fail, or be cut off by a crash, what stands there is no complete text.
  void note(const std::string& text) const;

  /// The file goes away with the claim.
  void forget() const;

  /// To be inherited by a process that works for the claim.
  [[nodiscard]] int file() const { return file_; }

 private:
  SceneClaim(std::filesystem::path path, int file);

  std::filesystem::path path_;
  int file_;
};

}  // namespace orv2d

#endif  // ORV2D_SCENE_CLAIM_H
