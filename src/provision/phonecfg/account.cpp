// phone.cfg import: the handler of every key the router doesn't send to the
// network: accounts, features, programmable keys, voice, dial plan, the
// system keys and LDAP. One frame per key: it reads its eight objects,
// changes the one member and writes all eight back, known key or not.

#include <fcntl.h>
#include <json-c/json.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/json.h"
#include "phonecore/config.h"
#include "phonecore/fileutil.h"
#include "phonecore/hal.h"
#include "phonecore/phonecfg.h"
#include "provision/phonecfg/key_table.h"
#include "provision/phonecfg/line.h"

namespace phonecore::phonecfg {

namespace {

constexpr int kVoipStore = 4097;
constexpr const char* kVoiplistFile = "default/voiplist.cfg";
constexpr const char* kFunctionFile = "default/function.cfg";
constexpr const char* kSettinglistFile = "default/settinglist.cfg";
constexpr const char* kSystemFile = "system.cfg";
constexpr const char* kAddresslistFile = "default/addresslist.cfg";
constexpr const char* kHalFile = "hal.cfg";
constexpr const char* kProgrammingKeyFile = "default/programing_key.cfg";
constexpr const char* kBacklightDuty = "/sys/class/pwm/pwmchip0/pwm0/duty_cycle";
constexpr int kBacklightFloor = 40;
constexpr int kHandsetChannel = 3;
constexpr int kSpeakerChannel = 1;

// The languages stored as codes; any other name is stored as it stands.
struct LanguageCode {
  const char* name;
  const char* code;
};
constexpr std::array kLanguageCodes{
    LanguageCode{"Chinese", "zh-cn"},
    LanguageCode{"English", "es-us"},
};

// The eight objects of one key, each null when its file was missing.
struct AccountObjects {
  json::Owned voip;
  json::Owned voiplist;
  json::Owned function;
  json::Owned settinglist;
  json::Owned system;
  json::Owned addresslist;
  json::Owned hal;
  json::Owned programming_key;

  json_object* of(Target target) const {
    switch (target) {
      case Target::kVoipStore:
        return voip.get();
      case Target::kVoiplist:
        return voiplist.get();
      case Target::kFunction:
        return function.get();
      case Target::kSettinglist:
        return settinglist.get();
      case Target::kSystem:
        return system.get();
      case Target::kAddresslist:
        return addresslist.get();
      case Target::kHal:
        return hal.get();
      case Target::kProgrammingKey:
        return programming_key.get();
      default:
        break;
    }
    return nullptr;
  }

  // Whether the group's keys can take effect: a missing optional file
  // drops its whole group, and LDAP stands inside the "system.cfg" group.
  bool open(Group group) const {
    switch (group) {
      case Group::kAccount:
      case Group::kKeys:
        return true;
      case Group::kFunction:
        return function != nullptr;
      case Group::kVoice:
      case Group::kDialplan:
        return settinglist != nullptr;
      case Group::kSystem:
        return system != nullptr;
      case Group::kLdap:
        return system != nullptr && addresslist != nullptr;
      case Group::kNetwork:
        break;
    }
    return false;
  }
};

// The object a member lives in: an element for the indexed places, null
// when the shape isn't there (a missing element, data not an array).
json_object* holder(json_object* root, const Member& m, int index) {
  const auto at = static_cast<size_t>(index);
  switch (m.place) {
    case Place::kSection:
      return json::at(root, m.section);
    case Place::kElement:
      return json::element(json::at(root, m.section), at);
    case Place::kCredential:
      return json::element(json::at(json::element(json::at(root, m.section), at), "cred_acc"), 0);
    case Place::kData:
    case Place::kGrow:
      return json::element(json::at(root, m.section, "data"), at);
  }
  return nullptr;
}

void store(const AccountObjects& o, const Member& m, int index, json_object* value) {
  if (m.target == Target::kNone) {
    json_object_put(value);
    return;
  }
  json::put(holder(o.of(m.target), m, index), m.member, value);
}

// A rule of a growing array: set in an existing element, created as a new
// element right behind the last one, dropped when it would leave a gap.
// Dial_now's Account also sets "key" to the rule's number on an existing
// element, but a new element gets it only for the first rule; a rule
// created by its Account line for i >= 2 goes without "key". The other
// readers cope with that, so it stays.
void store_rule(const AccountObjects& o, const KeyRow& row, const char* value) {
  json_object* data = json::array(o.of(row.store.target), row.store.section, "data");
  if (data == nullptr) return;
  const size_t length = json::length(data);
  const auto at = static_cast<size_t>(row.index);
  const bool with_key = row.action == Action::kDialNowKey;
  const std::string number = std::to_string(row.index + 1);
  if (length > at) {
    json_object* element = json::element(data, at);
    json::put(element, row.store.member, json::new_text(value));
    if (with_key) json::put(element, "key", json::new_text(number.c_str()));
  } else if (length == at) {
    json::Builder element;
    element.text(row.store.member, value);
    if (with_key && row.index == 0) element.text("key", number.c_str());
    json_object_array_add(data, element.release());
  }
}

void apply_backlight(const char* level) {
  const std::string duty = std::to_string(backlight_duty(board_atoi(level), kBacklightFloor));
  const int fd = ::open(kBacklightDuty, O_WRONLY);
  if (fd < 0) return;
  proc_write(fd, duty.c_str(), static_cast<int>(duty.size()));
  ::close(fd);
}

// A volume: both stored copies as integers, then the level applied; in
// hotel mode the copies stay and only the level is applied.
void apply_volume(const AccountObjects& o, const KeyRow& row, const char* value, bool hotel) {
  const int level = board_atoi(value);
  if (!hotel) {
    store(o, row.store, row.index, json_object_new_int(level));
    store(o, row.also, row.index, json_object_new_int(level));
  }
  if (row.action == Action::kVolumeHandset) hal_volume_config_set(kHandsetChannel, level);
  else if (row.action == Action::kVolumeSpeaker) hal_volume_config_set(kSpeakerChannel, level);
  else hal_volume_config_set_ringtones(level);
}

// The text a row stores for an accepted value.
std::string stored_text(const KeyRow& row, const char* value) {
  if (row.check == Check::kDigitsClamp) {
    const int number = board_atoi(value);
    if (number > row.high) return std::to_string(row.high);
    if (number < row.low) return std::to_string(row.low);
  }
  if (row.action == Action::kOneLower) return std::string(1, static_cast<char>(value[0] - 1));
  if (row.action == Action::kLanguage)
    for (const LanguageCode& l : kLanguageCodes)
      if (std::strcmp(value, l.name) == 0) return l.code;
  return value;
}

void apply(const AccountObjects& o, const KeyRow& row, const char* value, bool hotel) {
  switch (row.action) {
    case Action::kVolumeHandset:
    case Action::kVolumeSpeaker:
    case Action::kVolumeRingtones:
      apply_volume(o, row, value, hotel);
      return;
    default:
      break;
  }
  const std::string text = stored_text(row, value);
  if (row.store.place == Place::kGrow) {
    store_rule(o, row, text.c_str());
  } else {
    store(o, row.store, row.index, json::new_text(text.c_str()));
    store(o, row.also, row.index, json::new_text(text.c_str()));
  }
  if (row.action == Action::kBacklight) apply_backlight(value);
}

// The first row of the account handler's groups whose key matches.
const KeyRow* find_account_key(const char* key) {
  for (const KeyRow& row : kKeyTable)
    if (row.group != Group::kNetwork && key_matches(row.key, key)) return &row;
  return nullptr;
}

}  // namespace

int set_account_message() {
  const bool hotel = hotel_mode_get() == 1;
  AccountObjects o;
  o.voip.reset(read_gnl_config(kVoipStore, nullptr));
  if (o.voip == nullptr) {
    std::printf("voip.cfg open error!\n");
    return -1;
  }
  o.voiplist.reset(read_gnl_config_json(kVoiplistFile));
  if (o.voiplist == nullptr) {
    std::printf("voiplist.cfg open error!\n");
    return -1;
  }
  o.function.reset(read_gnl_config_json(kFunctionFile));
  o.settinglist.reset(read_gnl_config_json(kSettinglistFile));
  o.system.reset(read_gnl_config_json(kSystemFile));
  o.addresslist.reset(read_gnl_config_json(kAddresslistFile));
  o.hal.reset(read_gnl_config_json(kHalFile));
  o.programming_key.reset(read_gnl_config_json(kProgrammingKeyFile));
  if (o.programming_key == nullptr) {
    std::printf("programing_key.cfg open error!\n");
    return -1;
  }

  if (const KeyRow* row = find_account_key(parameterA);
      row != nullptr && o.open(row->group) && value_accepted(*row, parameterA_value))
    apply(o, *row, parameterA_value, hotel);

  // All eight go back for every key, known or not; a missing optional one
  // is refused by the writer and never sent.
  write_gnl_config_json(kVoiplistFile, o.voiplist.get());
  write_gnl_config_json(kFunctionFile, o.function.get());
  write_gnl_config_json(kProgrammingKeyFile, o.programming_key.get());
  write_gnl_config_json(kSettinglistFile, o.settinglist.get());
  write_gnl_config(kVoipStore, nullptr, o.voip.get());
  write_gnl_config_json(kSystemFile, o.system.get());
  write_gnl_config_json(kAddresslistFile, o.addresslist.get());
  write_gnl_config_json(kHalFile, o.hal.get());
  return 0;
}

}  // namespace phonecore::phonecfg

extern "C" {

int Set_Account_Massage(void) noexcept { return phonecore::phonecfg::set_account_message(); }

int change_backlight(int level, int floor) noexcept { return phonecore::phonecfg::backlight_duty(level, floor); }

}  // extern "C"
