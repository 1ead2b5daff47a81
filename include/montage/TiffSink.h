// SPDX-License-Identifier: MIT
/// @file
/// Montages of any size, written while they are composed.
///
/// @code
/// montage::TiffOptions options;
/// options.pyramid = true;
/// montage::TiffSink file("montage.tif", options);
/// montage::compose(plan, photographs, file);   // never in memory as a whole
/// @endcode
#ifndef ORV_MONTAGE_APPLICATION_TIFF_SINK_H
#define ORV_MONTAGE_APPLICATION_TIFF_SINK_H

#include "Export.h"
#include "montage/Images.h"

#include <opencv2/core.hpp>

#include <filesystem>
#include <memory>

namespace montage {

enum class TiffCompression {
  none,
  deflate,  ///< without loss: horizontal differences, deflated for speed
  jpeg      ///< with loss; brightness at full, colour at half resolution; not with transparency
};

struct TiffOptions {
  TiffCompression compression = TiffCompression::deflate;
  /// Of JPEG, 1 to 100.
  int quality = 90;
  /// Add the picture at a half, a quarter, ... of its resolution, down to a longer side of at most
  /// 512 pixels: viewers then open any size at once.
  bool pyramid = false;
  /// Write a BigTIFF also where the file would not need one.
  bool bigTiff = false;
  /// Resolution for printing and measuring, [0, 10^6]; 0: the file does not say one.
  double pixelsPerInch = 0.0;
};

/// A montage in a TIFF file of tiles of 512 x 512 pixels.
///
/// Samples of 8 bits: grey (black is 0), red-green-blue, or red-green-blue with unassociated alpha.
/// A tile is compressed and written as soon as it is full, so that memory holds the tiles that
/// are partly filled, about 64 full ones and 16 bytes per tile of the file, whatever the montage's
/// area: a montage that comes in rows takes about 1024 bytes per column and channel. Rectangles may
/// come in any order; their order decides where in the file the tiles lie and nothing else.
///
/// The reduced pictures of a pyramid follow the full one as directories of their own, each marked
/// as a reduced image (NewSubfileType 1), with tiles of the same size. Their pixels are means of
/// 2 x 2 pixels, rounded to nearest; with alpha the colours are weighted by it. Odd sides are
/// rounded up: the last column is then the mean of one column, likewise the last row.
///
/// From 3.5 * 10^9 bytes of samples on (whole tiles, all levels) the file is a BigTIFF.
///
/// begin() opens a temporary file beside the target, and finish() renames it: an abandoned montage
/// leaves nothing behind, and an earlier file as it was. Compresses on all cores; the same
/// rectangles give the same bytes for any number of threads.
///
/// begin() throws `std::invalid_argument` for JPEG with alpha, write() for what is not inside the
/// picture, of another type, or there already, finish() for a picture that is not complete; all of
/// them `FileError` for a file that cannot be written.
class MONTAGE_API TiffSink : public MontageSink {
 public:
  /// @throw std::invalid_argument for options out of range
  explicit TiffSink(std::filesystem::path file, const TiffOptions& options = {});
  ~TiffSink() override;
  TiffSink(TiffSink&&) noexcept;
  TiffSink& operator=(TiffSink&&) noexcept;
  TiffSink(const TiffSink&) = delete;
  TiffSink& operator=(const TiffSink&) = delete;

  void begin(cv::Size size, int type) override;
  void write(const cv::Rect& area, const cv::Mat& pixels) override;
  void finish() override;
  [[nodiscard]] bool takesAnyOrder() const override { return true; }

 private:
  class Picture;
  Picture& begun();

  std::filesystem::path file_;
  TiffOptions options_;
  std::unique_ptr<Picture> picture_;
};

}  // namespace montage

#endif  // ORV_MONTAGE_APPLICATION_TIFF_SINK_H
