// A whole file into one heap buffer: the answer files of the phone.cfg
// export and of the Action URI server are read so.

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "phonecore/phonecfg.h"

namespace phonecore::phonecfg {

namespace {

constexpr size_t kChunk = 4096;

// Reads to the end without trusting the file's reported size, so that
// files below /proc and directories (a read error at once) are safe.
char* read_all(const char* path, int* length) {
  FILE* f = path != nullptr ? std::fopen(path, "rb") : nullptr;
  if (f == nullptr) {
    std::printf("\nOpen file  fail");
    std::fflush(stdout);
    return nullptr;
  }
  size_t size = 0;
  size_t room = kChunk;
  char* buffer = static_cast<char*>(std::malloc(room + 1));
  while (buffer != nullptr) {
    const size_t n = std::fread(buffer + size, 1, room - size, f);
    size += n;
    if (n == 0 || size > INT_MAX - kChunk) break;
    if (size == room) {
      room *= 2;
      char* bigger = static_cast<char*>(std::realloc(buffer, room + 1));
      if (bigger == nullptr) std::free(buffer);
      buffer = bigger;
    }
  }
  std::fclose(f);
  if (buffer == nullptr) {
    std::printf("\nOpen file  fail");
    std::fflush(stdout);
    return nullptr;
  }
  buffer[size] = '\0';
  if (length != nullptr) *length = static_cast<int>(size);
  return buffer;
}

}  // namespace

}  // namespace phonecore::phonecfg

extern "C" char* getFileAll(const char* path, int* length) noexcept {
  return phonecore::phonecfg::read_all(path, length);
}
