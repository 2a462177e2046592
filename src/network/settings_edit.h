// The edits the network's setters make to their JSON files and to the
// L2TP options, apart from the reads and writes around them, so that each
// can be driven with any content.
#pragma once

#include <json-c/json.h>

#include <cstdio>
#include <string>

namespace phonecore::network {

// "wan" and "br0" (made, or replacing a value that isn't an object) take
// mode "dhcp", the static-DNS flag and both servers.
void edit_wan_dhcp(json_object* root, bool static_dns, const std::string& dns1, const std::string& dns2);

struct StaticAddress {
  std::string ip, netmask, gateway, dns1, dns2;
};
// "wan" and "br0" take mode "static_ip", the address, static DNS "1".
void edit_wan_static(json_object* root, const StaticAddress& address);

// "NetworkNAT": the switch as text, the server cleaned ('*' to '.', 63
// bytes at most), the port as given.
void edit_nat(json_object* root, int stun_switch, const char* server, const char* port);

// "NetworkAdvanced": the switch as text, the vid cleaned, the priority as
// stored ("0" to "7"). The object changed.
json_object* edit_vlan(json_object* root, int vlan_switch, const char* vid, const char* priority);

// The firewall's list of its mode ("mode" 0: the allow list, 1: the deny
// list) with the ports opened or closed; at most the maximum of ports.
// Whether the file is to be written back.
bool edit_firewall(json_object* root, const int* ports, int count, int open);

// The L2TP options, in lines of up to 127 bytes: a line holding "name "
// becomes "name USER", one holding "password " becomes "password
// PASSWORD" without a line end (the next line joins it); the rest as read.
// 0.
int rewrite_l2tp_options(FILE* in, FILE* out, const char* user, const char* password);

}  // namespace phonecore::network
