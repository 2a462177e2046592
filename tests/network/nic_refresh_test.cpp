// The name refresh and the mode request against the box's network service,
// in a process that never starts the refresher thread (so every request
// netd hears is the test's own).

#include <gtest/gtest.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "config/gnl_frame.h"
#include "phonecore/net_info.h"
#include "support/net_peer.h"

using phonecore::testing::NetPeer;
using phonecore::testing::NetRequest;
using namespace phonecore::config;

namespace {

long long mono_seconds() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec;
}

// Sleeps into the next second of the monotonic clock, a little past its
// start.
void into_next_second() {
  const long long s = mono_seconds();
  while (mono_seconds() == s) usleep(2000);
  usleep(50000);
}

class NicRefresh : public ::testing::Test {
 protected:
  void SetUp() override {
    peer.reset();
    // Whatever an earlier test refreshed, the two-second gate is open again.
    sleep(2);
    into_next_second();
  }
  void TearDown() override { peer.reset(); }
  NetPeer peer;
};

// One call within a second of the last refresh sends nothing; two seconds
// after it, the next call sends again. The model follows the seconds the
// calls really saw, so a slow machine changes which calls send, not the
// outcome of the test; the sequence is repeated until both the skipped and
// the sending case were seen.
TEST_F(NicRefresh, AtMostOneRequestPerTwoSeconds) {
  bool saw_skip = false, saw_second_send = false;
  for (int attempt = 0; attempt < 5 && !(saw_skip && saw_second_send); ++attempt) {
    sleep(2);
    into_next_second();
    peer.clear();
    long long last = -100;
    int expected = 0;
    bool ambiguous = false;
    for (int call = 0; call < 3 && !ambiguous; ++call) {
      const long long before = mono_seconds();
      EXPECT_EQ(client_update_nic_infor(), 0);
      const long long after = mono_seconds();
      if (before != after) {
        ambiguous = true;
        break;
      }
      const bool sends = before > last + 1;
      if (sends) {
        last = before;
        ++expected;
        if (call > 0) saw_second_send = true;
      } else {
        saw_skip = true;
      }
      EXPECT_EQ(peer.count(), expected) << "call " << call << " at second +" << (before - last);
      into_next_second();
    }
  }
  EXPECT_TRUE(saw_skip);
  EXPECT_TRUE(saw_second_send);
}

TEST_F(NicRefresh, RefreshSendsSeventySevenBytesAndTakesTheNames) {
  ASSERT_TRUE(peer.names("br0", "eth1", "wlan9"));
  ASSERT_EQ(client_update_nic_infor(), 0);
  EXPECT_EQ(peer.requests(), (std::vector<NetRequest>{{kCategoryNic, kNicRefreshNames, 0, 77, std::nullopt, ""}}));
  EXPECT_STREQ(client_getWANName_web(), "br0");
  EXPECT_STREQ(client_getLANName(), "eth1");
  EXPECT_STREQ(client_getWifiName(), "wlan9");
}

// Sixteen bytes without a terminator are cut at fifteen.
TEST_F(NicRefresh, UnterminatedNamesCutAtFifteen) {
  ASSERT_TRUE(peer.fault("unterminated"));
  ASSERT_EQ(client_update_nic_infor(), 0);
  EXPECT_EQ(std::string(client_getWANName_web()), std::string(15, 'W'));
  EXPECT_EQ(std::string(client_getLANName()), std::string(15, 'L'));
  EXPECT_EQ(std::string(client_getWifiName()), std::string(15, 'F'));
}

// A reply that ends inside the WAN name gives what came, and empty names
// for the fields it lacks.
TEST_F(NicRefresh, CutReplyGivesWhatCame) {
  ASSERT_TRUE(peer.names("abcdefgh", "eth1", "wlan0"));
  ASSERT_TRUE(peer.fault("cut"));
  ASSERT_EQ(client_update_nic_infor(), 0);
  EXPECT_STREQ(client_getWANName_web(), "abcde");
  EXPECT_STREQ(client_getLANName(), "");
}

// A reply without a frame head changes nothing.
TEST_F(NicRefresh, ShortOrWrongMagicKeepsTheNames) {
  ASSERT_EQ(client_update_nic_infor(), 0);
  ASSERT_STREQ(client_getWANName_web(), "eth0");
  for (const char* fault : {"short", "magic"}) {
    sleep(2);
    ASSERT_TRUE(peer.names("zz0", "zz1", "zz2"));
    ASSERT_TRUE(peer.fault(fault));
    EXPECT_EQ(client_update_nic_infor(), -1) << fault;
    EXPECT_STREQ(client_getWANName_web(), "eth0") << fault;
  }
}

TEST_F(NicRefresh, BigReplyTakesTheNames) {
  ASSERT_TRUE(peer.names("big0", "big1", "big2"));
  ASSERT_TRUE(peer.fault("big"));
  ASSERT_EQ(client_update_nic_infor(), 0);
  EXPECT_STREQ(client_getWANName_web(), "big0");
  EXPECT_STREQ(client_getWifiName(), "big2");
}

TEST_F(NicRefresh, ModeCarriesTwelveBytes) {
  EXPECT_EQ(client_set_network_mode(2, "100"), 0);
  EXPECT_EQ(client_set_network_mode(0, "0"), 0);
  EXPECT_EQ(client_set_network_mode(1, "1234567890"), 0);
  EXPECT_EQ(client_set_network_mode(3, nullptr), 0);
  EXPECT_EQ(peer.requests(), (std::vector<NetRequest>{{kCategoryNic, kNicSetMode, 12, 89, 2, "100"},
                                                      {kCategoryNic, kNicSetMode, 12, 89, 0, "0"},
                                                      {kCategoryNic, kNicSetMode, 12, 89, 1, "12345678"},
                                                      {kCategoryNic, kNicSetMode, 12, 89, 3, ""}}));
}

// The result says only whether a reply came.
TEST_F(NicRefresh, ModeResultIsTheTransport) {
  ASSERT_TRUE(peer.fault("magic"));
  EXPECT_EQ(client_set_network_mode(2, "5"), 0);
  ASSERT_TRUE(peer.leave());
  EXPECT_EQ(client_set_network_mode(2, "5"), -1);
  ASSERT_TRUE(peer.join());
}

// No answer within the wait: -1 and the names stay.
TEST_F(NicRefresh, SilentServiceFailsAfterTheWait) {
  ASSERT_EQ(client_update_nic_infor(), 0);
  sleep(2);
  ASSERT_TRUE(peer.names("new0", "new1", "new2"));
  ASSERT_TRUE(peer.silent(true));
  peer.clear();
  EXPECT_EQ(client_update_nic_infor(), -1);
  EXPECT_STREQ(client_getWANName_web(), "eth0");
  EXPECT_EQ(peer.count(), 1);
}

// A failed refresh counts as one for the two-second gate: a call right
// after it sends nothing.
TEST_F(NicRefresh, FailedRefreshMovesTheClock) {
  ASSERT_TRUE(peer.fault("short"));
  const long long before = mono_seconds();
  EXPECT_EQ(client_update_nic_infor(), -1);
  EXPECT_EQ(client_update_nic_infor(), 0);
  if (mono_seconds() <= before + 1) {
    EXPECT_EQ(peer.count(), 1);
  }
}

}  // namespace
