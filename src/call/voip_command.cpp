// The call commands: one JSON message to the SIP process per action of the
// phone. No call state lives here; the SIP process works the call and tells
// the outcome by events. What this file keeps is the tip-information cache
// and the time limit of the binary requests, both owned by the screen
// thread.
#include <json-c/json.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/atomic_field.h"
#include "base/json.h"
#include "call/call_internal.h"
#include "config/gnl_frame.h"
#include "phonecore/config.h"
#include "phonecore/hal.h"
#include "phonecore/json_msg.h"
#include "phonecore/voip.h"

namespace json = phonecore::json;

using phonecore::base::load;
using phonecore::base::store;

namespace phonecore::call {

namespace {

constexpr int kReplyLimitMs = 100;   // every request with a reply
constexpr int kPowerLimitMs = 200;   // voice_get_power
constexpr int kDeadPeerLimitMs = 5;  // the buffer requests after two failures in a row

// The time limit of warnningist_get and account_get. The tip cache lowers
// it when the SIP process stops answering, so that a dead peer doesn't hold
// up the screen.
int g_buffer_limit_ms = kReplyLimitMs;

// The tip-information cache, shared by voip_tip_info_get and
// voip_tip_info_get3; each has its own call counter.
struct TipCache {
  char number_text[kTextField];
  int unread;
  int id;
  int account;
};
TipCache g_tip{};
int g_tip_failures = 0;
int g_tip_calls_get = 0;
int g_tip_calls_get3 = 0;

// A command without a reply: kind 9 to the SIP process. Takes over data.
int command(MessageClient* c, const char* name, json_object* data) { return send_sjson_to_sip(c, name, data); }

json_object* request(MessageClient* c, const char* name, json_object* data, int limit_ms = kReplyLimitMs) {
  return send_sjson_to_sip_hook_wait(c, name, data, limit_ms);
}

// One tip request, or the cache alone; counter is the calling function's.
int tip_info(MessageClient* c, int& counter, bool with_account, char* number_text, int* unread, int* id, int* account) {
  if (number_text == nullptr || unread == nullptr) return 0;
  int result = 1;
  const bool ask = counter % 5 == 0;
  ++counter;
  if (ask) {
    json_object* reply = request(c, "tip_info_get", nullptr);
    if (reply != nullptr) {
      json::copy_text(g_tip.number_text, sizeof g_tip.number_text, json::text(reply, "data", "tranfernum"));
      g_tip.unread = json::integer(reply, "data", "unreadnum");
      g_tip.id = json::integer(reply, "data", "id");
      if (with_account) g_tip.account = json::integer(reply, "data", "accID");
      json_object_put(reply);
      g_tip_failures = 0;
      store(g_buffer_limit_ms, kReplyLimitMs);
    } else {
      ++g_tip_failures;
      if (g_tip_failures >= 2) store(g_buffer_limit_ms, kDeadPeerLimitMs);
      result = 0;
    }
  }
  json::copy_text(number_text, kTextField, g_tip.number_text);
  *unread = g_tip.unread;
  if (id != nullptr) *id = g_tip.id;
  if (with_account && account != nullptr) *account = g_tip.account;
  return result;
}

}  // namespace

int buffer_request_limit_ms() { return load(g_buffer_limit_ms); }

bool volume_level_from_float(float volume, int* level) {
  if (!(volume >= 0.0f && volume <= 1.0f)) return false;
  *level = static_cast<int>(volume * 15.0f + 0.5f);
  return true;
}

}  // namespace phonecore::call

using namespace phonecore::call;

extern "C" {

int voip_hook_switch(MessageClient* c, int dev) noexcept {
  switch_audio_channel(dev);
  command(c, "hook_switch", json::Builder().integer("dev", dev).release());
  return 1;
}

int voip_audio_tone(MessageClient* c, int flag) noexcept {
  command(c, "audio_tone", json::Builder().integer("toneFlag", flag).release());
  return 1;
}

int voip_audio_input_key(MessageClient* c, int flag) noexcept {
  command(c, "audio_input_key", json::Builder().integer("inputKeyAudioFlag", flag).release());
  return 1;
}

int voip_phone_set_dnd(MessageClient* c, int status, int mode, int account) noexcept {
  command(
      c, "phone_set_dnd",
      json::Builder().integer("dndStatus", status).integer("dndMode", mode).integer("dndAccount", account).release());
  return 1;
}

int voip_phone_set_auto_answer(MessageClient* c, int account, int flag) noexcept {
  command(c, "phone_set_auto_answer", json::Builder().integer("accId", account).integer("openflag", flag).release());
  return 1;
}

int voip_phone_set_transfer_param(MessageClient* c, int type, int enable, const char* dst, const char* on,
                                  const char* off, int time) noexcept {
  command(c, "phone_set_transfer_param",
          json::Builder()
              .integer("type", type)
              .integer("enable", enable)
              .text("dst", dst)
              .text("on", on)
              .text("off", off)
              .integer("time", time)
              .release());
  return 1;
}

int voip_phone_hangup(MessageClient* c, int call) noexcept {
  command(c, "phone_hangup", json::Builder().integer("current_call", call).release());
  return 1;
}

int voip_phone_hold(MessageClient* c, int call) noexcept {
  command(c, "phone_hold", json::Builder().integer("current_call", call).release());
  return 1;
}

int voip_phone_resume(MessageClient* c, int call) noexcept {
  command(c, "phone_resume", json::Builder().integer("current_call", call).release());
  return 1;
}

int voip_phone_answer(MessageClient* c, int call, int accept) noexcept {
  command(c, "phone_answer", json::Builder().integer("current_call", call).integer("acceptFlag", accept).release());
  return 1;
}

int voip_ring_operation(MessageClient* c, int type, const char* file) noexcept {
  command(c, "ring_operation", json::Builder().integer("opType", type).text("fileName", file).release());
  return 1;
}

int voip_line_led_status(MessageClient* c, int line, int status) noexcept {
  command(c, "line_led_status", json::Builder().integer("lineId", line).integer("ledStatus", status).release());
  return 1;
}

int voip_conf_connect(MessageClient* c, int call1, int call2, int flag) noexcept {
  command(c, "conf_connect",
          json::Builder().integer("callId1", call1).integer("callId2", call2).integer("connFlag", flag).release());
  return 1;
}

int voip_conf_mute(MessageClient* c, int call, int speaker, int mute) noexcept {
  command(c, "conf_mute",
          json::Builder()
              .integer("current_call", call)
              .integer("speakerFlag", speaker)
              .integer("muteFlag", mute)
              .release());
  return 1;
}

int voip_phone_register(MessageClient* c, int line, int flag) noexcept {
  command(c, "phone_register", json::Builder().integer("lineId", line).integer("registerFlag", flag).release());
  return 1;
}

int voip_phone_transfer(MessageClient* c, int call, const char* number, int flag) noexcept {
  command(c, "phone_transfer",
          json::Builder()
              .integer("current_call", call)
              .text("phoneNumber", number)
              .integer("incommingFlag", flag)
              .release());
  return 1;
}

int voip_phone_transfer_replace(MessageClient* c, int call, int other_call) noexcept {
  command(c, "phone_transfer_replace",
          json::Builder().integer("current_call", call).integer("transfer_call", other_call).release());
  return 1;
}

int voip_phone_send_dtmf(MessageClient* c, int call, const char* text, int type) noexcept {
  command(c, "phone_send_dtmf",
          json::Builder().integer("current_call", call).text("inputStr", text).integer("infoType", type).release());
  return 1;
}

int voip_lcd_state_change(MessageClient* c, int account, int old_status, int new_status) noexcept {
  command(c, "lcd_state_change",
          json::Builder()
              .integer("accnumber", account)
              .integer("old_Status", old_status)
              .integer("new_Status", new_status)
              .release());
  return 1;
}

int voip_volume_change(MessageClient* c, int speaker, int volume) noexcept {
  command(c, "volume_change", json::Builder().integer("bSpeakerFlag", speaker).integer("volume", volume).release());
  return 1;
}

int voip_voice_ctrl(MessageClient* c, int call, int ring, int start, int speaker) noexcept {
  command(c, "voice_ctrl",
          json::Builder()
              .integer("current_call", call)
              .integer("ringFlag", ring)
              .integer("startFlag", start)
              .integer("speakerFlag", speaker)
              .release());
  return 1;
}

int voip_tip_info_clear(MessageClient* c, int type) noexcept {
  command(c, "tip_info_clear", json::Builder().integer("tipType", type).release());
  return 1;
}

int voip_phone_set_record_history(MessageClient* c, int flag) noexcept {
  command(c, "set_rec_history", json::Builder().integer("enableFlag", flag).release());
  return 1;
}

int voip_account_set_default(MessageClient* c, int account) noexcept {
  command(c, "account_set_default", json::Builder().integer("accId", account).release());
  return 1;
}

int voip_voice_test_set(MessageClient* c, int enable) noexcept {
  return command(c, "voice_test_set", json::Builder().integer("enable", enable).release());
}

int voip_int_val_set(MessageClient* c, int variable, int value) noexcept {
  return command(c, "voip_int_val_set",
                 json::Builder().integer("variable", variable).integer("value", value).release());
}

int voip_set_has_one_speaking_flag(MessageClient* c, int flag) noexcept {
  return command(c, "set_has_one_speaking_flag", json::Builder().integer("bSpeakerFlag", flag).release());
}

int voip_phone_dail(MessageClient* c, int account, const char* number, char* desc) noexcept {
  printf("#dial#%p#%p#%p##\n\r", static_cast<void*>(c), static_cast<const void*>(number), static_cast<void*>(desc));
  json_object* reply =
      request(c, "phone_dail", json::Builder().integer("dialAccId", account).text("phoneNumber", number).release());
  if (reply == nullptr) return 0;
  const char* status = json::text(reply, "status");
  const char* text = json::text(reply, "data", "desc");
  if (desc != nullptr && text != nullptr) json::copy_text(desc, kTextField, text);
  // The SIP process always sends "status"; a reply without it counts as 0.
  const int result = status != nullptr ? std::atoi(status) : 0;
  json_object_put(reply);
  return result;
}

int voip_blf_subscribe(MessageClient* c, int start_flag, int acc_id, const char* number) noexcept {
  // The reply isn't used: a failed subscription comes back at the next
  // registration.
  json_object_put(request(
      c, "blf_subscribe",
      json::Builder().integer("startFlag", start_flag).integer("acc_id", acc_id).text("number", number).release()));
  return 1;
}

int voip_phone_info_get(MessageClient* c, int* cur_hook_state, int* cur_dev_type, int* dial_flag) noexcept {
  if (cur_hook_state == nullptr || cur_dev_type == nullptr || dial_flag == nullptr) return 0;
  json_object* reply = request(c, "phone_info_get", nullptr);
  if (reply == nullptr) return 0;
  *cur_hook_state = json::integer(reply, "data", "curHookState");
  *cur_dev_type = json::integer(reply, "data", "curDevType");
  *dial_flag = json::integer(reply, "data", "dialFlag");
  json_object_put(reply);
  return 1;
}

int voip_phone_state_get(MessageClient* c, int* acc1, int* acc2, int* acc3, int* acc4) noexcept {
  if (acc1 == nullptr || acc2 == nullptr || acc3 == nullptr || acc4 == nullptr) return 0;
  json_object* reply = request(c, "phone_state_get", nullptr);
  if (reply == nullptr) return 0;
  *acc1 = json::integer(reply, "data", "acc1Status");
  *acc2 = json::integer(reply, "data", "acc2Status");
  *acc3 = json::integer(reply, "data", "acc3Status");
  *acc4 = json::integer(reply, "data", "acc4Status");
  json_object_put(reply);
  return 1;
}

int voip_phone_get_record_history(MessageClient* c, int* enable_flag) noexcept {
  if (enable_flag == nullptr) return 0;
  json_object* reply = request(c, "get_rec_history", nullptr);
  if (reply == nullptr) return 0;
  *enable_flag = json::integer(reply, "data", "enableFlag");
  json_object_put(reply);
  return 1;
}

int voip_call_info(MessageClient* c, int call_id, char* from_account, char* to_account, int* acc_id) noexcept {
  json_object* reply = request(c, "call_info", json::Builder().integer("callId", call_id).release());
  if (reply == nullptr) return 0;
  const char* from = json::text(reply, "data", "fromAccount");
  const char* to = json::text(reply, "data", "toAccount");
  if (from_account != nullptr && from != nullptr) json::copy_text(from_account, kTextField, from);
  if (to_account != nullptr && to != nullptr) json::copy_text(to_account, kTextField, to);
  if (acc_id != nullptr) *acc_id = json::integer(reply, "data", "acc_id");
  json_object_put(reply);
  return 1;
}

int voip_tip_info_get(MessageClient* c, char* number_text, int* unread, int* id, int* account) noexcept {
  return tip_info(c, g_tip_calls_get, true, number_text, unread, id, account);
}

int voip_tip_info_get3(MessageClient* c, char* number_text, int* unread, int* id) noexcept {
  return tip_info(c, g_tip_calls_get3, false, number_text, unread, id, nullptr);
}

int voip_voice_get_power(MessageClient* c, int* power) noexcept {
  json_object* reply = send_sjson_to_sip_wait(c, "voice_get_power", nullptr, kPowerLimitMs);
  if (reply == nullptr) return -1;
  if (power != nullptr) *power = json::integer(reply, "data", "power");
  json_object_put(reply);
  return 0;
}

int voip_in_val_get(MessageClient* c, int variable, int* value) noexcept {
  json_object* reply = send_sjson_to_sip_wait(c, "voip_in_val_get",
                                              json::Builder().integer("variable", variable).release(), kReplyLimitMs);
  if (reply == nullptr) return -1;
  int result = -1;
  if (json::integer(reply, "data", "variable") == variable) {
    if (value != nullptr) *value = json::integer(reply, "data", "value");
    result = 0;
  }
  json_object_put(reply);
  return result;
}

int voip_warnningist_get(MessageClient* c, int is_cleared, void* out) noexcept {
  // No session: nothing is built, so nothing is left over.
  if (c == nullptr) return 0;
  int length = 0;
  const int got = send_sjson_to_sip_hook_wait_buffer(c, "warnningist_get", kMsgtypeBinary,
                                                     make_simple_data2(3, 1, "isCleard", is_cleared), out, &length,
                                                     buffer_request_limit_ms());
  return got == 0 ? 1 : 0;
}

int voip_volume_get(MessageClient*, int, int* level) noexcept {
  float volume = 0.0f;
  hal_current_volume_get_f(&volume);
  int value = 0;
  if (level != nullptr && volume_level_from_float(volume, &value)) *level = value;
  return 1;
}

int getCallStatus_common(void) noexcept {
  FILE* f = std::fopen("/tmp/call_check.txt", "r");
  if (f == nullptr) return 0;
  char head[17] = {};
  const size_t n = std::fread(head, 1, 16, f);
  std::fclose(f);
  head[n] = 0;
  return std::strcmp(head, "0") != 0 ? 1 : 0;
}

int getRealtimeNTStatus(MessageClient*, char* ip, char* mask, char* gateway, char* dns1, char* dns2,
                        char* mac) noexcept {
  json_object* status = read_gnl_config(phonecore::config::kCategoryStatus, nullptr);
  if (status == nullptr) return -1;
  const struct {
    const char* key;
    char* dest;
  } fields[] = {{"ipaddr", ip}, {"netmask", mask}, {"gateway", gateway}, {"dns1", dns1}, {"dns2", dns2}, {"mac", mac}};
  for (const auto& f : fields) {
    const char* value = json::text(status, f.key);
    if (value != nullptr && f.dest != nullptr) json::copy_text(f.dest, kTextField, value);
  }
  json_object_put(status);
  return 0;
}

}  // extern "C"
