// The pure parts of the provisioning settings, apart from the service, so
// that they can be tested and fuzzed on any JSON.
#pragma once

#include <json-c/json.h>

#include <ctime>

#include "phonecore/provision.h"

namespace phonecore::provision {

inline constexpr const char* kSettingsFile = "default/settinglist.cfg";
inline constexpr const char* kSection = "SettingAutoProvision";
inline constexpr const char* kChangedMarker = "/tmp/autoprovision_config_update";

// The clamps of the loader: 1..300 (below 1, absent included, 30) and
// 1..100 (below 1, 5).
int clamp_retry_delay(int seconds);
int clamp_zero_wait(int value);

// The day number of a mask name, or -1.
int week_day(const char* name);

// Loads the settings file's root into cfg: clears all of it first, so that
// the upgrade and certificate fields are lost until their own loaders run.
void load_settings(json_object* root, autoprovision_cfg_t& cfg);

// The get copy: the members present, texts cut at 63; the rest untouched.
void copy_settings(json_object* root, AutoProvisionSetting& setting);

// Puts the nine members of the record into root's section, in their order.
// Each text field is read to its terminator, never past its 64 bytes.
void store_settings(json_object* root, const AutoProvisionSetting& setting);

// The week of a local time: day of the year / 7; -1 before 2020.
int week_of(const std::tm& local);

}  // namespace phonecore::provision
