// Provisioning settings against the box's configuration service: the file
// it reads and writes, the requests it hears, ap_cfg after a load, and the
// settings pages' record.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "base/json.h"
#include "phonecore/provision.h"
#include "support/config_peer.h"
#include "support/factory_files.h"
#include "support/files.h"

namespace {

using phonecore::json::Owned;
using phonecore::testing::ConfigPeer;
using phonecore::testing::ConfigRequest;
using phonecore::testing::FactoryFiles;
using phonecore::testing::slurp;

constexpr const char* kSettings = "/appconfigs/default/settinglist.cfg";
constexpr const char* kMarker = "/tmp/autoprovision_config_update";

const ConfigRequest kRead{4102, 1, 1, "default/settinglist.cfg", 0};

class ProvisionSettings : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    std::remove(kMarker);
    ASSERT_TRUE(peer_.clear());
  }
  void TearDown() override { std::remove(kMarker); }

  static void write_settings(const std::string& section) {
    std::ofstream(kSettings) << R"({"SettingDateTime":{"CurrentTimeZoneTime":"+8"},"SettingAutoProvision":)" << section
                             << "}";
  }

  static Owned file_json() { return Owned(json_tokener_parse(slurp(kSettings).c_str())); }

  FactoryFiles files_{"default/settinglist.cfg"};
  ConfigPeer peer_;
};

TEST_F(ProvisionSettings, LoadFillsApCfgFromTheFactoryFileWithOneRead) {
  std::memset(&ap_cfg, 0x11, sizeof ap_cfg);
  EXPECT_EQ(auto_update_get_config(), 0);
  EXPECT_EQ(peer_.requests(), std::vector<ConfigRequest>{kRead});
  EXPECT_STREQ(ap_cfg.AutoProvisionServerURL, "");
  EXPECT_EQ(ap_cfg.AutopRetryDelay, 60);
  EXPECT_EQ(ap_cfg.ZeroWaitTime, 10);
  EXPECT_EQ(ap_cfg.AutoProvisionPowerOn, 1);
  EXPECT_EQ(ap_cfg.AutoProvisionRepeatMinutes, 1440);
  EXPECT_EQ(ap_cfg.to_hour, 23);
  EXPECT_EQ(ap_cfg.to_minute, 59);
  EXPECT_EQ(ap_cfg.AutoProvisionWeeklyMaskCount, 7);
  for (int day = 0; day < AUTOPROVISION_WEEK_SLOTS; ++day) EXPECT_EQ(ap_cfg.AutoProvisionWeeklyMask[day], day);
  EXPECT_EQ(get_autoprovision_cfg_t(), &ap_cfg);
}

TEST_F(ProvisionSettings, LoadClampsAndTakesNumericTextAndClearsTheUpgradeFields) {
  write_settings(R"({"AutoProvisionServerURL":"http://10.0.0.9/prov/","AutoProvisionUser":"admin",
      "AutoProvisionPassword":"secret","AutopRetryDelay":"120","ZeroWaitTime":101,
      "AutoProvisionWeeklyMask":["Monday","Noday","Friday"],"AutoProvisionUpgradeURL":"http://fw",
      "AutoProvisionUpgradeEnable":1})");
  std::strcpy(ap_cfg.AutoProvisionUpgradeURL, "http://old/fw.bin");
  ap_cfg.AutoProvisionUpgradeEnable = 1;
  std::strcpy(ap_cfg.AutoProvisionGetCrtName, "oldca");
  EXPECT_EQ(auto_update_get_config(), 0);
  EXPECT_STREQ(ap_cfg.AutoProvisionServerURL, "http://10.0.0.9/prov/");
  EXPECT_STREQ(ap_cfg.AutoProvisionUser, "admin");
  EXPECT_STREQ(ap_cfg.AutoProvisionPassword, "secret");
  EXPECT_EQ(ap_cfg.AutopRetryDelay, 120);
  EXPECT_EQ(ap_cfg.ZeroWaitTime, 100);
  EXPECT_EQ(ap_cfg.AutoProvisionWeeklyMaskCount, 3);
  EXPECT_EQ(ap_cfg.AutoProvisionWeeklyMask[0], 1);
  EXPECT_EQ(ap_cfg.AutoProvisionWeeklyMask[1], -1);
  EXPECT_EQ(ap_cfg.AutoProvisionWeeklyMask[2], 5);
  EXPECT_EQ(ap_cfg.AutoProvisionWeeklyMask[3], -1);
  // Their own loaders fill them; this one leaves them cleared.
  EXPECT_STREQ(ap_cfg.AutoProvisionUpgradeURL, "");
  EXPECT_EQ(ap_cfg.AutoProvisionUpgradeEnable, 0);
  EXPECT_STREQ(ap_cfg.AutoProvisionGetCrtName, "");
}

TEST_F(ProvisionSettings, NoSettingsFileGivesMinusTenAndLeavesApCfg) {
  std::remove(kSettings);
  std::memset(&ap_cfg, 0x22, sizeof ap_cfg);
  const autoprovision_cfg_t before = ap_cfg;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(auto_update_get_config(), -10);
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("tolk_provision read settinglist failed"), std::string::npos) << out;
  EXPECT_EQ(std::memcmp(&before, &ap_cfg, sizeof ap_cfg), 0);
  EXPECT_EQ(peer_.requests(), std::vector<ConfigRequest>{kRead});
}

TEST_F(ProvisionSettings, SetStoresTheNineMembersWritesOnceAndTouchesTheMarker) {
  AutoProvisionSetting s{};
  s.AutoProvisionEnableDHCPOption = 1;
  std::strcpy(s.reserved, "never stored");
  std::strcpy(s.DhcpOptionValue, "160");
  std::strcpy(s.AutoProvisionServerURL, "https://prov.example/");
  std::strcpy(s.AutoProvisionUser, "user");
  std::strcpy(s.AutoProvisionPassword, "pw");
  std::strcpy(s.AutopRetryDelay, "120");
  std::strcpy(s.AutoProvisionAESKey16, "0123456789abcdef");
  EXPECT_EQ(setSettingAutoProvision(&s), 0);
  const std::vector<ConfigRequest> heard = peer_.requests();
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(heard[0], kRead);
  EXPECT_EQ(heard[1].category, 4102);
  EXPECT_EQ(heard[1].operation, 2);
  EXPECT_EQ(heard[1].format, 1);
  EXPECT_EQ(heard[1].path, "default/settinglist.cfg");
  EXPECT_EQ(access(kMarker, F_OK), 0);

  Owned root = file_json();
  namespace json = phonecore::json;
  EXPECT_EQ(json::integer(root.get(), "SettingAutoProvision", "AutoProvisionEnableDHCPOption"), 1);
  EXPECT_STREQ(json::text(root.get(), "SettingAutoProvision", "DhcpOptionValue"), "160");
  EXPECT_STREQ(json::text(root.get(), "SettingAutoProvision", "AutopRetryDelay"), "120");
  EXPECT_STREQ(json::text(root.get(), "SettingAutoProvision", "AutoProvisionAESKey16"), "0123456789abcdef");
  EXPECT_EQ(json::at(root.get(), "SettingAutoProvision", "reserved"), nullptr);
  // The rest of the file stays.
  EXPECT_NE(json::at(root.get(), "SettingPrefrence"), nullptr);
  EXPECT_EQ(json::integer(root.get(), "SettingAutoProvision", "AutoProvisionRepeatMinutes"), 1440);

  // The delay as text, as stored here, is what the next load reads.
  EXPECT_EQ(auto_update_get_config(), 0);
  EXPECT_EQ(ap_cfg.AutopRetryDelay, 120);
  EXPECT_STREQ(ap_cfg.AutoProvisionServerURL, "https://prov.example/");
}

TEST_F(ProvisionSettings, SetWithoutAFileCreatesTheSectionWithTheNineMembersOnly) {
  std::remove(kSettings);
  AutoProvisionSetting s{};
  std::strcpy(s.AutoProvisionUser, "u");
  EXPECT_EQ(setSettingAutoProvision(&s), 0);
  Owned root = file_json();
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(json_object_object_length(root.get()), 1);
  json_object* section = phonecore::json::at(root.get(), "SettingAutoProvision");
  ASSERT_NE(section, nullptr);
  EXPECT_EQ(json_object_object_length(section), 9);
  EXPECT_STREQ(phonecore::json::text(section, "AutoProvisionUser"), "u");
  EXPECT_EQ(access(kMarker, F_OK), 0);
}

TEST_F(ProvisionSettings, GetFillsWhatTheFileHasAndLeavesTheRest) {
  write_settings(R"({"AutoProvisionEnableDHCPOption":"1","DhcpOptionValue":"66",
      "AutoProvisionServerURL":"ftp://files/","AutopRetryDelay":45})");
  AutoProvisionSetting s{};
  std::strcpy(s.reserved, "mine");
  std::strcpy(s.AutoProvisionUser, "kept user");
  std::strcpy(s.AutoProvisionAESKey16MAC, "kept mac");
  EXPECT_EQ(getSettingAutoProvision(&s), 0);
  EXPECT_EQ(s.AutoProvisionEnableDHCPOption, 1);
  EXPECT_STREQ(s.DhcpOptionValue, "66");
  EXPECT_STREQ(s.AutoProvisionServerURL, "ftp://files/");
  EXPECT_STREQ(s.AutopRetryDelay, "45");
  EXPECT_STREQ(s.reserved, "mine");
  EXPECT_STREQ(s.AutoProvisionUser, "kept user");
  EXPECT_STREQ(s.AutoProvisionAESKey16MAC, "kept mac");
  EXPECT_EQ(peer_.requests(), std::vector<ConfigRequest>{kRead});
}

TEST_F(ProvisionSettings, GetWithoutAFileAnswersZeroAndLeavesTheRecord) {
  std::remove(kSettings);
  AutoProvisionSetting s;
  std::memset(&s, 0x33, sizeof s);
  const AutoProvisionSetting before = s;
  EXPECT_EQ(getSettingAutoProvision(&s), 0);
  EXPECT_EQ(std::memcmp(&before, &s, sizeof s), 0);
}

int local_week() {
  const time_t now = time(nullptr);
  struct tm local {};
  localtime_r(&now, &local);
  return local.tm_year + 1900 < 2020 ? -1 : local.tm_yday / 7;
}

TEST_F(ProvisionSettings, WeekInYearFollowsTheLocalClock) {
  const int before = local_week();
  ASSERT_NE(before, -1) << "the box's clock is not set";
  const int week = getWeekInYear();
  const int after = local_week();  // a day may turn between the readings
  EXPECT_TRUE(week == before || week == after) << week;
  EXPECT_EQ(auto_update_active_by_week(), 0);
}

}  // namespace
