// What a pressed key means: its function type, its line and the number to
// dial. Key pad and line keys are looked up in "default/programing_key.cfg";
// the call buttons on GPIO lines in "default/settinglist.cfg", where a
// button may carry a night number that replaces its day number by the
// clock. Every call reads its file afresh.

#include <json-c/json.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>

#include "base/atomic_field.h"
#include "base/json.h"
#include "dial/hotkey_internal.h"
#include "phonecore/config.h"
#include "phonecore/hotkey.h"

namespace json = phonecore::json;

using phonecore::base::store;

namespace phonecore::dial {
namespace {

constexpr const char* kSettingsFile = "default/settinglist.cfg";
constexpr size_t kTextChars = HOTKEY_TEXT_SIZE - 1;

struct GpioKey {
  int code;
  const char* member;  // of "SettingKeyType"
};

// 81 and 82 are the long presses of 71 and 72, bound on their own.
constexpr GpioKey kGpioKeys[] = {
    {71, "KEY_gpio53_key"}, {72, "KEY_gpio54_key"}, {73, "KEY_gpio6_key"},       {74, "KEY_gpio2_key"},
    {75, "KEY_gpio3_key"},  {76, "KEY_gpio7_key"},  {81, "KEY_LONG_gpio53_key"}, {82, "KEY_LONG_gpio54_key"},
};
static_assert(std::size(kGpioKeys) == 8);

const char* gpio_member(int code) {
  for (const GpioKey& key : kGpioKeys) {
    if (key.code == code) return key.member;
  }
  return nullptr;
}

void copy_out(char* out, const char* text) {
  if (out != nullptr) json::copy_text(out, HOTKEY_TEXT_SIZE, text, kTextChars);
}

}  // namespace

// The day/night decision. 0 is day; a night carries the code of the rule
// that chose it. Some rules compare the night's start minute with the
// current hour; that is how the phone has always switched its call
// buttons, and configured day plans rely on it: with the night starting
// at 18:30 all of 18:00 to 18:59 is day, starting at 18:10 it is night
// from 18:00.
DayNight day_or_night(int dh, int dm, int nh, int nm, int h, int m) {
  if (dh < nh) {
    if (dh < h && h < nh) return {0, ""};
    if (h == dh && dm <= m) return {0, ", same StartDaytimeHours"};
    if (h == nh && nm > h) return {0, ", same StartNightHours"};
    return {10, nullptr};
  }
  if (dh == nh) {
    if (h == dh && dm <= m && nm > std::max(dm, h)) return {0, ", same StartNightHours and StartNightHours"};
    if (nm <= m && h == dh && dm >= nm && dm > h) return {20, nullptr};
    return {21, nullptr};
  }
  if (nh < h && h < dh) return {30, nullptr};
  if (h == nh && nm <= m) return {31, nullptr};
  if (h == dh && dm > m) return {32, nullptr};
  return {0, ", if(StartDaytimeHours > StartNightHours)"};
}

}  // namespace phonecore::dial

using namespace phonecore::dial;

extern "C" {

int CheckHotkeyGetNumber(int key, int* type, int* line, char* value, char* label, char* extension) noexcept {
  json_object* root = read_gnl_config_json(kBindingsFile);
  if (root == nullptr) return -1;
  // As SetHotKeyVal does: the list is emptied until the next LocalReload.
  store(hotkey_data_lens, 0);
  json_object* element = find_binding(root, key);
  if (element == nullptr) {
    json_object_put(root);
    return -1;
  }
  hotkey_record record{};
  fill_record(record, element);
  if (type != nullptr) *type = record.Type;
  if (line != nullptr) *line = record.Line;
  copy_out(value, record.Value);
  copy_out(label, record.Label);
  copy_out(extension, record.Extension);
  json_object_put(root);
  return 0;
}

int CheckKeyIsSpeedDailGetNumber(int key, char* number) noexcept {
  int type = 0;
  int line = 0;
  char value[HOTKEY_TEXT_SIZE] = {};
  char label[HOTKEY_TEXT_SIZE] = {};
  char extension[HOTKEY_TEXT_SIZE] = {};
  if (CheckHotkeyGetNumber(key, &type, &line, value, label, extension) == -1) return -1;
  // The "Extension" decides whether the key is usable; the "Value" is the
  // number given out.
  if (type != HOTKEY_TYPE_SPEED_DIAL || extension[0] == '\0') return -1;
  copy_out(number, value);
  return 0;
}

int CheckKeyTypeGetNumberConf(int key, int* type, int* line, char* value, char*, char*, char* dtmf) noexcept {
  json_object* root = read_gnl_config_json(kSettingsFile);
  if (root == nullptr) return -1;
  std::printf("%s, %d, keyval = %d\n", __func__, __LINE__, key);
  const char* name = gpio_member(key);
  json_object* binding = name != nullptr ? json::at(root, "SettingKeyType", name) : nullptr;
  if (binding == nullptr) {
    json_object_put(root);
    return 0;
  }
  const int key_type = json::text_to_int(json::text(binding, "KeyType"));
  if (type != nullptr) *type = key_type;
  if (line != nullptr) *line = json::text_to_int(json::text(binding, "Line"));
  copy_out(value, json::text(binding, "Value"));
  copy_out(dtmf, json::text(binding, "DtmfValue"));
  get_correct_number(root, value, binding);
  std::printf("%s, %d, keyval = %d, pType = %d, value = %s, DtmfValue = %s\n", __func__, __LINE__, key, key_type,
              value != nullptr ? value : "", dtmf != nullptr ? dtmf : "");
  json_object_put(root);
  return 0;
}

int CheckKeyTypeGetNumber(int key, char* number, int* type, char* dtmf) noexcept {
  int line = 0;
  char value[HOTKEY_TEXT_SIZE] = {};
  char label[HOTKEY_TEXT_SIZE] = {};
  char extension[HOTKEY_TEXT_SIZE] = {};
  if (CheckKeyTypeGetNumberConf(key, type, &line, value, label, extension, dtmf) == -1) return -1;
  if (value[0] != '\0') copy_out(number, value);
  return 0;
}

int get_correct_number(json_object* root, char* value, json_object* key_object) noexcept {
  if (root == nullptr) {
    std::printf("%s, %d, jfunction_root == NULL, return\n", __func__, __LINE__);
    return 0;
  }
  json_object* times = json::step(root, "SettingGpioKey");
  const int dh = json::integer(times, "StartDaytimeHours");
  const int dm = json::integer(times, "StartDaytimeMinutes");
  const int nh = json::integer(times, "StartNightHours");
  const int nm = json::integer(times, "StartNightMinutes");
  std::printf(
      "%s, %d, StartDaytimeHours = %d, StartDaytimeMinutes = %d, StartNightHours = %d, "
      "StartNightMinutes = %d\n",
      __func__, __LINE__, dh, dm, nh, nm);

  // Local time of the phone, by its TZ.
  const time_t now = time(nullptr);
  struct tm local {};
  tzset();
  localtime_r(&now, &local);
  const DayNight verdict = day_or_night(dh, dm, nh, nm, local.tm_hour, local.tm_min);
  const char* shown = value != nullptr ? value : "";
  if (verdict.change_value == 0) {
    std::printf("%s, %d, daytime now, no change, value = %s%s\n", __func__, __LINE__, shown, verdict.day_note);
    return 0;
  }
  std::printf("%s, %d, change_value = %d\n", __func__, __LINE__, verdict.change_value);
  // At night the night number replaces the day number when the member
  // exists, even when it is empty.
  const char* night = json::text(key_object, "CallButtonNight");
  if (night != nullptr) {
    copy_out(value, night);
    std::printf("%s, %d, CallButtonNight = %s\n", __func__, __LINE__, night);
    std::printf("%s, %d, value = %s\n", __func__, __LINE__, value != nullptr ? value : "");
  }
  return 0;
}

}  // extern "C"
