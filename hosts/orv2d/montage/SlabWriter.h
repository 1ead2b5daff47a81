// SPDX-License-Identifier: MIT
/// @file
/// From a plan to the files of its montages.
#ifndef ORV2D_SLAB_WRITER_H
#define ORV2D_SLAB_WRITER_H

#include "Console.h"
#include "OutputFiles.h"
#include "montage/ImageFiles.h"
#include "montage/MontageOutcome.h"
#include "montage/MontageSettings.h"

#include <functional>
#include <montage/Compose.h>
#include <vector>

namespace orv2d {

/// Composes the slabs of a plan one after the other and stages their files: through memory, or into
/// a tiled TIFF where that is asked for or memory does not suffice.
class SlabWriter {
 public:
  /// Draws what goes onto the overlay of slab 0.
  using Draw = std::function<cv::Mat(const cv::Mat& montage)>;

  /// Plans the files. All arguments are borrowed.
  SlabWriter(const MontageSettings& settings,
             const std::vector<std::filesystem::path>& inputs,
             OutputFiles& outputs);

  /// Writes montages, sizes and times into the outcome. Throws `HostError` before any work if format,
  /// disk or memory do not suffice.
  void write(const montage::MontagePlan& plan,
             const ImageFiles& firstSlab,
             const Draw& overlay,
             MontageOutcome& outcome);

 private:
  void requireRoom(const montage::MontagePlan& plan) const;
  void composeSlab(montage::Composer& composer,
                   const ImageFiles& images,
                   const std::filesystem::path& file,
                   const Draw& overlay);
  void composeIntoFile(montage::Composer& composer,
                       const ImageFiles& images,
                       const std::filesystem::path& file);
  void composeInMemory(montage::Composer& composer,
                       const ImageFiles& images,
                       const std::filesystem::path& file,
                       const Draw& overlay);
  void writePicture(const std::filesystem::path& file, const cv::Mat& picture);
  [[nodiscard]] cv::Size sizeOf(const montage::MontagePlan& plan) const;

  const MontageSettings& settings_;
  OutputFiles& outputs_;
  Progress progress_;
  std::vector<std::filesystem::path> files_;
  PhaseTimes times_;
};

}  // namespace orv2d

#endif  // ORV2D_SLAB_WRITER_H
