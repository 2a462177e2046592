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

}  // namespace phonecore::testing
