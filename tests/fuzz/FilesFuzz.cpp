// SPDX-License-Identifier: MIT
/// @file
/// Every kind of file that the library and the program read, and what is then made of it. The first
/// byte says which kind.
#include "ExitCode.h"
#include "batch/Manifest.h"
#include "correct/CorrectSettings.h"
#include "fuzz/Input.h"
#include "montage/Montage.h"
#include "montage/PairsArgument.h"
#include "support/TemporaryFolder.h"
#include "support/ThreadLimit.h"

#include <array>
#include <cstdlib>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace montage;
using ORV::Fuzz::Input;
namespace fs = std::filesystem;

/// Grey noise of the sizes that a file names.
class NamedSizes : public ImageSource {
 public:
  explicit NamedSizes(std::vector<cv::Size> sizes) : sizes_(std::move(sizes)) {}
  [[nodiscard]] int count() const override { return static_cast<int>(sizes_.size()); }
  [[nodiscard]] cv::Size size(int index) const override {
    return sizes_.at(static_cast<std::size_t>(index));
  }
  [[nodiscard]] cv::Mat read(int index) const override {
    cv::Mat image(size(index), CV_8UC1);
    cv::RNG(1).fill(image, cv::RNG::UNIFORM, 0, 256);
    return image;
  }

  [[nodiscard]] bool areSmall() const {
    constexpr int kMostImages = 8, kLongestSide = 400;
    bool small = sizes_.size() <= kMostImages;
    for (const cv::Size& size : sizes_) {
      small = small && size.width <= kLongestSide && size.height <= kLongestSide;
    }
    return small;
  }

 private:
  std::vector<cv::Size> sizes_;
};

void composeIfSmall(const MontagePlan& plan, const NamedSizes& source) {
  constexpr double kMostPixels = 1e6;
  if (plan.status == PlanStatus::ok && source.areSmall() && plan.size.area() < kMostPixels) {
    compose(plan, source);
  }
}

void registration(const fs::path& file) {
  const Registration found = loadRegistration(file);
  std::vector<cv::Size> sizes;
  for (const RegisteredImage& image : found.images) {
    sizes.push_back(image.size);
  }
  const NamedSizes source(sizes);
  if (source.areSmall()) {
    PlanOptions options;
    options.maxMegapixels = 1;
    composeIfSmall(planMontage(found, source, options), source);
  }
}

void plan(const fs::path& file) {
  const MontagePlan found = loadPlan(file);
  constexpr int kMostImages = 8;
  if (found.sourceCount > kMostImages) {
    return;
  }
  std::vector<cv::Size> sizes(static_cast<std::size_t>(std::max(found.sourceCount, 0)), {1, 1});
  for (const PlannedImage& image : found.images) {
    sizes.at(static_cast<std::size_t>(image.index)) = image.sourceSize;
  }
  composeIfSmall(found, NamedSizes(sizes));
}

void features(const fs::path& file) {
  const Features found = loadFeatures(file);
  PairMatches pair = match(found, found);
  pair.first = 0;
  pair.second = 1;
  adjust({found, found}, {pair});
}

void pairMatches(const fs::path& file) {
  const PairMatches found = loadPairMatches(file);
  Features features;
  features.imageSize = features.scaledSize = {100, 80};
  features.keypoints.resize(50, cv::KeyPoint(10, 10, 1));
  features.descriptors = cv::Mat::zeros(50, 128, CV_8U);
  adjust({features, features}, {found});
}

void lens(const fs::path& file) {
  orv2d::CorrectSettings settings;
  settings.lensFile = file.string();
  orv2d::planCorrection(settings);
}

void pairs(const fs::path& file) {
  orv2d::parsePairs(file.string(), 7);
}

void manifest(const fs::path& file) {
  orv2d::readManifest(file);
}

void image(const fs::path& file) {
  readImageFile(file);
}

struct Kind {
  void (*use)(const fs::path& file);
  /// What stands before a value's JSON; null: the file is the input as it is.
  const char* header;
};

// A new kind comes last: the corpus names them by their places.
constexpr std::array<Kind, 9> kKinds = {{{registration, nullptr},
                                         {plan, nullptr},
                                         {plan, "MONTAGE plan 2\n"},
                                         {features, "MONTAGE features 1\n"},
                                         {pairMatches, "MONTAGE pair 1\n"},
                                         {lens, nullptr},
                                         {pairs, nullptr},
                                         {image, nullptr},
                                         {manifest, nullptr}}};

void writeFile(const fs::path& file, const Kind& kind, const std::string& text) {
  std::ofstream stream(file, std::ios::binary);
  if (kind.header == nullptr) {
    stream << text;
    return;
  }
  // JSON, a zero, and the matrices: the length that stands before them always fits.
  const std::size_t length = std::min(text.find('\0'), text.size());
  stream << kind.header << length << '\n' << text.substr(0, length);
  stream << (length < text.size() ? text.substr(length + 1) : "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const ORV::TestSupport::ThreadLimit kOneThread(1);
  static const ORV::TestSupport::TemporaryFolder kFolder;
  static const int kLimited = setenv("OPENCV_IO_MAX_IMAGE_PIXELS", "1000000", 1);  // of decoders
  static_cast<void>(kLimited);
  Input input(bytes, count);
  const Kind& kind = kKinds[input.take<std::uint8_t>() % kKinds.size()];
  const fs::path file = kFolder / "file";
  writeFile(file, kind, input.rest());
  try {
    kind.use(file);
  } catch (const FileError&) {
  } catch (const std::invalid_argument&) {
  } catch (const MemoryLimitError&) {
  } catch (const orv2d::HostError&) {
  } catch (const cv::Exception&) {
  } catch (const std::bad_alloc&) {
  }
  return 0;
}

#ifdef MONTAGE_FUZZ

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t count, std::size_t most);

/// Every other time puts another number in the place of one in the text, which keeps it readable.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes,
                                               std::size_t count,
                                               std::size_t most,
                                               unsigned seed) {
  static const char* const kNumbers[] = {"0",
                                         "-1",
                                         "1",
                                         "2",
                                         "7",
                                         "400",
                                         "-0.0",
                                         "0.5",
                                         "1e-300",
                                         "1e300",
                                         "-1e300",
                                         "2147483647",
                                         "-2147483648",
                                         "16777216",
                                         "32767",
                                         "4294967296",
                                         "18446744073709551615",
                                         "null",
                                         "\"x\"",
                                         "[]",
                                         "{}",
                                         "true",
                                         "1e9",
                                         "3.14159"};
  constexpr unsigned kCount = sizeof kNumbers / sizeof kNumbers[0];
  const char* const digits = "0123456789+-.e";
  const std::string text(reinterpret_cast<char*>(bytes), count);
  const std::size_t first =
      count < 2 ? std::string::npos : text.find_first_of("0123456789", 1 + (seed >> 8) % count);
  if (seed % 2 == 0 || first == std::string::npos) {
    return LLVMFuzzerMutate(bytes, count, most);
  }
  const std::size_t end = std::min(text.find_first_not_of(digits, first), count);
  const std::string changed =
      text.substr(0, first) + kNumbers[(seed >> 1) % kCount] + text.substr(end);
  const std::size_t length = std::min(changed.size(), most);
  std::copy_n(changed.begin(), length, bytes);
  return length;
}

#endif
