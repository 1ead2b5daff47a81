// SPDX-License-Identifier: MIT
/// @file
/// Ctrl-C and SIGTERM as a question that long work asks.
#ifndef ORV2D_STOP_SIGNALS_H
#define ORV2D_STOP_SIGNALS_H

namespace orv2d {

/// While it lives, SIGINT and SIGTERM are noted instead of ending the program; a third one ends it
/// at once. One at a time.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// The number of the signal that came first; 0 if none did.
  static int received();

  /// Throws `montage::Cancelled` if a signal came.
  static void check();
};

}  // namespace orv2d

#endif  // ORV2D_STOP_SIGNALS_H
