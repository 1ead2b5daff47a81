// SPDX-License-Identifier: MIT
#include "StandardErrorCapture.h"

#include <array>
#include <iostream>

#ifndef _WIN32
#include <unistd.h>
#endif

namespace orv2d {

#ifdef _WIN32

StandardErrorCapture::StandardErrorCapture() = default;
StandardErrorCapture::~StandardErrorCapture() = default;
std::string StandardErrorCapture::finish() {
  return {};
}

#else

StandardErrorCapture::StandardErrorCapture() : file_(std::tmpfile()) {
  if (file_ == nullptr) {
    return;
  }
  std::cerr.flush();
  std::fflush(stderr);
  saved_ = dup(STDERR_FILENO);
  dup2(fileno(file_), STDERR_FILENO);
}

StandardErrorCapture::~StandardErrorCapture() {
  finish();
}

std::string StandardErrorCapture::finish() {
  if (file_ == nullptr) {
    return {};
  }
  std::cerr.flush();
  std::fflush(stderr);
  if (saved_ >= 0) {
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    saved_ = -1;
  }
  std::string text;
  std::array<char, 512> block{};
  std::rewind(file_);
  for (std::size_t n = 0; (n = std::fread(block.data(), 1, block.size(), file_)) > 0;) {
    text.append(block.data(), n);
  }
  std::fclose(file_);
  file_ = nullptr;
  return text;
}

#endif

}  // namespace orv2d
