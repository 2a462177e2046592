// The local copy of the SIP accounts, registration state, and the one
// function that writes a whole account into both configuration stores.
#include <json-c/json.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "base/atomic_field.h"
#include "base/json.h"
#include "bus/bus_wire.h"
#include "bus/command_broadcast.h"
#include "call/call_internal.h"
#include "config/gnl_frame.h"
#include "phonecore/account.h"
#include "phonecore/config.h"
#include "phonecore/json_msg.h"

namespace json = phonecore::json;

using phonecore::base::load;
using phonecore::base::store;

static_assert(sizeof(AccountRecord) == phonecore::call::kAccountRecordSize);
static_assert(offsetof(AccountRecord, account_id) == 0);
static_assert(offsetof(AccountRecord, word4) == 4);
static_assert(offsetof(AccountRecord, text) == 8);
static_assert(offsetof(AccountRecord, text[3]) == 200);
static_assert(offsetof(AccountRecord, text[5]) == 328);
static_assert(offsetof(AccountRecord, word456) == 456);
static_assert(offsetof(AccountRecord, text7) == 460);
static_assert(offsetof(AccountRecord, text8) == 524);
static_assert(offsetof(AccountRecord, word588) == 588);
static_assert(offsetof(AccountRecord, reg_state) == 596);
static_assert(offsetof(AccountRecord, word600) == 600);
static_assert(offsetof(AccountRecord, text9) == 612);
static_assert(phonecore::call::kAccountRecordSize % sizeof(uint32_t) == 0);

extern "C" {
AccountRecord _gl_accountArr[ACCOUNT_MAX_RECORDS];
int32_t _gl_accountLen = 0;
int32_t __gl_maxlen = 0;
MsgHook* __gl_pAccHook = nullptr;
}

namespace phonecore::call {

namespace {

constexpr size_t kWords = kAccountRecordSize / sizeof(uint32_t);
constexpr size_t kWorkBuffer = 256;
constexpr const char* kVoipList = "default/voiplist.cfg";
constexpr const char* kDefaultPort = "5060";

uint32_t* words_of(int index) { return reinterpret_cast<uint32_t*>(&_gl_accountArr[index]); }

// The monitor of the msgtype 7 hook: the element is the whole packet.
int account_update_monitor(uint16_t, uint16_t, void* element, uint32_t length) {
  if (element == nullptr || length < bus::kPacketHeaderSize) return 0;
  const bus::BusPacketHeader head = bus::peek_packet_header(element);
  const uint32_t payload = std::min<uint32_t>(head.length, length - static_cast<uint32_t>(bus::kPacketHeaderSize));
  int count = std::min<int>(static_cast<int>(payload / kAccountRecordSize), load(__gl_maxlen));
  count = std::clamp(count, 0, kMaxRecords);
  const auto* records = static_cast<const uint8_t*>(element) + bus::kPacketHeaderSize;
  for (int i = 0; i < count; ++i) store_account(i, records + i * kAccountRecordSize);
  store(_gl_accountLen, count);
  return 0;
}

void replace_stars(char* text) {
  for (char* p = text; *p != 0; ++p)
    if (*p == '*') *p = '.';
}

// A member text for "default/voiplist.cfg": cut to 63 bytes, without white
// space at either end.
struct TrimmedText {
  char text[kTextField];
};
TrimmedText trimmed(const char* text) {
  const size_t n = strnlen(text, kTextField - 1);
  size_t b = 0, e = n;
  while (b < e && std::isspace(static_cast<unsigned char>(text[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(text[e - 1]))) --e;
  TrimmedText out{};
  std::memcpy(out.text, text + b, e - b);
  return out;
}

// Stores each member of from into to, by its JSON type; other members of
// to stay.
void merge_members(json_object* to, json_object* from) {
  json_object_object_foreach(from, key, value) {
    json_object* copy = nullptr;
    switch (json_object_get_type(value)) {
      case json_type_boolean:
        copy = json_object_new_boolean(json_object_get_boolean(value));
        break;
      case json_type_double:
        copy = json_object_new_double(json_object_get_double(value));
        break;
      case json_type_int:
        copy = json_object_new_int(json_object_get_int(value));
        break;
      case json_type_object:
      case json_type_array:
        copy = json_tokener_parse(json_object_to_json_string(value));
        break;
      case json_type_string:
        copy = json_object_new_string(trimmed(json_object_get_string(value)).text);
        break;
      default:
        break;
    }
    if (copy != nullptr) json_object_object_add(to, key, copy);
  }
}

// Writes the registrar, the id and the server fields of one server into
// the account element of the account store.
void put_server(json_object* account, const char* register_name, const char* address, const char* port,
                const char* registrar_key, const char* id_key, const char* addr_key, const char* port_key,
                const char* outbound_key, const char* transport_key, char* registrar, char* id) {
  std::memset(registrar, 0, kWorkBuffer);
  std::memset(id, 0, kWorkBuffer);
  if (port[0] != 0) {
    snprintf(registrar, kWorkBuffer, "sip:%s:%s", address, port);
    snprintf(id, kWorkBuffer, "sip:%s@%s:%s", register_name, address, port);
  } else {
    snprintf(registrar, kWorkBuffer, "sip:%s:5060", address);
    snprintf(id, kWorkBuffer, "sip:%s@%s:5060", register_name, address);
  }
  json_object_object_add(account, registrar_key, json_object_new_string(registrar));
  json_object_object_add(account, id_key, json_object_new_string(id));
  json_object_object_add(account, addr_key, json_object_new_string(address));
  json_object_object_add(account, port_key, json_object_new_string(port));
  json_object_object_add(account, outbound_key, json_object_new_string(address));
  json_object_object_add(account, transport_key, json_object_new_string("udp"));
}

const char* or_empty(const char* text) { return text != nullptr ? text : ""; }

// The arguments of setSipAccount, null texts as "".
struct SipAccount {
  int index;
  const char* label;
  const char* user_name;
  const char* password;
  const char* display_name;
  const char* register_name;
  const char* port1;
  const char* port2;
  int enable;
};

// The account element of the account store (category 4097), written back
// whole. The store is assumed to hold its accounts; a missing element or
// "cred_acc" is passed over rather than written through. false when the
// store can't be read.
bool write_account_store(const SipAccount& a, const char* addr1, const char* addr2) {
  json::Owned root(read_gnl_config(phonecore::config::kCategoryAccount, nullptr));
  if (root == nullptr) return false;
  char registrar[kWorkBuffer] = {};
  char id[kWorkBuffer] = {};
  char number[16];
  snprintf(number, sizeof number, "%d", a.index);
  json_object_object_add(root.get(), "Account", json_object_new_string(number));
  json_object* account = json::element(json_object_object_get(root.get(), "account"), a.index);
  if (account != nullptr) {
    json_object_object_add(account, "enable", json_object_new_int(a.enable));
    json_object* cred = json::element(json_object_object_get(account, "cred_acc"), 0);
    if (cred != nullptr) {
      json_object_object_add(cred, "label", json_object_new_string(a.label));
      json_object_object_add(cred, "username", json_object_new_string(a.user_name));
      json_object_object_add(cred, "password", json_object_new_string(a.password));
      json_object_object_add(cred, "display", json_object_new_string(a.display_name));
      json_object_object_add(cred, "regname", json_object_new_string(a.register_name));
    }
    put_server(account, a.register_name, addr1, a.port1, "registrar", "id", "SIP1ServerAddr", "SIP1ServerAddrPort",
               "outb-rid", "transport-type", registrar, id);
    put_server(account, a.register_name, addr2, a.port2, "registrar2", "id2", "SIP2ServerAddr", "SIP2ServerAddrPort",
               "outb-rid2", "transport-type2", registrar, id);
    json_object_object_add(account, "outbound", json_object_new_array());
  }
  write_gnl_config(phonecore::config::kCategoryAccount, nullptr, root.get());
  return true;
}

// The account's page of "default/voiplist.cfg"; an empty port is 5060.
json_object* register_page(const SipAccount& a, const char* addr1, const char* addr2) {
  const char* p1 = a.port1[0] != 0 ? a.port1 : kDefaultPort;
  const char* p2 = a.port2[0] != 0 ? a.port2 : kDefaultPort;
  return json::Builder()
      .text("page", "setAccountRegister")
      .integer("Account", a.index)
      .text("RegisterStatus", "unregistered")
      .integer("AccountEnable", a.enable)
      .text("AccountLabel", a.label)
      .text("AccountDisplayName", a.display_name)
      .text("AccountRegisterName", a.register_name)
      .text("AccountUserName", a.user_name)
      .text("AccountPassword", a.password)
      .text("SIP1ServerAddr", addr1)
      .text("SIP1ServerAddrPort", p1)
      .text("SIP1Transport", "udp")
      .integer("SIP1HeartbeatMessage", 60)
      .integer("SIP1RetryCount", 10)
      .text("SIP2ServerAddr", addr2)
      .text("SIP2ServerAddrPort", p2)
      .text("SIP2Transport", "udp")
      .integer("SIP2HeartbeatMessage", 60)
      .integer("SIP2RetryCount", 10)
      .integer("AccountOutboundSwitch", 0)
      .text("AccountOutboundProxy1", "")
      .text("child_account_register_Outbound1port", "")
      .text("AccountOutboundProxy2", "")
      .text("child_account_register_Outbound2port", "")
      .text("AccountProxyFallbackInterval", "")
      .text("Nat", "disabled")
      .release();
}

// Merges the page into the element of "AccountRegister" with the same
// "Account", or appends it, and writes the file. "Account" of the page is
// an int; elements carry it as text; they are compared by their text forms.
void merge_into_voiplist(json::Owned page) {
  json::Owned list(read_gnl_config_json(kVoipList));
  if (list == nullptr) list.reset(json_object_new_object());
  json_object* array = json_object_object_get(list.get(), "AccountRegister");
  if (array == nullptr || !json_object_is_type(array, json_type_array)) {
    array = json_object_new_array();
    json_object_object_add(list.get(), "AccountRegister", array);
  }
  const char* wanted = json_object_get_string(json_object_object_get(page.get(), "Account"));
  json_object* found = nullptr;
  for (size_t i = 0; i < json::length(array) && found == nullptr; ++i) {
    json_object* element = json::element(array, i);
    json_object* account_field = json_object_object_get(element, "Account");
    if (account_field != nullptr && std::strcmp(json_object_get_string(account_field), wanted) == 0) found = element;
  }
  if (found != nullptr) merge_members(found, page.get());
  else json_object_array_add(array, page.release());
  write_gnl_config_json(kVoipList, list.get());
}

}  // namespace

void store_account(int index, const void* record) {
  uint32_t* to = words_of(index);
  const auto* from = static_cast<const uint8_t*>(record);
  for (size_t w = 0; w < kWords; ++w) {
    uint32_t word;
    std::memcpy(&word, from + w * sizeof word, sizeof word);
    store(to[w], word);
  }
}

AccountRecord load_account(int index) {
  AccountRecord r;
  const uint32_t* from = words_of(index);
  auto* to = reinterpret_cast<uint8_t*>(&r);
  for (size_t w = 0; w < kWords; ++w) {
    const uint32_t word = load(from[w]);
    std::memcpy(to + w * sizeof word, &word, sizeof word);
  }
  return r;
}

int account_count() { return std::clamp<int>(load(_gl_accountLen), 0, kMaxRecords); }

int find_account(uint32_t id) {
  const int n = account_count();
  for (int i = 0; i < n; ++i)
    if (load(_gl_accountArr[i].account_id) == id) return i;
  return -1;
}

}  // namespace phonecore::call

using namespace phonecore::call;

extern "C" {

int voip_account_get_real(MessageClient* c, void* destination, int* bytes) noexcept {
  // The reply lands in a buffer of the reply size first, per call; the
  // caller gets at most the four records that this request reports.
  std::unique_ptr<uint8_t, decltype(&std::free)> buffer(static_cast<uint8_t*>(std::malloc(BUS_BUFFER_REPLY_MAX)),
                                                        &std::free);
  uint8_t* reply = buffer.get();
  if (reply == nullptr) return 0;
  int got = 0;
  if (send_sjson_to_sip_hook_wait_buffer(c, "account_get", kMsgtypeBinary, nullptr, reply, &got,
                                         buffer_request_limit_ms()) != 0)
    return 0;
  const int n = std::min(got, kAccountGetLimit);
  if (destination == static_cast<void*>(_gl_accountArr)) {
    for (int i = 0; i < n / static_cast<int>(kAccountRecordSize); ++i) store_account(i, reply + i * kAccountRecordSize);
  } else if (destination != nullptr) {
    std::memcpy(destination, reply, static_cast<size_t>(n));
  }
  if (bytes != nullptr) *bytes = n;
  return 0;
}

int LocalAcountInforBufferAdd(MessageClient* c, int max) noexcept {
  max = std::clamp(max, 0, kMaxRecords);
  store(__gl_maxlen, max);
  int length = 0;
  voip_account_get_real(c, _gl_accountArr, &length);
  if (length > 0) store(_gl_accountLen, length / static_cast<int>(kAccountRecordSize));
  printf("_gl_accountLen=%d\n\r", load(_gl_accountLen));
  MsgHook* hook = add_hook_bymsgtype(c, kMsgtypeAccounts, 2 * static_cast<int>(kAccountRecordSize) * max, 2);
  store(__gl_pAccHook, hook);
  if (hook != nullptr) add_hook_monitor_thread(hook, account_update_monitor);
  return 0;
}

int LocalAcountInforBufferDel(MessageClient* c) noexcept {
  MsgHook* hook = load(__gl_pAccHook);
  if (hook != nullptr) {
    del_hook_monitor_thread(hook);
    del_hook(c, hook);
  }
  store(__gl_pAccHook, static_cast<MsgHook*>(nullptr));
  store(__gl_maxlen, 0);
  return 0;
}

int LocalAcountInforUpdateExt(const void* records, int count) noexcept {
  instant_message_send(phonecore::bus::kBusIdAll, kMsgtypeAccounts, phonecore::bus::kKindNumeric, records,
                       static_cast<int>(kAccountRecordSize) * count);
  return 0;
}

int LocalAcountInforGet(void* destination, int max) noexcept {
  const int n = std::min(account_count(), max);
  if (destination == nullptr || n <= 0) return std::max(n, 0);
  auto* to = static_cast<uint8_t*>(destination);
  for (int i = 0; i < n; ++i) {
    const AccountRecord r = load_account(i);
    std::memcpy(to + i * kAccountRecordSize, &r, kAccountRecordSize);
  }
  return n;
}

int voip_account_get(MessageClient*, void* destination, int* bytes) noexcept {
  const int n = LocalAcountInforGet(destination, kMaxRecords);
  if (bytes != nullptr) *bytes = n * static_cast<int>(kAccountRecordSize);
  return 1;
}

void callback_on_reg_changed(int acc_id, int state) noexcept {
  const int i = find_account(static_cast<uint32_t>(acc_id));
  if (i >= 0) store(_gl_accountArr[i].reg_state, static_cast<int32_t>(state));
}

int get_reg_status(int acc_id) noexcept {
  if (load(_gl_accountLen) < 1) return -10;
  const int i = find_account(static_cast<uint32_t>(acc_id));
  if (i < 0) return -20;
  return load(_gl_accountArr[i].reg_state);
}

int voip_send_reg_status(MessageClient* c, int acc_id, int online) noexcept {
  json_object* data = json::Builder().integer("acc_id", acc_id).integer("bOnline", online).release();
  printf("reg_changed=%s\n\r", json_object_get_string(data));
  return send_sjson_to_all(c, "reg_changed", data);
}

int setSipAccount(int index, const char* label, const char* user_name, const char* password, const char* display_name,
                  const char* register_name, const char* port1, const char* address1, int enable, const char* port2,
                  const char* address2) noexcept {
  const SipAccount a{index,
                     or_empty(label),
                     or_empty(user_name),
                     or_empty(password),
                     or_empty(display_name),
                     or_empty(register_name),
                     or_empty(port1),
                     or_empty(port2),
                     enable};
  char addr1[kWorkBuffer] = {}, addr2[kWorkBuffer] = {};
  json::copy_text(addr1, sizeof addr1, address1);
  json::copy_text(addr2, sizeof addr2, address2);
  replace_stars(addr1);
  replace_stars(addr2);
  if (!write_account_store(a, addr1, addr2)) return -1;
  json::Owned page(register_page(a, addr1, addr2));
  if (page == nullptr) {
    printf("%s, %d, jsonBuf = NULL, error\n", __func__, __LINE__);
    return 0;
  }
  merge_into_voiplist(std::move(page));
  reload_account_all();
  return 0;
}

int reload_account_all(void) noexcept { return phonecore::bus::broadcast_command("reload_account"); }
int start_network(void) noexcept { return phonecore::bus::broadcast_command("start_network"); }
int startSomething(void) noexcept { return phonecore::bus::broadcast_command("startSomething"); }
int startSomething_ssh(void) noexcept { return phonecore::bus::broadcast_command("startSomething_ssh"); }
int reload_sip_base(void) noexcept { return phonecore::bus::broadcast_command("reload_sip_base"); }

int reload_cmd_broadcast(const char* name) noexcept { return phonecore::bus::broadcast_command(name); }

int set_voip_log_disable(void) noexcept {
  json_object* settings = read_gnl_config_json("default/settinglist.cfg");
  if (settings != nullptr) {
    json::set_creating(settings, "LocalLogSwitch", json::new_text("0"), "SettingConfiguration");
    write_gnl_config_json("default/settinglist.cfg", settings);
    json_object_put(settings);
  }
  phonecore::bus::broadcast_command("log_config_indicate");
  usleep(100);
  return 0;
}

int set_telnet_ssh_type_disable(void) noexcept {
  constexpr const char* kKill = "killall -9 telnetd; killall -9 dropbear";
  if (std::system(kKill) == -1) printf("%s, %d, system failed\n", __func__, __LINE__);
  usleep(100);
  json_object* system_cfg = read_gnl_config_json("system.cfg");
  if (system_cfg != nullptr) {
    json::set_creating(system_cfg, "telnet_type", json::new_text("0"), "systeminfo");
    json::set_creating(system_cfg, "ssh_type", json::new_text("0"), "systeminfo");
    write_gnl_config_json("system.cfg", system_cfg);
    json_object_put(system_cfg);
    startSomething();
  } else {
    printf("system.cfg open error!\n");
  }
  if (std::system(kKill) == -1) printf("%s, %d, system failed\n", __func__, __LINE__);
  usleep(100);
  return 0;
}

}  // extern "C"
