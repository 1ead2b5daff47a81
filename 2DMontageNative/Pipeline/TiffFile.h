// SPDX-License-Identifier: MIT
/// @file
/// The structure of a TIFF: where tiles lie, and the directories that say so.
#ifndef ORV_MONTAGE_PIPELINE_TIFF_FILE_H
#define ORV_MONTAGE_PIPELINE_TIFF_FILE_H

#include "Pipeline/PartFile.h"
#include "Pipeline/TileGrid.h"
#include "montage/TiffSink.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace montage {

/// Where the bytes of a tile stand in the file.
struct TilePlace {
  std::uint64_t offset = 0;
  std::uint32_t size = 0;
};

/// One picture of the file.
struct TiffDirectory {
  TileGrid grid;
  std::vector<TilePlace> tiles;  ///< by number
  bool isReduced = false;        ///< of the one before at half the resolution
  int channels = 0;              ///< 1, 3 or 4
  TiffCompression compression = TiffCompression::none;
  double pixelsPerInch = 0.0;  ///< 0: not said
};

/// A file that takes the tiles of several pictures in any order; the directories stand at its end.
/// (A writer that finishes one directory before the next would have to keep the tiles of the
/// reduced pictures elsewhere.) Little-endian: TIFF 6.0, or BigTIFF with 64-bit offsets.
class TiffFile {
 public:
  /// @throw FileError, as the other members
  TiffFile(const std::filesystem::path& file, bool big);

  TilePlace append(const std::vector<unsigned char>& tile);

  /// Writes the directories in this order and gives the file its name.
  void finish(const std::vector<TiffDirectory>& directories);

 private:
  std::uint64_t appendDirectory(const TiffDirectory& directory, std::uint64_t next);

  PartFile file_;
  bool big_;
};

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_TIFF_FILE_H
