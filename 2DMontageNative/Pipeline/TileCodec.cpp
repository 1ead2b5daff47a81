// SPDX-License-Identifier: MIT
#include "Pipeline/TileCodec.h"

#include <opencv2/imgcodecs.hpp>

#include <cstddef>
#include <libdeflate.h>
#include <memory>
#include <new>
#include <utility>

namespace montage {
namespace {

using Bytes = std::vector<unsigned char>;

/// Photographs: 85 megapixels per second on two cores, 1.70 bytes per pixel. Level 6 takes 3 to 5
/// times as long for 5 per cent less.
constexpr int kDeflateLevel = 1;

Bytes redGreenBlue(const cv::Mat& tile) {
  Bytes samples(tile.datastart, tile.dataend);
  const auto channels = static_cast<std::size_t>(tile.channels());
  for (std::size_t i = 0; channels > 1 && i < samples.size(); i += channels) {
    std::swap(samples[i], samples[i + 2]);
  }
  return samples;
}

void takeHorizontalDifferences(Bytes& samples, const cv::Mat& tile) {
  const auto channels = static_cast<std::size_t>(tile.channels());
  const std::size_t rowSize = static_cast<std::size_t>(tile.cols) * channels;
  for (std::size_t row = 0; row < samples.size(); row += rowSize) {
    for (std::size_t i = row + rowSize - 1; i >= row + channels; --i) {
      samples[i] = static_cast<unsigned char>(samples[i] - samples[i - channels]);
    }
  }
}

Bytes deflated(const Bytes& samples) {
  const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
      libdeflate_alloc_compressor(kDeflateLevel), libdeflate_free_compressor);
  if (!compressor) {
    throw std::bad_alloc();
  }
  Bytes bytes(libdeflate_zlib_compress_bound(compressor.get(), samples.size()));
  bytes.resize(libdeflate_zlib_compress(
      compressor.get(), samples.data(), samples.size(), bytes.data(), bytes.size()));
  return bytes;
}

}  // namespace

Bytes encodeTile(const cv::Mat& tile, TiffCompression compression, int quality) {
  Bytes bytes;
  switch (compression) {
    case TiffCompression::none:
      bytes = redGreenBlue(tile);
      break;
    case TiffCompression::deflate:
      bytes = redGreenBlue(tile);
      takeHorizontalDifferences(bytes, tile);
      bytes = deflated(bytes);
      break;
    case TiffCompression::jpeg:
      cv::imencode(".jpg", tile, bytes, {cv::IMWRITE_JPEG_QUALITY, quality});
      break;
  }
  return bytes;
}

}  // namespace montage
