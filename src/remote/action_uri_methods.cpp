// The methods behind "servlet?key=": words split from the URL, each a key
// press, a call operation, a feature switch, a reboot or a reset; and those
// behind "servlet?phonecfg=", which read or write settings item by item
// through the phone.cfg machinery.
//
// Key presses and call operations are broadcast to all processes as they
// were written: "ASW", "Asw" and "ANSWER" reach the receivers as three
// options, and a call operation without a value carries "(null)". The
// receivers in the field parse exactly these texts, blanks and quotes
// included, so none of it is tidied. Everything here runs on the server's
// one thread.
#include <json-c/json.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "base/atomic_field.h"
#include "base/json.h"
#include "bus/command_broadcast.h"
#include "phonecore/action_uri.h"
#include "phonecore/bus_client.h"
#include "phonecore/config.h"
#include "phonecore/phonecfg.h"
#include "phonecore/phonecfg_export.h"
#include "remote/action_uri_internal.h"

namespace json = phonecore::json;

// Records shared with the phone's other programs: the layout is fixed.
static_assert(sizeof(ActionUriKey) == 24);
static_assert(offsetof(ActionUriKey, id) == 0);
static_assert(offsetof(ActionUriKey, name) == 4);
static_assert(offsetof(ActionUriKey, code) == 20);
static_assert(sizeof(key_method) == 51 * 64);
static_assert(sizeof(cfg_method) == 11 * 64);

char key_method[ACTION_URI_KEY_ROWS][ACTION_URI_FIELD_SIZE];
int32_t key_method_count;
char cfg_method[ACTION_URI_CFG_ROWS][ACTION_URI_FIELD_SIZE];
int32_t cfg_count;
char equal1[ACTION_URI_FIELD_SIZE];
char equal2[ACTION_URI_FIELD_SIZE];
char equal3[ACTION_URI_FIELD_SIZE];
char equal4[ACTION_URI_FIELD_SIZE];
char equal5[ACTION_URI_FIELD_SIZE];
char equal6[ACTION_URI_FIELD_SIZE];
MessageClient* pClientKey;
uint64_t monitorflag;

namespace {

constexpr auto make_keyboard_conf() {
  struct Table {
    ActionUriKey rows[ACTION_URI_KEYBOARD_ROWS];
  } t{};
  for (int i = 0; i < ACTION_URI_KEYBOARD_ROWS; ++i) {
    const auto& row = phonecore::remote::kKeyRows[i];
    t.rows[i].id = row.id;
    for (size_t c = 0; c < row.name.size(); ++c) t.rows[i].name[c] = row.name[c];
    t.rows[i].code = row.code;
  }
  return t;
}

}  // namespace

ActionUriKey my_action_uri_keyboard_conf[ACTION_URI_KEYBOARD_ROWS] = {
#define ROW(i) make_keyboard_conf().rows[i]
    ROW(0),  ROW(1),  ROW(2),  ROW(3),  ROW(4),  ROW(5),  ROW(6),  ROW(7),  ROW(8),  ROW(9),  ROW(10), ROW(11), ROW(12),
    ROW(13), ROW(14), ROW(15), ROW(16), ROW(17), ROW(18), ROW(19), ROW(20), ROW(21), ROW(22), ROW(23), ROW(24), ROW(25),
    ROW(26), ROW(27), ROW(28), ROW(29), ROW(30), ROW(31), ROW(32), ROW(33), ROW(34), ROW(35), ROW(36),
#undef ROW
};

namespace phonecore::remote {
namespace {

constexpr size_t kField = ACTION_URI_FIELD_SIZE;
constexpr size_t kFieldChars = kField - 1;
// Words served per request; one more refuses the request.
constexpr int kMaxWords = 50;
// Pause after each word, and between the two reload broadcasts.
constexpr useconds_t kWordPauseUs = 100 * 1000;
constexpr useconds_t kBroadcastGapUs = 10 * 1000;
// Between the reboot broadcast and the reboot, so that it reaches everyone.
constexpr unsigned kRebootDelaySeconds = 2;
// The hook switch's ioctl on descriptor 0.
constexpr unsigned long kHookStateRequest = 1074047338UL;

constexpr const char* kFunctionCfg = "default/function.cfg";
constexpr const char* kResetCommand =
    "rm -rf /appconfigs/* && mkdir -p /appconfigs/etc && cp -rf /customer/etc/webauth.cfg /appconfigs/etc/ && cp "
    "-rf /customer/appconfigs/* /appconfigs/  ";

char* const kEqualFields[6] = {equal1, equal2, equal3, equal4, equal5, equal6};

// Copies n bytes of text into a row of kField bytes, cut at kFieldChars.
void copy_piece(char* row, const char* text, size_t n) {
  if (n > kFieldChars) n = kFieldChars;
  std::memcpy(row, text, n);
  row[n] = '\0';
}

bool empty(const char* field) { return field[0] == '\0'; }

// "{\"cmd\":\"reload_dial_char\"}", 10 ms, "{\"cmd\":\"setFeatureGnlInfor\"}":
// what every writer of a forward or call-waiting switch announces.
void announce_feature_change() {
  send_cmd_broadcast("reload_dial_char");
  usleep(kBroadcastGapUs);
  send_cmd_broadcast("setFeatureGnlInfor");
}

// Writes the members of section into default/function.cfg; nothing is
// written when the file can't be read.
struct Member {
  const char* key;
  const char* value;
};
void write_function_cfg(const char* section, std::initializer_list<Member> members) {
  json::Owned root(read_gnl_config_json(kFunctionCfg));
  if (root == nullptr || !json_object_is_type(root.get(), json_type_object)) {
    std::printf("write_function_cfg: %s can't be read, %s not written\n", kFunctionCfg, section ? section : "");
    return;
  }
  for (const Member& m : members)
    if (m.key != nullptr) json::set_creating(root.get(), m.key, json::new_text(m.value), section);
  write_gnl_config_json(kFunctionCfg, root.get());
}

// Rule 2: a word with '=', by equal1.
void forward_on(const char* switch_key, const char* target_key) {
  if (empty(equal2)) return;
  set_function_cfg_status("FeatureForwardDND", switch_key, "1", target_key, equal2, nullptr, nullptr);
}

struct EqualRule {
  std::string_view name;
  void (*act)();
};
constexpr EqualRule kEqualRules[] = {
    {"AlwaysFwdOn", [] { forward_on("AlwaysForwardSwitch", "AlwaysForwardTarget"); }},
    {"BusyFwdOn", [] { forward_on("BusyForwardSwitch", "BusyForwardTarget"); }},
    {"NoAnswFwdOn",
     [] {
       if (empty(equal3)) return;
       const int seconds = json::text_to_int(equal3);
       if (seconds < 0 || seconds > 30 || seconds % 6 != 0 || empty(equal2)) return;
       char delay[16];
       std::snprintf(delay, sizeof delay, "%d", seconds / 6);
       set_function_cfg_status("FeatureForwardDND", "NoAnswerForwardSwitch", "1", "NoAnswerForwardTarget", equal2,
                               "NoAnswerForwardDelayTime", delay);
     }},
    {"number",
     [] {
       // Logged only: no call is placed from here.
       if (!empty(equal2) && std::strcmp(equal3, "outgoing_uri") == 0 && !empty(equal4))
         std::printf("--------------equal2 = %s, equal4 = %s\n", equal2, equal4);
     }},
    {"ATrans", [] { web_call_proc(equal1, equal2); }},
    {"BTrans", [] { web_call_proc(equal1, equal2); }},
    {"ASW", [] { web_call_proc(equal1, equal2); }},
    {"CANCEL", [] { web_call_proc(equal1, equal2); }},
    {"Cancel", [] { web_call_proc(equal1, equal2); }},
    {"HOLD", [] { web_call_proc(equal1, equal2); }},
};

// Rule 3: a word with ':' and no '=': an operation on the call equal2.
struct ColonRule {
  std::string_view name;
  const char* option;
};
constexpr ColonRule kColonRules[] = {
    {"ASW", "ASW_CALLID"},
    {"CANCEL", "CANCEL_CALLID"},
    {"HOLD", "HOLD_CALLID"},
    {"UNHOLD", "UNHOLD_CALLID"},
};

// Rule 4: the word compared whole. A call word goes out as it was written,
// without a value.
void call_word(const char* word) { web_call_proc(word, nullptr); }
struct WordRule {
  std::string_view word;
  void (*act)(const char* word);
};
constexpr WordRule kWordRules[] = {
    {"Reboot", [](const char*) { vorn_system_reboot_ex(); }},
    {"Reset",
     [](const char*) {
       std::printf("do_method_for_key: %s\n", kResetCommand);
       const int r = std::system(kResetCommand);
       (void)r;
       vorn_system_reboot_ex();
     }},
    {"DNDOn", [](const char*) { set_dnd_status("1"); }},
    {"DNDOff", [](const char*) { set_dnd_status("0"); }},
    {"CallWaitingOn", [](const char*) { set_callwaiting_status("1"); }},
    {"CallWaitingOff", [](const char*) { set_callwaiting_status("0"); }},
    {"AlwaysFwdOff",
     [](const char*) {
       set_function_cfg_status("FeatureForwardDND", "AlwaysForwardSwitch", "0", nullptr, nullptr, nullptr, nullptr);
     }},
    {"BusyFwdOff",
     [](const char*) {
       set_function_cfg_status("FeatureForwardDND", "BusyForwardSwitch", "0", nullptr, nullptr, nullptr, nullptr);
     }},
    {"NoAnswFwdOff",
     [](const char*) {
       set_function_cfg_status("FeatureForwardDND", "NoAnswerForwardSwitch", "0", nullptr, nullptr, nullptr, nullptr);
     }},
    {"F_HOLD", call_word},
    {"HOLD", call_word},
    {"F_CONFERENCE", call_word},
    {"BACK_IDLE", call_word},
    {"Cancel", call_word},
    {"CANCEL", call_word},
    {"CALLEND", call_word},
    {"CallEnd", call_word},
    {"SWAP", call_word},
    {"SPLIT", call_word},
    {"ANSWER", call_word},
    {"ASW", call_word},
    {"Asw", call_word},
};

void run_word(const char* word) {
  if (const int code = is_keyboard_method(word); code != 0) {
    send_keyboard(code);
    return;
  }
  if (if_had_equal(word) == 0) {
    get_equal_value(word);
    for (const EqualRule& rule : kEqualRules)
      if (rule.name == equal1) {
        rule.act();
        break;
      }
    return;
  }
  if (if_had_colon(word) == 0) {
    get_equal_value(word);
    for (const ColonRule& rule : kColonRules)
      if (rule.name == equal1) {
        web_call_proc(rule.option, equal2);
        break;
      }
  }
  for (const WordRule& rule : kWordRules)
    if (rule.word == word) {
      rule.act(word);
      return;
    }
}

// Items between open and close marks into cfg_method.
void collect_items(const char* url, std::string_view open, std::string_view close) {
  std::memset(cfg_method, 0, sizeof cfg_method);
  cfg_count = 0;
  if (url == nullptr) return;
  const char* p = url;
  while (cfg_count < ACTION_URI_CFG_ROWS) {
    const char* start = std::strstr(p, open.data());
    if (start == nullptr) return;
    start += open.size();
    const char* end = std::strstr(start, close.data());
    if (end == nullptr) return;
    const size_t n = static_cast<size_t>(end - start);
    if (n < kField) copy_piece(cfg_method[cfg_count], start, n);
    ++cfg_count;
    p = end + close.size();
  }
}

int noop_callback(uint16_t, uint16_t, void*, uint32_t) { return 0; }

// The items a settings request serves at most; one more and none is.
constexpr int kMostSettingsItems = 10;
// The pause after each item, as after each key word.
constexpr useconds_t kItemPauseMicroseconds = 100000;

// A settings request: "set" writes each item and reloads once; anything
// else reads, the answer being left in ACTION_URI_PHONECFG_INI for the
// connection's handler.
void run_settings_request(const char* url, int (*collect)(const char*), bool logged) {
  const int type = get_cfg_method(url);
  if (logged) std::printf("cfg_type = %d\n", type);
  collect(url);
  if (cfg_count > kMostSettingsItems) {
    if (logged) std::printf("do_method_for_phonecfg: %d items, none served\n", cfg_count);
    return;
  }
  if (type != 1) {
    set_cfg_header1(ACTION_URI_PHONECFG_INI);
    for (int i = 0; i < cfg_count; ++i) {
      strimp_shift_7(cfg_method[i]);
      get_special_cfg(cfg_method[i]);
      get_appoint_cfg(cfg_method[i]);
      usleep(kItemPauseMicroseconds);
    }
    merge_phonecfg();
    phonecore::base::store(upload_flag, 1);
    return;
  }
  // The items of a batch during a reload would go unannounced: none is written.
  if (reload_in_progress()) return;
  for (int i = 0; i < cfg_count; ++i) {
    if (logged) std::printf("do_method_for_phonecfg: %s\n", cfg_method[i]);
    my_dm_handle_value1(cfg_method[i]);
    usleep(kItemPauseMicroseconds);
  }
  reload_all_phonecfg();
}

}  // namespace
}  // namespace phonecore::remote

using namespace phonecore::remote;

extern "C" {

int init_key_method(const char* url) noexcept {
  std::memset(key_method, 0, sizeof key_method);
  key_method_count = 0;
  if (url == nullptr) return 0;
  const char* words = std::strstr(url, "key=");
  if (words == nullptr) return 0;
  words += 4;
  if (*words == '\0') return 0;
  const char* piece = words;
  const char* p = words;
  char last = '\0';
  for (; *p != '\0'; ++p) {
    last = *p;
    if (*p != ';') continue;
    const size_t n = static_cast<size_t>(p - piece);
    copy_piece(key_method[key_method_count], piece, n);
    ++key_method_count;
    // A piece longer than a row ends the walk here: the rest is lost.
    if (n > kFieldChars || key_method_count > kMaxWords) return 0;
    piece = p + 1;
  }
  if (last != ';') {
    copy_piece(key_method[key_method_count], piece, static_cast<size_t>(p - piece));
    ++key_method_count;
  }
  return 0;
}

int do_method_for_key(void) noexcept {
  if (key_method_count > kMaxWords) {
    std::printf("do_method_for_key: %d words, none run\n", key_method_count);
    return 0;
  }
  for (int i = 0; i < key_method_count; ++i) {
    std::printf("do_method_for_key: key_method[%d] = %s\n", i, key_method[i]);
    run_word(key_method[i]);
    usleep(kWordPauseUs);
  }
  return 0;
}

int is_keyboard_method(const char* word) noexcept {
  if (word == nullptr) return 0;
  for (int i = 0; i < kKeyNameRows; ++i) {
    const ActionUriKey& row = my_action_uri_keyboard_conf[i];
    if (std::strncmp(row.name, word, sizeof row.name) == 0 && std::strlen(word) < sizeof row.name)
      return row.code & 0xff;
  }
  return 0;
}

int if_had_equal(const char* text) noexcept { return text != nullptr && std::strchr(text, '=') != nullptr ? 0 : -1; }

int if_had_colon(const char* text) noexcept { return text != nullptr && std::strchr(text, ':') != nullptr ? 0 : -1; }

int get_equal_value(const char* text) noexcept {
  for (char* field : kEqualFields) std::memset(field, 0, kField);
  if (text == nullptr) return 0;
  size_t field = 0;
  size_t used = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p == '=' || *p == '&' || *p == ':') {
      if (++field == std::size(kEqualFields)) break;
      used = 0;
      continue;
    }
    if (used < kFieldChars) kEqualFields[field][used++] = *p;
  }
  return 0;
}

int send_keyboard(int code) noexcept {
  char text[64];
  std::snprintf(text, sizeof text, "{\"cmd\":\"send_keyboard\", \"keycode\":\"%d\"}", code);
  phonecore::bus::broadcast_text(text);
  return 0;
}

int web_call_proc(const char* opt, const char* param2) noexcept {
  // The words are at most 63 characters each: the text always fits.
  char text[64 + 2 * ACTION_URI_FIELD_SIZE + 64];
  std::snprintf(text, sizeof text, "{\"cmd\":\"web_call_proc\",\"opt\":\"%s\",\"param2\":\"%s\"}",
                opt != nullptr ? opt : "(null)", param2 != nullptr ? param2 : "(null)");
  phonecore::bus::broadcast_text(text);
  return 0;
}

int send_cmd_broadcast(const char* name) noexcept { return phonecore::bus::broadcast_command(name); }

int set_dnd_status(const char* value) noexcept {
  write_function_cfg("FeatureForwardDND", {{"DndStatus", value}});
  send_cmd_broadcast("reload_transfer_dnd");
  return 0;
}

int set_callwaiting_status(const char* value) noexcept {
  write_function_cfg("FeatureGnlInfor", {{"CallWaitingSwitch", value}});
  announce_feature_change();
  return 0;
}

int set_function_cfg_status(const char* section, const char* key1, const char* value1, const char* key2,
                            const char* value2, const char* key3, const char* value3) noexcept {
  if (section != nullptr) write_function_cfg(section, {{key1, value1}, {key2, value2}, {key3, value3}});
  announce_feature_change();
  return 0;
}

int get_cfg_method(const char* url) noexcept {
  if (url == nullptr) return -1;
  const char* eq = std::strchr(url, '=');
  if (eq == nullptr) return -1;
  if (std::strncmp(eq + 1, "get", 3) == 0) return 0;
  if (std::strncmp(eq + 1, "set", 3) == 0) return 1;
  return -1;
}

int get_cfg_value(const char* url) noexcept {
  collect_items(url, "[", "]");
  return 0;
}

int get_cfg_value1(const char* url) noexcept {
  collect_items(url, "%5B", "%5D");
  return 0;
}

int do_method_for_phonecfg(const char* url) noexcept {
  run_settings_request(url, get_cfg_value, true);
  return 0;
}

int do_method_for_phonecfg1(const char* url) noexcept {
  run_settings_request(url, get_cfg_value1, false);
  return 0;
}

int init_pc_connect_info(void) noexcept {
  monitorflag |= (1ULL << 0) | (1ULL << 5) | (1ULL << 6);
  pClientKey = request_pc_connect(ACTION_URI_BUS_ID, monitorflag, noop_callback, ACTION_URI_BUS_NAME);
  return 0;
}

int close_pc_connect_info(void) noexcept {
  request_pc_disconnect(pClientKey);
  pClientKey = nullptr;
  return 0;
}

int Gethookstate(void) noexcept {
  // The last state, for the log line on a change between on-hook and off-hook.
  static int remembered = 0;
  int state = 0;
  if (ioctl(0, kHookStateRequest, &state) < 0) return -1;
  if ((remembered == 0 && state == 1) || (remembered == 1 && state == 0)) {
    std::printf("---hk---%d-------\n", state);
    remembered = state;
  } else if (remembered != 0 && remembered != 1) {
    remembered = 0;
  }
  return state;
}

int vorn_system_reboot_ex(void) noexcept {
  send_cmd_broadcast("reboot");
  sleep(kRebootDelaySeconds);
  return std::system("reboot");
}

}  // extern "C"
