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

/// An option that reduces all images by one factor: the largest one to so many megapixels.
struct Reduction {
  const char* option;
  double megapixels;  ///< negative: none
};

/// Reads files and remembers what it has seen. If the pixels of all fit into a quarter of a
/// gigabyte, keeps them until the last reading. A file that cannot be used ends the run with
/// `HostError` (unreadable input).
class ImageFiles : public montage::ImageSource {
 public:
  /// @param[in] grey  turn colour images to grey.
  ImageFiles(std::vector<std::string> files, bool grey);

  /// Refuses a file that holds another image, where it is read.
  /// @param[in] expected  empty, or one per file.
  void expect(std::vector<ExpectedImage> expected) { expected_ = std::move(expected); }

  /// From now on every image is read once: kept pixels are let go as they are read.
  void beginLastReading() { keeps_ = false; }

  /// Refuses images of which nothing would be left, as soon as sizes tell.
  void reduceBy(std::vector<Reduction> reductions) { reductions_ = std::move(reductions); }

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
  void note(int index, const Facts& facts) const;
  void requireSomethingLeft() const;

  std::vector<std::string> files_;
  bool grey_;
  std::vector<ExpectedImage> expected_;
  std::vector<Reduction> reductions_;
  mutable std::mutex mutex_;
  mutable std::map<int, Facts> facts_;
  mutable double largestArea_ = 0.0;  ///< of the images that have been read
  mutable int thinnest_ = -1;         ///< the one of them with the shortest side
  mutable std::map<int, cv::Mat> kept_;
  bool keeps_ = true;
  mutable double seconds_ = 0.0;
};

}  // namespace orv2d

#endif  // ORV2D_IMAGE_FILES_H
