// Interface queries: addresses by socket ioctls and getifaddrs, gateways
// by "ip route" and small pipelines, the IPv6 route table, name servers and
// the 4G signal. Read-only; nothing here retries.

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "network/net_text.h"
#include "network/nic_names.h"
#include "phonecore/net_info.h"

namespace phonecore::network {
namespace {

constexpr const char* kRouteCommand = "ip route";
constexpr const char* kWlanRouteCommand = "ip route show dev wlan0";
constexpr const char* kWlanFallbackGateway = "192.168.0.1";  // 11 bytes, written unterminated
constexpr const char* kIpv6GatewayCommand = "route -A inet6 | grep ::/0 |  awk '{print $2}' | tail -n 1 ";
constexpr const char* kIpv6WebCommand = "ifconfig %s | grep Global | awk '{print $3}' ";
constexpr const char* kIpv6RouteFile = "/proc/net/ipv6_route";
constexpr const char* kDnsFile = "/etc/resolv.dnsmasq.conf";
constexpr const char* kSignalFile = "/tmp/power_4g.cfg";
constexpr const char* kMacFile = "/sys/class/net/eth0/address";
constexpr const char* kRtlDevice = "/dev/rtl_dev";
constexpr unsigned long kRtlStatusIoctl = 0x4004B9F4;
constexpr size_t kRouteLine = 512;  // lines of up to 511 bytes
constexpr size_t kDnsLine = 200;    // lines of up to 199 bytes
constexpr size_t kSignalBytes = 7;
constexpr int kMaxIpv6Addresses = 17;

// Copies text into a buffer of room bytes, cut and terminated.
void put_text(char* out, size_t room, std::string_view text) {
  const size_t n = text.size() < room - 1 ? text.size() : room - 1;
  std::memcpy(out, text.data(), n);
  out[n] = '\0';
}

// One interface ioctl on a fresh datagram socket; the name is cut at 15
// bytes. Nothing when the socket or the ioctl fails (errno tells which).
enum class IoctlFailure { kSocket, kIoctl };
struct IoctlResult {
  std::optional<ifreq> request;
  IoctlFailure failure = IoctlFailure::kIoctl;
};
IoctlResult interface_ioctl(const char* ifname, unsigned long op) {
  IoctlResult r;
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    r.failure = IoctlFailure::kSocket;
    return r;
  }
  ifreq req{};
  std::strncpy(req.ifr_name, ifname, IFNAMSIZ - 1);
  if (ioctl(fd, op, &req) == 0) r.request = req;
  close(fd);
  return r;
}

// The dotted address of an ifreq's sockaddr into out (16 bytes).
int put_ipv4(const sockaddr& sa, char* out) {
  char text[INET_ADDRSTRLEN];
  if (inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in&>(sa).sin_addr, text, sizeof text) == nullptr) return 0;
  put_text(out, PHONECORE_IPV4_TEXT_SIZE, text);
  return 1;
}

int ipv4_of(const char* ifname, char* out, unsigned long op) {
  if (ifname == nullptr || out == nullptr) return 0;
  IoctlResult r = interface_ioctl(ifname, op);
  if (!r.request) return 0;
  return put_ipv4(op == SIOCGIFNETMASK ? r.request->ifr_netmask : r.request->ifr_addr, out);
}

int mac_of(const char* ifname, char* out, bool colons, bool report) {
  if (ifname == nullptr || out == nullptr) return 0;
  IoctlResult r = interface_ioctl(ifname, SIOCGIFHWADDR);
  if (!r.request) {
    if (report)
      std::printf(
          r.failure == IoctlFailure::kSocket ? "get %s mac address socket creat error\n" : "get %s mac address error\n",
          ifname);
    return 0;
  }
  const auto* b = reinterpret_cast<const unsigned char*>(r.request->ifr_hwaddr.sa_data);
  std::snprintf(out, PHONECORE_MAC_TEXT_SIZE, colons ? "%02x:%02x:%02x:%02x:%02x:%02x" : "%02x%02x%02x%02x%02x%02x",
                b[0], b[1], b[2], b[3], b[4], b[5]);
  return 1;
}

// Runs a command and hands each line of its output (up to line_room - 1
// bytes a piece) to visit until it answers false. The pclose status, or
// nothing when popen failed ("popen error" printed).
template <typename Visit>
std::optional<int> each_output_line(const char* command, size_t line_room, Visit visit) {
  FILE* p = popen(command, "r");
  if (p == nullptr) {
    std::printf("popen error");
    return std::nullopt;
  }
  std::string line(line_room, '\0');
  while (std::fgets(line.data(), static_cast<int>(line_room), p) != nullptr)
    if (!visit(std::string_view(line.c_str()))) break;
  // The rest of the output is drained so that the command is not cut off
  // by a broken pipe.
  while (std::fgets(line.data(), static_cast<int>(line_room), p) != nullptr) {
  }
  return pclose(p);
}

// The gateway of a route listing: the third token of the first "default"
// line, else of the last line read. Nothing when no line came.
struct RouteScan {
  std::string last;
  bool found_default = false;
  bool any = false;
};
RouteScan scan_routes(const char* command) {
  RouteScan scan;
  each_output_line(command, kRouteLine, [&](std::string_view line) {
    scan.any = true;
    scan.last.assign(line);
    if (is_default_route(line)) {
      scan.found_default = true;
      return false;
    }
    return true;
  });
  return scan;
}

int route_gateway_into(char* gateway) {
  if (gateway == nullptr) return 0;
  RouteScan scan = scan_routes(kRouteCommand);
  if (!scan.any) return 0;
  // With no default route the last line's third token stands in.
  put_text(gateway, PHONECORE_NET_TEXT_SIZE, route_gateway(scan.last).value_or(""));
  return 1;
}

int wlan_gateway_into(char* gateway) {
  if (gateway == nullptr) return 0;
  RouteScan scan = scan_routes(kWlanRouteCommand);
  if (!scan.found_default) {
    std::memcpy(gateway, kWlanFallbackGateway, std::strlen(kWlanFallbackGateway));
    return 1;
  }
  put_text(gateway, PHONECORE_NET_TEXT_SIZE, route_gateway(scan.last).value_or(""));
  return 1;
}

// The first line of a pipeline's output, cut at CR or LF, "::" when none.
int first_line_into(const char* command, char* out) {
  std::optional<std::string> first;
  auto status = each_output_line(command, PHONECORE_NET_TEXT_SIZE, [&](std::string_view line) {
    first.emplace(line.substr(0, line.find_first_of("\r\n")));
    return false;
  });
  if (!status) return -1;
  if (out != nullptr) put_text(out, PHONECORE_NET_TEXT_SIZE, first && !first->empty() ? *first : "::");
  return *status;
}

int is_running(const char* ifname) {
  if (ifname == nullptr) return 0;
  IoctlResult r = interface_ioctl(ifname, SIOCGIFFLAGS);
  return r.request && (r.request->ifr_flags & IFF_RUNNING) ? 1 : 0;
}

int global_ipv6(const char* ifname, char* addr, int* prefix) {
  if (ifname == nullptr) return -1;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return -1;
  int count = 0;
  for (ifaddrs* i = list; i != nullptr && count < kMaxIpv6Addresses; i = i->ifa_next) {
    if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET6) continue;
    if (std::strcmp(i->ifa_name, ifname) != 0) continue;
    const in6_addr& a = reinterpret_cast<const sockaddr_in6*>(i->ifa_addr)->sin6_addr;
    if (IN6_IS_ADDR_LINKLOCAL(&a)) continue;
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, &a, text, sizeof text);
    int bits = 0;
    if (i->ifa_netmask != nullptr) {
      const auto* m =
          reinterpret_cast<const uint8_t*>(&reinterpret_cast<const sockaddr_in6*>(i->ifa_netmask)->sin6_addr);
      bits = prefix_length(std::span<const uint8_t, 16>(m, 16));
    }
    // Each address overwrites the last: the last one wins.
    if (addr != nullptr) put_text(addr, PHONECORE_NET_TEXT_SIZE, text);
    if (prefix != nullptr) *prefix = bits;
    std::printf("iface:%s [%d] %s,%d\n", ifname, count, text, bits);
    ++count;
  }
  freeifaddrs(list);
  return count;
}

int prefix_text(const char* ifname, char* out) {
  int bits = 0;
  const int count = global_ipv6(ifname, nullptr, &bits);
  if (out == nullptr) return 0;
  return std::snprintf(out, PHONECORE_PREFIX_TEXT_SIZE, "%d", count > 0 ? bits : 0);
}

int ipv6_gateway_of(const char* ifname, char* out, int size) {
  if (ifname == nullptr || out == nullptr || size < 1) return -1;
  FILE* f = std::fopen(kIpv6RouteFile, "r");
  if (f == nullptr) return -1;
  // The table is read under a lock where the file allows one (a read-only
  // descriptor of /proc takes none).
  lockf(fileno(f), F_LOCK, 0);
  char row[512];
  int result = -1;
  while (std::fgets(row, sizeof row, f) != nullptr) {
    auto route = parse_ipv6_route(row);
    if (!route || route->device != ifname || route->prefix_length != "00") continue;
    auto hop = next_hop_text(*route);
    if (!hop) continue;
    put_text(out, static_cast<size_t>(size), *hop);
    result = 0;
    break;
  }
  lockf(fileno(f), F_ULOCK, 0);
  std::fclose(f);
  return result;
}

// Name servers of the dnsmasq file that keep() accepts, into 64-byte
// slots, at most max.
template <typename Keep>
int read_dns(char (*servers)[PHONECORE_DNS_SLOT_SIZE], int max, int* count, Keep keep) {
  if (count != nullptr) *count = 0;
  FILE* f = std::fopen(kDnsFile, "r");
  if (f == nullptr) {
    std::printf("Failed opening %s file ", kDnsFile);
    return -1;
  }
  int n = 0;
  char line[kDnsLine];
  while (n < max && std::fgets(line, sizeof line, f) != nullptr) {
    if (line[0] == '#') continue;
    auto server = nameserver(line);
    if (!server || !keep(*server)) continue;
    if (servers != nullptr) put_text(servers[n], PHONECORE_DNS_SLOT_SIZE, *server);
    ++n;
  }
  std::fclose(f);
  if (count != nullptr) *count = n;
  return 0;
}

bool keep_ipv6_logged(const std::string& server) {
  const bool keep = keep_ipv6_server(server);
  std::printf(keep ? "dns#%s#\n" : "dns#%s# ignore\n", server.c_str());
  return keep;
}

int signal_strength() {
  int value = 99;  // no file: no signal
  if (FILE* f = std::fopen(kSignalFile, "r")) {
    char text[kSignalBytes + 1] = {};
    const size_t n = std::fread(text, 1, kSignalBytes, f);
    text[n] = '\0';
    value = std::atoi(text);
    std::fclose(f);
  }
  return signal_bars(value);
}

int net_information(const char* ifname, bool wan_for_ipv4, char* ip, char* mac, char* mask, int* link, char* ipv6,
                    char* prefix) {
  const char* v4 = ifname;
  if (wan_for_ipv4) {
    v4 = wan_name_started();
    if (v4 == nullptr) return -1;
  } else if (ifname == nullptr) {
    return -1;
  }
  int worked = 0;
  if (ip != nullptr) worked |= ipv4_of(v4, ip, SIOCGIFADDR);
  if (mac != nullptr) worked |= mac_of(v4, mac, true, true);
  if (mask != nullptr) worked |= ipv4_of(v4, mask, SIOCGIFNETMASK);
  // The link state is the IPv4 interface's: the WAN's for the first form.
  if (link != nullptr) *link = is_running(v4);
  if (ipv6 != nullptr && prefix != nullptr && ifname != nullptr) {
    global_ipv6(ifname, ipv6, nullptr);
    prefix_text(ifname, prefix);
  }
  return link != nullptr || worked ? 1 : 0;
}

int network_information(char* ip, char* mac, char* type) {
  if (mac != nullptr) {
    if (FILE* f = std::fopen(kMacFile, "r")) {
      char text[PHONECORE_MAC_TEXT_SIZE] = {};
      const size_t n = std::fread(text, 1, PHONECORE_MAC_TEXT_SIZE, f);
      std::fclose(f);
      std::memcpy(mac, text, n);
      mac[PHONECORE_MAC_TEXT_SIZE - 1] = '\0';
    }
  }
  const char* wan = wan_name_started();
  char address[PHONECORE_IPV4_TEXT_SIZE];
  if (wan != nullptr && ipv4_of(wan, address, SIOCGIFADDR) && is_running(wan)) {
    if (ip != nullptr) put_text(ip, PHONECORE_IPV4_TEXT_SIZE, address);
    if (type != nullptr) put_text(type, PHONECORE_NET_TYPE_SIZE, "ETHERNET");
  }
  return 0;
}

int wan_ip_ok() {
  const char* wan = wan_name_started();
  char address[PHONECORE_IPV4_TEXT_SIZE];
  if (wan == nullptr || !ipv4_of(wan, address, SIOCGIFADDR)) return -1;
  if (std::strcmp(address, "0.0.0.0") == 0 || std::strcmp(address, "127.0.0.1") == 0) return -1;
  return 1;
}

int copy_without_colons(const char* mac, size_t len, char* out) {
  if (mac == nullptr || out == nullptr) return 0;
  size_t n = 0;
  for (size_t i = 0; i < len && mac[i] != '\0'; ++i)
    if (mac[i] != ':') out[n++] = mac[i];
  out[n] = '\0';
  return 0;
}

int rtl_status(void* status) {
  const int fd = open(kRtlDevice, O_RDWR | O_CLOEXEC);
  if (fd < 0) return 0;
  const int r = ioctl(fd, kRtlStatusIoctl, status);
  close(fd);
  return r < 0 ? -1 : 0;
}

}  // namespace
}  // namespace phonecore::network

using namespace phonecore::network;

extern "C" {

int isNicAvailable(const char* ifname) noexcept { return is_running(ifname); }
int check_nic(const char* ifname) noexcept { return is_running(ifname) == 1 ? 0 : -1; }

int GetLocalMac(const char* ifname, char* mac) noexcept { return mac_of(ifname, mac, true, true); }
int GetLocalMac2(const char* ifname, char* mac) noexcept { return mac_of(ifname, mac, false, false); }
int mac_to_sn(const char* mac, char* sn) noexcept {
  return copy_without_colons(mac, mac != nullptr ? std::strlen(mac) : 0, sn);
}
int mac_remove_colon(const char* mac, int len, char* out) noexcept {
  return copy_without_colons(mac, len > 0 ? static_cast<size_t>(len) : 0, out);
}

int GetLocalIp(const char* ifname, char* ip) noexcept { return ipv4_of(ifname, ip, SIOCGIFADDR); }
int GetLocalNetMask(const char* ifname, char* mask) noexcept { return ipv4_of(ifname, mask, SIOCGIFNETMASK); }
int GetLocalGateWay(char* gateway) noexcept { return route_gateway_into(gateway); }
int GetLocalNetGateway(char* gateway) noexcept { return route_gateway_into(gateway); }
int GetLocalGateWay_wlan0(char* gateway) noexcept { return wlan_gateway_into(gateway); }
int GetLocalNetGateway_wlan0(char* gateway) noexcept { return wlan_gateway_into(gateway); }

int GetLocalNetInfomation(const char* ifname, char* ip, char* mac, char* mask, int* link, char* ipv6,
                          char* prefix) noexcept {
  return net_information(ifname, true, ip, mac, mask, link, ipv6, prefix);
}
int GetLocalNetInfomation2(const char* ifname, char* ip, char* mac, char* mask, int* link, char* ipv6,
                           char* prefix) noexcept {
  return net_information(ifname, false, ip, mac, mask, link, ipv6, prefix);
}
int GetNetworkInformation(char* ip, char* mac, char* type) noexcept { return network_information(ip, mac, type); }

int network_get_host_ipv6_gateway(char* gateway) noexcept { return first_line_into(kIpv6GatewayCommand, gateway); }
int net_get_ipv6_gateway2(const char*, const char* ifname, char* out, int size) noexcept {
  return ipv6_gateway_of(ifname, out, size);
}
int get_real_time_ntstatus_ipv6_gateway(const char* ifname, char* gateway) noexcept {
  ipv6_gateway_of(ifname, gateway, PHONECORE_NET_TEXT_SIZE);
  return 0;
}
int network_get_host_ipv6_for_web(const char* ifname, char* out) noexcept {
  if (ifname == nullptr) return -1;
  char command[128];
  std::snprintf(command, sizeof command, kIpv6WebCommand, std::string(ifname).substr(0, IFNAMSIZ - 1).c_str());
  return first_line_into(command, out);
}
int get_linklocal_ipv6addr(const char* ifname, char* addr, int* prefix) noexcept {
  return global_ipv6(ifname, addr, prefix);
}
int network_get_host_ipv6(const char* ifname, char* addr, int*) noexcept { return global_ipv6(ifname, addr, nullptr); }
int network_get_host_ipv6_prefix(const char* ifname, char* prefix) noexcept { return prefix_text(ifname, prefix); }
int cale_prefix_len(const unsigned char* mask) noexcept {
  return mask == nullptr ? 0 : prefix_length(std::span<const uint8_t, 16>(mask, 16));
}
int check_wanip_is_ok(void) noexcept { return wan_ip_ok(); }

int get_dns_servers(char (*servers)[PHONECORE_DNS_SLOT_SIZE], int max, int* count) noexcept {
  return read_dns(servers, max, count, [](const std::string& s) { return keep_ipv4_server(s); });
}
int get_dns_servers_ipv6(char (*servers)[PHONECORE_DNS_SLOT_SIZE], int max, int* count) noexcept {
  return read_dns(servers, max, count, keep_ipv6_logged);
}
int get_real_time_dns_servers_ipv6(char* dns1, char* dns2) noexcept {
  char servers[2][PHONECORE_DNS_SLOT_SIZE];
  int count = 0;
  read_dns(servers, 2, &count, keep_ipv6_logged);
  if (count > 0 && dns1 != nullptr) put_text(dns1, PHONECORE_DNS_SLOT_SIZE, servers[0]);
  if (count > 1 && dns2 != nullptr) put_text(dns2, PHONECORE_DNS_SLOT_SIZE, servers[1]);
  return 0;
}

int api_get_signal_strength_network_4g(void) noexcept { return signal_strength(); }
int read_net_status(void* status) noexcept { return rtl_status(status); }

}  // extern "C"
