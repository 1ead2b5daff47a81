// SPDX-License-Identifier: MIT
/// @file
/// To be loaded before the C library: the n-th call of one kind fails, counted over all threads, on
/// files other than the standard streams. FAILING_CALL names it (read, write, rename or fsync),
/// FAILING_AT says which, and the file FAILING_MARK appears when it has failed.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

bool isToFail(const char* call) {
  static std::atomic<long> calls{0};
  static const char* const failing = std::getenv("FAILING_CALL");
  static const char* const number = std::getenv("FAILING_AT");
  if (failing == nullptr || number == nullptr || std::strcmp(call, failing) != 0 ||
      ++calls != std::atol(number)) {
    return false;
  }
  close(open(std::getenv("FAILING_MARK"), O_CREAT | O_WRONLY, 0600));
  errno = EIO;
  return true;
}

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool isFile(int descriptor) {
  return descriptor > STDERR_FILENO;
}

}  // namespace

extern "C" {

ssize_t read(int descriptor, void* bytes, size_t count) {
  static auto* const original = next<ssize_t(int, void*, size_t)>("read");
  return isFile(descriptor) && isToFail("read") ? -1 : original(descriptor, bytes, count);
}

ssize_t write(int descriptor, const void* bytes, size_t count) {
  static auto* const original = next<ssize_t(int, const void*, size_t)>("write");
  return isFile(descriptor) && isToFail("write") ? -1 : original(descriptor, bytes, count);
}

ssize_t writev(int descriptor, const iovec* parts, int count) {
  static auto* const original = next<ssize_t(int, const iovec*, int)>("writev");
  return isFile(descriptor) && isToFail("write") ? -1 : original(descriptor, parts, count);
}

int rename(const char* from, const char* to) noexcept {
  static auto* const original = next<int(const char*, const char*)>("rename");
  return isToFail("rename") ? -1 : original(from, to);
}

int fsync(int descriptor) {
  static auto* const original = next<int(int)>("fsync");
  return isToFail("fsync") ? -1 : original(descriptor);
}

}  // extern "C"
