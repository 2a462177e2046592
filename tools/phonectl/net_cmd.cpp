// phonectl net, web, firewall, setting: the network as the library sees
// it, its stored settings, the web server and the firewall's port lists.
#include <net/if.h>
#include <phonecore/net_config.h>
#include <phonecore/net_info.h>
#include <phonecore/web_config.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "phonectl.h"

namespace phonectl {
namespace {

json_object *str(const char *s) { return json_object_new_string(s != nullptr ? s : ""); }

// "get" or "set" as the first word: 0 or 1; -1 after a usage error.
int operation(Args args, const char *usage) {
  const std::string_view op = args.empty() ? "" : args[0];
  if (op == "get") return 0;
  if (op == "set") return 1;
  fail(kUsage, std::string("usage: phonectl ") + usage);
  return -1;
}

bool whole(const char *text, long low, long high, int &out, const char *what) {
  long v = 0;
  if (!parse_int(text, low, high, v)) {
    fail(kUsage, std::string(what) + " is a whole number from " + std::to_string(low) + " to " + std::to_string(high));
    return false;
  }
  out = static_cast<int>(v);
  return true;
}

// A writable copy of a text argument, as the setters take char *.
struct Text {
  explicit Text(const char *from) {
    const size_t n = from != nullptr ? strnlen(from, sizeof room - 1) : 0;
    if (n > 0) std::memcpy(room, from, n);
    room[n] = '\0';
  }
  char room[PHONECORE_NET_FIELD_SIZE];
};

int net_names(Context &ctx, Args) {
  const int r = client_update_nic_infor();
  json_object *o = json_object_new_object();
  json_object_object_add(o, "wan", str(client_getWANName_web()));
  json_object_object_add(o, "lan", str(client_getLANName()));
  json_object_object_add(o, "wifi", str(client_getWifiName()));
  print(ctx, o);
  return r == 0 ? kOk : fail(kRefused, "the network service did not answer");
}

int net_show(Context &ctx, Args args) {
  std::string name;
  if (!args.empty()) {
    name = args[0];
  } else {
    client_update_nic_infor();
    name = client_getWANName_web();
  }
  if (name.empty()) return fail(kRefused, "no WAN name from the network service");
  char ip[PHONECORE_IPV4_TEXT_SIZE] = "", mask[PHONECORE_IPV4_TEXT_SIZE] = "", mac[PHONECORE_MAC_TEXT_SIZE] = "";
  char ipv6[PHONECORE_NET_TEXT_SIZE] = "", prefix[PHONECORE_PREFIX_TEXT_SIZE] = "";
  int link = 0;
  GetLocalNetInfomation2(name.c_str(), ip, mac, mask, &link, ipv6, prefix);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "interface", str(name.c_str()));
  json_object_object_add(o, "ip", str(ip));
  json_object_object_add(o, "netmask", str(mask));
  json_object_object_add(o, "mac", str(mac));
  json_object_object_add(o, "link", json_object_new_int(link));
  json_object_object_add(o, "ipv6", str(ipv6));
  json_object_object_add(o, "prefix", str(prefix));
  print(ctx, o);
  return if_nametoindex(name.c_str()) != 0 ? kOk : fail(kRefused, "no interface " + name);
}

int net_gw(Context &ctx, Args) {
  char v4[PHONECORE_NET_TEXT_SIZE] = "", v6[PHONECORE_NET_TEXT_SIZE] = "";
  GetLocalGateWay(v4);
  network_get_host_ipv6_gateway(v6);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "gateway", str(v4));
  json_object_object_add(o, "ipv6", str(v6));
  print(ctx, o);
  return kOk;
}

int net_dns(Context &ctx, Args) {
  constexpr int kMax = 8;
  char servers[kMax][PHONECORE_DNS_SLOT_SIZE];
  json_object *o = json_object_new_object();
  int count = 0;
  const int r = get_dns_servers(servers, kMax, &count);
  json_object *v4 = json_object_new_array();
  for (int i = 0; i < count; ++i) json_object_array_add(v4, str(servers[i]));
  get_dns_servers_ipv6(servers, kMax, &count);
  json_object *v6 = json_object_new_array();
  for (int i = 0; i < count; ++i) json_object_array_add(v6, str(servers[i]));
  json_object_object_add(o, "ipv4", v4);
  json_object_object_add(o, "ipv6", v6);
  print(ctx, o);
  return r == 0 ? kOk : fail(kRefused, "no name-server file");
}

int net_signal(Context &ctx, Args) {
  json_object *o = json_object_new_object();
  json_object_object_add(o, "bars", json_object_new_int(api_get_signal_strength_network_4g()));
  print(ctx, o);
  return kOk;
}

int net_mode(Context &ctx, Args args) {
  int mode = 0;
  if (!whole(args[0], -2147483647, 2147483647, mode, "MODE")) return kUsage;
  const int r = client_set_network_mode(mode, args.size() > 1 ? args[1] : "");
  json_object *o = json_object_new_object();
  json_object_object_add(o, "result", json_object_new_int(r));
  print(ctx, o);
  return r == 0 ? kOk : fail(kRefused, "the network service did not answer");
}

// The write refusals of the address setters, by result.
constexpr const char *kRefusals[] = {"",
                                     "dns1 is no address",
                                     "dns2 is no address",
                                     "the address is no address",
                                     "the netmask is no address",
                                     "the gateway is no address"};

int refused_or_ok(int r) {
  if (r == 0) return kOk;
  return fail(kRefused, r > 0 && r < 6 ? kRefusals[r] : "refused");
}

int net_dhcp(Context &ctx, Args args) {
  const int op = operation(args, "net dhcp get | set STATIC_DNS [DNS1 [DNS2]]");
  if (op < 0) return kUsage;
  int dhcp = 1, static_dns = 0;
  char dns1[PHONECORE_NET_ADDRESS_SIZE] = "", dns2[PHONECORE_NET_ADDRESS_SIZE] = "";
  if (op == 1) {
    if (args.size() < 2 || args.size() > 4 || !whole(args[1], 0, 1, static_dns, "STATIC_DNS")) return kUsage;
    Text d1(args.size() > 2 ? args[2] : ""), d2(args.size() > 3 ? args[3] : "");
    return refused_or_ok(api_config_advance_network_wanport_ipv4_dhcp(1, &dhcp, &static_dns, d1.room, d2.room));
  }
  api_config_advance_network_wanport_ipv4_dhcp(0, &dhcp, &static_dns, dns1, dns2);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "dhcp", json_object_new_int(dhcp));
  json_object_object_add(o, "staticdns", json_object_new_int(static_dns));
  json_object_object_add(o, "dns1", str(dns1));
  json_object_object_add(o, "dns2", str(dns2));
  print(ctx, o);
  return kOk;
}

int net_static(Context &ctx, Args args) {
  const int op = operation(args, "net static get | set IP NETMASK GATEWAY [DNS1 [DNS2]]");
  if (op < 0) return kUsage;
  if (op == 1) {
    if (args.size() < 4 || args.size() > 6)
      return fail(kUsage, "usage: phonectl net static set IP NETMASK GATEWAY [DNS1 [DNS2]]");
    Text ip(args[1]), mask(args[2]), gw(args[3]), d1(args.size() > 4 ? args[4] : ""),
        d2(args.size() > 5 ? args[5] : "");
    return refused_or_ok(
        api_config_advance_network_wanport_ipv4_static(1, ip.room, mask.room, gw.room, d1.room, d2.room));
  }
  char f[5][PHONECORE_NET_ADDRESS_SIZE] = {};
  api_config_advance_network_wanport_ipv4_static(0, f[0], f[1], f[2], f[3], f[4]);
  json_object *o = json_object_new_object();
  const char *names[] = {"ip", "netmask", "gateway", "dns1", "dns2"};
  for (int i = 0; i < 5; ++i) json_object_object_add(o, names[i], str(f[i]));
  json_object_object_add(o, "dhcp", json_object_new_int(api_config_advance_network_wanport_ipv4_is_dhcp()));
  print(ctx, o);
  return kOk;
}

// The three getter-setters of a switch and two texts.
int switch_and_two(Context &ctx, Args args, const char *usage, int (*call)(int, int *, char *, char *),
                   const char *first, const char *second) {
  const int op = operation(args, usage);
  if (op < 0) return kUsage;
  int on = 0;
  if (op == 1) {
    if (args.size() != 4 || !whole(args[1], -2147483647, 2147483647, on, "SWITCH"))
      return fail(kUsage, std::string("usage: phonectl ") + usage);
    Text a(args[2]), b(args[3]);
    call(1, &on, a.room, b.room);
    return kOk;
  }
  char a[PHONECORE_NET_FIELD_SIZE] = "", b[PHONECORE_NET_FIELD_SIZE] = "";
  call(0, &on, a, b);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "switch", json_object_new_int(on));
  json_object_object_add(o, first, str(a));
  json_object_object_add(o, second, str(b));
  print(ctx, o);
  return kOk;
}

int net_nat(Context &ctx, Args args) {
  return switch_and_two(ctx, args, "net nat get | set SWITCH SERVER PORT", api_config_advance_network_nat, "server",
                        "port");
}
int net_vlan(Context &ctx, Args args) {
  return switch_and_two(ctx, args, "net vlan get | set SWITCH VID PRIORITY", api_config_advance_network_vlan, "vid",
                        "priority");
}

int net_lldp(Context &ctx, Args args) {
  const int op = operation(args, "net lldp get | set ENABLE INTERVAL");
  if (op < 0) return kUsage;
  int enable = 0, interval = 0;
  if (op == 1) {
    if (args.size() != 3 || !whole(args[1], 0, 1, enable, "ENABLE") ||
        !whole(args[2], 0, 2147483647, interval, "INTERVAL"))
      return kUsage;
    api_config_set_lldp(enable, interval);
    return kOk;
  }
  const int r = api_config_get_lldp(&enable, &interval);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "enable", json_object_new_int(enable));
  json_object_object_add(o, "interval", json_object_new_int(interval));
  print(ctx, o);
  return r == 0 ? kOk : fail(kRefused, "no default/internet.cfg or no NetworkAdvanced (the defaults are shown)");
}

int flag_command(Context &ctx, Args args, const char *usage, int (*call)(int, int *)) {
  const int op = operation(args, usage);
  if (op < 0) return kUsage;
  int flag = 0;
  if (op == 1) {
    if (args.size() != 2 || !whole(args[1], 0, 1, flag, "FLAG")) return kUsage;
    call(1, &flag);
    return kOk;
  }
  call(0, &flag);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "flag", json_object_new_int(flag));
  print(ctx, o);
  return kOk;
}
int net_vpn(Context &ctx, Args args) {
  return flag_command(ctx, args, "net vpn get | set FLAG", api_config_advance_network_vpn);
}
int net_4g(Context &ctx, Args args) {
  return flag_command(ctx, args, "net 4g get | set FLAG", api_config_advance_network_4g);
}

int net_l2tp(Context &, Args args) {
  return l2tp_channge_username_password(args[0], args[1], args[2]) == 0
             ? kOk
             : fail(kRefused, "the L2TP options file can't be read or written");
}

int web_get(Context &ctx, Args) {
  int a = 0, b = 0, c = 0, d = 0;
  getWebType(&a, &b, &c, &d);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "http", json_object_new_int(a));
  json_object_object_add(o, "https", json_object_new_int(b));
  json_object_object_add(o, "http_port", json_object_new_int(c));
  json_object_object_add(o, "https_port", json_object_new_int(d));
  print(ctx, o);
  return kOk;
}

int web_set(Context &ctx, Args args) {
  int v[4] = {};
  if (!whole(args[0], 0, 1, v[0], "HTTP") || !whole(args[1], 0, 1, v[1], "HTTPS") ||
      !whole(args[2], 1, 65535, v[2], "HTTP_PORT") || !whole(args[3], 1, 65535, v[3], "HTTPS_PORT"))
    return kUsage;
  setWebType(v[0], v[1], v[2], v[3]);
  return web_get(ctx, args);
}

int web_port(Context &ctx, Args args) {
  int http = 0, https = 0;
  if (args.size() == 2) {
    if (!whole(args[0], 1, 65535, http, "HTTP") || !whole(args[1], 1, 65535, https, "HTTPS")) return kUsage;
    change_httpd_port(http, https);
  } else if (!args.empty()) {
    return fail(kUsage, "usage: phonectl web port [HTTP HTTPS]");
  }
  get_httpd_port(&http, &https);
  json_object *o = json_object_new_object();
  json_object_object_add(o, "http_port", json_object_new_int(http));
  json_object_object_add(o, "https_port", json_object_new_int(https));
  print(ctx, o);
  return kOk;
}

int web_wan_allow(Context &, Args args) {
  int value = 0;
  if (!whole(args[0], 0, 1, value, "VALUE")) return kUsage;
  httpd_wan_allow(value);
  return kOk;
}

int firewall(Context &, Args args, int open) {
  std::vector<int> ports;
  for (char *a : args) {
    int p = 0;
    if (!whole(a, 0, 65535, p, "PORT")) return kUsage;
    ports.push_back(p);
  }
  firewall_set(ports.data(), static_cast<int>(ports.size()), open);
  return kOk;
}
int firewall_open(Context &ctx, Args args) { return firewall(ctx, args, 1); }
int firewall_close(Context &ctx, Args args) { return firewall(ctx, args, 0); }

// The one-key settings: the setter with a value, the getter without.
struct OneKey {
  int (*set)(int);
  int (*get)(void);
};
int one_key(Context &ctx, Args args, const OneKey &k, const char *name) {
  if (!args.empty()) {
    int value = 0;
    if (!whole(args[0], -2147483647, 2147483647, value, "VALUE")) return kUsage;
    if (k.set(value) != 0) return fail(kRefused, "its file can't be read");
  }
  json_object *o = json_object_new_object();
  json_object_object_add(o, name, json_object_new_int(k.get()));
  print(ctx, o);
  return kOk;
}
int setting_redial(Context &ctx, Args args) {
  return one_key(ctx, args, {redial_del_ontime_set, redial_del_ontime_get}, "redial");
}
int setting_keytone(Context &ctx, Args args) {
  return one_key(ctx, args, {keytone_mode_set, keytone_mode_get}, "keytone");
}
int setting_wallpaper(Context &ctx, Args args) {
  return one_key(ctx, args, {setWallPaperIndex, getWallPaperIndex}, "wallpaper");
}

constexpr Command kCommands[] = {
    {"net", "names", "net names", "ask the network service for the WAN, LAN and Wi-Fi names", 0, 0, net_names},
    {"net", "show", "net show [IF]", "address, netmask, MAC, link and global IPv6 address of IF (the WAN)", 0, 1,
     net_show},
    {"net", "gw", "net gw", "the IPv4 default gateway and the IPv6 one as the phone reads them", 0, 0, net_gw},
    {"net", "dns", "net dns", "the phone's name servers, IPv4 and IPv6", 0, 0, net_dns},
    {"net", "signal", "net signal", "the 4G signal in bars, 0 to 4", 0, 0, net_signal},
    {"net", "mode", "net mode MODE [VID]", "hand the network service a mode (2: VLAN) and a vid", 1, 2, net_mode},
    {"net", "dhcp", "net dhcp get | set STATIC_DNS [DNS1 [DNS2]]",
     "the WAN by DHCP, with or without its own name servers; a write starts the network", 1, 4, net_dhcp},
    {"net", "static", "net static get | set IP NETMASK GATEWAY [DNS1 [DNS2]]",
     "a static WAN address ('*' may stand for '.'); a write starts the network", 1, 6, net_static},
    {"net", "nat", "net nat get | set SWITCH SERVER PORT", "the STUN switch, server and port", 1, 4, net_nat},
    {"net", "vlan", "net vlan get | set SWITCH VID PRIORITY",
     "the WAN's VLAN; a write tells the network service and starts the network", 1, 4, net_vlan},
    {"net", "lldp", "net lldp get | set ENABLE INTERVAL",
     "LLDP on or off and its interval; off undoes the VLAN it learnt", 1, 3, net_lldp},
    {"net", "vpn", "net vpn get | set FLAG", "the VPN flag; a write raises the VPN's flag file", 1, 2, net_vpn},
    {"net", "4g", "net 4g get | set FLAG", "the 4G flag; a write starts or stops 4G", 1, 2, net_4g},
    {"net", "l2tp", "net l2tp LNS USER PASSWORD", "the L2TP server, user and password in their files", 3, 3, net_l2tp},
    {"web", "get", "web get", "the web server's switches and ports", 0, 0, web_get},
    {"web", "set", "web set HTTP HTTPS HTTP_PORT HTTPS_PORT",
     "switch and move the web server; a change restarts it (every lighttpd is killed)", 4, 4, web_set},
    {"web", "port", "web port [HTTP HTTPS]", "the stored web ports, or store new ones and add the server port", 0, 2,
     web_port},
    {"web", "wan-allow", "web wan-allow VALUE", "allow (1) or refuse (0) the web server on the WAN; runs firewall.sh",
     1, 1, web_wan_allow},
    {"firewall", "open", "firewall open PORT...", "open TCP ports in the firewall's list of its mode", 1, -1,
     firewall_open},
    {"firewall", "close", "firewall close PORT...", "close TCP ports in the firewall's list of its mode", 1, -1,
     firewall_close},
    {"setting", "redial", "setting redial [VALUE]", "the redial setting of system.cfg", 0, 1, setting_redial},
    {"setting", "keytone", "setting keytone [VALUE]", "the key tone setting of system.cfg", 0, 1, setting_keytone},
    {"setting", "wallpaper", "setting wallpaper [INDEX]", "the wallpaper index of hal.cfg", 0, 1, setting_wallpaper},
};

}  // namespace

std::span<const Command> net_commands() { return kCommands; }

}  // namespace phonectl
