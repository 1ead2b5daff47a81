// SPDX-License-Identifier: MIT
#include "Platform/FreeMemory.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <string>

#ifdef _WIN32
#include <windows.h>
#endif

namespace ORV::Common::Platform {
namespace {

constexpr std::uint64_t kUnknown = std::numeric_limits<std::uint64_t>::max();

#ifndef _WIN32

std::uint64_t availableOnMachine() {
  std::ifstream file("/proc/meminfo");
  std::string key;
  std::uint64_t kilobytes = 0;
  std::string unit;
  while (file >> key >> kilobytes) {
    std::getline(file, unit);
    if (key == "MemAvailable:") {
      return kilobytes * 1024;
    }
  }
  return kUnknown;
}

/// None for a missing file and for "max".
std::optional<std::uint64_t> numberIn(const std::string& file) {
  std::uint64_t value = 0;
  return std::ifstream(file) >> value ? std::optional(value) : std::nullopt;
}

/// Of the control group and all that contain it (version 2 of the hierarchy).
std::uint64_t availableInGroups() {
  std::ifstream file("/proc/self/cgroup");
  std::string path;
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("0::/", 0) == 0) {
      path = line.substr(3);
    }
  }
  std::uint64_t available = kUnknown;
  while (!path.empty()) {
    const std::string folder = "/sys/fs/cgroup" + (path == "/" ? "" : path);
    const auto most = numberIn(folder + "/memory.max");
    const auto taken = numberIn(folder + "/memory.current");
    if (most && taken) {
      available = std::min(available, *most > *taken ? *most - *taken : 0);
    }
    path = path == "/" ? "" : path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
  }
  return available;
}

#endif

}  // namespace

std::uint64_t freeMemoryBytes() {
#ifdef _WIN32
  MEMORYSTATUSEX status;
  status.dwLength = sizeof status;
  return GlobalMemoryStatusEx(&status) != 0 ? status.ullAvailPhys : kUnknown;
#else
  return std::min(availableOnMachine(), availableInGroups());
#endif
}

}  // namespace ORV::Common::Platform
