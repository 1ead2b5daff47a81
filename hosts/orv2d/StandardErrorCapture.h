// SPDX-License-Identifier: MIT
/// @file
/// Keeps what image decoders write to standard error.
#ifndef ORV2D_STANDARD_ERROR_CAPTURE_H
#define ORV2D_STANDARD_ERROR_CAPTURE_H

#include <cstdio>
#include <string>

namespace orv2d {

/// Redirects the process's standard error into a temporary file while it lives.
///
/// The image codecs report damage there, and only there: libjpeg returns a picture with a grey rest
/// for a file that was cut off. Process-wide, so it is used while no other thread runs. On Windows,
/// and where no temporary file can be had, nothing is redirected and the text stays empty.
class StandardErrorCapture {
 public:
  StandardErrorCapture();
  ~StandardErrorCapture();
  StandardErrorCapture(const StandardErrorCapture&) = delete;
  StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

  /// Ends the redirection and returns what was written.
  std::string finish();

 private:
  std::FILE* file_ = nullptr;  // owned; closed by finish()
  int saved_ = -1;
};

}  // namespace orv2d

#endif  // ORV2D_STANDARD_ERROR_CAPTURE_H
