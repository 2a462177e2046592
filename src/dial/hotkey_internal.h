// What the hot-key list and the key lookups share: the bindings file, its
// two arrays, and how one binding is found and read.
#pragma once

#include <json-c/json.h>

#include "phonecore/hotkey.h"

namespace phonecore::dial {

inline constexpr const char* kBindingsFile = "default/programing_key.cfg";
inline constexpr const char* kHotKeyArray = "Hotkey_hotKey";
inline constexpr const char* kLineKeyArray = "Hotkey_lineKey";

// Reads one element of a bindings array into a cleared record: "RealKey"
// cut to 8 bits, "Type" and "Line" from their decimal text, the four
// texts cut at 63 characters.
void fill_record(hotkey_record& record, json_object* element);

// The first binding of key, looked for in "Hotkey_hotKey" before
// "Hotkey_lineKey"; null when neither has it.
json_object* find_binding(json_object* root, int key);

// The day/night decision of the call buttons: change_value 0 is day, a
// night carries the code of the rule that chose it (10, 20, 21, 30, 31,
// 32). Start hours and minutes of day (dh, dm) and night (nh, nm), the
// current hour and minute (h, m).
struct DayNight {
  int change_value;
  const char* day_note;  // what the day line says behind the value
};
DayNight day_or_night(int dh, int dm, int nh, int nm, int h, int m);

}  // namespace phonecore::dial
