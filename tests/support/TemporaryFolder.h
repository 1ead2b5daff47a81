// SPDX-License-Identifier: MIT
/// @file
/// A fresh folder that is removed with everything in it.
#ifndef ORV_TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define ORV_TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <cerrno>
#include <filesystem>
#include <stdlib.h>
#include <string>
#include <system_error>

namespace ORV::TestSupport {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "montage-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;  // a folder left behind fails no test
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_TEMPORARY_FOLDER_H
