// Typed settings of the device-management agent: the cached stores, fresh
// reads of the network and status stores, and the two questions of
// category 4108.

#include <json-c/json.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "base/json.h"
#include "config/gnl_frame.h"
#include "phonecore/config.h"
#include "phonecore/dm.h"
#include "phonecore/json_msg.h"

namespace json = phonecore::json;

using namespace phonecore::config;

namespace {

// The members of one section of a cached store, set in order; stops at the
// first that fails.
int set_members(int category, const char* section, std::initializer_list<std::pair<const char*, const char*>> members) {
  json_object* store = get_config_slot(category);
  if (store == nullptr) return -1;
  for (const auto& [key, value] : members)
    if (json::set(store, key, json::new_text(value), section) != 0) return -1;
  return 0;
}

// A store's text into a receiver of room bytes, cut there; -1 when either
// is missing.
int answer(char* receiver, size_t room, const char* text) {
  if (text == nullptr || receiver == nullptr) return -1;
  json::copy_text(receiver, room, text);
  return 0;
}

// Copies the text of wan.<member> of a fresh read into a result buffer, cut
// at its size.
template <size_t N>
char* wan_member(char (&buffer)[N], const char* member) {
  std::memset(buffer, 0, N);
  json_object* network = read_network_config();
  const char* text = network != nullptr ? json::text(network, "wan", member) : nullptr;
  if (text != nullptr) std::strncpy(buffer, text, N - 1);
  json_object_put(network);
  return buffer;
}

char ipv4_mode[10];
char ipv4_ipaddr[64];
char ipv4_netmask[64];
char ipv4_gateway[64];
char ipv4_staticdns[2];
char ipv4_dns1[64];
char ipv4_dns2[64];

// A question datagram: category 4108, the type as operation, the name (if
// any) in the path field, data length 0. The format and path-length words
// are not set.
GnlConfigRecord* new_question(int type, const char* name) {
  auto* r = static_cast<GnlConfigRecord*>(std::malloc(sizeof(GnlConfigRecord)));
  if (r == nullptr) return nullptr;
  r->magic = kGnlMagic;
  r->category = kCategoryQuestion;
  r->operation = static_cast<uint16_t>(type);
  std::memset(r->path, 0, sizeof r->path);
  if (name != nullptr) std::strncpy(r->path, name, sizeof r->path - 1);
  r->data_length = 0;
  r->data[0] = 0;
  return r;
}

// Sends a question and takes the reply into the same record; the reply's
// length, or -1.
int ask(GnlConfigRecord* r) {
  const auto got = frame_exchange(kConfigPort, *r, *r);
  return got ? static_cast<int>(*got) : -1;
}

}  // namespace

extern "C" {

int quorrbitSetnetworkMode(const char* mode) noexcept { return set_members(kCategoryNetwork, "wan", {{"mode", mode}}); }

int quorrbitGetnetworkMode(char* receiver) noexcept {
  json_object* store = get_config_slot(kCategoryNetwork);
  return answer(receiver, DM_TEXT_SIZE, store != nullptr ? json::text(store, "wan", "mode") : nullptr);
}

int quorrbitGetNetcfg(char* receiver, const char* member) noexcept {
  json_object* store = get_config_slot(kCategoryNetwork);
  return answer(receiver, DM_TEXT_SIZE, store != nullptr && member != nullptr ? json::text(store, member) : nullptr);
}

int quorrbitWanStatic(const char* ipaddr, const char* netmask, const char* gateway, const char* dns1,
                      const char* dns2) noexcept {
  // "static" here; the phone.cfg import has its own word, "static_ip".
  return set_members(kCategoryNetwork, "wan",
                     {{"mode", "static"},
                      {"ipaddr", ipaddr},
                      {"netmask", netmask},
                      {"gateway", gateway},
                      {"dns1", dns1},
                      {"dns2", dns2}});
}

int quorrbitLanStatic(const char* ipaddr, const char* netmask) noexcept {
  return set_members(kCategoryNetwork, "lan", {{"ipaddr", ipaddr}, {"netmask", netmask}});
}

int quorrbitDhcpServer(const char* enable, const char* start, const char* stop, const char* netmask,
                       const char* gateway, const char* dns1, const char* dns2) noexcept {
  return set_members(kCategoryNetwork, "dhcp",
                     {{"enable", enable},
                      {"ipstart", start},
                      {"ipstop", stop},
                      {"netmask", netmask},
                      {"gateway", gateway},
                      {"dns1", dns1},
                      {"dns2", dns2}});
}

int quorbit_get_cwmp_config(char* receiver) noexcept {
  json_object* store = get_config_slot(kCategoryCwmp);
  return answer(receiver, DM_STORE_TEXT_SIZE, store != nullptr ? json_object_get_string(store) : nullptr);
}

int cwmp_set_local(const char* interface, const char* port, const char* username, const char* password,
                   const char* provisioning_code, const char* logging_level) noexcept {
  return set_members(kCategoryCwmp, "local",
                     {{"interface", interface},
                      {"port", port},
                      {"username", username},
                      {"password", password},
                      {"provisioning_code", provisioning_code},
                      {"logging_level", logging_level}});
}

int cwmp_set_acs(const char* url, const char* username, const char* password, const char* parameter_key,
                 const char* periodic_enable, const char* periodic_interval, const char* periodic_time) noexcept {
  return set_members(kCategoryCwmp, "acs",
                     {{"url", url},
                      {"username", username},
                      {"password", password},
                      {"parameter_key", parameter_key},
                      {"periodic_enable", periodic_enable},
                      {"periodic_interval", periodic_interval},
                      {"periodic_time", periodic_time}});
}

int cwmp_set_device(const char* manufacturer, const char* oui, const char* product_class, const char* serial_number,
                    const char* hardware_version, const char* software_version) noexcept {
  return set_members(kCategoryCwmp, "device",
                     {{"manufacturer", manufacturer},
                      {"oui", oui},
                      {"product_class", product_class},
                      {"serial_number", serial_number},
                      {"hardware_version", hardware_version},
                      {"software_version", software_version}});
}

json_object* quorrbitGetSipConfig(void) noexcept { return get_config_slot(kCategoryAccount); }

json_object* quorrbitGetLdapConfig(void) noexcept { return get_config_slot(kCategoryLdap); }

int quorrbitSaveSipConfig(json_object* object) noexcept {
  write_gnl_config(kCategoryAccount, nullptr, object);
  return 0;
}

const char* get_string_from_json2(int category, int depth, ...) noexcept {
  json_object* o = get_config_slot(category);
  va_list keys;
  va_start(keys, depth);
  for (int i = 0; i < depth && o != nullptr; ++i) o = json::step(o, va_arg(keys, const char*));
  va_end(keys);
  return o != nullptr ? json_object_get_string(o) : nullptr;
}

char* get_ipv4_mode(void) noexcept { return wan_member(ipv4_mode, "mode"); }
char* get_ipv4_ipaddr(void) noexcept { return wan_member(ipv4_ipaddr, "ipaddr"); }
char* get_ipv4_netmask(void) noexcept { return wan_member(ipv4_netmask, "netmask"); }
char* get_ipv4_gateway(void) noexcept { return wan_member(ipv4_gateway, "gateway"); }
char* get_ipv4_staticdns(void) noexcept { return wan_member(ipv4_staticdns, "staticdns"); }
char* get_ipv4_dns1(void) noexcept { return wan_member(ipv4_dns1, "dns1"); }
char* get_ipv4_dns2(void) noexcept { return wan_member(ipv4_dns2, "dns2"); }

int sys_get_netinfor(char* mode, char* ipaddr, char* netmask, char* gateway, char* dns1, char* dns2,
                     char* mac) noexcept {
  json_object* network = read_network_config();
  if (network == nullptr) return -1;
  auto wan = [&](const char* key) { return json::text(network, "wan", key); };
  // The first four always (an absent one as an empty text); the others only
  // when present and not empty, so their receivers keep what they held.
  for (auto [receiver, key] :
       {std::pair{mode, "mode"}, {ipaddr, "ipaddr"}, {netmask, "netmask"}, {gateway, "gateway"}}) {
    const char* text = wan(key);
    if (receiver != nullptr) std::strcpy(receiver, text != nullptr ? text : "");
  }
  for (auto [receiver, key] : {std::pair{dns1, "dns1"}, {dns2, "dns2"}, {mac, "mac"}}) {
    const char* text = wan(key);
    if (receiver != nullptr && text != nullptr && *text != 0) std::strcpy(receiver, text);
  }
  json_object_put(network);
  return 0;
}

int sys_get_statusinfor(char* sw_version, char* hw_version, char* deviceid, char* ipaddr, char* mac) noexcept {
  json_object* status = read_status_config();
  if (status == nullptr) return -1;
  printf("tolk_net sys_get_statusinfor json:%s\n", json_object_get_string(status));
  for (auto [receiver, key] : {std::pair{sw_version, "SWVersion"},
                               {hw_version, "HWVersion"},
                               {deviceid, "deviceid"},
                               {ipaddr, "ipaddr"},
                               {mac, "mac"}}) {
    const char* text = json::text(status, key);
    if (receiver != nullptr && text != nullptr) std::strcpy(receiver, text);
  }
  json_object_put(status);
  return 0;
}

int config_read_other_infor(int type, void* receiver, int* length) noexcept {
  if (length != nullptr) *length = 0;
  GnlConfigRecord* r = new_question(type, nullptr);
  if (r == nullptr) return 0;
  const int got = ask(r);
  if (got >= static_cast<int>(kGnlHeaderSize) && r->magic == kGnlMagic && r->operation == static_cast<uint16_t>(type)) {
    const size_t n = std::min<size_t>(r->data_length, static_cast<size_t>(got) - kGnlHeaderSize);
    if (receiver != nullptr) std::memcpy(receiver, r->data, n);
    if (length != nullptr) *length = static_cast<int>(n);
  }
  std::free(r);
  return 0;
}

int account_get_from_config(void* receiver, int* length) noexcept {
  return config_read_other_infor(kQuestionAccount, receiver, length);
}

int config_check_file_infor(int type, const char* name) noexcept {
  if (name == nullptr) {
    printf("%s, %d (filename == NULL), return\n", __func__, __LINE__);
    return -1;
  }
  GnlConfigRecord* r = new_question(type, name);
  if (r == nullptr) return -2;
  // The reply's data length is the answer itself: 1 means the file exists.
  const int answer = ask(r) >= static_cast<int>(kGnlHeaderSize) ? r->data_length : 0;
  std::free(r);
  if (answer == 1) {
    printf("%s, %d result_datalen = %d, file exist, return 0\n", __func__, __LINE__, answer);
    return 0;
  }
  printf("%s, %d result_datalen = %d, file not exist, return -2\n", __func__, __LINE__, answer);
  return -2;
}

int sys_check_file_exist(const char* name) noexcept { return config_check_file_infor(kQuestionFileExists, name); }

}  // extern "C"
