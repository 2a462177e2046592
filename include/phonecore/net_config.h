/* phonecore: the phone's IP, VLAN, NAT, LLDP, VPN and 4G settings. Each
 * call reads the JSON configuration, changes keys, writes it back and asks
 * the other processes to act (the broadcasts "start_network",
 * "reload_account", "startSomething", the network service's mode, flag
 * files); the library configures no interface itself.
 *
 * A getter and setter is one function whose first argument is the
 * operation: 0 reads into the arguments, anything else writes from them.
 * Read texts go into buffers of the room named below. */
#ifndef PHONECORE_NET_CONFIG_H
#define PHONECORE_NET_CONFIG_H

#include "phonecore/export.h"

struct json_object;

/* An address or DNS field of the WAN settings: 63 bytes and a terminator. */
#define PHONECORE_NET_ADDRESS_SIZE 64
/* A NAT or VLAN field: 64 bytes and a terminator. */
#define PHONECORE_NET_FIELD_SIZE 65

PHONECORE_BEGIN_DECLS

/* DHCP on the WAN. Write: dns1, dns2 (stars taken for dots, may be empty)
 * are checked; "wan" and "br0" get mode "dhcp", "staticdns" from
 * *static_dns and the DNS texts; the store is written, then
 * "start_network" and "reload_account" go out. *dhcp is only logged.
 * 0; 1 bad dns1; 2 bad dns2 (nothing written then). Read: from "wan",
 * *dhcp 1 for mode "dhcp", *static_dns 1 for "staticdns" "1", the DNS
 * texts (PHONECORE_NET_ADDRESS_SIZE). */
PHONECORE_API int api_config_advance_network_wanport_ipv4_dhcp(int op, int *dhcp, int *static_dns, char *dns1,
                                                               char *dns2) PHONECORE_NOEXCEPT;
/* A static address on the WAN. Write: 0; 3 bad ip, 4 bad netmask, 5 bad
 * gateway, 1 bad dns1, 2 bad dns2, checked in that order; an empty dns1
 * stores the gateway. Read: the five texts from "wan". */
PHONECORE_API int api_config_advance_network_wanport_ipv4_static(int op, char *ip, char *netmask, char *gateway,
                                                                 char *dns1, char *dns2) PHONECORE_NOEXCEPT;
/* 1 when the WAN's mode is "dhcp", else 0. */
PHONECORE_API int api_config_advance_network_wanport_ipv4_is_dhcp(void) PHONECORE_NOEXCEPT;
/* STUN settings in "default/internet.cfg"; a write applies nothing. 0. */
PHONECORE_API int api_config_advance_network_nat(int op, int *stun_switch, char *server, char *port) PHONECORE_NOEXCEPT;
/* The manual VLAN of the WAN; a write also sets "vlanid" of "status.cfg"
 * and hands the mode to the network service. 0. */
PHONECORE_API int api_config_advance_network_vlan(int op, int *vlan_switch, char *vid,
                                                  char *priority) PHONECORE_NOEXCEPT;
/* "vlanid" of "status.cfg" from a "NetworkAdvanced" object. 0. */
PHONECORE_API int setStatus_vlan(struct json_object *advanced) PHONECORE_NOEXCEPT;
/* The network service's mode from a "NetworkAdvanced" object, then
 * "start_network". 0. */
PHONECORE_API int setNetworkAdvanced_vlan(struct json_object *advanced) PHONECORE_NOEXCEPT;
/* LLDP on or off with its interval in seconds. 0. */
PHONECORE_API int api_config_set_lldp(int enable, int interval) PHONECORE_NOEXCEPT;
/* 0; -1 with *enable 0 and *interval 30 without the file or object. */
PHONECORE_API int api_config_get_lldp(int *enable, int *interval) PHONECORE_NOEXCEPT;
/* Reads the 802.1X mode and changes nothing. 0; -1 without the file. */
PHONECORE_API int api_config_set_wired_802_1x(void) PHONECORE_NOEXCEPT;
/* VPN on or off ("VpnType" "1" or "0"), then check_and_reload_l2tp; a read
 * gives 1 for VpnType 1 or 2. 0. */
PHONECORE_API int api_config_advance_network_vpn(int op, int *flag) PHONECORE_NOEXCEPT;
/* The flag file for the VPN of "network.cfg": /tmp/stop_vpn "all",
 * /tmp/start_vpn "openvpn" or "l2tp". 0; -1 without "network.cfg". */
PHONECORE_API int check_and_reload_l2tp(void) PHONECORE_NOEXCEPT;
/* 4G on or off, with /tmp/4g_start or /tmp/4g_stop. 0. */
PHONECORE_API int api_config_advance_network_4g(int op, int *flag) PHONECORE_NOEXCEPT;
/* The L2TP user and password in the PPP options and the LNS of xl2tpd.
 * 0; -1 when a file can't be opened. */
PHONECORE_API int l2tp_channge_username_password(const char *lns, const char *user,
                                                 const char *password) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
