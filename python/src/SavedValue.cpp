// SPDX-License-Identifier: MIT
#include "SavedValue.h"

#include <cstdlib>
#include <fstream>

namespace montage_python {
namespace {

namespace fs = std::filesystem;

/// A folder of this process only, removed with what it holds.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (fs::temp_directory_path() / "montage-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw montage::FileError(pattern, "no temporary folder can be made");
    }
    path_ = pattern;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  [[nodiscard]] fs::path file() const { return path_ / "value"; }

 private:
  fs::path path_;
};

}  // namespace

std::string bytesOf(const std::function<void(const fs::path&)>& write) {
  const TemporaryFolder folder;
  write(folder.file());
  std::string bytes(fs::file_size(folder.file()), ' ');
  std::ifstream(folder.file(), std::ios::binary)
      .read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

void withFileOf(const std::string& bytes, const std::function<void(const fs::path&)>& read) {
  const TemporaryFolder folder;
  std::ofstream stream(folder.file(), std::ios::binary);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (!stream) {
    throw montage::FileError(folder.file(), "writing failed; is the disk full?");
  }
  read(folder.file());
}

}  // namespace montage_python
