// Whole-file reads for tests in the box.
#pragma once

#include <fstream>
#include <sstream>
#include <string>

namespace phonecore::testing {

// The file's bytes; empty when it can't be read.
inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// Writes the bytes as the whole file; false when it can't be written.
inline bool write_file(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  return static_cast<bool>(out.flush());
}

}  // namespace phonecore::testing
