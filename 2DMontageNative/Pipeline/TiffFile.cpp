// SPDX-License-Identifier: MIT
#include "Pipeline/TiffFile.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace montage {
namespace {

using Values = std::vector<std::uint64_t>;

/// Types of values, with their numbers in the file.
enum class Type : std::uint16_t { kShort = 3, kLong = 4, kRational = 5, kLong8 = 16 };

/// Tags and values as TIFF 6.0 has them.
enum Tag : std::uint16_t {
  kNewSubfileType = 254,
  kImageWidth = 256,
  kImageLength = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kSamplesPerPixel = 277,
  kXResolution = 282,
  kYResolution = 283,
  kPlanarConfiguration = 284,
  kResolutionUnit = 296,
  kPredictor = 317,
  kTileWidth = 322,
  kTileLength = 323,
  kTileOffsets = 324,
  kTileByteCounts = 325,
  kExtraSamples = 338,
  kYCbCrSubSampling = 530,
  kReferenceBlackWhite = 532
};
constexpr int kNoCompression = 1;
constexpr int kJpegCompression = 7;
constexpr int kDeflateCompression = 8;
constexpr int kBlackIsZero = 1;
constexpr int kRgb = 2;
constexpr int kYCbCr = 6;
constexpr int kInterleaved = 1;
constexpr int kInch = 2;
constexpr int kHorizontalDifferences = 2;
constexpr int kUnassociatedAlpha = 2;

constexpr std::uint16_t kClassicVersion = 42;
constexpr std::uint16_t kBigVersion = 43;

class LittleEndian {
 public:
  LittleEndian& add(std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
      bytes_.push_back(static_cast<unsigned char>(value >> (8U * i)));
    }
    return *this;
  }
  [[nodiscard]] const std::vector<unsigned char>& bytes() const { return bytes_; }

 private:
  std::vector<unsigned char> bytes_;
};

void append(PartFile& file, const LittleEndian& bytes) {
  file.append(bytes.bytes().data(), bytes.bytes().size());
}

std::size_t widthOf(Type type) {
  switch (type) {
    case Type::kShort:
      return 2;
    case Type::kLong:
    case Type::kRational:  // two of them make a value
      return 4;
    case Type::kLong8:
      return 8;
  }
  return 0;
}

/// The entries of a directory; values that do not fit into theirs are appended to the file.
class Entries {
 public:
  Entries(PartFile& file, bool big) : file_(file), big_(big) {}

  /// In ascending order of tags. A rational number is two values.
  void add(Tag tag, Type type, const Values& values) {
    LittleEndian bytes;
    for (const std::uint64_t value : values) {
      bytes.add(value, widthOf(type));
    }
    const std::size_t room = big_ ? 8 : 4;
    entries_.add(tag, 2).add(static_cast<std::uint16_t>(type), 2);
    entries_.add(values.size() / (type == Type::kRational ? 2 : 1), room);
    if (bytes.bytes().size() > room) {
      entries_.add(file_.size(), room);
      append(file_, bytes);
    } else {
      for (const unsigned char byte : bytes.bytes()) {
        entries_.add(byte, 1);
      }
      entries_.add(0, room - bytes.bytes().size());
    }
    ++count_;
  }

  /// Writes the directory; returns where it stands.
  std::uint64_t finish(std::uint64_t next) {
    const std::uint64_t at = file_.size();
    append(file_, LittleEndian().add(count_, big_ ? 8 : 2));
    append(file_, entries_);
    append(file_, LittleEndian().add(next, big_ ? 8 : 4));
    return at;
  }

 private:
  PartFile& file_;
  bool big_;
  LittleEndian entries_;
  std::uint64_t count_ = 0;
};

std::uint64_t numberOf(TiffCompression compression) {
  switch (compression) {
    case TiffCompression::none:
      return kNoCompression;
    case TiffCompression::deflate:
      return kDeflateCompression;
    case TiffCompression::jpeg:
      return kJpegCompression;
  }
  return 0;
}

/// Numerator and denominator, to six digits.
Values rational(double value) {
  constexpr double kLargestNumerator = 4e9;
  constexpr std::uint64_t kFinest = 1000000;
  std::uint64_t denominator = kFinest;
  while (denominator > 1 && value * static_cast<double>(denominator) > kLargestNumerator) {
    denominator /= 10;
  }
  return {static_cast<std::uint64_t>(std::llround(value * static_cast<double>(denominator))),
          denominator};
}

template <class Part>
Values partsOf(const std::vector<TilePlace>& tiles, Part TilePlace::*part) {
  Values values;
  values.reserve(tiles.size());
  for (const TilePlace& tile : tiles) {
    values.push_back(tile.*part);
  }
  return values;
}

}  // namespace

TiffFile::TiffFile(const std::filesystem::path& file, bool big) : file_(file), big_(big) {
  LittleEndian header;
  header.add('I', 1).add('I', 1).add(big_ ? kBigVersion : kClassicVersion, 2);
  if (big_) {
    header.add(8, 2).add(0, 2);  // the width of offsets
  }
  header.add(0, big_ ? 8 : 4);  // the first directory: finish() knows it
  montage::append(file_, header);
}

TilePlace TiffFile::append(const std::vector<unsigned char>& tile) {
  const TilePlace place = {file_.size(), static_cast<std::uint32_t>(tile.size())};
  file_.append(tile.data(), tile.size());
  return place;
}

void TiffFile::finish(const std::vector<TiffDirectory>& directories) {
  std::uint64_t next = 0;
  for (auto each = directories.rbegin(); each != directories.rend(); ++each) {
    next = appendDirectory(*each, next);
  }
  const LittleEndian first = LittleEndian().add(next, big_ ? 8 : 4);
  file_.overwrite(big_ ? 8 : 4, first.bytes().data(), first.bytes().size());
  file_.finish();
}

std::uint64_t TiffFile::appendDirectory(const TiffDirectory& directory, std::uint64_t next) {
  const auto channels = static_cast<std::size_t>(directory.channels);
  const bool isJpeg = directory.compression == TiffCompression::jpeg;
  const auto width = static_cast<std::uint64_t>(directory.grid.size.width);
  const auto height = static_cast<std::uint64_t>(directory.grid.size.height);
  if (file_.size() % 2 != 0) {
    file_.append("", 1);  // values start at even offsets
  }
  Entries entries(file_, big_);
  entries.add(kNewSubfileType, Type::kLong, {directory.isReduced ? 1U : 0U});
  entries.add(kImageWidth, Type::kLong, {width});
  entries.add(kImageLength, Type::kLong, {height});
  entries.add(kBitsPerSample, Type::kShort, Values(channels, 8));
  entries.add(kCompression, Type::kShort, {numberOf(directory.compression)});
  const std::uint64_t colours = isJpeg ? kYCbCr : kRgb;
  entries.add(kPhotometric, Type::kShort, {channels == 1 ? kBlackIsZero : colours});
  entries.add(kSamplesPerPixel, Type::kShort, {channels});
  if (directory.pixelsPerInch > 0.0) {
    entries.add(kXResolution, Type::kRational, rational(directory.pixelsPerInch));
    entries.add(kYResolution, Type::kRational, rational(directory.pixelsPerInch));
  }
  entries.add(kPlanarConfiguration, Type::kShort, {kInterleaved});
  if (directory.pixelsPerInch > 0.0) {
    entries.add(kResolutionUnit, Type::kShort, {kInch});
  }
  if (directory.compression == TiffCompression::deflate) {
    entries.add(kPredictor, Type::kShort, {kHorizontalDifferences});
  }
  entries.add(kTileWidth, Type::kLong, {kTileSide});
  entries.add(kTileLength, Type::kLong, {kTileSide});
  entries.add(kTileOffsets,
              big_ ? Type::kLong8 : Type::kLong,
              partsOf(directory.tiles, &TilePlace::offset));
  entries.add(kTileByteCounts, Type::kLong, partsOf(directory.tiles, &TilePlace::size));
  if (channels == 4) {
    entries.add(kExtraSamples, Type::kShort, {kUnassociatedAlpha});
  }
  if (isJpeg && channels == 3) {
    entries.add(kYCbCrSubSampling, Type::kShort, {2, 2});
    entries.add(
        kReferenceBlackWhite, Type::kRational, {0, 1, 255, 1, 128, 1, 255, 1, 128, 1, 255, 1});
  }
  return entries.finish(next);
}

}  // namespace montage
