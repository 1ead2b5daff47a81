// SPDX-License-Identifier: MIT
/// @file
/// The image files of one slab, read when the library asks for them.
#ifndef ORV2D_IMAGE_FILES_H
#define ORV2D_IMAGE_FILES_H

#include <cstdint>
#include <map>
#include <montage/Images.h>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace orv2d {

/// What is known of the image that a file must hold.
struct ExpectedImage {
  cv::Size size;           ///< empty: any
  std::uint64_t hash = 0;  ///< 0: any
};

/// Reads files and remembers what it has seen. If the pixels of all fit into a quarter of a gigabyte, keeps
/// them until the last reading. A file that cannot be used ends the run with `HostError` (unreadable input).
class ImageFiles : public montage::ImageSource {
 public:
  /// @param[in] grey  turn colour images to grey.
  ImageFiles(std::vector<std::string> files, bool grey);

  /// Refuses a file that holds another image, where it is read.
  /// @param[in] expected  empty, or one per file.
  void expect(std::vector<ExpectedImage> expected) { expected_ = std::move(expected); }

  /// From now on every image is read once: kept pixels are let go as they are read.
  void beginLastReading() { keeps_ = false; }

  [[nodiscard]] int count() const override { return static_cast<int>(files_.size()); }
  [[nodiscard]] cv::Size size(int index) const override;
  [[nodiscard]] cv::Mat read(int index) const override;
  [[nodiscard]] std::string name(int index) const override { return files_.at(at(index)); }

  struct Facts {
    cv::Size size;
    int channels = 0;
  };
  /// Of an image that has been read.
  [[nodiscard]] std::optional<Facts> facts(int index) const;

  /// Spent in reading files, all threads together.
  [[nodiscard]] double readingSeconds() const;

 private:
  static std::size_t at(int index) { return static_cast<std::size_t>(index); }
  [[nodiscard]] cv::Mat readAndCheck(int index) const;

  std::vector<std::string> files_;
  bool grey_;
  std::vector<ExpectedImage> expected_;
  mutable std::mutex mutex_;
  mutable std::map<int, Facts> facts_;
  mutable std::map<int, cv::Mat> kept_;
  bool keeps_ = true;
  mutable double seconds_ = 0.0;
};

}  // namespace orv2d

#endif  // ORV2D_IMAGE_FILES_H
