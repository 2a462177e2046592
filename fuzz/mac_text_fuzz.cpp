// MAC texts of any bytes: StrToMac never reads past the text's end nor
// writes past its six bytes.

#include <cstdint>
#include <cstring>
#include <string>

#include "phonecore/flash.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);  // cut at the first NUL by StrToMac
  unsigned char out[MAC_BYTES + 2];
  std::memset(out, 0xA5, sizeof out);
  StrToMac(text.c_str(), out);
  if (out[MAC_BYTES] != 0xA5 || out[MAC_BYTES + 1] != 0xA5) __builtin_trap();
  for (size_t i = 0; i < size; ++i) charToData(static_cast<char>(data[i]));
  return 0;
}
