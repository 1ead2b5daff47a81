// SPDX-License-Identifier: MIT
/// @file
/// Images that are none, damaged, of other kinds, or lie about their size: one clear line, no file,
/// little memory. And those that only look strange.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

#include <cstdint>
#include <cstdio>
#include <jpeglib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <zlib.h>

namespace orv2d::tests {
namespace {

namespace fs = std::filesystem;

constexpr int kUnreadable = 3;
constexpr bool kTakesMemoryItself = ORV2D_SANITIZED != 0;

std::string bigEndian(std::uint32_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(value >> static_cast<unsigned>(shift) & 0xFFU);
  }
  return text;
}

std::string littleEndian(std::uint32_t value, int bytes) {
  const std::string text = bigEndian(value, bytes);
  return {text.rbegin(), text.rend()};
}

std::string chunk(const std::string& kind, const std::string& data) {
  const std::string body = kind + data;
  const auto crc = static_cast<std::uint32_t>(crc32(
      0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size())));  // NOLINT
  return bigEndian(static_cast<std::uint32_t>(data.size()), 4) + body + bigEndian(crc, 4);
}

/// A PNG of 8-bit samples whose rows may be missing.
std::string png(cv::Size size, int kind, const std::string& rows, const std::string& palette = {}) {
  uLongf length = compressBound(rows.size());
  std::string packed(length, '\0');
  compress(reinterpret_cast<Bytef*>(packed.data()),  // NOLINT
           &length,
           reinterpret_cast<const Bytef*>(rows.data()),  // NOLINT
           rows.size());
  packed.resize(length);
  const std::string header = bigEndian(static_cast<std::uint32_t>(size.width), 4) +
                             bigEndian(static_cast<std::uint32_t>(size.height), 4) + "\x08" +
                             static_cast<char>(kind) + std::string(3, '\0');
  return "\x89PNG\r\n\x1a\n" + chunk("IHDR", header) +
         (palette.empty() ? "" : chunk("PLTE", palette)) + chunk("IDAT", packed) +
         chunk("IEND", "");
}

/// An uncompressed TIFF in one strip, of which 64 bytes are there.
std::string tiff(cv::Size size) {
  const std::pair<std::uint32_t, int> entries[] = {{256, size.width},
                                                   {257, size.height},
                                                   {258, 8},
                                                   {259, 1},
                                                   {262, 1},
                                                   {273, 8},
                                                   {277, 1},
                                                   {278, size.height},
                                                   {279, 64}};
  std::string text = "II" + littleEndian(42, 2) + littleEndian(8, 4) + littleEndian(9, 2);
  for (const auto& [tag, value] : entries) {
    text += littleEndian(tag, 2) + littleEndian(4, 2) + littleEndian(1, 4) +
            littleEndian(static_cast<std::uint32_t>(value), 4);
  }
  return text + std::string(68, '\0');
}

/// The JPEG with another size in the frame header.
std::string claiming(std::string jpeg, std::uint32_t side) {
  return jpeg.replace(jpeg.find("\xFF\xC0") + 5, 4, bigEndian(side, 2) + bigEndian(side, 2));
}

/// As printers' programs write it: inverted, 255 is no ink.
void writeCmykJpeg(const fs::path& file, const cv::Mat& cmyk) {
  FILE* const stream = std::fopen(file.c_str(), "wb");
  jpeg_compress_struct writer = {};
  jpeg_error_mgr errors = {};
  writer.err = jpeg_std_error(&errors);
  jpeg_create_compress(&writer);
  jpeg_stdio_dest(&writer, stream);
  writer.image_width = static_cast<JDIMENSION>(cmyk.cols);
  writer.image_height = static_cast<JDIMENSION>(cmyk.rows);
  writer.input_components = 4;
  writer.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&writer);
  writer.write_Adobe_marker = TRUE;
  jpeg_start_compress(&writer, TRUE);
  for (int y = 0; y < cmyk.rows; ++y) {
    JSAMPROW row = const_cast<JSAMPROW>(cmyk.ptr<JSAMPLE>(y));  // NOLINT: only read
    jpeg_write_scanlines(&writer, &row, 1);
  }
  jpeg_finish_compress(&writer);
  jpeg_destroy_compress(&writer);
  std::fclose(stream);
}

class StrangeImages : public HostTest {
 protected:
  StrangeImages() {
    const std::vector<cv::Mat> views = overlappingViews(2);
    cv::imwrite(path("a.png").string(), views[0]);
    cv::imwrite(path("b.png").string(), views[1]);
  }

  /// The montage of a.png with `second`, an image like b.png.
  [[nodiscard]] cv::Mat montageWith(const std::string& second) const {
    const RunResult result = run("montage --quiet -o out.png -- a.png '" + second + "'");
    EXPECT_EQ(result.exitCode, 0) << second << testing::PrintToString(result.errorLines);
    return cv::imread(path("out.png").string());
  }
};

TEST_F(StrangeImages, AreRefusedInOneLineWithLittleMemory) {
  const cv::Mat view = cv::imread(path("a.png").string());
  cv::Mat deep;
  view.convertTo(deep, CV_16U, 257);
  const auto encoded = [](const char* extension, const cv::Mat& image) {
    std::vector<unsigned char> bytes;
    cv::imencode(extension, image, bytes);
    return std::string(bytes.begin(), bytes.end());
  };
  const auto half = [](const std::string& whole) { return whole.substr(0, whole.size() / 2); };
  const std::string jpeg = encoded(".jpg", view);
  const std::string damaged = "the image is damaged or cut off";
  const std::string alpha = "it has an alpha channel or is in CMYK";
  const cv::Size huge(60000, 60000);
  const cv::Size large(32000, 32000);  // just below what decoders refuse by themselves
  struct Case {
    std::string name;
    std::string bytes;
    std::string reason;
  };
  const Case cases[] = {
      {"text.png", "this is no picture\n", "it is not an image"},
      {"empty.png", "", "it is empty"},
      {"half.png", half(bytes("a.png")), damaged},
      {"half.jpg", half(jpeg), damaged},
      {"half.tif", half(encoded(".tif", view)), damaged},
      {"half.bmp", half(encoded(".bmp", view)), damaged},
      {"deep.png",
       encoded(".png", deep),
       "it has 16-bit samples, 8-bit samples are expected; convert it first, for example with "
       "ImageMagick: convert 'deep.png' -depth 8 'deep-converted.png'"},
      {"deep.tif", encoded(".tif", deep), "it has 16-bit"},
      {"float.tif", encoded(".tif", cv::Mat(9, 9, CV_32FC1, cv::Scalar(1))), "it has 32-bit float"},
      {"alpha.png", encoded(".png", cv::Mat(9, 9, CV_8UC4, cv::Scalar(1, 2, 3, 4))), alpha},
      {"greyalpha.png", png({1, 1}, 4, std::string(3, '\1')), alpha},
      {"huge.png", png(huge, 2, ""), "its header claims more pixels than are read"},
      {"huge.tif", tiff(huge), "its header claims more pixels than are read"},
      {"huge.jpg", claiming(jpeg, 60000), "damaged: its header claims 60000 x 60000 pixels"},
      {"large.png", png(large, 2, ""), damaged},
      {"large.tif", tiff(large), damaged},
      {"large.jpg", claiming(jpeg, 32000), "damaged: its header claims 32000 x 32000 pixels"},
      {"hidden.jpg",  // decoders skip what stands between the markers
       claiming(jpeg, 32000).insert(2, "x\xFF\x01"),
       "damaged: its header claims 32000 x 32000 pixels"},
  };
  for (const Case& each : cases) {
    writeText(each.name, each.bytes);
    expectRefused("montage a.png " + each.name + " -o out.png --quiet",
                  kUnreadable,
                  "'" + each.name + "': " + each.reason);
  }
  fs::create_directory(path("folder.png"));
  mkfifo(path("endless.png").c_str(), S_IRUSR | S_IWUSR);
  const std::pair<std::string, std::string> noFiles[] = {
      {"missing.png", "no such file"},
      {"'*.tif'", "no file matches the pattern"},
      {"folder.png", "it is a folder; name the files in it"},
      {"endless.png", "it is not a regular file"},
      {"/dev/zero", "it is not a regular file"},
  };
  for (const auto& [name, reason] : noFiles) {
    expectRefused("montage a.png " + name + " -o out.png --quiet", kUnreadable, "': " + reason);
  }
  // Named before the number of images is counted.
  expectRefused("montage folder.png -o out.png", kUnreadable, "folder.png/*.jpg");
  rusage children = {};
  getrusage(RUSAGE_CHILDREN, &children);
  constexpr long kMostKilobytes = kTakesMemoryItself ? 4000000 : 1000000;
  EXPECT_LT(children.ru_maxrss, kMostKilobytes) << "of the largest run";
}

TEST_F(StrangeImages, OfOtherKindsThatAreReadGiveTheSameMontage) {
  const cv::Mat montage = montageWith("b.png");
  const auto psnr = [&](const std::string& name) {
    const cv::Mat found = montageWith(name);
    return found.size() == montage.size() ? cv::PSNR(found, montage) : 0.0;
  };
  const cv::Mat view = cv::imread(path("b.png").string());
  fs::copy_file(path("b.png"), path("wrongly.jpg"));
  EXPECT_EQ(cv::norm(montageWith("wrongly.jpg"), montage, cv::NORM_INF), 0.0);

  std::string palette;  // 6 x 6 x 6 colours, from red to blue
  for (int i = 0; i < 216; ++i) {
    palette += {static_cast<char>(i / 36 * 51),
                static_cast<char>(i / 6 % 6 * 51),
                static_cast<char>(i % 6 * 51)};
  }
  std::string rows;
  cv::Mat cmyk(view.size(), CV_8UC4);
  const auto sixth = [](int value) { return (value + 25) / 51; };
  for (int y = 0; y < view.rows; ++y) {
    rows += '\0';
    for (int x = 0; x < view.cols; ++x) {
      const auto& bgr = view.at<cv::Vec3b>(y, x);
      rows += static_cast<char>(36 * sixth(bgr[2]) + 6 * sixth(bgr[1]) + sixth(bgr[0]));
      cmyk.at<cv::Vec4b>(y, x) = {bgr[2], bgr[1], bgr[0], 255};
    }
  }
  writeText("palette.png", png(view.size(), 3, rows, palette));
  EXPECT_GT(psnr("palette.png"), 20.0);
  writeCmykJpeg(path("cmyk.jpg"), cmyk);
  EXPECT_GT(psnr("cmyk.jpg"), 20.0);
}

TEST_F(StrangeImages, NamesMayHoldAnything) {
  const cv::Mat montage = montageWith("b.png");
  const std::string names[] = {
      "-b.png", "b c.png", "\xC3\xB6\xF0\x9F\x9B\xB0.png", "new\nline.png"};
  for (const std::string& name : names) {
    fs::copy_file(path("b.png"), path(name));
    EXPECT_EQ(cv::norm(montageWith(name), montage, cv::NORM_INF), 0.0) << name;
    fs::rename(path("out.png"), path("out" + name));
    const RunResult result = shell("N='" + name + R"(' && "$PROGRAM" register --quiet )" +
                                   R"(--output="r$N" -- a.png "$N" >"$OUT" 2>"$ERR" && )" +
                                   R"("$PROGRAM" compose --quiet --output="$N.tif" -- "r$N")");
    EXPECT_EQ(result.exitCode, 0) << name << testing::PrintToString(result.errorLines);
    EXPECT_TRUE(fs::exists(path(name + ".tif"))) << name;
  }
}

TEST_F(StrangeImages, TooLargeAResultIsSaidToTakeTooMuchMemory) {
  if (kTakesMemoryItself) {
    GTEST_SKIP() << "a sanitizer takes more than the limit";
  }
  cv::imwrite(path("disc.png").string(), disc(100, 0.7, 3));
  const RunResult result =
      shell(R"((ulimit -v 900000; "$PROGRAM" correct disc.png -o out.png --half-field-angle 90deg )"
            R"(--mode rect --output-size 20000 --quiet >"$OUT" 2>"$ERR"))");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.errorLines, testing::ElementsAre(testing::HasSubstr("out of memory; use")));
  EXPECT_FALSE(fs::exists(path("out.png")));
}

}  // namespace
}  // namespace orv2d::tests
