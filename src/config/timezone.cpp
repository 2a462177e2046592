// The time zone: the stored offset text becomes the process's TZ, and a
// session can follow the "settimezone" announcements of the settings
// pages.

#include <json-c/json.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/atomic_field.h"
#include "base/json.h"
#include "phonecore/config.h"
#include "phonecore/json_msg.h"
#include "phonecore/timezone.h"

namespace json = phonecore::json;

MsgHook* _g_vorn_timers_phook = nullptr;

namespace phonecore::config {
namespace {

using phonecore::base::load;
using phonecore::base::store;

constexpr uint16_t kTimeZoneSender = 4099;
constexpr int kHookSize = 256;

// "+8" gives "CST-8" and "-5" gives "CST+5"; a text without a sign is taken
// for east of Greenwich like "+".
void put_zone(const char* offset) {
  char zone[80];
  if (offset[0] == '-') std::snprintf(zone, sizeof zone, "CST+%s", offset + 1);
  else if (offset[0] == '+') std::snprintf(zone, sizeof zone, "CST-%s", offset + 1);
  else std::snprintf(zone, sizeof zone, "CST-%s", offset);
  setenv("TZ", zone, 1);
}

// Monitor of the "settimezone" hook: the payload, cut at its length, is the
// request; its "data" is the offset text.
int on_time_zone(uint16_t, uint16_t, void* packet, uint32_t length) {
  char text[kHookSize + 1];
  const size_t n = length < kHookSize ? length : kHookSize;
  std::memcpy(text, packet, n);
  text[n] = '\0';
  json_object* root = json_tokener_parse(text);
  if (root == nullptr) return 0;
  json_object* data = nullptr;
  if (json_object_object_get_ex(root, "data", &data) && json_object_is_type(data, json_type_string))
    set_time_zone(json_object_get_string(data));
  json_object_put(root);
  return 0;
}

}  // namespace
}  // namespace phonecore::config

using namespace phonecore::config;

extern "C" {

int load_time_zone(void) noexcept {
  json_object* root = read_gnl_config_json("default/settinglist.cfg");
  if (root == nullptr) return -1;
  const char* offset = json::text(root, "SettingDateTime", "CurrentTimeZoneTime");
  if (offset != nullptr && offset[0] != '0') put_zone(offset);
  tzset();
  json_object_put(root);
  return 0;
}

int set_time_zone(const char* offset) noexcept {
  if (offset == nullptr) return 0;
  if (offset[0] == '0') setenv("TZ", "CST", 1);
  else put_zone(offset);
  tzset();
  return 0;
}

int send_time_zone(const char* offset) noexcept {
  // A zone text is short; it keeps 63 bytes, so that the request fits.
  char zone[64];
  std::snprintf(zone, sizeof zone, "%s", offset != nullptr ? offset : "");
  char request[512];
  make_simple_request("settimezone", json_object_new_string(zone), request);
  char reply[BUS_MAX_PAYLOAD + 1];
  int reply_length = 0;
  // Send, wait 10 ms, send again; whoever follows the zone doesn't answer.
  request_short_connect(kTimeZoneSender, BUS_ID_ALL, 0, 1, request, static_cast<int>(std::strlen(request)), reply,
                        &reply_length, 0, 0, 10000);
  return 0;
}

int add_time_set_hookmsg(MessageClient* client) noexcept {
  MsgHook* hook = add_hook_bymsgname(client, "settimezone", kHookSize, 2);
  store(_g_vorn_timers_phook, hook);
  if (hook == nullptr) return -1;
  add_hook_monitor_thread(hook, on_time_zone);
  return 0;
}

int del_time_hook(MessageClient* client) noexcept {
  MsgHook* hook = load(_g_vorn_timers_phook);
  if (hook == nullptr) return 0;
  del_hook_monitor_thread(hook);
  usleep(20000);
  del_hook(client, hook);
  store(_g_vorn_timers_phook, static_cast<MsgHook*>(nullptr));
  return 0;
}

}  // extern "C"
