// SPDX-License-Identifier: MIT
/// @file
/// The exit codes of the program, their sentences, and the exception that carries one to `main`.
#ifndef ORV2D_EXIT_CODE_H
#define ORV2D_EXIT_CODE_H

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orv2d {

enum class ExitCode {
  Success = 0,
  InternalError = 1,
  Usage = 2,
  UnreadableInput = 3,
  NoMontage = 4,
  CamerasNotFinite = 5,
  OutputNotWritable = 6,
  NoCorrection = 7,
  NoPreview = 8,
  NotShowable = 9,
  NoRoom = 10,
  ScenesFailed = 11,
  HungUp = 129,  // 128 + the number of the signal, as shells have it
  Interrupted = 130,
  Terminated = 143,
};

struct ExitCodeMeaning {
  ExitCode code;
  std::string_view sentence;
};

/// Every exit code with its sentence, for the help text.
inline constexpr std::array<ExitCodeMeaning, 15> kExitCodes = {{
    {ExitCode::Success, "success"},
    {ExitCode::InternalError, "internal error or out of memory"},
    {ExitCode::Usage, "wrong usage: an option, a value or a combination is not possible"},
    {ExitCode::UnreadableInput, "an input is missing, damaged or of a kind that is not accepted"},
    {ExitCode::NoMontage, "no montage: fewer than two images connect"},
    {ExitCode::CamerasNotFinite, "no montage: the cameras diverged (basic and diagnostic)"},
    {ExitCode::OutputNotWritable, "an output cannot be written"},
    {ExitCode::NoCorrection, "no correction: the content is missing, cut off or broken"},
    {ExitCode::NoPreview, "the result is written, but its preview could not be made"},
    {ExitCode::NotShowable, "no montage: it would be too large, or no plane can show it"},
    {ExitCode::NoRoom,
     "no montage: it takes more memory or disk space than there is or is allowed"},
    {ExitCode::ScenesFailed, "batch: one or more scenes failed, the others are done"},
    {ExitCode::HungUp, "stopped by SIGHUP; nothing unfinished is left"},
    {ExitCode::Interrupted, "stopped by Ctrl-C; nothing unfinished is left"},
    {ExitCode::Terminated, "stopped by SIGTERM; nothing unfinished is left"},
}};

/// What ends the program early: a sentence for the user and the code to exit with.
class HostError : public std::runtime_error {
 public:
  HostError(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  [[nodiscard]] ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace orv2d

#endif  // ORV2D_EXIT_CODE_H
