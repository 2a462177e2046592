// phone.cfg import: the router of one item and the network handler, with
// the buffers and flags that the reload reads.

#include <json-c/json.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/atomic_field.h"
#include "base/json.h"
#include "phonecore/config.h"
#include "phonecore/net_info.h"
#include "phonecore/phonecfg.h"
#include "provision/phonecfg/key_table.h"
#include "provision/phonecfg/line.h"

char parameterA[PHONECFG_TEXT_SIZE];
char parameterA_value[PHONECFG_TEXT_SIZE];
int start_network_flag;
int reload_something_flag;

namespace phonecore::phonecfg {

namespace {

constexpr const char* kTr069File = "tr069.cfg";
constexpr const char* kInternetFile = "default/internet.cfg";
constexpr const char* kStatusFile = "status.cfg";
constexpr int kNetworkStore = 4096;
constexpr int kModeVlan = 2;
constexpr int kModePlain = 0;

bool one_of(std::string_view choices, std::string_view value) {
  while (true) {
    const size_t bar = choices.find('|');
    if (choices.substr(0, bar) == value) return true;
    if (bar == std::string_view::npos) return false;
    choices.remove_prefix(bar + 1);
  }
}

// The objects of one network key, each null when its file was missing.
struct NetworkObjects {
  json::Owned network;
  json::Owned tr069;
  json::Owned internet;

  json_object* of(Target target) const {
    switch (target) {
      case Target::kNetworkStore:
        return network.get();
      case Target::kTr069:
        return tr069.get();
      case Target::kInternet:
        return internet.get();
      default:
        break;  // the account handler's objects
    }
    return nullptr;
  }
};

// Replaces an existing section's member with the value as a JSON string;
// a missing section or object changes nothing.
void store_text(json_object* root, const Member& m, const char* value) {
  if (m.target == Target::kNone) return;
  json::set(root, m.member, json::new_text(value), m.section);
}

// The WAN VLAN as the internet file now says, sent to the network service
// and mirrored in the status file. Runs for every network key.
void apply_wan_vlan() {
  json::Owned internet(read_gnl_config_json(kInternetFile));
  json::Owned status(read_gnl_config_json(kStatusFile));
  json_object* advanced = json::at(internet.get(), "NetworkAdvanced");
  if (json::has(advanced, "VlanWanSwitch")) {
    const char* vlan_switch = json::text(advanced, "VlanWanSwitch");
    const char* vid = json::text(advanced, "VlanWanVid");
    const bool on = vlan_switch != nullptr && std::strcmp(vlan_switch, "1") == 0;
    client_set_network_mode(on ? kModeVlan : kModePlain, vid);
    if (status != nullptr) json::set(status.get(), "vlanid", json::new_text(on ? vid : "0"));
  }
  if (status != nullptr) write_gnl_config_json(kStatusFile, status.get());
}

int set_network_message() {
  NetworkObjects o;
  o.network.reset(read_network_config());
  if (o.network == nullptr) {
    std::printf("network.cfg open error!\n");
    return -1;
  }
  o.tr069.reset(read_gnl_config_json(kTr069File));
  o.internet.reset(read_gnl_config_json(kInternetFile));

  if (const KeyRow* row = find_key(Group::kNetwork, parameterA);
      row != nullptr && value_accepted(*row, parameterA_value)) {
    store_text(o.of(row->store.target), row->store, parameterA_value);
    store_text(o.of(row->also.target), row->also, parameterA_value);
  }

  // All three go back for every key, known or not; a missing one is
  // refused by the writer.
  write_gnl_config(kNetworkStore, nullptr, o.network.get());
  write_gnl_config_json(kTr069File, o.tr069.get());
  write_gnl_config_json(kInternetFile, o.internet.get());
  apply_wan_vlan();
  return 0;
}

int handle_item(const char* item) {
  read_line(item, parameterA, parameterA_value);
  if (parameterA_value[0] == '\0') return 0;
  if (names_network(parameterA)) {
    set_network_message();
    base::store(start_network_flag, 1);
  } else {
    Set_Account_Massage();
  }
  // Known or not, refused or not: the reload runs.
  base::store(reload_something_flag, 1);
  return 0;
}

}  // namespace

bool value_accepted(const KeyRow& row, const char* value) {
  switch (row.check) {
    case Check::kAny:
      return true;
    case Check::kZeroOrOne:
      return is_zero_or_one(value);
    case Check::kIpv4:
      return is_ipv4(value);
    case Check::kOneOf:
      return value != nullptr && one_of(row.choices, value);
    case Check::kDigitsRange: {
      if (!all_digits(value)) return false;
      const int number = board_atoi(value);
      return number >= row.low && number <= row.high;
    }
    case Check::kDigits:
    case Check::kDigitsClamp:
      return all_digits(value);
    case Check::kAtoiRange: {
      const int number = board_atoi(value);
      return number >= row.low && number <= row.high;
    }
  }
  return false;
}

}  // namespace phonecore::phonecfg

using namespace phonecore::phonecfg;

extern "C" {

int my_dm_handle_value1(const char* item) noexcept { return handle_item(item); }

int get_equal_after_ldap(const char* item) noexcept { return read_line(item, parameterA, parameterA_value); }

int is_network_cfg(const char* key) noexcept { return names_network(key) ? 1 : 0; }

int Set_Network_Massage(void) noexcept { return set_network_message(); }

int is_ipv4_addr(const char* text) noexcept { return is_ipv4(text) ? 0 : -1; }

int isZero_or_one(const char* text) noexcept { return is_zero_or_one(text) ? 1 : 0; }

int isTwoLine(const char* text) noexcept { return is_zero_or_one(text) ? 1 : 0; }

int isFourLine(const char* text) noexcept { return is_zero_to_three(text) ? 1 : 0; }

int is_value_digits(void) noexcept { return all_digits(parameterA_value) ? 1 : 0; }

}  // extern "C"
