// Writing the files a test sets up: a file that can't be written is a
// failure of the test, which says which file it was.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/files.h"

namespace phonecore::testing {

// Writes the bytes as the whole file; a failure of the test (which goes on)
// when it can't.
inline void put_file(const std::string& path, const std::string& bytes) {
  EXPECT_TRUE(write_file(path, bytes)) << "can't write " << path;
}

}  // namespace phonecore::testing
