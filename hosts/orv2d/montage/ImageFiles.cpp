// SPDX-License-Identifier: MIT
#include "montage/ImageFiles.h"

#include "ExitCode.h"
#include "ImageIo.h"
#include "report/Measure.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

namespace orv2d {
namespace {

/// Registration, planning and composing read every image in turn: what is kept spares decoding.
constexpr std::size_t kMostKeptBytes = std::size_t{1} << 28U;

std::string sizeText(cv::Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

int shortSide(cv::Size size) {
  return std::min(size.width, size.height);
}

cv::Mat inGrey(const cv::Mat& image) {
  cv::Mat grey = image;
  if (image.channels() == 3) {
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
  }
  return grey;
}

[[noreturn]] void refuse(const std::string& file, const std::string& reason) {
  throw HostError(ExitCode::UnreadableInput, "cannot use " + inQuotes(file) + ": " + reason);
}

/// The image may have been registered in grey.
bool hasHash(const cv::Mat& image, std::uint64_t hash) {
  return montage::hashOf(image) == hash || montage::hashOf(inGrey(image)) == hash;
}

}  // namespace

ImageFiles::ImageFiles(std::vector<std::string> files, bool grey)
    : files_(std::move(files)), grey_(grey) {}

cv::Mat ImageFiles::readAndCheck(int index) const {
  const std::string& file = files_.at(at(index));
  const cv::Mat image = readImage(file);
  if (!expected_.empty()) {
    const ExpectedImage& expected = expected_.at(at(index));
    if (!expected.size.empty() && image.size() != expected.size) {
      refuse(file,
             "it has " + sizeText(image.size()) + " pixels, but " + sizeText(expected.size) +
                 " are expected, as in the first slab");
    }
    if (expected.hash != 0 && !hasHash(image, expected.hash)) {
      refuse(file,
             "it is not the image that was registered; to compose other images in register with "
             "those, name them all");
    }
  }
  return grey_ ? inGrey(image) : image;
}

void ImageFiles::note(int index, const Facts& facts) const {
  facts_[index] = facts;
  largestArea_ = std::max(largestArea_, static_cast<double>(facts.size.area()));
  if (thinnest_ < 0 || shortSide(facts.size) < shortSide(facts_.at(thinnest_).size)) {
    thinnest_ = index;
  }
  requireSomethingLeft();
}

void ImageFiles::requireSomethingLeft() const {
  constexpr double kPixelsPerMegapixel = 1e6;
  constexpr double kRoundedToNothing = 0.5;
  const cv::Size size = facts_.at(thinnest_).size;
  for (const auto& [option, megapixels] : reductions_) {
    const double scale = std::sqrt(megapixels * kPixelsPerMegapixel / largestArea_);
    if (megapixels >= 0.0 && shortSide(size) * scale <= kRoundedToNothing) {
      std::ostringstream reason;
      reason << "nothing is left of its " << sizeText(size) << " pixels where " << option << " "
             << megapixels << " reduces the images; use a higher resolution";
      refuse(files_.at(at(thinnest_)), reason.str());
    }
  }
}

cv::Mat ImageFiles::read(int index) const {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto kept = kept_.find(index);
    if (kept != kept_.end()) {
      cv::Mat image = kept->second;
      if (!keeps_) {
        kept_.erase(kept);
      }
      return image;
    }
  }
  const Stopwatch watch;
  cv::Mat image = readAndCheck(index);
  const std::lock_guard<std::mutex> lock(mutex_);
  seconds_ += watch.seconds();
  note(index, {image.size(), image.channels()});
  const std::size_t bytes = image.total() * image.elemSize();
  if (keeps_ && bytes * files_.size() <= kMostKeptBytes) {
    kept_.emplace(index, image);
  }
  return image;
}

cv::Size ImageFiles::size(int index) const {
  const std::optional<Facts> known = facts(index);
  return known ? known->size : read(index).size();
}

std::optional<ImageFiles::Facts> ImageFiles::facts(int index) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = facts_.find(index);
  return found == facts_.end() ? std::nullopt : std::optional<Facts>(found->second);
}

double ImageFiles::readingSeconds() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return seconds_;
}

}  // namespace orv2d
