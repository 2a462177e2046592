#include <gtest/gtest.h>

extern "C" int headers_c_fifo_roundtrip(void);
int headers_cpp_fifo_roundtrip();

namespace {

TEST(PublicHeaders, CallersInCAndCppReachTheSharedObject) {
  EXPECT_EQ(headers_c_fifo_roundtrip(), 1);
  EXPECT_EQ(headers_cpp_fifo_roundtrip(), 3);
}

}  // namespace
