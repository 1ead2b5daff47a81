// SPDX-License-Identifier: MIT
#include "batch/FileFacts.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <montage/Images.h>

namespace fs = std::filesystem;

namespace orv2d {
namespace {

constexpr auto kCoarsest = std::chrono::seconds(3);  // FAT has 2

std::uint64_t hashOfBytes(void* bytes, std::size_t count) {
  return montage::hashOf(cv::Mat(1, static_cast<int>(count), CV_8UC1, bytes));
}

/// The hash of the hashes of blocks.
std::uint64_t hashOfContent(const fs::path& file) {
  constexpr std::size_t kBlockBytes = 1U << 22U;
  std::ifstream stream(file, std::ios::binary);
  std::vector<char> block(kBlockBytes);
  std::vector<std::uint64_t> hashes;
  do {
    stream.read(block.data(), static_cast<std::streamsize>(block.size()));
    hashes.push_back(hashOfBytes(block.data(), static_cast<std::size_t>(stream.gcount())));
  } while (stream);
  if (!stream.eof()) {
    throw fs::filesystem_error(
        "cannot read", file, std::error_code(errno, std::generic_category()));
  }
  return hashOfBytes(hashes.data(), hashes.size() * sizeof(hashes.front()));
}

}  // namespace

FileFacts factsOf(const fs::path& file, const FileFacts* known) {
  const fs::file_time_type changed = fs::last_write_time(file);
  FileFacts facts;
  facts.bytes = fs::file_size(file);
  facts.changed =
      std::chrono::duration_cast<std::chrono::nanoseconds>(changed.time_since_epoch()).count();
  if (known != nullptr && known->settled && known->bytes == facts.bytes &&
      known->changed == facts.changed) {
    return *known;
  }
  facts.settled = fs::file_time_type::clock::now() - changed > kCoarsest;
  facts.hash = hashOfContent(file);
  return facts;
}

std::vector<FileFacts> factsOf(const std::vector<fs::path>& files,
                               const std::vector<FileFacts>& known) {
  std::vector<FileFacts> facts;
  for (std::size_t i = 0; i < files.size(); ++i) {
    facts.push_back(factsOf(files[i], i < known.size() ? &known[i] : nullptr));
  }
  return facts;
}

bool sameContents(const std::vector<FileFacts>& some, const std::vector<FileFacts>& others) {
  return std::equal(
      some.begin(), some.end(), others.begin(), others.end(), [](const auto& a, const auto& b) {
        return a.bytes == b.bytes && a.hash == b.hash;
      });
}

void to_json(nlohmann::ordered_json& json, const FileFacts& facts) {
  json = {facts.bytes, facts.changed, facts.hash, facts.settled};
}

void from_json(const nlohmann::ordered_json& json, FileFacts& facts) {
  json.at(0).get_to(facts.bytes);
  json.at(1).get_to(facts.changed);
  json.at(2).get_to(facts.hash);
  json.at(3).get_to(facts.settled);
}

}  // namespace orv2d
