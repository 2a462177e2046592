// Provisioning settings: the run-time record ap_cfg and the settings pages'
// record, both over section SettingAutoProvision of the settings file.

#include "provision/settings.h"

#include <json-c/json.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "base/json.h"
#include "phonecore/config.h"
#include "phonecore/fileutil.h"
#include "phonecore/json_msg.h"
#include "phonecore/provision.h"
#include "provision/setting_texts.h"

namespace json = phonecore::json;

// The records are shared with other programs of the phone: their layout is
// fixed, on every target.
static_assert(sizeof(autoprovision_cfg_t) == 600);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionServerURL) == 0);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionUser) == 64);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionPassword) == 128);
static_assert(offsetof(autoprovision_cfg_t, AutopRetryDelay) == 192);
static_assert(offsetof(autoprovision_cfg_t, ZeroWaitTime) == 196);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionPowerOn) == 200);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionRepeat) == 204);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionRepeatMinutes) == 208);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionEnableWeekly) == 212);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionWeeklyUpgradeInterval) == 216);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionInactivityTimeExpire) == 220);
static_assert(offsetof(autoprovision_cfg_t, from_hour) == 224);
static_assert(offsetof(autoprovision_cfg_t, from_minute) == 228);
static_assert(offsetof(autoprovision_cfg_t, to_hour) == 232);
static_assert(offsetof(autoprovision_cfg_t, to_minute) == 236);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionWeeklyMaskCount) == 240);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionWeeklyMask) == 244);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionUpgradeURL) == 272);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionUpgradeMd5) == 336);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionUpgradeEnable) == 400);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionGetCrtURL) == 404);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionGetCrtMd5) == 468);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionGetCrtName) == 532);
static_assert(offsetof(autoprovision_cfg_t, AutoProvisionGetCrtEnable) == 596);

static_assert(sizeof(AutoProvisionSetting) == 580);
static_assert(offsetof(AutoProvisionSetting, AutoProvisionEnableDHCPOption) == 0);
static_assert(offsetof(AutoProvisionSetting, reserved) == 4);
static_assert(offsetof(AutoProvisionSetting, DhcpOptionValue) == 68);
static_assert(offsetof(AutoProvisionSetting, AutoProvisionOptionTypeIPv6) == 132);
static_assert(offsetof(AutoProvisionSetting, AutoProvisionServerURL) == 196);
static_assert(offsetof(AutoProvisionSetting, AutoProvisionUser) == 260);
static_assert(offsetof(AutoProvisionSetting, AutoProvisionPassword) == 324);
static_assert(offsetof(AutoProvisionSetting, AutopRetryDelay) == 388);
static_assert(offsetof(AutoProvisionSetting, AutoProvisionAESKey16) == 452);
static_assert(offsetof(AutoProvisionSetting, AutoProvisionAESKey16MAC) == 516);

autoprovision_cfg_t ap_cfg;

namespace phonecore::provision {

namespace {

constexpr std::array<std::string_view, AUTOPROVISION_WEEK_SLOTS> kDayNames = {
    "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

// Rows of the tables below: a member of the section and its field.
struct CfgTextRow {
  const char* member;
  char (autoprovision_cfg_t::*field)[AUTOPROVISION_TEXT_SIZE];
};
struct CfgIntegerRow {
  const char* member;
  int32_t autoprovision_cfg_t::*field;
};

constexpr CfgTextRow kCfgTexts[] = {
    {"AutoProvisionServerURL", &autoprovision_cfg_t::AutoProvisionServerURL},
    {"AutoProvisionUser", &autoprovision_cfg_t::AutoProvisionUser},
    {"AutoProvisionPassword", &autoprovision_cfg_t::AutoProvisionPassword},
};

constexpr CfgIntegerRow kCfgIntegers[] = {
    {"AutoProvisionPowerOn", &autoprovision_cfg_t::AutoProvisionPowerOn},
    {"AutoProvisionRepeat", &autoprovision_cfg_t::AutoProvisionRepeat},
    {"AutoProvisionRepeatMinutes", &autoprovision_cfg_t::AutoProvisionRepeatMinutes},
    {"AutoProvisionEnableWeekly", &autoprovision_cfg_t::AutoProvisionEnableWeekly},
    {"AutoProvisionWeeklyUpgradeInterval", &autoprovision_cfg_t::AutoProvisionWeeklyUpgradeInterval},
    {"AutoProvisionInactivityTimeExpire", &autoprovision_cfg_t::AutoProvisionInactivityTimeExpire},
};

constexpr CfgIntegerRow kSpanIntegers[] = {
    {"from_hour", &autoprovision_cfg_t::from_hour},
    {"from_minute", &autoprovision_cfg_t::from_minute},
    {"to_hour", &autoprovision_cfg_t::to_hour},
    {"to_minute", &autoprovision_cfg_t::to_minute},
};

constexpr const char* kDhcpOption = "AutoProvisionEnableDHCPOption";

}  // namespace

int clamp_retry_delay(int seconds) { return seconds < 1 ? 30 : seconds > 300 ? 300 : seconds; }

int clamp_zero_wait(int value) { return value < 1 ? 5 : value > 100 ? 100 : value; }

int week_day(const char* name) {
  if (name == nullptr) return -1;
  for (size_t day = 0; day < kDayNames.size(); ++day)
    if (kDayNames[day] == name) return static_cast<int>(day);
  return -1;
}

void load_settings(json_object* root, autoprovision_cfg_t& cfg) {
  std::memset(&cfg, 0, sizeof cfg);
  json_object* section = json::at(root, kSection);
  for (const auto& row : kCfgTexts) json::copy_text(cfg.*row.field, json::text(section, row.member));
  // Both may come as numeric text ("120", as the settings pages store it).
  cfg.AutopRetryDelay = clamp_retry_delay(json::text_integer(section, "AutopRetryDelay"));
  cfg.ZeroWaitTime = clamp_zero_wait(json::text_integer(section, "ZeroWaitTime"));
  for (const auto& row : kCfgIntegers) cfg.*row.field = json::integer(section, row.member);
  for (const auto& row : kSpanIntegers)
    cfg.*row.field = json::integer(section, "AutoProvisionWeeklyBeginTime", row.member);
  // The count is the array's length, even past seven; only seven names are
  // read. Slot i holds the i-th name's day, so an unknown name leaves a -1
  // gap and the next name goes on in the next slot.
  json_object* mask = json::array(section, "AutoProvisionWeeklyMask");
  cfg.AutoProvisionWeeklyMaskCount = static_cast<int32_t>(json::length(mask));
  for (size_t slot = 0; slot < AUTOPROVISION_WEEK_SLOTS; ++slot) {
    json_object* name = json::element(mask, slot);
    cfg.AutoProvisionWeeklyMask[slot] = name != nullptr ? week_day(json_object_get_string(name)) : -1;
  }
}

void copy_settings(json_object* root, AutoProvisionSetting& setting) {
  setting.AutoProvisionEnableDHCPOption = get_int_from_char_json(root, 2, kSection, kDhcpOption);
  json_object* section = json::at(root, kSection);
  for (const auto& row : kSettingTexts) json::copy_text(setting.*row.field, json::text(section, row.member));
}

void store_settings(json_object* root, const AutoProvisionSetting& setting) {
  json::set_creating(root, kDhcpOption, json_object_new_int(setting.AutoProvisionEnableDHCPOption), kSection);
  for (const auto& row : kSettingTexts) {
    const char* field = setting.*row.field;
    const std::string text(field, strnlen(field, AUTOPROVISION_TEXT_SIZE));
    json::set_creating(root, row.member, json::new_text(text.c_str()), kSection);
  }
}

int week_of(const std::tm& local) {
  if (local.tm_year + 1900 < 2020) return -1;
  return local.tm_yday / 7;
}

}  // namespace phonecore::provision

namespace provision = phonecore::provision;

extern "C" {

autoprovision_cfg_t* get_autoprovision_cfg_t(void) noexcept { return &ap_cfg; }

int auto_update_get_config(void) noexcept {
  const json::Owned root(read_gnl_config_json(provision::kSettingsFile));
  if (root == nullptr) {
    printf("tolk_provision read settinglist failed\n");
    return -10;
  }
  provision::load_settings(root.get(), ap_cfg);
  return 0;
}

int getSettingAutoProvision(AutoProvisionSetting* setting) noexcept {
  if (setting == nullptr) return 0;
  const json::Owned root(read_gnl_config_json(provision::kSettingsFile));
  if (root != nullptr) provision::copy_settings(root.get(), *setting);
  return 0;
}

int setSettingAutoProvision(AutoProvisionSetting* setting) noexcept {
  if (setting == nullptr) return 0;
  json::Owned root(read_gnl_config_json(provision::kSettingsFile));
  // A file that isn't an object can't take the section: start afresh, as
  // without a file.
  if (!json_object_is_type(root.get(), json_type_object)) root.reset(json_object_new_object());
  provision::store_settings(root.get(), *setting);
  write_gnl_config_json(provision::kSettingsFile, root.get());
  system_cmd((std::string("touch ") + provision::kChangedMarker).c_str());
  return 0;
}

int getWeekInYear(void) noexcept {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) return -1;
  return provision::week_of(local);
}

int auto_update_active_by_week(void) noexcept { return 0; }

}  // extern "C"
