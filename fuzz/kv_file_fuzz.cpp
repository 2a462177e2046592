// The key=value reader and writers on arbitrary file contents. The file
// lies in the fuzzer's own folder of temporary files; the first line of the
// input is the key.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "phonecore/config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string path = "kv_fuzz_" + std::to_string(getpid()) + ".conf";
  std::string in(reinterpret_cast<const char*>(data), size);
  const size_t nl = in.find('\n');
  const std::string key = nl == std::string::npos ? "key" : in.substr(0, nl);
  FILE* f = fopen(path.c_str(), "wb");
  if (f == nullptr) return 0;
  fwrite(in.data(), 1, in.size(), f);
  fclose(f);
  char value[256] = {};
  ReadConfig(path.c_str(), key.c_str(), value);
  AddOrAltConfig(path.c_str(), key.c_str(), "new value");
  DeleteConfig(path.c_str(), key.c_str());
  char word[64] = {};
  in.copy(word, sizeof word - 1);
  delete_space(word);
  remove(path.c_str());
  return 0;
}
