// SPDX-License-Identifier: MIT
/// @file
/// The program's own words on standard error, kept apart from those of the image decoders.
#ifndef ORV2D_STANDARD_ERROR_H
#define ORV2D_STANDARD_ERROR_H

#include <string>

namespace orv2d {

/// While one lives, what libraries write to standard error is dropped.
///
/// libjpeg and libpng print a line for every harmless oddity of a file. Several may live at once, in
/// any threads; the last one to end restores standard error. Nothing is dropped on Windows.
class DecoderSilence {
 public:
  DecoderSilence();
  ~DecoderSilence();
  DecoderSilence(const DecoderSilence&) = delete;
  DecoderSilence& operator=(const DecoderSilence&) = delete;
};

/// Writes `text` to standard error at once, also while decoders are silenced.
void writeToStandardError(const std::string& text);

/// Whether standard error is a terminal.
bool standardErrorIsTerminal();

/// Empties the line of the terminal that the cursor is in; nothing where there is none.
void clearTerminalLine();

}  // namespace orv2d

#endif  // ORV2D_STANDARD_ERROR_H
