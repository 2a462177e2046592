/* phonecore: read-only answers about the phone's network. Which interface
 * is the WAN, the LAN and the Wi-Fi comes from the network service
 * (loopback UDP 31001) and is cached by a background thread, so a name is
 * up to about five seconds old; addresses come from socket ioctls,
 * getifaddrs, /proc files and small shell pipelines. The library
 * configures no interface here, it only asks.
 *
 * Output buffers: where a function is given no size, the caller provides
 * the room named by the constants below; nothing is written past it. */
#ifndef PHONECORE_NET_INFO_H
#define PHONECORE_NET_INFO_H

#include <pthread.h>

#include "phonecore/export.h"

/* An interface name as the network service gives it (15 bytes and the
 * terminator). */
#define PHONECORE_NIC_NAME_SIZE 16
/* "aa:bb:cc:dd:ee:ff" and its terminator; without colons 13 suffice. */
#define PHONECORE_MAC_TEXT_SIZE 18
/* A dotted IPv4 address and its terminator. */
#define PHONECORE_IPV4_TEXT_SIZE 16
/* A gateway token of "ip route", an IPv6 address text or pipeline line. */
#define PHONECORE_NET_TEXT_SIZE 64
/* A prefix length as text ("64"). */
#define PHONECORE_PREFIX_TEXT_SIZE 8
/* "ETHERNET" and its terminator. */
#define PHONECORE_NET_TYPE_SIZE 16
/* One DNS server slot. */
#define PHONECORE_DNS_SLOT_SIZE 64

PHONECORE_BEGIN_DECLS

/* The refresher thread, set by the first client_getWANName. */
PHONECORE_API extern pthread_t nic_thread_id;

/* Asks the network service for the three names, at most once per two
 * seconds: a call while now is not past the last refresh + 1 s answers 0
 * and sends nothing. 0; -1 when no reply came. */
PHONECORE_API int client_update_nic_infor(void) PHONECORE_NOEXCEPT;
/* Operation 0x3004 to the network service: mode as 32 bits, then the
 * first 8 bytes of the vid text (89 bytes in all). 0 when a reply came,
 * else -1; the reply itself is not judged. */
PHONECORE_API int client_set_network_mode(int mode, const char *vid) PHONECORE_NOEXCEPT;
/* The WAN name. The first call starts the refresher and returns after its
 * first attempt, failed or not, with whatever is cached ("" before any
 * answer). Null only when the thread cannot start. */
PHONECORE_API char *client_getWANName(void) PHONECORE_NOEXCEPT;
/* The cached names; no thread is started. */
PHONECORE_API char *client_getWANName_web(void) PHONECORE_NOEXCEPT;
PHONECORE_API char *client_getLANName(void) PHONECORE_NOEXCEPT;
PHONECORE_API char *client_getWifiName(void) PHONECORE_NOEXCEPT;

/* 1 when the interface is running (IFF_RUNNING), else 0. */
PHONECORE_API int isNicAvailable(const char *ifname) PHONECORE_NOEXCEPT;
/* 0 when isNicAvailable says 1, else -1. */
PHONECORE_API int check_nic(const char *ifname) PHONECORE_NOEXCEPT;

/* The hardware address as "%02x:..:%02x" into mac
 * (PHONECORE_MAC_TEXT_SIZE); 1, or 0 with mac unchanged. */
PHONECORE_API int GetLocalMac(const char *ifname, char *mac) PHONECORE_NOEXCEPT;
/* The same without colons (13 bytes) and without failure messages. */
PHONECORE_API int GetLocalMac2(const char *ifname, char *mac) PHONECORE_NOEXCEPT;
/* Copies mac into sn dropping every ':'. 0. */
PHONECORE_API int mac_to_sn(const char *mac, char *sn) PHONECORE_NOEXCEPT;
/* Copies the first len bytes of mac into out dropping every ':'. 0. */
PHONECORE_API int mac_remove_colon(const char *mac, int len, char *out) PHONECORE_NOEXCEPT;

/* IPv4 address and mask in dotted text (PHONECORE_IPV4_TEXT_SIZE); 1, or 0
 * with the buffer unchanged. */
PHONECORE_API int GetLocalIp(const char *ifname, char *ip) PHONECORE_NOEXCEPT;
PHONECORE_API int GetLocalNetMask(const char *ifname, char *mask) PHONECORE_NOEXCEPT;
/* The gateway of "ip route": the third token of the first "default" line,
 * else of the last line read (PHONECORE_NET_TEXT_SIZE). 1; 0 when the
 * command gives no line or the buffer is null. */
PHONECORE_API int GetLocalGateWay(char *gateway) PHONECORE_NOEXCEPT;
PHONECORE_API int GetLocalNetGateway(char *gateway) PHONECORE_NOEXCEPT;
/* The same over "ip route show dev wlan0"; without a "default" line the
 * 11 bytes "192.168.0.1" are written, unterminated, and 1 returned. */
PHONECORE_API int GetLocalGateWay_wlan0(char *gateway) PHONECORE_NOEXCEPT;
PHONECORE_API int GetLocalNetGateway_wlan0(char *gateway) PHONECORE_NOEXCEPT;

/* IPv4 address, MAC and mask of the WAN (whatever ifname says), the link
 * state of ifname into *link, and, when both ipv6 and prefix are given,
 * ifname's global IPv6 address and its prefix length as text. Null buffers
 * are skipped. -1 when there is no WAN name; 1 when link was given or one
 * of the three IPv4 reads worked; else 0. */
PHONECORE_API int GetLocalNetInfomation(const char *ifname, char *ip, char *mac, char *mask, int *link, char *ipv6,
                                        char *prefix) PHONECORE_NOEXCEPT;
/* The same with every read on ifname; -1 for a null ifname. */
PHONECORE_API int GetLocalNetInfomation2(const char *ifname, char *ip, char *mac, char *mask, int *link, char *ipv6,
                                         char *prefix) PHONECORE_NOEXCEPT;
/* mac from /sys/class/net/eth0/address (PHONECORE_MAC_TEXT_SIZE); when the
 * WAN is up its address into ip and "ETHERNET" into type
 * (PHONECORE_NET_TYPE_SIZE), else both stay. 0. */
PHONECORE_API int GetNetworkInformation(char *ip, char *mac, char *type) PHONECORE_NOEXCEPT;

/* First line of "route -A inet6 | grep ::/0 | awk '{print $2}' | tail -n 1"
 * into gateway (PHONECORE_NET_TEXT_SIZE), "::" when nothing comes; the
 * pclose status. */
PHONECORE_API int network_get_host_ipv6_gateway(char *gateway) PHONECORE_NOEXCEPT;
/* The default IPv6 next hop of ifname from /proc/net/ipv6_route into out
 * (size bytes). 0; -1 for bad arguments or no such row. The first argument
 * is not used. */
PHONECORE_API int net_get_ipv6_gateway2(const char *unused, const char *ifname, char *out, int size) PHONECORE_NOEXCEPT;
/* net_get_ipv6_gateway2 into gateway (PHONECORE_NET_TEXT_SIZE); 0 whatever
 * it answered. */
PHONECORE_API int get_real_time_ntstatus_ipv6_gateway(const char *ifname, char *gateway) PHONECORE_NOEXCEPT;
/* First line of "ifconfig IF | grep Global | awk '{print $3}'" into out
 * (PHONECORE_NET_TEXT_SIZE), "::" when nothing comes; the pclose status. */
PHONECORE_API int network_get_host_ipv6_for_web(const char *ifname, char *out) PHONECORE_NOEXCEPT;
/* The IPv6 addresses of ifname that are not link-local (up to 17): the last
 * one into addr (PHONECORE_NET_TEXT_SIZE) and its prefix length into
 * *prefix. The count; -1 when the interfaces can't be read. */
PHONECORE_API int get_linklocal_ipv6addr(const char *ifname, char *addr, int *prefix) PHONECORE_NOEXCEPT;
/* The same, address only; the third argument is ignored. */
PHONECORE_API int network_get_host_ipv6(const char *ifname, char *addr, int *unused) PHONECORE_NOEXCEPT;
/* The prefix length of that address as "%d" ("0" without one) into prefix
 * (PHONECORE_PREFIX_TEXT_SIZE); the characters written. */
PHONECORE_API int network_get_host_ipv6_prefix(const char *ifname, char *prefix) PHONECORE_NOEXCEPT;
/* Bits of a 16-byte mask: per byte up to the first zero byte, 9 minus the
 * one-based position of its lowest set bit. */
PHONECORE_API int cale_prefix_len(const unsigned char *mask) PHONECORE_NOEXCEPT;
/* 1 when the WAN has an address other than "0.0.0.0" and "127.0.0.1"
 * (texts beginning so), else -1. */
PHONECORE_API int check_wanip_is_ok(void) PHONECORE_NOEXCEPT;

/* Name servers of /etc/resolv.dnsmasq.conf: IPv4 ones (not beginning
 * "127.0.0.1") or IPv6 ones, into slots of PHONECORE_DNS_SLOT_SIZE bytes, at
 * most max; the number into *count. 0; -1 (count 0) without the file. */
PHONECORE_API int get_dns_servers(char (*servers)[PHONECORE_DNS_SLOT_SIZE], int max, int *count) PHONECORE_NOEXCEPT;
PHONECORE_API int get_dns_servers_ipv6(char (*servers)[PHONECORE_DNS_SLOT_SIZE], int max,
                                       int *count) PHONECORE_NOEXCEPT;
/* The first two IPv6 servers into dns1 and dns2 (PHONECORE_DNS_SLOT_SIZE);
 * a buffer stays untouched when its server is absent. 0. */
PHONECORE_API int get_real_time_dns_servers_ipv6(char *dns1, char *dns2) PHONECORE_NOEXCEPT;

/* Bars 0 to 4 from /tmp/power_4g.cfg. */
PHONECORE_API int api_get_signal_strength_network_4g(void) PHONECORE_NOEXCEPT;
/* ioctl 0x4004B9F4 of "/dev/rtl_dev" with the caller's pointer; 0 also
 * when the device can't be opened, -1 when the ioctl fails. */
PHONECORE_API int read_net_status(void *status) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
