// Network settings: read the JSON configuration, change keys, write it
// back, then ask the other processes to act through broadcasts, the
// network service's mode and flag files. Nothing here configures an
// interface.

#include <json-c/json.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "base/json.h"
#include "bus/command_broadcast.h"
#include "network/nic_names.h"
#include "network/settings_edit.h"
#include "network/settings_file.h"
#include "phonecore/config.h"
#include "phonecore/fileutil.h"
#include "phonecore/net_config.h"
#include "phonecore/profile.h"
#include "phonecore/text.h"

namespace phonecore::network {
namespace {

namespace json = phonecore::json;

constexpr int kCategoryNetworkStore = 4096;
constexpr const char* kInternetFile = "default/internet.cfg";
constexpr const char* kStatusFile = "status.cfg";
constexpr const char* kNetworkFile = "network.cfg";
constexpr const char* kAdvanced = "NetworkAdvanced";
constexpr const char* kNat = "NetworkNAT";
constexpr std::array kWanObjects{"wan", "br0"};
constexpr size_t kCleanSize = 64;  // a cleaned address: 63 bytes at most
constexpr size_t kReadChars = PHONECORE_NET_ADDRESS_SIZE - 1;
constexpr size_t kFieldChars = PHONECORE_NET_FIELD_SIZE - 1;
constexpr int kModeVlan = 2;
constexpr int kModePlain = 0;
constexpr int kLldpDefaultInterval = 30;
constexpr const char* kL2tpOptions = "/appconfigs/etc/ppp/options.l2tp.conf";
constexpr const char* kL2tpTemporary = "/tmp/ppp_tmp.conf";
constexpr const char* kXl2tpdFile = "/appconfigs/etc/xl2tpd/xl2tpd.conf";
constexpr size_t kL2tpLine = 128;  // lines of up to 127 bytes

void start_network() { bus::broadcast_command("start_network"); }
void reload_accounts() { bus::broadcast_command("reload_account"); }
void start_something() { bus::broadcast_command("startSomething"); }

// Every address text goes through here first: null is "", each '*' a '.',
// at most 63 bytes.
std::string clean_address(const char* text) {
  std::string out;
  if (text == nullptr) return out;
  for (size_t i = 0; text[i] != '\0' && out.size() < kCleanSize - 1; ++i) out.push_back(text[i] == '*' ? '.' : text[i]);
  return out;
}

// An address may be empty only where allowed; otherwise it must be valid.
bool address_ok(const std::string& address, bool may_be_empty) {
  if (address.empty()) return may_be_empty;
  return checkValidIP(address.c_str()) == 0;
}

// The file's object, or an empty one when the file is missing.
json::Owned file_object_or_empty(const char* path) {
  json::Owned o = read_settings(path);
  if (o == nullptr || !json_object_is_type(o.get(), json_type_object)) o.reset(json_object_new_object());
  return o;
}

void set_text(json_object* o, const char* key, const std::string& value) {
  json::put(o, key, json_object_new_string(value.c_str()));
}

void set_number_text(json_object* o, const char* key, int value) { set_text(o, key, std::to_string(value)); }

// Copies the text at key (or nothing when absent) into out, cut.
void read_text(json_object* o, const char* key, char* out, size_t max_chars) {
  if (out == nullptr) return;
  json::copy_text(out, max_chars + 1, json::text(o, key), max_chars);
}

bool text_is(json_object* o, const char* key, std::string_view value) {
  const char* t = json::text(o, key);
  return t != nullptr && value == t;
}

// The VLAN priority as stored: a single digit 0 to 7 as itself, a single
// digit above 7 as "7", anything else (empty, longer, not a digit) "0".
std::string vlan_priority(const char* text) {
  if (text == nullptr || std::strlen(text) != 1) return "0";
  if (text[0] < '0' || text[0] > '9') return "0";
  return text[0] > '7' ? "7" : std::string(1, text[0]);
}

// The manual VLAN handed to the network service when the switch key is
// there: mode 2 with the vid when it is "1", else mode 0.
void apply_manual_vlan(json_object* advanced) {
  if (!json::has(advanced, "VlanWanSwitch")) return;
  set_mode(text_is(advanced, "VlanWanSwitch", "1") ? kModeVlan : kModePlain, json::text(advanced, "VlanWanVid"));
}

}  // namespace

void edit_wan_dhcp(json_object* root, bool static_dns, const std::string& dns1, const std::string& dns2) {
  for (const char* name : kWanObjects) {
    json_object* o = object_member(root, name);
    set_text(o, "mode", "dhcp");
    set_text(o, "staticdns", static_dns ? "1" : "0");
    set_text(o, "dns1", dns1);
    set_text(o, "dns2", dns2);
  }
}

void edit_wan_static(json_object* root, const StaticAddress& a) {
  for (const char* name : kWanObjects) {
    json_object* o = object_member(root, name);
    set_text(o, "mode", "static_ip");
    set_text(o, "ipaddr", a.ip);
    set_text(o, "netmask", a.netmask);
    set_text(o, "gateway", a.gateway);
    set_text(o, "staticdns", "1");
    set_text(o, "dns1", a.dns1);
    set_text(o, "dns2", a.dns2);
  }
}

void edit_nat(json_object* root, int stun_switch, const char* server, const char* port) {
  json_object* o = object_member(root, kNat);
  set_number_text(o, "NatSTUNSwitch", stun_switch);
  set_text(o, "NatSTUNServer", clean_address(server));
  set_text(o, "NatSTUNPort", port != nullptr ? port : "");
}

json_object* edit_vlan(json_object* root, int vlan_switch, const char* vid, const char* priority) {
  json_object* o = object_member(root, kAdvanced);
  set_number_text(o, "VlanWanSwitch", vlan_switch);
  set_text(o, "VlanWanVid", clean_address(vid));
  set_text(o, "VlanWanPriority", vlan_priority(priority));
  return o;
}

int rewrite_l2tp_options(FILE* in, FILE* out, const char* user, const char* password) {
  char line[kL2tpLine];
  char* last = nullptr;
  while ((last = std::fgets(line, sizeof line, in)) != nullptr) {
    if (std::strstr(line, "name ") != nullptr) {
      std::fprintf(out, "name %s\n", user != nullptr ? user : "");
    } else if (std::strstr(line, "password ") != nullptr) {
      // No line end: the next line joins this one, as the phone's files have it.
      std::fprintf(out, "password %s", password != nullptr ? password : "");
    } else {
      std::fputs(line, out);
    }
  }
  return last == nullptr ? 0 : 1;
}

namespace {

int dhcp_write(const int* dhcp, const int* static_dns, const char* dns1_in, const char* dns2_in) {
  const std::string dns1 = clean_address(dns1_in);
  if (!address_ok(dns1, true)) return 1;
  const std::string dns2 = clean_address(dns2_in);
  if (!address_ok(dns2, true)) return 2;
  // The first flag says nothing: a write always selects DHCP.
  std::printf("%s dhcp flag %d\n", __func__, dhcp != nullptr ? *dhcp : 0);
  json::Owned root(read_network_config());
  if (root == nullptr || !json_object_is_type(root.get(), json_type_object)) root.reset(json_object_new_object());
  edit_wan_dhcp(root.get(), static_dns != nullptr && *static_dns != 0, dns1, dns2);
  write_gnl_config(kCategoryNetworkStore, nullptr, root.get());
  start_network();
  reload_accounts();
  return 0;
}

int dhcp_read(int* dhcp, int* static_dns, char* dns1, char* dns2) {
  json::Owned root(read_network_config());
  json_object* wan = json::at(root.get(), "wan");
  if (wan == nullptr) return 0;
  if (dhcp != nullptr) *dhcp = text_is(wan, "mode", "dhcp") ? 1 : 0;
  if (static_dns != nullptr) *static_dns = text_is(wan, "staticdns", "1") ? 1 : 0;
  read_text(wan, "dns1", dns1, kReadChars);
  read_text(wan, "dns2", dns2, kReadChars);
  return 0;
}

int static_write(const char* ip_in, const char* mask_in, const char* gateway_in, const char* dns1_in,
                 const char* dns2_in) {
  struct Field {
    std::string value;
    bool may_be_empty;
    int refusal;
  };
  // Checked in this order; the first bad one answers.
  std::array fields{Field{clean_address(ip_in), false, 3}, Field{clean_address(mask_in), false, 4},
                    Field{clean_address(gateway_in), false, 5}, Field{clean_address(dns1_in), true, 1},
                    Field{clean_address(dns2_in), true, 2}};
  for (const Field& f : fields)
    if (!address_ok(f.value, f.may_be_empty)) return f.refusal;
  const std::string& gateway = fields[2].value;
  const std::string dns1 = fields[3].value.empty() ? gateway : fields[3].value;
  json::Owned root(read_network_config());
  if (root == nullptr || !json_object_is_type(root.get(), json_type_object)) root.reset(json_object_new_object());
  edit_wan_static(root.get(), {fields[0].value, fields[1].value, gateway, dns1, fields[4].value});
  write_gnl_config(kCategoryNetworkStore, nullptr, root.get());
  start_network();
  reload_accounts();
  return 0;
}

int static_read(char* ip, char* mask, char* gateway, char* dns1, char* dns2) {
  json::Owned root(read_network_config());
  json_object* wan = json::at(root.get(), "wan");
  if (wan == nullptr) return 0;
  read_text(wan, "ipaddr", ip, kReadChars);
  read_text(wan, "netmask", mask, kReadChars);
  read_text(wan, "gateway", gateway, kReadChars);
  read_text(wan, "dns1", dns1, kReadChars);
  read_text(wan, "dns2", dns2, kReadChars);
  return 0;
}

int is_dhcp() {
  json::Owned root(read_network_config());
  return text_is(json::at(root.get(), "wan"), "mode", "dhcp") ? 1 : 0;
}

// A switch read from a text: absent or empty is 0.
int switch_of(json_object* o, const char* key) { return json::text_integer(o, key); }

int nat(int op, int* stun_switch, char* server, char* port) {
  if (op == 0) {
    json::Owned root = read_settings(kInternetFile);
    json_object* o = json::at(root.get(), kNat);
    if (o == nullptr) return 0;
    if (stun_switch != nullptr) *stun_switch = switch_of(o, "NatSTUNSwitch");
    read_text(o, "NatSTUNServer", server, kFieldChars);
    read_text(o, "NatSTUNPort", port, kFieldChars);
    return 0;
  }
  json::Owned root = file_object_or_empty(kInternetFile);
  edit_nat(root.get(), stun_switch != nullptr ? *stun_switch : 0, server, port);
  write_gnl_config_json(kInternetFile, root.get());
  return 0;
}

int status_vlan(json_object* advanced) {
  json::Owned status = file_object_or_empty(kStatusFile);
  const char* vid = json::text(advanced, "VlanWanVid");
  set_text(status.get(), "vlanid", text_is(advanced, "VlanWanSwitch", "1") && vid != nullptr ? vid : "0");
  write_gnl_config_json(kStatusFile, status.get());
  return 0;
}

int advanced_vlan(json_object* advanced) {
  apply_manual_vlan(advanced);
  start_network();
  return 0;
}

int vlan(int op, int* vlan_switch, char* vid, char* priority) {
  if (op == 0) {
    json::Owned root = read_settings(kInternetFile);
    json_object* o = json::at(root.get(), kAdvanced);
    if (o == nullptr) return 0;
    if (vlan_switch != nullptr) *vlan_switch = switch_of(o, "VlanWanSwitch");
    read_text(o, "VlanWanVid", vid, kFieldChars);
    read_text(o, "VlanWanPriority", priority, kFieldChars);
    return 0;
  }
  json::Owned root = file_object_or_empty(kInternetFile);
  json_object* o = edit_vlan(root.get(), vlan_switch != nullptr ? *vlan_switch : 0, vid, priority);
  write_gnl_config_json(kInternetFile, root.get());
  status_vlan(o);
  advanced_vlan(o);
  return 0;
}

int set_lldp(int enable, int interval) {
  json::Owned root = file_object_or_empty(kInternetFile);
  json_object* o = object_member(root.get(), kAdvanced);
  set_number_text(o, "LLDPSwitch", enable);
  set_number_text(o, "LLDPPacketInterval", interval);
  write_gnl_config_json(kInternetFile, root.get());
  // Turning LLDP off undoes the VLAN it learnt; only the keys' presence
  // is looked at, not their values.
  if (enable == 0 && json::has(o, "VlanWanSwitchLldp")) {
    run_shell("rm -rf /tmp/lldp_get_vlan.txt;");
    set_mode(kModePlain, "0");
    const int learnt = json::text_integer(o, "VlanWanVidLldp");
    if (learnt > 0) run_shell("vconfig rem br0." + std::to_string(learnt));
    apply_manual_vlan(o);
  }
  start_network();
  start_something();
  return 0;
}

int get_lldp(int* enable, int* interval) {
  json::Owned root = read_settings(kInternetFile);
  json_object* o = json::at(root.get(), kAdvanced);
  if (o == nullptr) {
    if (enable != nullptr) *enable = 0;
    if (interval != nullptr) *interval = kLldpDefaultInterval;
    return -1;
  }
  if (enable != nullptr) *enable = json::text_integer(o, "LLDPSwitch");
  if (interval != nullptr) *interval = json::text_integer(o, "LLDPPacketInterval");
  return 0;
}

int wired_802_1x() {
  json::Owned root = read_settings(kInternetFile);
  if (root == nullptr) return -1;
  // Read and left alone: nothing applies the mode from here.
  (void)json::text(root.get(), kAdvanced, "Network802_1XMode");
  return 0;
}

// The flag file of each VPN type.
struct VpnFlag {
  int type;
  const char* file;
  const char* content;
};
constexpr std::array kVpnFlags{VpnFlag{0, "/tmp/stop_vpn", "all"}, VpnFlag{1, "/tmp/start_vpn", "openvpn"},
                               VpnFlag{2, "/tmp/start_vpn", "l2tp"}};

int reload_l2tp() {
  json::Owned root = read_settings(kNetworkFile);
  if (root == nullptr) return -1;
  const int type = json::text_integer(root.get(), "NetworkVpn", "VpnType");
  for (const VpnFlag& f : kVpnFlags) {
    if (f.type != type) continue;
    if (FILE* out = std::fopen(f.file, "w")) {
      std::fputs(f.content, out);
      std::fclose(out);
    }
  }
  return 0;
}

int vpn(int op, int* flag) {
  json::Owned root = read_settings(kNetworkFile);
  if (root == nullptr) return 0;
  if (op == 0) {
    const int type = json::text_integer(root.get(), "NetworkVpn", "VpnType");
    if (flag != nullptr) *flag = type == 1 || type == 2 ? 1 : 0;
    return 0;
  }
  set_text(object_member(root.get(), "NetworkVpn"), "VpnType", flag != nullptr && *flag != 0 ? "1" : "0");
  write_gnl_config_json(kNetworkFile, root.get());
  reload_l2tp();
  return 0;
}

int lte(int op, int* flag) {
  json::Owned root = read_settings(kNetworkFile);
  if (root == nullptr) return 0;
  if (op == 0) {
    if (flag != nullptr) *flag = json::text_integer(root.get(), "Network4G", "enable");
    return 0;
  }
  const bool on = flag != nullptr && *flag != 0;
  set_text(object_member(root.get(), "Network4G"), "enable", on ? "1" : "0");
  run_shell(on ? "touch /tmp/4g_start" : "touch /tmp/4g_stop");
  write_gnl_config_json(kNetworkFile, root.get());
  return 0;
}

int l2tp_credentials(const char* lns, const char* user, const char* password) {
  FILE* in = std::fopen(kL2tpOptions, "r");
  if (in == nullptr) return -1;
  FILE* out = std::fopen(kL2tpTemporary, "w");
  if (out == nullptr) {
    std::fclose(in);
    return -1;
  }
  const int result = rewrite_l2tp_options(in, out, user, password);
  std::fclose(in);
  std::fclose(out);
  copy_file(kL2tpOptions, kL2tpTemporary);
  write_profile_string("lac eft-ipsec", "lns", lns != nullptr ? lns : "", kXl2tpdFile);
  return result;
}

}  // namespace
}  // namespace phonecore::network

using namespace phonecore::network;

extern "C" {

int api_config_advance_network_wanport_ipv4_dhcp(int op, int* dhcp, int* static_dns, char* dns1, char* dns2) noexcept {
  return op == 0 ? dhcp_read(dhcp, static_dns, dns1, dns2) : dhcp_write(dhcp, static_dns, dns1, dns2);
}
int api_config_advance_network_wanport_ipv4_static(int op, char* ip, char* netmask, char* gateway, char* dns1,
                                                   char* dns2) noexcept {
  return op == 0 ? static_read(ip, netmask, gateway, dns1, dns2) : static_write(ip, netmask, gateway, dns1, dns2);
}
int api_config_advance_network_wanport_ipv4_is_dhcp(void) noexcept { return is_dhcp(); }
int api_config_advance_network_nat(int op, int* stun_switch, char* server, char* port) noexcept {
  return nat(op, stun_switch, server, port);
}
int api_config_advance_network_vlan(int op, int* vlan_switch, char* vid, char* priority) noexcept {
  return vlan(op, vlan_switch, vid, priority);
}
int setStatus_vlan(json_object* advanced) noexcept { return status_vlan(advanced); }
int setNetworkAdvanced_vlan(json_object* advanced) noexcept { return advanced_vlan(advanced); }
int api_config_set_lldp(int enable, int interval) noexcept { return set_lldp(enable, interval); }
int api_config_get_lldp(int* enable, int* interval) noexcept { return get_lldp(enable, interval); }
int api_config_set_wired_802_1x(void) noexcept { return wired_802_1x(); }
int api_config_advance_network_vpn(int op, int* flag) noexcept { return vpn(op, flag); }
int check_and_reload_l2tp(void) noexcept { return reload_l2tp(); }
int api_config_advance_network_4g(int op, int* flag) noexcept { return lte(op, flag); }
int l2tp_channge_username_password(const char* lns, const char* user, const char* password) noexcept {
  return l2tp_credentials(lns, user, password);
}

}  // extern "C"
