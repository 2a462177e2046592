// A reload after a network key, in the box: "start_network" goes out, and
// the accounts follow no sooner than three seconds later, also during a
// call.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "bus/vocabulary.h"
#include "phonecore/phonecfg.h"
#include "support/files.h"
#include "support/raw_session.h"

namespace {

using phonecore::testing::command_payload;
using phonecore::testing::RawSession;
using phonecore::testing::slurp;
using Clock = std::chrono::steady_clock;
namespace bus = phonecore::bus;

TEST(PhonecfgReloadNetwork, StartNetworkThenThreeSecondsBeforeTheAccounts) {
  std::remove("/tmp/reloading");
  std::ofstream("/tmp/call_check.txt") << "1";
  RawSession listener(3102);
  ASSERT_TRUE(listener.ok());
  start_network_flag = 1;
  reload_something_flag = 1;
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(reload_all_phonecfg(), 0);
  const double took = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  std::vector<std::string> heard;
  while (auto in = listener.receive(500)) {
    const auto h = RawSession::header(*in);
    if (h.kind == bus::kKindCommand && h.msgtype == bus::kMsgtypeCommand && h.dest == bus::kBusIdAll)
      heard.push_back(RawSession::payload(*in));
  }
  EXPECT_EQ(heard, (std::vector<std::string>{command_payload("start_network"), command_payload("reload_account")}));
  EXPECT_GE(took, 3100.0 - 2);
  EXPECT_EQ(start_network_flag, 0);
  EXPECT_EQ(reload_something_flag, 1);  // the call kept the batch waiting
  EXPECT_EQ(slurp("/tmp/reloading"), "0");
  std::remove("/tmp/call_check.txt");
  std::remove("/tmp/reloading");
}

}  // namespace
