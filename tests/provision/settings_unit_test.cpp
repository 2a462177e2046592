// The pure parts of the provisioning settings: clamps, the week mask, the
// two copies out of a settings file, the stored members and the week.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstring>
#include <ctime>
#include <string>

#include "base/json.h"
#include "phonecore/provision.h"
#include "provision/settings.h"

namespace {

namespace provision = phonecore::provision;
using phonecore::json::Owned;

Owned parse(const char* text) { return Owned(json_tokener_parse(text)); }

autoprovision_cfg_t loaded(const char* text) {
  Owned root = parse(text);
  autoprovision_cfg_t cfg;
  std::memset(&cfg, 0x5a, sizeof cfg);
  provision::load_settings(root.get(), cfg);
  return cfg;
}

int retry_of(const char* value) {
  return loaded((std::string(R"({"SettingAutoProvision":{"AutopRetryDelay":)") + value + "}}").c_str()).AutopRetryDelay;
}

int zero_wait_of(const char* value) {
  return loaded((std::string(R"({"SettingAutoProvision":{"ZeroWaitTime":)") + value + "}}").c_str()).ZeroWaitTime;
}

TEST(ProvisionSettings, RetryDelayIsClampedTo1To300) {
  EXPECT_EQ(retry_of("0"), 30);
  EXPECT_EQ(retry_of("1"), 1);
  EXPECT_EQ(retry_of("300"), 300);
  EXPECT_EQ(retry_of("301"), 300);
  EXPECT_EQ(retry_of("-1"), 30);
  EXPECT_EQ(loaded(R"({"SettingAutoProvision":{}})").AutopRetryDelay, 30);
  EXPECT_EQ(loaded("{}").AutopRetryDelay, 30);
}

TEST(ProvisionSettings, ZeroWaitTimeIsClampedTo1To100) {
  EXPECT_EQ(zero_wait_of("0"), 5);
  EXPECT_EQ(zero_wait_of("1"), 1);
  EXPECT_EQ(zero_wait_of("100"), 100);
  EXPECT_EQ(zero_wait_of("101"), 100);
  EXPECT_EQ(loaded("{}").ZeroWaitTime, 5);
}

// Kept so: the settings pages store the delay as text, and the loader must
// read what they wrote.
TEST(ProvisionSettings, NumericTextIsTakenAsItsNumber) {
  EXPECT_EQ(retry_of(R"("120")"), 120);
  EXPECT_EQ(zero_wait_of(R"("42")"), 42);
  EXPECT_EQ(retry_of(R"("999")"), 300);
}

TEST(ProvisionSettings, MaskSlotsFollowTheFileOrderWithGaps) {
  const autoprovision_cfg_t cfg =
      loaded(R"({"SettingAutoProvision":{"AutoProvisionWeeklyMask":["Monday","Someday","Friday"]}})");
  EXPECT_EQ(cfg.AutoProvisionWeeklyMaskCount, 3);
  const int32_t expected[AUTOPROVISION_WEEK_SLOTS] = {1, -1, 5, -1, -1, -1, -1};
  for (int i = 0; i < AUTOPROVISION_WEEK_SLOTS; ++i) EXPECT_EQ(cfg.AutoProvisionWeeklyMask[i], expected[i]) << i;
}

TEST(ProvisionSettings, MaskNamesPastSevenAreIgnoredButCounted) {
  const autoprovision_cfg_t cfg =
      loaded(R"({"SettingAutoProvision":{"AutoProvisionWeeklyMask":["Saturday","Friday","Thursday","Wednesday",)"
             R"("Tuesday","Monday","Sunday","Monday","Friday"]}})");
  EXPECT_EQ(cfg.AutoProvisionWeeklyMaskCount, 9);
  const int32_t expected[AUTOPROVISION_WEEK_SLOTS] = {6, 5, 4, 3, 2, 1, 0};
  for (int i = 0; i < AUTOPROVISION_WEEK_SLOTS; ++i) EXPECT_EQ(cfg.AutoProvisionWeeklyMask[i], expected[i]) << i;
  // The fields behind the mask are untouched by the extra names.
  EXPECT_STREQ(cfg.AutoProvisionUpgradeURL, "");
}

TEST(ProvisionSettings, NoMaskGivesCountZeroAndAllSlotsMinusOne) {
  const autoprovision_cfg_t cfg = loaded(R"({"SettingAutoProvision":{"AutoProvisionWeeklyMask":"Monday"}})");
  EXPECT_EQ(cfg.AutoProvisionWeeklyMaskCount, 0);
  for (int32_t slot : cfg.AutoProvisionWeeklyMask) EXPECT_EQ(slot, -1);
  EXPECT_EQ(provision::week_day("Sunday"), 0);
  EXPECT_EQ(provision::week_day("Saturday"), 6);
  EXPECT_EQ(provision::week_day("monday"), -1);
  EXPECT_EQ(provision::week_day(nullptr), -1);
}

TEST(ProvisionSettings, TextsAndIntegersAreCopiedAndTheSpanComesFromItsObject) {
  const autoprovision_cfg_t cfg = loaded(R"({"SettingAutoProvision":{
      "AutoProvisionServerURL":"http://prov.example/cfg","AutoProvisionUser":"u","AutoProvisionPassword":"p",
      "AutoProvisionPowerOn":1,"AutoProvisionRepeat":2,"AutoProvisionRepeatMinutes":1440,
      "AutoProvisionEnableWeekly":3,"AutoProvisionWeeklyUpgradeInterval":4,"AutoProvisionInactivityTimeExpire":5,
      "AutoProvisionWeeklyBeginTime":{"from_hour":2,"from_minute":30,"to_hour":4,"to_minute":45},
      "from_hour":9}})");
  EXPECT_STREQ(cfg.AutoProvisionServerURL, "http://prov.example/cfg");
  EXPECT_STREQ(cfg.AutoProvisionUser, "u");
  EXPECT_STREQ(cfg.AutoProvisionPassword, "p");
  EXPECT_EQ(cfg.AutoProvisionPowerOn, 1);
  EXPECT_EQ(cfg.AutoProvisionRepeat, 2);
  EXPECT_EQ(cfg.AutoProvisionRepeatMinutes, 1440);
  EXPECT_EQ(cfg.AutoProvisionEnableWeekly, 3);
  EXPECT_EQ(cfg.AutoProvisionWeeklyUpgradeInterval, 4);
  EXPECT_EQ(cfg.AutoProvisionInactivityTimeExpire, 5);
  EXPECT_EQ(cfg.from_hour, 2);
  EXPECT_EQ(cfg.from_minute, 30);
  EXPECT_EQ(cfg.to_hour, 4);
  EXPECT_EQ(cfg.to_minute, 45);
  const autoprovision_cfg_t empty = loaded("{}");
  EXPECT_EQ(empty.AutoProvisionPowerOn, 0);
  EXPECT_EQ(empty.from_hour, 0);
  EXPECT_STREQ(empty.AutoProvisionServerURL, "");
}

TEST(ProvisionSettings, AUrlOf64OrMoreIsCutTo63) {
  const std::string url = "http://" + std::string(70, 'a');
  const autoprovision_cfg_t cfg =
      loaded((R"({"SettingAutoProvision":{"AutoProvisionServerURL":")" + url + R"("}})").c_str());
  EXPECT_EQ(std::string(cfg.AutoProvisionServerURL), url.substr(0, 63));
}

// Kept so: a load stands for a new run, whose upgrade and certificate
// fields come from their own loaders; the old ones must not linger.
TEST(ProvisionSettings, LoadingClearsTheUpgradeAndCertificateFields) {
  Owned root = parse(R"({"SettingAutoProvision":{"AutoProvisionUpgradeURL":"http://fw","AutoProvisionUpgradeEnable":1,
      "AutoProvisionGetCrtURL":"http://crt","AutoProvisionGetCrtEnable":1}})");
  autoprovision_cfg_t cfg{};
  std::strcpy(cfg.AutoProvisionUpgradeURL, "http://old/fw.bin");
  std::strcpy(cfg.AutoProvisionUpgradeMd5, "0123");
  cfg.AutoProvisionUpgradeEnable = 1;
  std::strcpy(cfg.AutoProvisionGetCrtURL, "http://old/ca.crt");
  std::strcpy(cfg.AutoProvisionGetCrtMd5, "4567");
  std::strcpy(cfg.AutoProvisionGetCrtName, "ca");
  cfg.AutoProvisionGetCrtEnable = 1;
  provision::load_settings(root.get(), cfg);
  EXPECT_STREQ(cfg.AutoProvisionUpgradeURL, "");
  EXPECT_STREQ(cfg.AutoProvisionUpgradeMd5, "");
  EXPECT_EQ(cfg.AutoProvisionUpgradeEnable, 0);
  EXPECT_STREQ(cfg.AutoProvisionGetCrtURL, "");
  EXPECT_STREQ(cfg.AutoProvisionGetCrtMd5, "");
  EXPECT_STREQ(cfg.AutoProvisionGetCrtName, "");
  EXPECT_EQ(cfg.AutoProvisionGetCrtEnable, 0);
}

AutoProvisionSetting marked_setting() {
  AutoProvisionSetting s;
  std::memset(&s, 0, sizeof s);
  s.AutoProvisionEnableDHCPOption = 7;
  std::strcpy(s.reserved, "reserved text");
  std::strcpy(s.DhcpOptionValue, "old option");
  std::strcpy(s.AutoProvisionOptionTypeIPv6, "old ipv6");
  std::strcpy(s.AutoProvisionServerURL, "old url");
  std::strcpy(s.AutoProvisionUser, "old user");
  std::strcpy(s.AutoProvisionPassword, "old password");
  std::strcpy(s.AutopRetryDelay, "old delay");
  std::strcpy(s.AutoProvisionAESKey16, "old key");
  std::strcpy(s.AutoProvisionAESKey16MAC, "old mac key");
  return s;
}

// Kept so: the get copies what the file has and leaves the rest of the
// caller's record, the reserved text always, as it was.
TEST(ProvisionSettings, GetLeavesAbsentFieldsAndTheReservedTextAlone) {
  Owned root = parse(R"({"SettingAutoProvision":{"AutoProvisionEnableDHCPOption":"1",
      "AutoProvisionServerURL":"tftp://new","AutopRetryDelay":45,"reserved":"no"}})");
  AutoProvisionSetting s = marked_setting();
  provision::copy_settings(root.get(), s);
  EXPECT_EQ(s.AutoProvisionEnableDHCPOption, 1);
  EXPECT_STREQ(s.AutoProvisionServerURL, "tftp://new");
  EXPECT_STREQ(s.AutopRetryDelay, "45");
  EXPECT_STREQ(s.reserved, "reserved text");
  EXPECT_STREQ(s.DhcpOptionValue, "old option");
  EXPECT_STREQ(s.AutoProvisionOptionTypeIPv6, "old ipv6");
  EXPECT_STREQ(s.AutoProvisionUser, "old user");
  EXPECT_STREQ(s.AutoProvisionPassword, "old password");
  EXPECT_STREQ(s.AutoProvisionAESKey16, "old key");
  EXPECT_STREQ(s.AutoProvisionAESKey16MAC, "old mac key");
}

TEST(ProvisionSettings, GetCutsEachTextAt63) {
  const std::string key(100, 'k');
  Owned root = parse((R"({"SettingAutoProvision":{"AutoProvisionAESKey16":")" + key + R"("}})").c_str());
  AutoProvisionSetting s = marked_setting();
  provision::copy_settings(root.get(), s);
  EXPECT_EQ(std::string(s.AutoProvisionAESKey16), key.substr(0, 63));
  EXPECT_STREQ(s.AutoProvisionAESKey16MAC, "old mac key");
}

TEST(ProvisionSettings, StoreWritesTheNineMembersInOrder) {
  Owned root(json_object_new_object());
  AutoProvisionSetting s = marked_setting();
  std::memset(s.AutoProvisionUser, 'u', sizeof s.AutoProvisionUser);  // no terminator
  provision::store_settings(root.get(), s);
  json_object* section = phonecore::json::at(root.get(), provision::kSection);
  ASSERT_NE(section, nullptr);
  const char* order[] = {"AutoProvisionEnableDHCPOption",
                         "DhcpOptionValue",
                         "AutoProvisionOptionTypeIPv6",
                         "AutoProvisionServerURL",
                         "AutoProvisionUser",
                         "AutoProvisionPassword",
                         "AutopRetryDelay",
                         "AutoProvisionAESKey16",
                         "AutoProvisionAESKey16MAC"};
  size_t i = 0;
  json_object_object_foreach(section, key, value) {
    (void)value;
    ASSERT_LT(i, std::size(order));
    EXPECT_STREQ(key, order[i]) << i;
    ++i;
  }
  EXPECT_EQ(i, std::size(order));
  EXPECT_TRUE(json_object_is_type(phonecore::json::at(section, "AutoProvisionEnableDHCPOption"), json_type_int));
  EXPECT_EQ(phonecore::json::integer(section, "AutoProvisionEnableDHCPOption"), 7);
  EXPECT_STREQ(phonecore::json::text(section, "AutopRetryDelay"), "old delay");
  EXPECT_EQ(std::string(phonecore::json::text(section, "AutoProvisionUser")), std::string(64, 'u'));
}

std::tm day(int year, int month, int mday) {
  std::tm t{};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = mday;
  t.tm_hour = 12;
  t.tm_isdst = -1;
  std::tm normalised = t;
  std::mktime(&normalised);  // fills tm_yday
  return normalised;
}

TEST(ProvisionSettings, WeekInYearIsTheDayOfTheYearOverSeven) {
  EXPECT_EQ(provision::week_of(day(2024, 12, 31)), 52);  // day 365 of a leap year
  EXPECT_EQ(provision::week_of(day(2023, 12, 31)), 52);  // day 364
  EXPECT_EQ(provision::week_of(day(2020, 1, 1)), 0);
  EXPECT_EQ(provision::week_of(day(2021, 1, 7)), 0);
  EXPECT_EQ(provision::week_of(day(2021, 1, 8)), 1);
  EXPECT_EQ(provision::week_of(day(2019, 1, 1)), -1);
  EXPECT_EQ(provision::week_of(day(2019, 12, 31)), -1);
}

TEST(ProvisionSettings, TheScheduleQuestionAlwaysAnswersZero) {
  EXPECT_EQ(auto_update_active_by_week(), 0);
  EXPECT_EQ(get_autoprovision_cfg_t(), &ap_cfg);
}

}  // namespace
