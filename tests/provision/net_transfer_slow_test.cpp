// A time-out of 0 is no "no limit": the stall limit becomes 60 seconds.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "phonecore/net_transfer.h"
#include "support/http_peer.h"

namespace {

using phonecore::testing::HttpPeer;

TEST(TransferTimeOut, ZeroMeansSixtySeconds) {
  const char* local = "/tmp/transfer-slow.data";
  ::testing::internal::CaptureStdout();
  // The server is silent for 75 s: with no limit the download would end
  // well; with 60 s it is cut first.
  const int result = vorn_net_download(HttpPeer::url("/stall/75").c_str(), local, "", "", 0, 0, nullptr);
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(result, 0);
  EXPECT_NE(out.find("tolk_provision DOWN ERROR:28-->"), std::string::npos) << out;
  unlink(local);
}

}  // namespace
