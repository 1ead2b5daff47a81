// SPDX-License-Identifier: MIT
// Tiled TIFFs, read back with libtiff: pixels, levels, structure, and files that must not stay.
#include "support/ImageMatchers.h"
#include "support/TemporaryFolder.h"
#include "support/ThreadLimit.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <montage/TiffSink.h>
#include <random>
#include <stdexcept>
#include <tiffio.h>

namespace {

using namespace montage;
using namespace ORV::TestSupport;
namespace fs = std::filesystem;

/// Shapes and noise; alpha of all values, with large empty parts.
cv::Mat picture(cv::Size size, int type) {
  cv::Mat result(size, type);
  cv::randu(result, 0, 60);
  cv::RNG random(5);
  for (int i = 0; i < 40; ++i) {
    const cv::Point at(random.uniform(0, size.width), random.uniform(0, size.height));
    const cv::Scalar colour(
        random.uniform(0, 256), random.uniform(0, 256), random.uniform(0, 256), i % 2 * 255);
    cv::circle(result, at, random.uniform(5, 120), colour, cv::FILLED);
  }
  return result;
}

/// Parts that cover `area` once, of all sizes from a few pixels up, in any order.
std::vector<cv::Rect> randomParts(const cv::Rect& area, std::mt19937& random) {
  std::vector<cv::Rect> parts = {area};
  for (std::size_t i = 0; i < 60; ++i) {
    cv::Rect& part = parts[random() % parts.size()];
    const bool across = random() % 2 == 0;
    const int side = across ? part.width : part.height;
    if (side < 2) {
      continue;
    }
    const int cut = 1 + static_cast<int>(random() % static_cast<unsigned>(side - 1));
    cv::Rect rest = part;
    (across ? part.width : part.height) = cut;
    (across ? rest.x : rest.y) += cut;
    (across ? rest.width : rest.height) -= cut;
    parts.push_back(rest);
  }
  std::shuffle(parts.begin(), parts.end(), random);
  return parts;
}

void writeInParts(const fs::path& file, const TiffOptions& options, const cv::Mat& picture) {
  std::mt19937 random(3);
  TiffSink sink(file, options);
  sink.begin(picture.size(), picture.type());
  for (const cv::Rect& part : randomParts({cv::Point(), picture.size()}, random)) {
    sink.write(part, picture(part));
  }
  sink.finish();
}

std::string bytesOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// One picture of a file, through libtiff; messages of libtiff fail the test.
class TiffReader {
 public:
  explicit TiffReader(const fs::path& file) {
    TIFFSetErrorHandler(fail);
    TIFFSetWarningHandler(fail);
    tiff_ = TIFFOpen(file.c_str(), "r");
  }
  ~TiffReader() { TIFFClose(tiff_); }
  TiffReader(const TiffReader&) = delete;
  TiffReader& operator=(const TiffReader&) = delete;

  [[nodiscard]] unsigned directories() const { return TIFFNumberOfDirectories(tiff_); }

  template <class Value>
  [[nodiscard]] Value field(std::uint32_t tag) const {
    Value value{};
    TIFFGetFieldDefaulted(tiff_, tag, &value);
    return value;
  }

  [[nodiscard]] bool hasUnassociatedAlpha() const {
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    TIFFGetFieldDefaulted(tiff_, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    return count == 1 && kinds[0] == EXTRASAMPLE_UNASSALPHA;
  }

  cv::Mat read(int directory) {
    TIFFSetDirectory(tiff_, static_cast<std::uint16_t>(directory));
    if (field<std::uint16_t>(TIFFTAG_COMPRESSION) == COMPRESSION_JPEG) {
      TIFFSetField(tiff_, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    }
    const int channels = field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
    const cv::Rect all(0,
                       0,
                       static_cast<int>(field<std::uint32_t>(TIFFTAG_IMAGEWIDTH)),
                       static_cast<int>(field<std::uint32_t>(TIFFTAG_IMAGELENGTH)));
    cv::Mat result(all.size(), CV_8UC(channels));
    cv::Mat tile(512, 512, CV_8UC(channels));
    EXPECT_EQ(TIFFTileSize(tiff_), tile.total() * tile.elemSize());
    for (int y = 0; y < all.height; y += tile.rows) {
      for (int x = 0; x < all.width; x += tile.cols) {
        EXPECT_GT(TIFFReadTile(
                      tiff_, tile.data, static_cast<unsigned>(x), static_cast<unsigned>(y), 0, 0),
                  0);
        const cv::Rect area = cv::Rect(x, y, tile.cols, tile.rows) & all;
        tile(area - cv::Point(x, y)).copyTo(result(area));
      }
    }
    if (channels > 1) {
      cv::cvtColor(result, result, channels == 3 ? cv::COLOR_RGB2BGR : cv::COLOR_RGBA2BGRA);
    }
    return result;
  }

 private:
  static void fail(const char* module, const char* format, va_list /*arguments*/) {
    ADD_FAILURE() << module << ": " << format;
  }
  TIFF* tiff_;
};

/// By the definition: over the pixels that there are, colours weighted by alpha.
cv::Mat halfOf(const cv::Mat& full) {
  const int channels = full.channels();
  cv::Mat half((full.rows + 1) / 2, (full.cols + 1) / 2, full.type());
  for (int y = 0; y < half.rows; ++y) {
    for (int x = 0; x < half.cols; ++x) {
      const cv::Mat four = full(cv::Rect(2 * x, 2 * y, 2, 2) & cv::Rect({}, full.size())).clone();
      for (int c = 0; c < channels; ++c) {
        double sum = 0.0;
        double weights = 0.0;
        for (std::size_t i = 0; i < four.total(); ++i) {
          const unsigned char* const pixel = four.data + i * four.elemSize();
          const double weight = channels == 4 && c < 3 ? pixel[3] : 1.0;
          sum += weight * pixel[c];
          weights += weight;
        }
        const double mean = weights > 0.0 ? sum / weights : 0.0;
        half.ptr(y, x)[c] = static_cast<unsigned char>(std::floor(mean + 0.5));
      }
    }
  }
  return half;
}

class TiffSinkTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::size_t filesLeft() const {
    const fs::directory_iterator files(folder_.path());
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }
  TemporaryFolder folder_;
  const fs::path file_ = folder_ / "montage.tif";
};

TEST_F(TiffSinkTest, KeepsEveryPixelAndReducesThemInAnyOrder) {
  struct Case {
    cv::Size size;
    int type;
    TiffCompression compression;
    bool big;
    int levels;
  };
  for (const Case& each : {Case{{1301, 777}, CV_8UC3, TiffCompression::deflate, false, 3},
                           Case{{1026, 2051}, CV_8UC4, TiffCompression::deflate, true, 4},
                           Case{{513, 1}, CV_8UC1, TiffCompression::none, true, 2},
                           Case{{1025, 1024}, CV_8UC4, TiffCompression::none, false, 3},
                           Case{{512, 300}, CV_8UC1, TiffCompression::deflate, false, 1}}) {
    SCOPED_TRACE(each.size);
    const cv::Mat full = picture(each.size, each.type);
    TiffOptions options;
    options.compression = each.compression;
    options.pyramid = true;
    options.bigTiff = each.big;
    options.pixelsPerInch = 25400.5;
    writeInParts(file_, options, full);

    EXPECT_EQ(bytesOf(file_)[2], each.big ? 43 : 42);
    if (each.type != CV_8UC4) {
      EXPECT_THAT(readImageFile(file_), EqualsImage(full));
    }
    TiffReader reader(file_);
    ASSERT_EQ(reader.directories(), static_cast<unsigned>(each.levels));
    cv::Mat expected = full;
    for (int level = 0; level < each.levels; ++level) {
      SCOPED_TRACE(level);
      EXPECT_THAT(reader.read(level), EqualsImage(expected));
      EXPECT_EQ(reader.field<std::uint32_t>(TIFFTAG_SUBFILETYPE), level > 0 ? 1 : 0);
      EXPECT_NEAR(reader.field<float>(TIFFTAG_XRESOLUTION), 25400.5 / (1 << level), 1e-2);
      EXPECT_EQ(reader.hasUnassociatedAlpha(), each.type == CV_8UC4);
      expected = halfOf(expected);
    }
    const std::string bytes = bytesOf(file_);
    const ThreadLimit one(1);
    writeInParts(file_, options, full);
    EXPECT_EQ(bytesOf(file_), bytes) << "the threads change the file";
  }
  EXPECT_EQ(filesLeft(), 1);
}

TEST_F(TiffSinkTest, JpegStaysCloseToThePicture) {
  for (const int type : {CV_8UC1, CV_8UC3}) {
    cv::Mat full = picture({900, 700}, type);
    cv::GaussianBlur(full, full, {}, 3.0);
    TiffOptions options;
    options.compression = TiffCompression::jpeg;
    options.pyramid = true;
    options.quality = 95;
    writeInParts(file_, options, full);
    TiffReader reader(file_);
    EXPECT_GT(cv::PSNR(reader.read(0), full), 38.0);
    EXPECT_GT(cv::PSNR(reader.read(1), halfOf(full)), 38.0);
    EXPECT_GT(cv::PSNR(readImageFile(file_), full), 38.0);
    const auto size = fs::file_size(file_);
    options.quality = 50;
    writeInParts(file_, options, full);
    EXPECT_LT(fs::file_size(file_), size / 2);
  }
}

TEST_F(TiffSinkTest, AppearsWholeOrNotAtAll) {
  const cv::Mat part(400, 700, CV_8UC3, cv::Scalar::all(9));
  const cv::Rect area({}, part.size());
  {
    TiffSink sink(file_);
    sink.begin({700, 700}, CV_8UC3);
    sink.write(area, part);
    EXPECT_EQ(filesLeft(), 1);
    EXPECT_THROW(sink.finish(), std::invalid_argument) << "not complete";
    EXPECT_THROW(sink.write(area + cv::Point(0, 200), part), std::invalid_argument) << "twice";
    EXPECT_THROW(sink.write(area + cv::Point(0, 301), part), std::invalid_argument) << "outside";
    EXPECT_THROW(sink.write({0, 400, 700, 300}, part), std::invalid_argument) << "other size";
    EXPECT_THROW(sink.write({0, 400, 1, 1}, cv::Mat(1, 1, CV_8UC1)), std::invalid_argument);
  }
  EXPECT_EQ(filesLeft(), 0) << "an abandoned file stays";

  for (const fs::path& impossible : {folder_ / "missing" / "m.tif", fs::path("/dev/full/m.tif")}) {
    TiffSink sink(impossible);
    try {
      sink.begin({700, 700}, CV_8UC3);
      FAIL() << impossible;
    } catch (const FileError& error) {
      EXPECT_EQ(std::string(error.what()).find("'" + impossible.string() + "': "), 0);
    }
  }
  fs::create_directory(file_);  // found at the end only
  EXPECT_THROW(writeInParts(file_, {}, part), FileError);
  EXPECT_EQ(filesLeft(), 1);

  TiffOptions options;
  options.compression = TiffCompression::jpeg;
  EXPECT_THROW(TiffSink(file_, options).begin({9, 9}, CV_8UC4), std::invalid_argument);
  options.quality = 0;
  EXPECT_THROW(TiffSink(file_, options), std::invalid_argument);
}

}  // namespace
