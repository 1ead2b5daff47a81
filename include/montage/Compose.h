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
/// @endcode
#ifndef ORV_MONTAGE_APPLICATION_COMPOSE_H
#define ORV_MONTAGE_APPLICATION_COMPOSE_H

#include "Export.h"
#include "montage/Images.h"
#include "montage/MontagePlan.h"
#include "montage/Progress.h"

#include <opencv2/core.hpp>

#include <memory>

namespace montage {

/// Composes slabs that share a plan.
///
/// A window has exactly the pixels that the whole montage has there. The montage has one channel if
/// the first image of the plan has one, else three; with a transparent background four.
///
/// @note Not for two threads at once; composers of the same plan may run side by side. Uses all
///   cores.
class MONTAGE_API Composer {
 public:
  /// @throw std::invalid_argument if the plan's status is not ok.
  explicit Composer(MontagePlan plan);
  ~Composer();
  Composer(Composer&&) noexcept;
  Composer& operator=(Composer&&) noexcept;
  Composer(const Composer&) = delete;
  Composer& operator=(const Composer&) = delete;

  [[nodiscard]] const MontagePlan& plan() const;

  /// The whole montage of a slab.
  ///
  /// @param[in] images  as many as the registration had, of the plan's sizes.
  /// @throw std::invalid_argument, Cancelled, what the source throws
  cv::Mat compose(const ImageSource& images, const Progress& progress = {});

  /// A part of it; only the images that bear on the window are read.
  /// @param[in] window  inside the montage, not empty.
  cv::Mat compose(const ImageSource& images, const cv::Rect& window, const Progress& progress = {});

  /// The whole montage, handed over in rows of tiles.
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
