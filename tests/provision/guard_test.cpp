// The call guard of a provisioning run gives up after two hours: 1440
// looks, 5 s apart. The test runs under libfaketime at 2000 times the
// speed (tests/provision/CMakeLists.txt), so the two hours pass in a few
// seconds; the file stays installed and is not taken up.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "config/gnl_frame.h"
#include "phonecore/provision.h"
#include "support/config_peer.h"
#include "support/files.h"
#include "support/http_peer.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::ConfigPeer;
using phonecore::testing::HttpPeer;
using phonecore::testing::put_file;
using phonecore::testing::slurp;

TEST(CallGuard, AfterTwoHoursOfCallTheRunGivesUp) {
  ASSERT_NE(std::getenv("FAKETIME"), nullptr) << "run under faketime, or this waits two hours";
  ConfigPeer config;
  ASSERT_TRUE(config.clear());
  put_file("/appconfigs/phone.cfg", "old\n");
  put_file("/tmp/call_check.txt", "1");
  std::snprintf(ap_cfg.AutoProvisionServerURL, sizeof ap_cfg.AutoProvisionServerURL, "%s",
                HttpPeer::url("/file/26").c_str());
  // The transfer's stall limit runs on the faked clock too: a day of it is
  // some 40 real seconds.
  ap_cfg.AutopRetryDelay = 86400;
  uint32_t ticks = 50;
  ::testing::internal::CaptureStdout();
  const int result = auto_update_download_proc("cfg.cfg", &ticks);
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(result, 1);
  EXPECT_EQ(ticks, 50u + 7200u);
  EXPECT_NE(out.find("tickCount_wait = 7200, more than 2 hours, abort this provision"), std::string::npos) << out;
  // Installed, but not taken up and nobody told.
  EXPECT_EQ(slurp("/appconfigs/phone.cfg"), "abcdefghijklmnopqrstuvwxyz");
  for (const auto& r : config.requests()) EXPECT_NE(r.operation, phonecore::config::kOperationUploadConfig);
  EXPECT_EQ(access("/tmp/autoprovision_config_update2", F_OK), -1);
}

}  // namespace
