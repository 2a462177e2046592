// Action URLs: templates per event, variables filled in, one GET each.
//
// Only the first occurrence of a variable is replaced, values go in as they
// are, and an event variable without a usable value stays in the URL
// literally: servers in the field parse exactly these URLs, so none of it is
// tidied. Templates and requests lie in fixed slots; the event path
// allocates nothing but what libcurl allocates.
#include "phonecore/action_url.h"

#include <json-c/json.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <curl/curl.h>

#include "base/json.h"
#include "phonecore/config.h"
#include "phonecore/net_info.h"
#include "remote/action_url_internal.h"

namespace json = phonecore::json;

// Records shared with the phone's other programs: the layout is fixed.
static_assert(sizeof(ActionUrlConf) == 116);
static_assert(offsetof(ActionUrlConf, id) == 0);
static_assert(offsetof(ActionUrlConf, name) == 4);
static_assert(offsetof(ActionUrlConf, value) == 20);
static_assert(offsetof(ActionUrlConf, description) == 52);
static_assert(sizeof(action_event_url) == 44 * 640);

char action_event_url[ACTION_URL_EVENTS][ACTION_URL_SIZE];
char action_event_url_tmp[ACTION_URL_EVENTS][ACTION_URL_SIZE];

ActionUrlConf my_action_url_conf[ACTION_URL_CONF_ROWS] = {
    {0, "$mac", "", ""},
    {1, "$sn", "", ""},
    {2, "$ip", "", ""},
    {3, "$model", "", ""},
    {4, "$firmware", "", ""},
    {5, "$active_url", "", ""},
    {6, "$active_user", "", ""},
    {7, "$active_host", "", ""},
    {8, "$local", "", ""},
    {9, "$remote", "", ""},
    {10, "$display_local", "", ""},
    {11, "$display_remote", "", ""},
    {12, "$call_id", "", ""},
    {13, "$callerID", "", ""},
    {15, "$vpn_ip", "", "VPN 获取到的 IP 地址"},
    {16, "end", "", ""},
};

namespace phonecore::remote {
namespace {

constexpr size_t kRoom = ACTION_URL_SIZE;

// What a row's variable becomes when the stored and looked-up variables are
// replaced.
enum class Source { kStored, kWanAddress, kVpnAddress, kOther };
struct VariableSource {
  int id;
  Source source;
};
constexpr VariableSource kSources[] = {
    {0, Source::kStored}, {1, Source::kStored}, {2, Source::kWanAddress},
    {3, Source::kStored}, {4, Source::kStored}, {15, Source::kVpnAddress},
};

Source source_of(int id) {
  for (const auto& row : kSources)
    if (row.id == id) return row.source;
  return Source::kOther;
}

// The stored variables and where they come from.
struct StoredVariable {
  const char* file;
  const char* section;
  const char* key;
  int row;
};
constexpr StoredVariable kStored[] = {
    {"system.cfg", "systeminfo", "mac", 0},
    {"system.cfg", "systeminfo", "serialnumber", 1},
    {"system.cfg", "version", "mode", 3},
    {"quorbit_ota.cfg", "QuorbitOta", "sw_version", 4},
};

constexpr const char kSection[] = "FeatureActionURL";
constexpr const char kTemplatesFile[] = "default/function.cfg";
constexpr const char kVpnInterface[] = "tun0";

// The address of an interface, or nothing.
void address_of(const char* ifname, char (&ip)[PHONECORE_IPV4_TEXT_SIZE]) {
  std::memset(ip, 0, sizeof ip);
  if (ifname != nullptr) GetLocalIp(ifname, ip);
  ip[sizeof ip - 1] = '\0';
}

// Both forms of the stored-variable pass; cut_others says what becomes of
// a variable that is neither stored nor looked up.
void replace_normal(char* url, bool cut_others) {
  if (url == nullptr) return;
  for (const ActionUrlConf& row : my_action_url_conf) {
    const long pos = find_first(url, row.name);
    if (pos < 0) continue;
    const size_t len = std::strlen(row.name);
    char ip[PHONECORE_IPV4_TEXT_SIZE];
    switch (source_of(row.id)) {
      case Source::kStored: {
        char value[sizeof row.value];
        const size_t n = strnlen(row.value, sizeof row.value - 1);
        std::memcpy(value, row.value, n);
        value[n] = '\0';
        splice(url, static_cast<size_t>(pos), len, value);
        break;
      }
      case Source::kWanAddress:
        address_of(client_getWANName(), ip);
        splice(url, static_cast<size_t>(pos), len, ip);
        break;
      case Source::kVpnAddress:
        address_of(kVpnInterface, ip);
        splice(url, static_cast<size_t>(pos), len, ip);
        break;
      case Source::kOther:
        if (cut_others) splice(url, static_cast<size_t>(pos), len, "");
        break;
    }
  }
}

// What a failed transfer prints; other codes print their number.
struct FailureText {
  CURLcode code;
  const char* text;
};
constexpr FailureText kFailures[] = {
    {CURLE_UNSUPPORTED_PROTOCOL, "不支持的协议,由URL的头部指定\n"},
    {CURLE_COULDNT_CONNECT, "不能连接到remote主机或者代理\n"},
    {CURLE_HTTP_RETURNED_ERROR, "http返回错误\n"},
    {CURLE_READ_ERROR, "读本地文件错误\n"},
};

void print_failure(CURLcode code) {
  for (const auto& row : kFailures)
    if (row.code == code) {
      std::fputs(row.text, stderr);
      return;
    }
  std::fprintf(stderr, "返回值:%d\n", static_cast<int>(code));
}

struct LongOption {
  CURLoption option;
  long value;
};
constexpr LongOption kSendOptions[] = {
    {CURLOPT_SSL_VERIFYPEER, 0}, {CURLOPT_SSL_VERIFYHOST, 0},      {CURLOPT_VERBOSE, 1},
    {CURLOPT_FOLLOWLOCATION, 1}, {CURLOPT_CONNECTTIMEOUT_MS, 100}, {CURLOPT_TIMEOUT_MS, 200},
};
constexpr const char kContentType[] = "Content-Type:application/json;charset=UTF-8";

int send_get(const char* url) {
  CURL* handle = curl_easy_init();
  if (handle == nullptr) {
    std::fputs("curl init failed\n", stderr);
    return -1;
  }
  curl_slist* headers = curl_slist_append(nullptr, kContentType);
  curl_easy_setopt(handle, CURLOPT_URL, url);
  for (const auto& row : kSendOptions) curl_easy_setopt(handle, row.option, row.value);
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  const CURLcode res = curl_easy_perform(handle);
  curl_easy_cleanup(handle);
  curl_slist_free_all(headers);
  if (res != CURLE_OK) {
    print_failure(res);
    return -1;
  }
  std::printf("---------------------http_send_get res = %d\n", static_cast<int>(res));
  std::printf("------------------------http_url = \n%s\n", url != nullptr ? url : "(null)");
  std::printf("--------------------------http_send_get end!!!!");
  std::fflush(stdout);
  return 0;
}

int fill_event_variables(char* url, const char* const (&values)[10]) {
  if (url == nullptr) return 0;
  for (size_t i = 0; i < 10; ++i) url_replace_special_string(url, kEventVariables[i], values[i]);
  std::printf("url = \n%s\n", url);
  return 0;
}

int pipeline(char* url, const char* const (&values)[10]) {
  url_replace_normal_string_without_speakthing(url);
  fill_event_variables(url, values);
  return send_get(url);
}

int fire(int slot, const char* const (&values)[10]) {
  char* request = action_event_url_tmp[slot];
  std::memset(request, 0, kRoom);
  std::memcpy(request, action_event_url[slot], strnlen(action_event_url[slot], kRoom - 1));
  if (request[0] == '\0') return 0;
  return pipeline(request, values);
}

}  // namespace

long find_first(const char* url, const char* variable) {
  if (url == nullptr || variable == nullptr || variable[0] == '\0') return -1;
  const size_t n = strnlen(url, kRoom - 1);
  const void* at = memmem(url, n, variable, std::strlen(variable));
  return at == nullptr ? -1 : static_cast<const char*>(at) - url;
}

void splice(char* url, size_t pos, size_t len, const char* value) {
  char head[kRoom];
  char tail[kRoom];
  const size_t n = strnlen(url, kRoom - 1);
  if (pos > n) return;
  if (len > n - pos) len = n - pos;
  std::memcpy(head, url, pos);
  head[pos] = '\0';
  const size_t tail_len = n - pos - len;
  std::memcpy(tail, url + pos + len, tail_len);
  tail[tail_len] = '\0';
  // The value is read whole before url is written: it may lie inside url.
  char out[kRoom];
  size_t k = 0;
  for (const char* part : {static_cast<const char*>(head), value, static_cast<const char*>(tail)}) {
    const size_t m = strnlen(part, kRoom);
    const size_t take = m < kRoom - 1 - k ? m : kRoom - 1 - k;
    std::memcpy(out + k, part, take);
    k += take;
  }
  out[k] = '\0';
  std::memcpy(url, out, k + 1);
}

}  // namespace phonecore::remote

using namespace phonecore::remote;

extern "C" {

int get_system_something(void) noexcept {
  // One reading of each file for all of its variables.
  const char* open_file = nullptr;
  json::Owned root;
  for (const StoredVariable& v : kStored) {
    if (open_file == nullptr || std::strcmp(open_file, v.file) != 0) {
      root.reset(read_gnl_config_json(v.file));
      open_file = v.file;
    }
    const char* text = json::text(root.get(), v.section, v.key);
    if (text != nullptr) json::copy_text(my_action_url_conf[v.row].value, text);
  }
  return 0;
}

int update_all_action_arrary(char (*table)[ACTION_URL_SIZE]) noexcept {
  json_object* root = read_gnl_config_json(kTemplatesFile);
  if (root == nullptr) return 0;
  json_object* section = json::at(root, kSection);
  // "AUSetupCompleted" alone decides whether the section is taken.
  if (json::text(section, kActionEvents[0].member.data()) != nullptr) {
    if (table != nullptr)
      for (size_t slot = 0; slot < ACTION_URL_EVENTS; ++slot) {
        const char* text = json::text(section, kActionEvents[slot].member.data());
        json::copy_text(table[slot], ACTION_URL_SIZE, text != nullptr ? text : "");
      }
    get_system_something();
  }
  return json_object_put(root);
}

int url_replace_special_string(char* url, const char* variable, const char* value) noexcept {
  if (url == nullptr || variable == nullptr || variable[0] == '\0' || value == nullptr || value[0] == '\0' ||
      strnlen(value, ACTION_URL_VALUE_MAX + 1) > ACTION_URL_VALUE_MAX)
    return 0;
  const long pos = find_first(url, variable);
  if (pos >= 0) splice(url, static_cast<size_t>(pos), std::strlen(variable), value);
  return 0;
}

int set_call_status_to_url(char* url, const char* active_url, const char* active_user, const char* active_host,
                           const char* local, const char* remote, const char* display_local, const char* display_remote,
                           const char* call_id, const char* callerID, const char* calledNumber) noexcept {
  const char* const values[10] = {active_url,    active_user,    active_host, local,    remote,
                                  display_local, display_remote, call_id,     callerID, calledNumber};
  return fill_event_variables(url, values);
}

int set_call_status_to_url2(char* url, const char* active_url, const char* active_user, const char* active_host,
                            const char* local, const char* remote, const char* display_local,
                            const char* display_remote, const char* call_id, const char* callerID,
                            const char* calledNumber) noexcept {
  return set_call_status_to_url(url, active_url, active_user, active_host, local, remote, display_local, display_remote,
                                call_id, callerID, calledNumber);
}

int url_replace_normal_string_without_speakthing(char* url) noexcept {
  replace_normal(url, false);
  return 0;
}

int url_replace_normal_string(char* url) noexcept {
  replace_normal(url, true);
  return 0;
}

int set_action_http_get(char* url, const char* active_url, const char* active_user, const char* active_host,
                        const char* local, const char* remote, const char* display_local, const char* display_remote,
                        const char* call_id, const char* callerID, const char* calledNumber) noexcept {
  const char* const values[10] = {active_url,    active_user,    active_host, local,    remote,
                                  display_local, display_remote, call_id,     callerID, calledNumber};
  return pipeline(url, values);
}

int set_action_http_get2(char* url, const char* active_url, const char* active_user, const char* active_host,
                         const char* local, const char* remote, const char* display_local, const char* display_remote,
                         const char* call_id, const char* callerID, const char* calledNumber) noexcept {
  return set_action_http_get(url, active_url, active_user, active_host, local, remote, display_local, display_remote,
                             call_id, callerID, calledNumber);
}

int http_send_get(const char* url) noexcept { return send_get(url); }

// Each event function is its row of kActionEvents, found by its own name
// when compiled.
#define ACTION_EVENT(fn)                                                                                 \
  int fn(const char* active_url, const char* active_user, const char* active_host, const char* local,    \
         const char* remote, const char* display_local, const char* display_remote, const char* call_id, \
         const char* callerID, const char* calledNumber) noexcept {                                      \
    constexpr int slot = action_slot(#fn);                                                               \
    static_assert(slot >= 0, #fn " has no row");                                                         \
    const char* const values[10] = {active_url,    active_user,    active_host, local,    remote,        \
                                    display_local, display_remote, call_id,     callerID, calledNumber}; \
    return fire(slot, values);                                                                           \
  }

ACTION_EVENT(action_Setup_Completed)
ACTION_EVENT(action_Registered)
ACTION_EVENT(action_Unregistered)
ACTION_EVENT(action_Register_Failed)
ACTION_EVENT(action_Off_Hook)
ACTION_EVENT(action_On_Hook)
ACTION_EVENT(action_Incoming_Call)
ACTION_EVENT(action_Outgoing_Call)
ACTION_EVENT(action_Established)
ACTION_EVENT(action_Terminated)
ACTION_EVENT(action_Open_DND)
ACTION_EVENT(action_Close_DND)
ACTION_EVENT(action_Always_Forward_On)
ACTION_EVENT(action_Always_Forward_Off)
ACTION_EVENT(action_Busy_Forward_On)
ACTION_EVENT(action_Busy_Forward_Off)
ACTION_EVENT(action_No_Answer_Forward_On)
ACTION_EVENT(action_No_Answer_Forward_Off)
ACTION_EVENT(action_Transfer_Call)
ACTION_EVENT(action_Blind_Transfer)
ACTION_EVENT(action_Attended_Transfer)
ACTION_EVENT(action_Hold)
ACTION_EVENT(action_UnHold)
ACTION_EVENT(action_MUTE)
ACTION_EVENT(action_UnMute)
ACTION_EVENT(action_Missed_Call)
ACTION_EVENT(action_IP_Changed)
ACTION_EVENT(action_Idle_to_Busy)
ACTION_EVENT(action_Busy_to_Idle)
ACTION_EVENT(action_Reject_Incoming_Call)
ACTION_EVENT(action_Answer_New_Incoming_Call)
ACTION_EVENT(action_Transfer_Finished)
ACTION_EVENT(action_Forward_Incoming_Call)
ACTION_EVENT(action_Autop_Finish)
ACTION_EVENT(action_Call_Waiting_On)
ACTION_EVENT(action_Call_Waiting_Off)
ACTION_EVENT(action_Headset)
ACTION_EVENT(action_Handsfree)
ACTION_EVENT(action_Cancel_Call_Out)
ACTION_EVENT(action_Remote_Busy)
ACTION_EVENT(action_Call_Remote_Canceled)
ACTION_EVENT(action_Peripheral_Information)
ACTION_EVENT(action_VPN_IP)

#undef ACTION_EVENT

}  // extern "C"
