// The provisioning settings with a configuration service that hears and
// never answers: each read is waited out (5 s) and counts as unreadable.

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "phonecore/provision.h"
#include "support/config_peer.h"

namespace {

using phonecore::testing::ConfigPeer;

class SilentService : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(peer_.silent(true)); }
  void TearDown() override { EXPECT_TRUE(peer_.silent(false)); }
  ConfigPeer peer_;
};

TEST_F(SilentService, LoadWaitsOutTheServiceThenGivesMinusTenAndLeavesApCfg) {
  std::memset(&ap_cfg, 0x44, sizeof ap_cfg);
  const autoprovision_cfg_t before = ap_cfg;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(auto_update_get_config(), -10);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4900));
  EXPECT_EQ(std::memcmp(&before, &ap_cfg, sizeof ap_cfg), 0);
}

TEST_F(SilentService, GetLeavesTheRecordAndAnswersZero) {
  AutoProvisionSetting s;
  std::memset(&s, 0x55, sizeof s);
  const AutoProvisionSetting before = s;
  EXPECT_EQ(getSettingAutoProvision(&s), 0);
  EXPECT_EQ(std::memcmp(&before, &s, sizeof s), 0);
}

}  // namespace
