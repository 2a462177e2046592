// Stands in for libFuzzer where it is absent (GCC builds): runs the fuzz
// target once on every file named, and on every regular file of every
// folder named, in name order. CTest replays the kept corpora with it, so
// the plain and the sanitized builds run each input that once found a fault.
//
//   <target>_fuzz FILE|DIR...
// Status 0 when every input ran; a fault stops the program as it would
// stop the fuzzer, after the name of the input has been printed.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

bool replay(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", file.c_str());
    return false;
  }
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::printf("%s\n", file.c_str());
  std::fflush(stdout);  // the name must be out before a fault ends the program
  // An empty input is passed as a valid pointer, as libFuzzer does.
  static const uint8_t none = 0;
  LLVMFuzzerTestOneInput(bytes.empty() ? &none : reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE|DIR...\n", argv[0]);
    return 2;
  }
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    const fs::path arg = argv[i];
    std::error_code error;
    std::vector<fs::path> files;
    if (fs::is_directory(arg, error)) {
      for (const auto& entry : fs::directory_iterator(arg, error))
        if (entry.is_regular_file()) files.push_back(entry.path());
      std::sort(files.begin(), files.end());
    } else if (fs::is_regular_file(arg, error)) {
      files.push_back(arg);
    }
    if (error || files.empty()) {
      std::fprintf(stderr, "%s: no input there\n", argv[i]);
      return 1;
    }
    for (const auto& file : files) {
      if (!replay(file)) return 1;
      ++count;
    }
  }
  std::printf("%zu inputs replayed\n", count);
  return 0;
}
