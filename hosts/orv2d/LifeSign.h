// SPDX-License-Identifier: MIT
/// @file
/// How the folders of living processes are told from those that a killed one left.
#ifndef ORV2D_LIFE_SIGN_H
#define ORV2D_LIFE_SIGN_H

#include <filesystem>
#include <optional>
#include <system_error>

namespace orv2d {

/// A file that is locked as long as the process lives that made it. It also names the machine:
/// another one may not see the lock.
class LifeSign {
 public:
  /// Makes the file in a new folder; `error` says why there is none.
  explicit LifeSign(const std::filesystem::path& file);
  LifeSign(LifeSign&& other) noexcept;
  ~LifeSign();
  LifeSign(const LifeSign&) = delete;
  LifeSign& operator=(const LifeSign&) = delete;
  LifeSign& operator=(LifeSign&&) = delete;

  [[nodiscard]] const std::error_code& error() const { return error_; }

  /// Takes over the sign of a process of this machine that is dead. Nothing if it lives, if that
  /// cannot be known, or if there is no such file.
  static std::optional<LifeSign> ofDead(const std::filesystem::path& file);

 private:
  explicit LifeSign(int file) : file_(file) {}

  int file_ = -1;
  std::error_code error_;
};

}  // namespace orv2d

#endif  // ORV2D_LIFE_SIGN_H
