// SPDX-License-Identifier: MIT
/// @file
/// From a plan to pixels: whole montages, windows of them, slab after slab.
///
/// @code
/// const cv::Mat picture = montage::compose(plan, photographs);
///
/// montage::Composer composer(plan);               // keeps what slabs share
/// const cv::Mat red = composer.compose(redSlab);
/// const cv::Mat corner = composer.compose(redSlab, cv::Rect(0, 0, 512, 512));
///
/// montage::ComposeOptions options;                // a montage larger than the memory
/// options.memoryBytes = 3000000000;
/// montage::TiffSink file("wall.tif");
/// montage::Composer(plan, options).compose(photographs, file);
/// @endcode
#ifndef ORV_MONTAGE_APPLICATION_COMPOSE_H
#define ORV_MONTAGE_APPLICATION_COMPOSE_H

#include "Export.h"
#include "montage/Images.h"
#include "montage/MontagePlan.h"
#include "montage/Progress.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <memory>
#include <stdexcept>

namespace montage {

struct ComposeOptions {
  /// Memory that composing may take, besides the plan and what the source keeps, bytes; 0: 60 % of
  /// what is free. Where all images do not fit, the montage is made in strips, and an image is held
  /// from the first to the last strip that shows it; by default also where all of them would take
  /// more than 10^9 bytes, as strips then take no longer.
  std::uint64_t memoryBytes = 0;
  /// Channels of the montage: 1, 3, or 0: as the slab's first image in the plan. Saves a window that
  /// does not show that image from reading it; `MontagePlan::channels` has the first slab's.
  int channels = 0;
};

/// The memory that may be taken does not suffice; nothing has been read or written.
class MONTAGE_API MemoryLimitError : public std::runtime_error {
 public:
  MemoryLimitError(std::uint64_t needed, std::uint64_t allowed);
  [[nodiscard]] std::uint64_t needed() const { return needed_; }    ///< bytes, the least
  [[nodiscard]] std::uint64_t allowed() const { return allowed_; }  ///< bytes

 private:
  std::uint64_t needed_;
  std::uint64_t allowed_;
};

/// Composes slabs that share a plan.
///
/// A window has exactly the pixels that the whole montage has there. The montage has one channel if
/// the first image of the plan has one, else three; with a transparent background four.
///
/// @note Not for two threads at once; composers of the same plan may run side by side. Uses all
///   cores.
class MONTAGE_API Composer {
 public:
  /// @throw std::invalid_argument if the plan's status is not ok or an option is out of range.
  explicit Composer(MontagePlan plan, const ComposeOptions& options = {});
  ~Composer();
  Composer(Composer&&) noexcept;
  Composer& operator=(Composer&&) noexcept;
  Composer(const Composer&) = delete;
  Composer& operator=(const Composer&) = delete;

  [[nodiscard]] const MontagePlan& plan() const;

  /// The whole montage of a slab.
  ///
  /// @param[in] images  as many as the registration had, of the plan's sizes.
  /// @throw std::invalid_argument, MemoryLimitError, Cancelled, what the source throws
  /// @note Every image is read once.
  cv::Mat compose(const ImageSource& images, const Progress& progress = {});

  /// A part of it; only the images that bear on the window are read, and only the masks of the last
  /// window are kept.
  /// @param[in] window  inside the montage, not empty.
  cv::Mat compose(const ImageSource& images, const cv::Rect& window, const Progress& progress = {});

  /// The whole montage, handed over in rows of tiles; in columns where that takes less memory and
  /// the sink takes any order. The memory does not depend on the montage's area.
  void compose(const ImageSource& images, MontageSink& sink, const Progress& progress = {});

 private:
  class Engine;
  std::unique_ptr<Engine> engine_;
};

/// Composer(plan).compose(...) for one slab.
MONTAGE_API cv::Mat compose(const MontagePlan& plan,
                            const ImageSource& images,
                            const Progress& progress = {});
MONTAGE_API cv::Mat compose(const MontagePlan& plan,
                            const ImageSource& images,
                            const cv::Rect& window,
                            const Progress& progress = {});
MONTAGE_API void compose(const MontagePlan& plan,
                         const ImageSource& images,
                         MontageSink& sink,
                         const Progress& progress = {});

}  // namespace montage

#endif  // ORV_MONTAGE_APPLICATION_COMPOSE_H
