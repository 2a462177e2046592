// The tip-information cache: every fifth call asks the SIP process, the
// two functions count apart and share the cache, and two failures in a
// row cut the limit of the binary requests to 5 ms. The counters belong to
// the process, so the whole story is one test.

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "call/call_internal.h"
#include "phonecore/voip.h"
#include "support/bus_session.h"
#include "support/sip_peer.h"

using phonecore::call::buffer_request_limit_ms;
using phonecore::testing::SipPeer;

namespace {

size_t tip_requests(SipPeer& sip) {
  size_t n = 0;
  for (const auto& l : sip.log())
    if (l == R"(9 0 { "msgtype": "tip_info_get" })") ++n;
  return n;
}

// An asking call whose reply a loaded machine brought after its 100 ms
// counts as a failure and answers 0. Four more calls bring the function
// round to asking again (every fifth call asks, so the story keeps its
// step), and a good reply clears the failure: the test asks again so, a few
// times, and counts the requests it added. A reply still on its way then
// is let pass while no hook waits for it.
int asking(const std::function<int()>& call, size_t& added) {
  int result = call();
  for (int again = 0; again < 4 && result == 0; ++again) {
    for (int cached = 0; cached < 4; ++cached) call();
    result = call();
    ++added;
    if (result != 0) usleep(200000);
  }
  return result;
}

TEST(TipCache, EveryFifthCallAsksTheSharedCacheAndTheFailureLimit) {
  SipPeer sip;
  sip.reset();
  MessageClient* c = phonecore::testing::open_listening_session(1234, nullptr, "screen");
  ASSERT_NE(c, nullptr);

  // A null text or unread pointer: 0 at once, nothing counted or sent.
  int unread = -1, id = -1, account = -1;
  char text[64] = "";
  EXPECT_EQ(voip_tip_info_get(c, nullptr, &unread, &id, &account), 0);
  EXPECT_EQ(voip_tip_info_get(c, text, nullptr, &id, &account), 0);
  EXPECT_EQ(tip_requests(sip), 0u);

  sip.control("set tip *97 3 5 2");
  size_t added = 0;
  auto get = [&] { return voip_tip_info_get(c, text, &unread, &id, &account); };
  auto get3 = [&] { return voip_tip_info_get3(c, text, &unread, &id); };
  EXPECT_EQ(asking(get, added), 1);  // call 1 asks
  EXPECT_EQ(tip_requests(sip), 1u + added);
  EXPECT_STREQ(text, "*97");
  EXPECT_EQ(unread, 3);
  EXPECT_EQ(id, 5);
  EXPECT_EQ(account, 2);

  // Calls 2 to 5 hand out the cache, whatever the SIP process now holds.
  sip.control("set tip *98 4 6 1");
  for (int call = 2; call <= 5; ++call) {
    std::memset(text, 0, sizeof text);
    EXPECT_EQ(voip_tip_info_get(c, text, &unread, &id, &account), 1);
    EXPECT_STREQ(text, "*97");
    EXPECT_EQ(unread, 3);
  }
  EXPECT_EQ(tip_requests(sip), 1u + added);

  // The other function counts for itself: its first call asks, and renews
  // the shared cache but not the account.
  EXPECT_EQ(asking(get3, added), 1);
  EXPECT_EQ(tip_requests(sip), 2u + added);
  EXPECT_STREQ(text, "*98");
  EXPECT_EQ(unread, 4);
  EXPECT_EQ(id, 6);

  // Call 6 asks again; the account comes with it.
  EXPECT_EQ(asking(get, added), 1);
  EXPECT_EQ(tip_requests(sip), 3u + added);
  EXPECT_EQ(account, 1);
  EXPECT_EQ(buffer_request_limit_ms(), 100);

  // A dead SIP process: one failure keeps 100 ms, the second gives 5 ms.
  // The caller's fields still come from the cache, with result 0.
  sip.control("silent 1");
  for (int call = 7; call <= 10; ++call) voip_tip_info_get(c, text, &unread, &id, &account);
  unread = -1;
  EXPECT_EQ(voip_tip_info_get(c, text, &unread, &id, &account), 0);  // call 11 asks, fails
  EXPECT_EQ(unread, 4);
  EXPECT_STREQ(text, "*98");
  EXPECT_EQ(buffer_request_limit_ms(), 100);
  for (int call = 2; call <= 5; ++call) EXPECT_EQ(voip_tip_info_get3(c, text, &unread, &id), 1);
  EXPECT_EQ(voip_tip_info_get3(c, text, &unread, &id), 0);  // its call 6 asks, fails
  EXPECT_EQ(buffer_request_limit_ms(), 5);

  // warnningist_get now gives up after 5 ms, not 100.
  timeval a, b;
  gettimeofday(&a, nullptr);
  std::vector<char> out(VOIP_WARNNINGIST_MAX);
  EXPECT_EQ(voip_warnningist_get(c, 0, out.data()), 0);
  gettimeofday(&b, nullptr);
  const long took = (b.tv_sec - a.tv_sec) * 1000L + (b.tv_usec - a.tv_usec) / 1000;
  EXPECT_GE(took, 5);

  // One good reply sets the limit back.
  sip.control("silent 0");
  for (int call = 12; call <= 15; ++call) voip_tip_info_get(c, text, &unread, &id, &account);
  EXPECT_EQ(asking(get, added), 1);  // call 16 asks
  EXPECT_EQ(buffer_request_limit_ms(), 100);

  request_pc_disconnect(c);
}

}  // namespace
