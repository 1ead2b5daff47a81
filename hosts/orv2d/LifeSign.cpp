// SPDX-License-Identifier: MIT
#include "LifeSign.h"

#ifndef _WIN32
#include "FileLock.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <unistd.h>
#endif

#include <utility>

namespace fs = std::filesystem;

namespace orv2d {

LifeSign::LifeSign(LifeSign&& other) noexcept
    : file_(std::exchange(other.file_, -1)), error_(other.error_) {}

#ifdef _WIN32

LifeSign::LifeSign(const fs::path&) {}

LifeSign::~LifeSign() = default;

std::optional<LifeSign> LifeSign::ofDead(const fs::path&) {
  return std::nullopt;
}

#else

namespace {

/// A machine keeps its name when it starts again, and a container this start's number.
struct Machine {
  std::string name;
  std::string start;
};

Machine thisMachine() {
  constexpr std::size_t kLongest = 256;
  std::array<char, kLongest> name = {};
  Machine machine;
  if (gethostname(name.data(), name.size() - 1) == 0) {
    machine.name = name.data();
  }
  std::ifstream("/proc/sys/kernel/random/boot_id") >> machine.start;
  return machine;
}

bool isThis(const Machine& machine) {
  const Machine here = thisMachine();
  const bool isNew = machine.name.empty() && machine.start.empty();  // or its disk was full
  return isNew || machine.name == here.name || machine.start == here.start;
}

}  // namespace

LifeSign::LifeSign(const fs::path& file)
    : file_(open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR)) {
  if (file_ < 0) {
    error_.assign(errno, std::generic_category());
  } else if (tryLock(file_) == LockResult::Held || !isAt(file, file_)) {
    error_ = std::make_error_code(std::errc::no_lock_available);  // taken for a dead one's
  } else {
    const Machine machine = thisMachine();
    std::ofstream(file) << machine.name << '\n' << machine.start << '\n';
  }
}

LifeSign::~LifeSign() {
  if (file_ >= 0) {
    close(file_);
  }
}

std::optional<LifeSign> LifeSign::ofDead(const fs::path& file) {
  LifeSign sign(open(file.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
  if (sign.file_ < 0 || tryLock(sign.file_) != LockResult::Taken) {
    return std::nullopt;
  }
  Machine machine;
  std::ifstream stream(file);
  std::getline(stream, machine.name);
  std::getline(stream, machine.start);
  return isThis(machine) ? std::optional<LifeSign>(std::move(sign)) : std::nullopt;
}

#endif

}  // namespace orv2d
