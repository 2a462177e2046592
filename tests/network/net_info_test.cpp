// Interface queries against the box's real interfaces, routes and files:
// each answer is compared with what "ip" and the kernel say of the same box.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "network/net_box.h"
#include "phonecore/net_info.h"
#include "support/calls_log.h"
#include "support/files.h"

using phonecore::testing::calls_log;
using phonecore::testing::command_output;
using phonecore::testing::FakeCommand;
using phonecore::testing::FileInPlace;
using phonecore::testing::ip_addresses;
using phonecore::testing::ip_link_address;
using phonecore::testing::slurp;

namespace {

constexpr const char* kDnsFile = "/etc/resolv.dnsmasq.conf";

// Runs a command of the box and fails the test when it fails.
void sh(const std::string& cmd) { ASSERT_EQ(system(cmd.c_str()), 0) << cmd; }

// Takes the far end of eth0 down or up and waits until "ip" shows eth0's
// carrier follow (the kernel tells the near end a moment later).
void far_end(bool up) {
  sh(std::string("ip link set eth0-far ") + (up ? "up" : "down"));
  for (int i = 0; i < 300; ++i) {
    const bool carrier = command_output("ip -o link show eth0").find("NO-CARRIER") == std::string::npos;
    if (carrier == up) return;
    usleep(10000);
  }
  ADD_FAILURE() << "eth0's carrier did not follow";
}

TEST(Addresses, Ipv4AndMaskEqualIpAddr) {
  auto v4 = ip_addresses("eth0", "4");
  ASSERT_EQ(v4.size(), 1u);
  char ip[PHONECORE_IPV4_TEXT_SIZE] = "", mask[PHONECORE_IPV4_TEXT_SIZE] = "";
  EXPECT_EQ(GetLocalIp("eth0", ip), 1);
  EXPECT_EQ(ip, v4[0].local);
  EXPECT_STREQ(ip, "192.0.2.10");
  EXPECT_EQ(GetLocalNetMask("eth0", mask), 1);
  EXPECT_STREQ(mask, "255.255.255.0");
  EXPECT_EQ(GetLocalIp("lo", ip), 1);
  EXPECT_STREQ(ip, "127.0.0.1");
}

TEST(Addresses, FailureLeavesTheBufferAlone) {
  char ip[PHONECORE_IPV4_TEXT_SIZE] = "keep";
  EXPECT_EQ(GetLocalIp("nosuch0", ip), 0);
  EXPECT_STREQ(ip, "keep");
  EXPECT_EQ(GetLocalIp("wlan0", ip), 0);  // no address
  EXPECT_STREQ(ip, "keep");
  EXPECT_EQ(GetLocalNetMask("nosuch0", ip), 0);
  EXPECT_EQ(GetLocalIp(nullptr, ip), 0);
  EXPECT_EQ(GetLocalIp("eth0", nullptr), 0);
  // A name longer than 15 bytes is cut, not overrun.
  EXPECT_EQ(GetLocalIp("eth0xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", ip), 0);
}

TEST(Addresses, MacEqualsTheLink) {
  char mac[PHONECORE_MAC_TEXT_SIZE] = "";
  EXPECT_EQ(GetLocalMac("eth0", mac), 1);
  EXPECT_EQ(mac, ip_link_address("eth0"));
  EXPECT_STREQ(mac, "00:1a:2b:3c:4d:5e");
  char plain[PHONECORE_MAC_TEXT_SIZE] = "";
  EXPECT_EQ(GetLocalMac2("eth0", plain), 1);
  EXPECT_STREQ(plain, "001a2b3c4d5e");
}

TEST(Addresses, MacFailurePrintsAndLeavesTheBuffer) {
  char mac[PHONECORE_MAC_TEXT_SIZE] = "keep";
  testing::internal::CaptureStdout();
  EXPECT_EQ(GetLocalMac("nosuch0", mac), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "get nosuch0 mac address error\n");
  EXPECT_STREQ(mac, "keep");
  testing::internal::CaptureStdout();
  EXPECT_EQ(GetLocalMac2("nosuch0", mac), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Link, RunningUntilThePeerEndGoesDown) {
  EXPECT_EQ(isNicAvailable("eth0"), 1);
  EXPECT_EQ(check_nic("eth0"), 0);
  EXPECT_EQ(isNicAvailable("wlan0"), 0);
  EXPECT_EQ(check_nic("wlan0"), -1);
  EXPECT_EQ(isNicAvailable("nosuch0"), 0);
  far_end(false);
  EXPECT_EQ(isNicAvailable("eth0"), 0);
  EXPECT_EQ(check_nic("eth0"), -1);
  far_end(true);
  EXPECT_EQ(isNicAvailable("eth0"), 1);
}

TEST(Gateway, DefaultRoute) {
  char gw[PHONECORE_NET_TEXT_SIZE] = "";
  EXPECT_EQ(GetLocalGateWay(gw), 1);
  EXPECT_STREQ(gw, "192.0.2.1");
  char gw2[PHONECORE_NET_TEXT_SIZE] = "";
  EXPECT_EQ(GetLocalNetGateway(gw2), 1);
  EXPECT_STREQ(gw2, "192.0.2.1");
  EXPECT_EQ(GetLocalNetGateway(nullptr), 0);
}

// Without a default route the last route's third token stands in: the
// device name here, and the result is still 1.
TEST(Gateway, NoDefaultRouteGivesTheLastRoutesThirdToken) {
  sh("ip route del default");
  char gw[PHONECORE_NET_TEXT_SIZE] = "";
  const int r = GetLocalGateWay(gw);
  const std::string routes = command_output("ip route");
  sh("ip route add default via 192.0.2.1 dev eth0");
  EXPECT_EQ(r, 1);
  EXPECT_STREQ(gw, "eth0");
  EXPECT_NE(routes.find("192.0.2.0/24 dev eth0"), std::string::npos);
}

// wlan0 has no route: "192.168.0.1" goes in as 11 bytes without a
// terminator, and the result is 1.
TEST(Gateway, WlanFallbackIsElevenUnterminatedBytes) {
  char gw[PHONECORE_NET_TEXT_SIZE];
  std::memset(gw, 'X', sizeof gw);
  gw[sizeof gw - 1] = '\0';
  EXPECT_EQ(GetLocalGateWay_wlan0(gw), 1);
  EXPECT_EQ(std::string(gw, 14), "192.168.0.1XXX");
  std::memset(gw, 'Y', sizeof gw);
  EXPECT_EQ(GetLocalNetGateway_wlan0(gw), 1);
  EXPECT_EQ(std::string(gw, 12), "192.168.0.1Y");
}

TEST(Gateway, FakeIpOutputs) {
  char gw[PHONECORE_NET_TEXT_SIZE] = "keep";
  {
    FakeCommand ip("ip", "exit 0");
    EXPECT_EQ(GetLocalGateWay(gw), 0);  // no line at all
    EXPECT_STREQ(gw, "keep");
  }
  {
    FakeCommand ip("ip", "printf 'default via 10.1.2.3 dev eth0\\r\\n'");
    EXPECT_EQ(GetLocalGateWay(gw), 1);
    EXPECT_STREQ(gw, "10.1.2.3");
  }
  {
    // A 600-byte line is read as two; neither begins "default", the last
    // piece has no third token.
    FakeCommand ip("ip", "printf '%600s\\n' x");
    EXPECT_EQ(GetLocalGateWay(gw), 1);
    EXPECT_STREQ(gw, "");
  }
  {
    FakeCommand ip("ip", "printf '10.0.0.0/8 dev eth1 x\\n   default via 10.9.9.9 dev eth1\\n1.2.3.0/24 dev tun0\\n'");
    EXPECT_EQ(GetLocalGateWay(gw), 1);
    EXPECT_STREQ(gw, "10.9.9.9");
  }
  {
    FakeCommand ip("ip", "printf 'default via %0200d dev eth1\\n' 7");
    EXPECT_EQ(GetLocalGateWay(gw), 1);
    EXPECT_EQ(std::strlen(gw), PHONECORE_NET_TEXT_SIZE - 1u);
  }
}

TEST(Information, WanReadsWhateverInterfaceIsNamed) {
  ASSERT_STREQ(client_getWANName(), "eth0");
  char ip[PHONECORE_IPV4_TEXT_SIZE] = "", mac[PHONECORE_MAC_TEXT_SIZE] = "", mask[PHONECORE_IPV4_TEXT_SIZE] = "";
  char v6[PHONECORE_NET_TEXT_SIZE] = "", prefix[PHONECORE_PREFIX_TEXT_SIZE] = "";
  int link = -1;
  // "lo" serves only the IPv6 pair; IPv4, MAC and mask are the WAN's.
  EXPECT_EQ(GetLocalNetInfomation("lo", ip, mac, mask, &link, v6, prefix), 1);
  EXPECT_STREQ(ip, "192.0.2.10");
  EXPECT_STREQ(mac, "00:1a:2b:3c:4d:5e");
  EXPECT_STREQ(mask, "255.255.255.0");
  EXPECT_EQ(link, 1);
  EXPECT_STREQ(v6, "::1");
  EXPECT_STREQ(prefix, "128");
  EXPECT_EQ(GetLocalNetInfomation("eth0", ip, nullptr, nullptr, nullptr, v6, prefix), 1);
  EXPECT_STREQ(v6, "2001:db8:1::10");
  EXPECT_STREQ(prefix, "64");
  EXPECT_EQ(GetLocalNetInfomation("eth0", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(Information, SecondFormReadsTheNamedInterface) {
  char ip[PHONECORE_IPV4_TEXT_SIZE] = "", mac[PHONECORE_MAC_TEXT_SIZE] = "", mask[PHONECORE_IPV4_TEXT_SIZE] = "";
  int link = -1;
  EXPECT_EQ(GetLocalNetInfomation2("lo", ip, mac, mask, &link, nullptr, nullptr), 1);
  EXPECT_STREQ(ip, "127.0.0.1");
  EXPECT_STREQ(mask, "255.0.0.0");
  EXPECT_STREQ(mac, "00:00:00:00:00:00");
  EXPECT_EQ(GetLocalNetInfomation2(nullptr, ip, mac, mask, &link, nullptr, nullptr), -1);
  char keep[PHONECORE_IPV4_TEXT_SIZE] = "keep";
  EXPECT_EQ(GetLocalNetInfomation2("wlan0", keep, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_STREQ(keep, "keep");
}

TEST(Information, NetworkInformation) {
  char ip[PHONECORE_IPV4_TEXT_SIZE] = "", mac[PHONECORE_MAC_TEXT_SIZE] = "", type[PHONECORE_NET_TYPE_SIZE] = "";
  EXPECT_EQ(GetNetworkInformation(ip, mac, type), 0);
  EXPECT_STREQ(mac, "00:1a:2b:3c:4d:5e");  // 17 bytes of the file, ended at the 18th
  EXPECT_EQ(slurp("/sys/class/net/eth0/address"), std::string(mac) + "\n");
  EXPECT_STREQ(ip, "192.0.2.10");
  EXPECT_STREQ(type, "ETHERNET");
  // The WAN down: address and type stay.
  far_end(false);
  char ip2[PHONECORE_IPV4_TEXT_SIZE] = "keep", type2[PHONECORE_NET_TYPE_SIZE] = "keep";
  EXPECT_EQ(GetNetworkInformation(ip2, mac, type2), 0);
  far_end(true);
  EXPECT_STREQ(ip2, "keep");
  EXPECT_STREQ(type2, "keep");
}

TEST(Information, WanAddressIsOk) { EXPECT_EQ(check_wanip_is_ok(), 1); }

TEST(Ipv6, GatewayPipelineAnswersItsOwnOutput) {
  const std::string pipeline = command_output("route -A inet6 | grep ::/0 |  awk '{print $2}' | tail -n 1 ");
  char gw[PHONECORE_NET_TEXT_SIZE] = "";
  EXPECT_EQ(network_get_host_ipv6_gateway(gw), 0);
  EXPECT_EQ(std::string(gw) + "\n", pipeline);
  // Linux lists its unreachable ::/0 of the loopback last.
  EXPECT_STREQ(gw, "::");
}

TEST(Ipv6, GatewayFromTheRouteTable) {
  char gw[PHONECORE_NET_TEXT_SIZE] = "";
  EXPECT_EQ(net_get_ipv6_gateway2(nullptr, "eth0", gw, sizeof gw), 0);
  EXPECT_STREQ(gw, "2001:db8:1::1");
  char small[5] = "";
  EXPECT_EQ(net_get_ipv6_gateway2(nullptr, "eth0", small, sizeof small), 0);
  EXPECT_STREQ(small, "2001");
  EXPECT_EQ(net_get_ipv6_gateway2(nullptr, "wlan0", gw, sizeof gw), -1);
  EXPECT_EQ(net_get_ipv6_gateway2(nullptr, nullptr, gw, sizeof gw), -1);
  EXPECT_EQ(net_get_ipv6_gateway2(nullptr, "eth0", nullptr, 64), -1);
  EXPECT_EQ(net_get_ipv6_gateway2(nullptr, "eth0", gw, 0), -1);
  char rt[PHONECORE_NET_TEXT_SIZE] = "keep";
  EXPECT_EQ(get_real_time_ntstatus_ipv6_gateway("wlan0", rt), 0);
  EXPECT_STREQ(rt, "keep");
  EXPECT_EQ(get_real_time_ntstatus_ipv6_gateway("eth0", rt), 0);
  EXPECT_STREQ(rt, "2001:db8:1::1");
}

TEST(Ipv6, ForWebIsBusyBoxsGlobalAddress) {
  char out[PHONECORE_NET_TEXT_SIZE] = "";
  EXPECT_EQ(network_get_host_ipv6_for_web("eth0", out), 0);
  EXPECT_STREQ(out, "2001:db8:1::10/64");
  EXPECT_EQ(network_get_host_ipv6_for_web("wlan0", out), 0);
  EXPECT_STREQ(out, "::");
}

// The command lines the queries run, as the box's logged ip, route and
// ifconfig record them (the rest of a pipeline is not recorded).
TEST(Commands, QueriesRunTheirCommandLines) {
  std::ofstream("/run/phonebox/calls.log", std::ios::trunc);
  char out[PHONECORE_NET_TEXT_SIZE] = "";
  GetLocalGateWay(out);
  GetLocalGateWay_wlan0(out);
  network_get_host_ipv6_gateway(out);
  network_get_host_ipv6_for_web("eth0", out);
  EXPECT_EQ(calls_log(),
            (std::vector<std::string>{"ip route", "ip route show dev wlan0", "route -A inet6", "ifconfig eth0"}));
}

TEST(Ipv6, GlobalAddressesOfAnInterface) {
  char addr[PHONECORE_NET_TEXT_SIZE] = "";
  int prefix = -1;
  testing::internal::CaptureStdout();
  EXPECT_EQ(get_linklocal_ipv6addr("eth0", addr, &prefix), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "iface:eth0 [0] 2001:db8:1::10,64\n");
  EXPECT_STREQ(addr, "2001:db8:1::10");
  EXPECT_EQ(prefix, 64);
  char only[PHONECORE_NET_TEXT_SIZE] = "";
  EXPECT_EQ(network_get_host_ipv6("eth0", only, nullptr), 1);
  EXPECT_STREQ(only, "2001:db8:1::10");
  char p[PHONECORE_PREFIX_TEXT_SIZE] = "";
  EXPECT_EQ(network_get_host_ipv6_prefix("eth0", p), 2);
  EXPECT_STREQ(p, "64");
}

// eth0-far has only its link-local address.
TEST(Ipv6, LinkLocalOnlyGivesCountZeroAndPrefixZero) {
  auto v6 = ip_addresses("eth0-far", "6");
  ASSERT_FALSE(v6.empty());
  for (const auto& a : v6) ASSERT_EQ(a.scope, "link") << a.local;
  char addr[PHONECORE_NET_TEXT_SIZE] = "keep";
  int prefix = -1;
  EXPECT_EQ(get_linklocal_ipv6addr("eth0-far", addr, &prefix), 0);
  EXPECT_STREQ(addr, "keep");
  char p[PHONECORE_PREFIX_TEXT_SIZE] = "";
  EXPECT_EQ(network_get_host_ipv6_prefix("eth0-far", p), 1);
  EXPECT_STREQ(p, "0");
}

// Every added address overwrites the answer: the last one getifaddrs
// lists wins, with its own prefix.
TEST(Ipv6, LastAddressWins) {
  sh("ip -6 addr add 2001:db8:2::20/80 dev eth0 nodad && ip -6 addr add 2001:db8:3::30/96 dev eth0 nodad");
  std::string last;
  int last_bits = 0, global = 0;
  ifaddrs* list = nullptr;
  ASSERT_EQ(getifaddrs(&list), 0);
  for (ifaddrs* i = list; i != nullptr; i = i->ifa_next) {
    if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET6 || std::strcmp(i->ifa_name, "eth0") != 0) continue;
    const in6_addr& a = reinterpret_cast<sockaddr_in6*>(i->ifa_addr)->sin6_addr;
    if (IN6_IS_ADDR_LINKLOCAL(&a)) continue;
    char text[INET6_ADDRSTRLEN];
    last = inet_ntop(AF_INET6, &a, text, sizeof text);
    last_bits = cale_prefix_len(reinterpret_cast<sockaddr_in6*>(i->ifa_netmask)->sin6_addr.s6_addr);
    ++global;
  }
  freeifaddrs(list);
  char addr[PHONECORE_NET_TEXT_SIZE] = "";
  int prefix = -1;
  const int n = get_linklocal_ipv6addr("eth0", addr, &prefix);
  sh("ip -6 addr del 2001:db8:2::20/80 dev eth0 && ip -6 addr del 2001:db8:3::30/96 dev eth0");
  EXPECT_EQ(global, 3);
  EXPECT_EQ(n, 3);
  EXPECT_EQ(addr, last);
  EXPECT_EQ(prefix, last_bits);
}

TEST(Ipv6, UpToSeventeenAddresses) {
  for (int i = 1; i <= 20; ++i) sh("ip -6 addr add 2001:db8:9::" + std::to_string(i) + "/64 dev eth0 nodad");
  char addr[PHONECORE_NET_TEXT_SIZE] = "";
  int prefix = 0;
  testing::internal::CaptureStdout();
  const int n = get_linklocal_ipv6addr("eth0", addr, &prefix);
  testing::internal::GetCapturedStdout();
  for (int i = 1; i <= 20; ++i) sh("ip -6 addr del 2001:db8:9::" + std::to_string(i) + "/64 dev eth0");
  EXPECT_EQ(n, 17);
}

TEST(Dns, BoxFile) {
  char servers[4][PHONECORE_DNS_SLOT_SIZE] = {};
  int count = -1;
  EXPECT_EQ(get_dns_servers(servers, 4, &count), 0);
  ASSERT_EQ(count, 1);  // 127.0.0.1 is refused
  EXPECT_STREQ(servers[0], "192.0.2.53");
  char v6[4][PHONECORE_DNS_SLOT_SIZE] = {};
  testing::internal::CaptureStdout();
  EXPECT_EQ(get_dns_servers_ipv6(v6, 4, &count), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "dns#192.0.2.53# ignore\ndns#127.0.0.1# ignore\ndns#2001:db8:1::53#\ndns#2001:db8:1::54#\n");
  ASSERT_EQ(count, 2);
  EXPECT_STREQ(v6[0], "2001:db8:1::53");
  EXPECT_STREQ(v6[1], "2001:db8:1::54");
}

TEST(Dns, RefusedAndKeptByTheirBeginning) {
  FileInPlace file(kDnsFile,
                   "# nameserver 10.0.0.1\nnameserver 127.0.0.10\nnameserver ::1\nnameserver 10.1.1.1\r\n"
                   "nameserver\nnameserver\t10.2.2.2\textra\n");
  char servers[8][PHONECORE_DNS_SLOT_SIZE] = {};
  int count = 0;
  EXPECT_EQ(get_dns_servers(servers, 8, &count), 0);
  ASSERT_EQ(count, 2);
  EXPECT_STREQ(servers[0], "10.1.1.1");
  EXPECT_STREQ(servers[1], "10.2.2.2");
  testing::internal::CaptureStdout();
  EXPECT_EQ(get_dns_servers_ipv6(servers, 8, &count), 0);
  testing::internal::GetCapturedStdout();
  ASSERT_EQ(count, 1);
  EXPECT_STREQ(servers[0], "::1");
}

TEST(Dns, StopsAtTheMaximumAndCutsLongLines) {
  std::string text;
  for (int i = 1; i <= 10; ++i) text += "nameserver 10.0.0." + std::to_string(i) + "\n";
  text += "nameserver " + std::string(300, '7') + "\n";
  FileInPlace file(kDnsFile, text);
  char servers[3][PHONECORE_DNS_SLOT_SIZE] = {};
  int count = 0;
  EXPECT_EQ(get_dns_servers(servers, 3, &count), 0);
  EXPECT_EQ(count, 3);
  EXPECT_STREQ(servers[2], "10.0.0.3");
  char many[16][PHONECORE_DNS_SLOT_SIZE] = {};
  EXPECT_EQ(get_dns_servers(many, 16, &count), 0);
  // The 300-byte line is read in pieces of 199: its first piece is the
  // server, cut to its slot; the rest begins no "nameserver".
  ASSERT_EQ(count, 11);
  EXPECT_EQ(std::string(many[10]), std::string(PHONECORE_DNS_SLOT_SIZE - 1, '7'));
}

TEST(Dns, MissingFile) {
  FileInPlace file(kDnsFile, "");
  std::remove(kDnsFile);
  char servers[2][PHONECORE_DNS_SLOT_SIZE] = {};
  int count = 5;
  testing::internal::CaptureStdout();
  EXPECT_EQ(get_dns_servers(servers, 2, &count), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed opening /etc/resolv.dnsmasq.conf file ");
  EXPECT_EQ(count, 0);
}

TEST(Dns, RealTimeIpv6PairLeavesAbsentOnesAlone) {
  char a[PHONECORE_DNS_SLOT_SIZE] = "keepA", b[PHONECORE_DNS_SLOT_SIZE] = "keepB";
  EXPECT_EQ(get_real_time_dns_servers_ipv6(a, b), 0);
  EXPECT_STREQ(a, "2001:db8:1::53");
  EXPECT_STREQ(b, "2001:db8:1::54");
  FileInPlace file(kDnsFile, "nameserver 2001:db8::99\n");
  char c[PHONECORE_DNS_SLOT_SIZE] = "keepC", d[PHONECORE_DNS_SLOT_SIZE] = "keepD";
  EXPECT_EQ(get_real_time_dns_servers_ipv6(c, d), 0);
  EXPECT_STREQ(c, "2001:db8::99");
  EXPECT_STREQ(d, "keepD");
}

TEST(Signal, FileValues) {
  const char* path = "/tmp/power_4g.cfg";
  std::remove(path);
  EXPECT_EQ(api_get_signal_strength_network_4g(), 0);  // missing: 99
  const std::pair<const char*, int> rows[] = {{"0", 0},  {"1", 1},   {"12", 2},       {"13", 3},      {"31", 4},
                                              {"32", 0}, {"abc", 0}, {"12345678", 0}, {"0000031", 4}, {"22\n", 4}};
  for (auto [text, bars] : rows) {
    FileInPlace file(path, text);
    EXPECT_EQ(api_get_signal_strength_network_4g(), bars) << text;
  }
}

TEST(Device, RtlStatusWithoutTheDeviceIsZero) {
  int status = 7;
  EXPECT_EQ(read_net_status(&status), 0);
  EXPECT_EQ(status, 7);
}

}  // namespace
