// The network calls in the phone box, 10,000 calls each, beside the floor
// of the same work done by hand in the same run:
//   GetLocalIp              socket + SIOCGIFADDR + inet_ntop + close
//   get_linklocal_ipv6addr  a bare getifaddrs walk
//   client_set_network_mode the raw exchange with the network service
//   the static address write   the raw configuration exchanges (read and
//                              write of network.cfg) plus json-c's parse
//                              and print, plus two raw sends to 30101
// Run: box/phonebox run --bin BUILD/sim -- BUILD/bench/net_bench

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <json-c/json.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "bench/support/timing.h"
#include "bus/bus_wire.h"
#include "bus/vocabulary.h"
#include "config/gnl_frame.h"
#include "phonecore/net_config.h"
#include "phonecore/net_info.h"
#include "support/udp_client.h"

namespace bus = phonecore::bus;
using namespace phonecore::config;
using phonecore::bench::report;
using phonecore::bench::Stats;
using phonecore::testing::UdpClient;

namespace {

constexpr int kCalls = 10000;
constexpr int kWriteCalls = 2000;  // each write is two exchanges and two sends

bool raw_ipv4(const char* ifname, char* out) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  ifreq req{};
  std::strncpy(req.ifr_name, ifname, IFNAMSIZ - 1);
  const bool ok =
      ioctl(fd, SIOCGIFADDR, &req) == 0 && inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(&req.ifr_addr)->sin_addr,
                                                     out, PHONECORE_NET_TEXT_SIZE) != nullptr;
  close(fd);
  return ok;
}

bool raw_ipv6_walk(const char* ifname, char* out) {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return false;
  int count = 0;
  for (ifaddrs* a = list; a != nullptr; a = a->ifa_next) {
    if (a->ifa_addr == nullptr || a->ifa_addr->sa_family != AF_INET6 || std::strcmp(a->ifa_name, ifname) != 0) continue;
    const auto* in6 = reinterpret_cast<sockaddr_in6*>(a->ifa_addr);
    if (IN6_IS_ADDR_LINKLOCAL(&in6->sin6_addr)) continue;
    inet_ntop(AF_INET6, &in6->sin6_addr, out, PHONECORE_NET_TEXT_SIZE);
    ++count;
  }
  freeifaddrs(list);
  return count > 0;
}

std::vector<uint8_t> frame_bytes(const GnlConfigRecord& r) {
  const auto* b = reinterpret_cast<const uint8_t*>(&r);
  return {b, b + gnl_datagram_size(r.data_length)};
}

std::vector<uint8_t> command_packet(const char* name) {
  const std::string text = std::string("{\"cmd\":\"") + name + "\"}";
  bus::BusPacketHeader h{bus::kPacketMagic,
                         0,
                         bus::kMsgtypeCommand,
                         bus::kKindCommand,
                         bus::kBusIdAll,
                         0,
                         static_cast<uint32_t>(text.size())};
  std::vector<uint8_t> out(sizeof h + text.size() + 1, 0);
  std::memcpy(out.data(), &h, sizeof h);
  std::memcpy(out.data() + sizeof h, text.data(), text.size());
  return out;
}

// The floor and the call in alternating blocks of 500, so that a change of
// the machine's load falls on both alike; a call that returns false is
// counted as failed, not timed.
template <typename Floor, typename Call>
std::pair<Stats, Stats> paired(int n, Floor&& floor, Call&& call) {
  std::vector<double> floor_us, call_us;
  int floor_failed = 0, call_failed = 0;
  auto block = [](auto& f, std::vector<double>& us, int& failed) {
    for (int i = 0; i < 500; ++i) {
      const auto t0 = phonecore::bench::Clock::now();
      const bool ok = f();
      const double took = phonecore::bench::since_us(t0);
      if (ok) us.push_back(took);
      else ++failed;
    }
  };
  for (int done = 0; done < n; done += 500) {
    block(floor, floor_us, floor_failed);
    block(call, call_us, call_failed);
  }
  return {phonecore::bench::summarize(std::move(floor_us), floor_failed),
          phonecore::bench::summarize(std::move(call_us), call_failed)};
}

}  // namespace

int main() {
  // The library's traces go to its standard output; the figures to a copy
  // of it made before that is sent away.
  std::fflush(stdout);
  FILE* out = fdopen(dup(STDOUT_FILENO), "w");
  if (out == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
  std::fprintf(out, "network calls, %d each (p50 ratio against the floor of the same run)\n", kCalls);
  char text[PHONECORE_NET_TEXT_SIZE];

  const auto [ip_floor, ip] = paired(
      kCalls, [&] { return raw_ipv4("eth0", text); }, [&] { return GetLocalIp("eth0", text) == 1; });
  report(out, "socket + SIOCGIFADDR + inet_ntop + close", ip_floor);
  report(out, "GetLocalIp(eth0)  (goal 1.15x)", ip, &ip_floor);

  int prefix = 0;
  const auto [walk_floor, walk] = paired(
      kCalls, [&] { return raw_ipv6_walk("eth0", text); },
      [&] { return get_linklocal_ipv6addr("eth0", text, &prefix) > 0; });
  report(out, "getifaddrs walk", walk_floor);
  report(out, "get_linklocal_ipv6addr(eth0)  (goal 1.2x)", walk, &walk_floor);

  static GnlConfigRecord mode{};
  mode.magic = kGnlMagic;
  mode.category = kCategoryNic;
  mode.operation = kNicSetMode;
  mode.format = kFormatRaw;
  NicModeData data{};
  data.mode = 2;
  std::memcpy(data.vid, "100", 3);
  std::memcpy(mode.data, &data, sizeof data);
  mode.data_length = sizeof data;
  const std::vector<uint8_t> mode_bytes = frame_bytes(mode);
  const auto [mode_floor, mode_call] = paired(
      kCalls,
      [&] {
        UdpClient c;
        return c.exchange(kNetworkPort, mode_bytes, 5000).has_value();
      },
      [] { return client_set_network_mode(2, "100") == 0; });
  report(out, "raw mode exchange with the network service", mode_floor);
  report(out, "client_set_network_mode(2, \"100\")  (goal 1.1x)", mode_call, &mode_floor);

  // The static write's floor: read network.cfg, parse, print, write it,
  // and the two commands to the message server's sessionless port.
  static GnlConfigRecord read{};
  read.magic = kGnlMagic;
  read.category = 4096;
  read.operation = kOperationRead;
  const std::vector<uint8_t> read_bytes = frame_bytes(read);
  const std::vector<uint8_t> start = command_packet("start_network");
  const std::vector<uint8_t> reload = command_packet("reload_account");
  static GnlConfigRecord write{};
  char ip_in[] = "192.0.2.10", mask[] = "255.255.255.0", gw[] = "192.0.2.1", dns1[] = "192.0.2.53";
  const auto [write_floor, write_call] = paired(
      kWriteCalls,
      [&] {
        UdpClient c;
        auto in = c.exchange(kConfigPort, read_bytes, 5000);
        if (!in || in->size() <= kGnlHeaderSize) return false;
        const std::string body(reinterpret_cast<const char*>(in->data()) + kGnlHeaderSize, in->size() - kGnlHeaderSize);
        json_object* root = json_tokener_parse(body.c_str());
        if (root == nullptr) return false;
        const char* printed = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN);
        const size_t n = std::strlen(printed) + 1;
        write.magic = kGnlMagic;
        write.category = 4096;
        write.operation = kOperationWrite;
        std::memcpy(write.data, printed, n);
        write.data_length = static_cast<uint16_t>(n);
        json_object_put(root);
        UdpClient w;
        const bool ok = w.exchange(kConfigPort, frame_bytes(write), 5000).has_value();
        UdpClient s;
        s.send_to(bus::kSessionlessPort, start);
        s.send_to(bus::kSessionlessPort, reload);
        return ok;
      },
      [&] { return api_config_advance_network_wanport_ipv4_static(1, ip_in, mask, gw, dns1, nullptr) == 0; });
  report(out, "raw read + parse + print + write + 2 sends", write_floor);
  report(out, "static address write  (goal 1.3x)", write_call, &write_floor);
  std::fclose(out);
  return 0;
}
