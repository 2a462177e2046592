// The boot environment's walk and rewrite on any block. The first byte is
// the out size (1 to 64), then a key and a value, each ended by a line
// feed; the rest is the block (erased bytes after it).

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "device/flash_internal.h"
#include "phonecore/flash.h"

namespace {

std::string take_line(const uint8_t*& data, size_t& size) {
  std::string line;
  while (size > 0) {
    const char c = static_cast<char>(*data++);
    --size;
    if (c == '\n') break;
    line.push_back(c);
  }
  return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const size_t out_size = 1 + data[0] % 64;
  ++data;
  --size;
  const std::string key = take_line(data, size);
  const std::string value = take_line(data, size);
  std::vector<uint8_t> block(UBOOTENV_SIZE, 0xFF);
  std::memcpy(block.data(), data, size < block.size() ? size : block.size());

  // findval on each entry as the walk cuts it, with a value room of its own.
  std::vector<char> out(UBOOTENV_VALUE_SIZE);
  phonecore::device::for_each_env_entry(block, [&](const char* entry) {
    findval(entry, key.c_str(), out.data());
    return false;
  });
  findubootenv(reinterpret_cast<const char*>(block.data()), key.c_str(), out.data());

  std::vector<uint8_t> rewritten(UBOOTENV_SIZE);
  if (phonecore::device::rewrite_env(block, key.c_str(), value.c_str(), rewritten)) {
    // The changed key, when kept, reads back unless its value holds "=".
    std::vector<char> back(UBOOTENV_VALUE_SIZE);
    const int r = findubootenv(reinterpret_cast<const char*>(rewritten.data()), key.c_str(), back.data());
    (void)r;
  }
  // A caller's small buffer: the value is cut at out_size.
  std::vector<char> small(out_size + 8, '#');
  char value_room[UBOOTENV_VALUE_SIZE];
  if (findubootenv(reinterpret_cast<const char*>(block.data()), key.c_str(), value_room) == 0) {
    const size_t n = std::min(std::strlen(value_room), out_size - 1);
    std::memcpy(small.data(), value_room, n);
    small[n] = '\0';
    if (small[out_size] != '#') __builtin_trap();
  }
  return 0;
}
