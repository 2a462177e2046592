// The phone.cfg keys: one row per key, walked by the import (which member
// a key changes and which values it takes), the export (how a member is
// printed back) and phonectl's listing. Rows stand in the order in which
// the handler of their group tests them; the first row whose key matches
// wins.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace phonecore::phonecfg {

// The JSON object a member lives in. The network configuration is the
// configuration service's store 4096 ("network.cfg"); the others are files
// below /appconfigs.
enum class Target : uint8_t { kNone, kNetworkStore, kTr069, kInternet };

struct TargetFile {
  Target target;
  int category;      // 0: a file read by its name
  const char* path;  // relative to /appconfigs
};

inline constexpr std::array kTargetFiles{
    TargetFile{Target::kNetworkStore, 4096, "network.cfg"},
    TargetFile{Target::kTr069, 0, "tr069.cfg"},
    TargetFile{Target::kInternet, 0, "default/internet.cfg"},
};

// Which handler takes a key (the router decides by the key's text; the
// group says where its row belongs).
enum class Group : uint8_t { kNetwork };

// The test a value must pass before it is stored; a refused value changes
// nothing.
enum class Check : uint8_t {
  kAny,
  kZeroOrOne,    // exactly "0" or "1"
  kIpv4,         // is_ipv4_addr
  kOneOf,        // exactly one of the '|'-separated choices
  kDigitsRange,  // digits only, then low <= atoi(value) <= high
};

// How the stored member goes into the JSON object.
enum class Type : uint8_t { kText };

// How the export prints the key's line: "KEY = VALUE", the same line
// twice, or with "0" for a missing member (else "(null)").
enum class ExportForm : uint8_t { kSpaced, kSpacedTwice, kSpacedZeroWhenMissing };

struct Member {
  Target target = Target::kNone;
  const char* section = nullptr;
  const char* member = nullptr;
};

struct KeyRow {
  // The key, compared exactly; "<N>" stands for one index digit in the
  // numbered groups.
  std::string_view key;
  Group group;
  Member store;
  Member also;  // a second member given the same value, or none
  Check check;
  std::string_view choices;  // kOneOf
  int low;                   // kDigitsRange
  int high;
  Type type;
  ExportForm export_form;
};

// Row makers of the network group: one member, one test.
namespace rows {

constexpr KeyRow text(std::string_view key, Target t, const char* section, const char* member, Check check,
                      ExportForm form = ExportForm::kSpaced) {
  return KeyRow{key, Group::kNetwork, {t, section, member}, {}, check, {}, 0, 0, Type::kText, form};
}
constexpr KeyRow one_of(std::string_view key, Target t, const char* section, const char* member,
                        std::string_view choices, ExportForm form = ExportForm::kSpaced) {
  return KeyRow{key, Group::kNetwork, {t, section, member}, {}, Check::kOneOf, choices, 0, 0, Type::kText, form};
}
constexpr KeyRow digits(std::string_view key, Target t, const char* section, const char* member, int low,
                        int high) {
  return KeyRow{key, Group::kNetwork, {t, section, member}, {}, Check::kDigitsRange, {}, low, high, Type::kText,
                ExportForm::kSpaced};
}

}  // namespace rows

// Network handler. Every key containing "Network" or "Static" comes here;
// "Static" marks keys whose change needs a network restart, also where the
// setting itself is none (TR-069).
inline constexpr std::array kKeyTable{
    rows::one_of("Network.Wan.mode", Target::kNetworkStore, "wan", "mode", "dhcp|static_ip"),
    rows::text("Network.Wan.ipaddr", Target::kNetworkStore, "wan", "ipaddr", Check::kIpv4),
    rows::text("Network.Wan.netmask", Target::kNetworkStore, "wan", "netmask", Check::kIpv4),
    rows::text("Network.Wan.gateway", Target::kNetworkStore, "wan", "gateway", Check::kIpv4),
    rows::text("Network.Wan.dns1", Target::kNetworkStore, "wan", "dns1", Check::kIpv4),
    rows::text("Network.Wan.dns2", Target::kNetworkStore, "wan", "dns2", Check::kIpv4),
    rows::text("Static.TR069.Enable", Target::kTr069, "local", "enable", Check::kZeroOrOne),
    rows::text("Static.NatStun.Enable", Target::kInternet, "NetworkNAT", "NatSTUNSwitch", Check::kZeroOrOne),
    rows::text("Static.NatStun.Server", Target::kInternet, "NetworkNAT", "NatSTUNServer", Check::kAny),
    rows::text("Static.NatStun.Port", Target::kInternet, "NetworkNAT", "NatSTUNPort", Check::kAny),
    rows::one_of("Static.Network.PcPort.Enable", Target::kInternet, "NetworkPCPort", "PCPortActive",
                 "auto|disabled", ExportForm::kSpacedZeroWhenMissing),
    rows::text("Static.Network.Vlan.Wan.Enable", Target::kInternet, "NetworkAdvanced", "VlanWanSwitch",
               Check::kZeroOrOne, ExportForm::kSpacedTwice),
    rows::digits("Static.Network.Vlan.Wan.Vid", Target::kInternet, "NetworkAdvanced", "VlanWanVid", 1, 4094),
    rows::digits("Static.Network.Vlan.Wan.Priority", Target::kInternet, "NetworkAdvanced", "VlanWanPriority", 0, 7),
    rows::text("Static.Network.Vlan.Pc.Enable", Target::kInternet, "NetworkAdvanced", "VlanPcSwitch",
               Check::kZeroOrOne),
    rows::digits("Static.Network.Vlan.Pc.Vid", Target::kInternet, "NetworkAdvanced", "VlanPcVid", 1, 4094),
    rows::digits("Static.Network.Vlan.Pc.Priority", Target::kInternet, "NetworkAdvanced", "VlanPcPriority", 0, 7),
    // The VPN switch also feeds the type field of the network
    // configuration: an on-off value as the type, on purpose; the other
    // readers of that field expect 0 or 1 there.
    KeyRow{"Static.Network.Vpn.Enable",
           Group::kNetwork,
           {Target::kInternet, "NetworkAdvanced", "VpnSwitch"},
           {Target::kNetworkStore, "NetworkVpn", "VpnType"},
           Check::kZeroOrOne,
           {},
           0,
           0,
           Type::kText,
           ExportForm::kSpaced},
};

constexpr size_t count_of(Group group) {
  return static_cast<size_t>(
      std::count_if(kKeyTable.begin(), kKeyTable.end(), [group](const KeyRow& r) { return r.group == group; }));
}

static_assert(count_of(Group::kNetwork) == 18);
static_assert(kKeyTable.size() == 18);

// Whether key matches a row's key; "<N>" in the row takes one digit of
// key, given back in *index (untouched for an exact key).
constexpr bool key_matches(std::string_view pattern, std::string_view key, int* index = nullptr) {
  constexpr std::string_view kIndex = "<N>";
  const size_t at = pattern.find(kIndex);
  if (at == std::string_view::npos) return pattern == key;
  if (key.size() != pattern.size() - kIndex.size() + 1) return false;
  if (key.substr(0, at) != pattern.substr(0, at)) return false;
  if (key.substr(at + 1) != pattern.substr(at + kIndex.size())) return false;
  const char digit = key[at];
  if (digit < '0' || digit > '9') return false;
  if (index != nullptr) *index = digit - '0';
  return true;
}

// The first row of the group whose key matches, or null.
inline const KeyRow* find_key(Group group, std::string_view key, int* index = nullptr) {
  for (const KeyRow& row : kKeyTable)
    if (row.group == group && key_matches(row.key, key, index)) return &row;
  return nullptr;
}

// Whether value passes the row's test.
bool value_accepted(const KeyRow& row, const char* value);

// The name of a target for listings: the file below /appconfigs.
constexpr const char* target_path(Target target) {
  for (const TargetFile& f : kTargetFiles)
    if (f.target == target) return f.path;
  return "";
}

}  // namespace phonecore::phonecfg
