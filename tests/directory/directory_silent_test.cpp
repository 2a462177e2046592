// A directory service that hears and never answers: every call gives up
// after its wait (5 s; the short message 20 s) with -1, and the block list
// fails open.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

#include "phonecore/calllists.h"
#include "phonecore/contacts.h"
#include "support/directory_peer.h"

using phonecore::testing::Datagram;
using phonecore::testing::DirectoryStandIn;

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(SilentService, CallsGiveUpAfterFiveSecondsWithMinus1) {
  DirectoryStandIn service([](const Datagram&) { return Datagram{}; });
  ASSERT_TRUE(service.bound());
  auto start = Clock::now();
  EXPECT_EQ(local_contactlist_number_is_in_blacklist("5550100"), -1);
  EXPECT_GE(seconds_since(start), 4.9);
  char* buffer = nullptr;
  start = Clock::now();
  EXPECT_EQ(local_cantacts_get(&buffer, 0, 10), -1);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_GE(seconds_since(start), 4.9);
  EXPECT_EQ(service.requests().size(), 2u);
}

TEST(SilentService, TheShortMessageWaitsTwentySeconds) {
  DirectoryStandIn service([](const Datagram&) { return Datagram{}; });
  ASSERT_TRUE(service.bound());
  const auto start = Clock::now();
  EXPECT_EQ(local_contactlist_short_msg(8207, "null", 3), -1);
  EXPECT_GE(seconds_since(start), 19.9);
}

}  // namespace
