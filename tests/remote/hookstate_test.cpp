// Gethookstate against a hook switch played by this test program: the
// ioctl on descriptor 0 is answered here, before libc sees it.
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdarg>
#include <string>

#include "phonecore/action_uri.h"

namespace {
int g_state = 0;
bool g_fail = false;
unsigned long g_request = 0;
int g_fd = -1;
}  // namespace

// The board's hook switch driver: answers the state into the integer.
extern "C" int ioctl(int fd, unsigned long request, ...) {
  va_list args;
  va_start(args, request);
  int* out = va_arg(args, int*);
  va_end(args);
  g_fd = fd;
  g_request = request;
  if (g_fail) {
    errno = ENOTTY;
    return -1;
  }
  *out = g_state;
  return 0;
}

namespace {

std::string state_and_log(int state, int* result) {
  g_state = state;
  testing::internal::CaptureStdout();
  *result = Gethookstate();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST(Gethookstate, AsksDescriptorZeroWithTheHookRequest) {
  int r = 0;
  state_and_log(0, &r);
  EXPECT_EQ(g_fd, 0);
  EXPECT_EQ(g_request, 1074047338UL);
  EXPECT_EQ(r, 0);
}

TEST(Gethookstate, LogsEachChangeBetweenOnAndOffHook) {
  int r = 0;
  EXPECT_EQ(state_and_log(1, &r), "---hk---1-------\n");
  EXPECT_EQ(r, 1);
  EXPECT_EQ(state_and_log(1, &r), "");
  EXPECT_EQ(state_and_log(0, &r), "---hk---0-------\n");
  EXPECT_EQ(r, 0);
  // Another value is returned as it is and logs nothing.
  EXPECT_EQ(state_and_log(7, &r), "");
  EXPECT_EQ(r, 7);
}

TEST(Gethookstate, AFailedIoctlIsMinusOne) {
  g_fail = true;
  EXPECT_EQ(Gethookstate(), -1);
  g_fail = false;
}

}  // namespace
