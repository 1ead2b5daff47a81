// SPDX-License-Identifier: MIT
/// @file
/// Watching and stopping long work.
///
/// @code
/// std::atomic<bool> stop{false};  // set from any thread
/// const montage::Progress progress = [&](const montage::ProgressReport& report) {
///   std::cerr << montage::nameOf(report.stage) << ' ' << report.done << '/' << report.total <<
///   '\n'; return !stop;  // false ends the work with montage::Cancelled
/// };
/// @endcode
#ifndef ORV_MONTAGE_APPLICATION_PROGRESS_H
#define ORV_MONTAGE_APPLICATION_PROGRESS_H

#include "Export.h"

#include <functional>
#include <stdexcept>

namespace montage {

/// The steps of a montage, in their order.
enum class Stage {
  describe,  ///< reading images and finding features; counted in images
  select,    ///< finding the pairs worth comparing; counted in images
  match,     ///< comparing pairs of images; counted in pairs
  adjust,    ///< estimating the cameras; counted in rounds, the total is an upper bound
  warp,      ///< reading images for gains and seams; counted in images
  gains,     ///< equalising the exposures; counted in overlaps
  seams,     ///< cutting overlaps; counted in overlaps
  compose    ///< making pixels; counted in tiles
};

/// The stage as one lower-case word.
MONTAGE_API const char* nameOf(Stage stage);

struct ProgressReport {
  Stage stage;
  int done;   ///< from 0 to `total`; never falls within a stage
  int total;  ///< at least 1; grows when more work turns up
};

/// Called with each step that ends and, in long steps, in between; returns whether to go on.
///
/// Calls come one at a time, but from whichever thread has done the step. An exception of the
/// callback ends the work and reaches the caller. An empty function: nobody watches.
using Progress = std::function<bool(const ProgressReport&)>;

/// Thrown by the call whose progress callback said stop; nothing is left behind.
class MONTAGE_API Cancelled : public std::runtime_error {
 public:
  Cancelled() : std::runtime_error("stopped by the caller") {}
};

}  // namespace montage

#endif  // ORV_MONTAGE_APPLICATION_PROGRESS_H
