// SPDX-License-Identifier: MIT
/// @file
/// Where images come from and where a montage goes.
///
/// All images are 8-bit: `CV_8UC1`, or `CV_8UC3` in blue-green-red order.
///
/// @code
/// montage::FileSource photographs({"a.jpg", "b.jpg", "c.jpg"});   // read when they are needed
/// montage::MatSource pictures({first, second, third});            // pixels are shared
/// @endcode
#ifndef ORV_MONTAGE_APPLICATION_IMAGES_H
#define ORV_MONTAGE_APPLICATION_IMAGES_H

#include "Export.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace montage {

/// A file could not be used; what() begins with the path in quotes.
class MONTAGE_API FileError : public std::runtime_error {
 public:
  FileError(const std::filesystem::path& file, const std::string& reason)
      : std::runtime_error("'" + file.string() + "': " + reason), path_(file), reason_(reason) {}
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] const std::string& reason() const { return reason_; }

 private:
  std::filesystem::path path_;
  std::string reason_;
};

/// Reads one image file upright, with the channels it has.
///
/// @return `CV_8UC1` or `CV_8UC3`, continuous. @throw FileError for a file that is missing,
/// damaged,
///   cut off, of more than 8 bits per sample, or with other than 1 or 3 channels.
MONTAGE_API cv::Mat readImageFile(const std::filesystem::path& file);

/// A number that tells images apart, of size, channels and pixels; the same on every machine, never
/// 0. Not meant against forgery.
MONTAGE_API std::uint64_t hashOf(const cv::Mat& image);

/// The images of one slab.
///
/// Several threads may call the members at once. A source is used only during the calls that it is
/// handed to.
class ImageSource {
 public:
  ImageSource() = default;
  ImageSource(const ImageSource&) = default;
  ImageSource& operator=(const ImageSource&) = default;
  virtual ~ImageSource() = default;

  [[nodiscard]] virtual int count() const = 0;

  /// Width and height of image `index`, without keeping its pixels.
  [[nodiscard]] virtual cv::Size size(int index) const = 0;

  /// The pixels of image `index`: `CV_8UC1` or `CV_8UC3`; the library never writes them. May throw;
  /// a `FileError` during registration becomes the image's verdict.
  [[nodiscard]] virtual cv::Mat read(int index) const = 0;

  /// What people call the image.
  [[nodiscard]] virtual std::string name(int index) const {
    return "image " + std::to_string(index);
  }
};

/// Images in memory.
class MatSource : public ImageSource {
 public:
  /// @param[in] images  their pixels are shared, not copied; they must not change during a call.
  explicit MatSource(std::vector<cv::Mat> images) : images_(std::move(images)) {}

  /// Borrows packed rows of width * channels bytes; the buffers must outlive the source.
  static MatSource borrow(const std::vector<unsigned char*>& buffers,
                          const std::vector<cv::Size>& sizes,
                          const std::vector<int>& channels) {
    std::vector<cv::Mat> images;
    for (std::size_t i = 0; i < buffers.size(); ++i) {
      images.emplace_back(sizes.at(i), CV_8UC(channels.at(i)), buffers[i]);
    }
    return MatSource(std::move(images));
  }

  [[nodiscard]] int count() const override { return static_cast<int>(images_.size()); }
  [[nodiscard]] cv::Size size(int index) const override { return at(index).size(); }
  [[nodiscard]] cv::Mat read(int index) const override { return at(index); }

 private:
  [[nodiscard]] const cv::Mat& at(int index) const {
    return images_.at(static_cast<std::size_t>(index));
  }

  std::vector<cv::Mat> images_;
};

/// Image files, each read whenever it is needed and let go afterwards.
class FileSource : public ImageSource {
 public:
  explicit FileSource(std::vector<std::filesystem::path> files) : files_(std::move(files)) {}
  FileSource(const FileSource& other) : ImageSource(other), files_(other.files_) {}
  FileSource& operator=(const FileSource& other) {
    files_ = other.files_;
    sizes_.clear();
    return *this;
  }

  [[nodiscard]] int count() const override { return static_cast<int>(files_.size()); }

  /// Reads the file the first time. @throw FileError as read().
  [[nodiscard]] cv::Size size(int index) const override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      const auto known = sizes_.find(index);
      if (known != sizes_.end()) {
        return known->second;
      }
    }
    return read(index).size();
  }

  /// @throw FileError as readImageFile().
  [[nodiscard]] cv::Mat read(int index) const override {
    cv::Mat image = readImageFile(files_.at(static_cast<std::size_t>(index)));
    const std::lock_guard<std::mutex> lock(mutex_);
    sizes_[index] = image.size();
    return image;
  }

  /// The path as it was given.
  [[nodiscard]] std::string name(int index) const override {
    return files_.at(static_cast<std::size_t>(index)).string();
  }

 private:
  std::vector<std::filesystem::path> files_;
  mutable std::mutex mutex_;
  mutable std::map<int, cv::Size> sizes_;  ///< of files read so far
};

/// Takes a montage in parts, as they are finished.
///
/// One begin(), then write() for rectangles that cover the picture once, then finish(). The
/// rectangles come in raster order (from top to bottom, from left to right) unless the sink takes
/// them in any. All calls come from the thread that composes. After an exception finish() is not
/// called, and the sink drops what it has.
class MontageSink {
 public:
  MontageSink() = default;
  MontageSink(const MontageSink&) = default;
  MontageSink& operator=(const MontageSink&) = default;
  virtual ~MontageSink() = default;

  /// @param[in] type  `CV_8UC1`, `CV_8UC3`, or `CV_8UC4` (blue, green, red, alpha).
  virtual void begin(cv::Size size, int type) = 0;
  /// @param[in] pixels  of the area's size; valid during the call only.
  virtual void write(const cv::Rect& area, const cv::Mat& pixels) = 0;
  virtual void finish() {}

  /// Whether the rectangles may come in any order, of any sizes and places.
  [[nodiscard]] virtual bool takesAnyOrder() const { return false; }
};

/// A montage in memory.
class MatSink : public MontageSink {
 public:
  void begin(cv::Size size, int type) override { picture_.create(size, type); }
  void write(const cv::Rect& area, const cv::Mat& pixels) override {
    pixels.copyTo(picture_(area));
  }
  [[nodiscard]] bool takesAnyOrder() const override { return true; }
  [[nodiscard]] const cv::Mat& picture() const { return picture_; }

 private:
  cv::Mat picture_;
};

}  // namespace montage

#endif  // ORV_MONTAGE_APPLICATION_IMAGES_H
