// What code under test prints on its standard output.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

namespace phonecore::testing {

// What the action prints on the standard output while it runs, buffered
// output included.
inline std::string printed_by(const std::function<void()>& action) {
  ::testing::internal::CaptureStdout();
  action();
  std::fflush(stdout);
  return ::testing::internal::GetCapturedStdout();
}

}  // namespace phonecore::testing
