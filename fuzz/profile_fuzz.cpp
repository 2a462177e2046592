// The profile readers and writer on arbitrary file contents. The first
// line of the input is the section, the second the key, the rest the file;
// the file lies in the fuzzer's working folder.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/profile_internal.h"
#include "phonecore/profile.h"

namespace {

std::string take_line(std::string& in) {
  const size_t nl = in.find('\n');
  std::string line = in.substr(0, nl);
  in.erase(0, nl == std::string::npos ? in.size() : nl + 1);
  return line;
}

void write_file(const std::string& path, const std::string& bytes) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return;
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string path = "profile_fuzz_" + std::to_string(getpid()) + ".ini";
  std::string in(reinterpret_cast<const char*>(data), size);
  const std::string section = take_line(in);
  const std::string key = take_line(in);
  write_file(path, in);

  // The image finder keeps its offsets inside the image.
  const auto hit = phonecore::base::find_profile_key(in, section, key);
  if (hit.key_found && (hit.value_start > hit.value_end || hit.value_end > in.size())) std::abort();
  if (hit.section_found && hit.content_start > in.size()) std::abort();

  for (int room : {1, 2, 8, 64}) {
    char out[64] = "";
    const int found = read_profile_string(section.c_str(), key.c_str(), out, room, "default", path.c_str());
    if (found != 0 && found != 1) std::abort();
    if (std::string(out).size() >= static_cast<size_t>(room)) std::abort();
  }
  read_profile_int(section.c_str(), key.c_str(), -1, path.c_str());
  char line[INI_LINE_SIZE];
  IniRead(path.c_str(), key.c_str(), line);

  // A value written reads back, unless the file is too large to take it or
  // the key can't be told apart from its line.
  if (write_profile_string(section.c_str(), key.c_str(), "fuzz value", path.c_str()) == 1) {
    char back[64];
    read_profile_string(section.c_str(), key.c_str(), back, sizeof back, nullptr, path.c_str());
  }
  std::remove(path.c_str());
  return 0;
}
