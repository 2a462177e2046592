// Network settings in the box: the stores each call writes (through the
// configuration service), the broadcasts it sends (heard on a test
// session, byte for byte and in order), the network service's record, the
// flag files and the recorded shell tools.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <sys/stat.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "network/net_box.h"
#include "phonecore/net_config.h"
#include "support/calls_log.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/net_peer.h"
#include "support/raw_session.h"

using phonecore::testing::calls_log;
using phonecore::testing::command_payload;
using phonecore::testing::commands_heard;
using phonecore::testing::FactoryFiles;
using phonecore::testing::FileInPlace;
using phonecore::testing::NetPeer;
using phonecore::testing::NetRequest;
using phonecore::testing::RawSession;
using phonecore::testing::slurp;
using phonecore::testing::text_at;

namespace {

constexpr uint16_t kNic = 0x100C;
constexpr uint16_t kMode = 0x3004;

class NetConfig : public ::testing::Test {
 protected:
  void SetUp() override {
    peer.reset();
    ASSERT_TRUE(listener.ok());
  }
  void TearDown() override { peer.reset(); }
  FactoryFiles files{"network.cfg", "default/internet.cfg", "status.cfg", "etc/ppp/options.l2tp.conf",
                     "etc/xl2tpd/xl2tpd.conf"};
  NetPeer peer;
  RawSession listener{3100};
};

TEST_F(NetConfig, DhcpWriteSetsWanAndBr0AndAppliesInOrder) {
  int dhcp = 0, static_dns = 1;
  char dns1[] = "8*8*8*8", dns2[] = "";
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_dhcp(1, &dhcp, &static_dns, dns1, dns2), 0);
  for (const char* o : {"wan", "br0"}) {
    EXPECT_EQ(text_at("network.cfg", {o, "mode"}), "dhcp") << o;
    EXPECT_EQ(text_at("network.cfg", {o, "staticdns"}), "1") << o;
    EXPECT_EQ(text_at("network.cfg", {o, "dns1"}), "8.8.8.8") << o;
    EXPECT_EQ(text_at("network.cfg", {o, "dns2"}), "") << o;
  }
  EXPECT_EQ(commands_heard(listener),
            (std::vector<std::string>{command_payload("start_network"), command_payload("reload_account")}));
  int r_dhcp = -1, r_static = -1;
  char r1[PHONECORE_NET_ADDRESS_SIZE] = "", r2[PHONECORE_NET_ADDRESS_SIZE] = "x";
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_dhcp(0, &r_dhcp, &r_static, r1, r2), 0);
  EXPECT_EQ(r_dhcp, 1);
  EXPECT_EQ(r_static, 1);
  EXPECT_STREQ(r1, "8.8.8.8");
  EXPECT_STREQ(r2, "");
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_is_dhcp(), 1);
}

TEST_F(NetConfig, DhcpRefusalsWriteNothingAndSendNothing) {
  const std::string before = slurp("/appconfigs/network.cfg");
  int dhcp = 1, static_dns = 0;
  char bad[] = "1.2.3", good[] = "1.2.3.4";
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_dhcp(1, &dhcp, &static_dns, bad, bad), 1);
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_dhcp(1, &dhcp, &static_dns, good, bad), 2);
  EXPECT_EQ(slurp("/appconfigs/network.cfg"), before);
  EXPECT_TRUE(commands_heard(listener).empty());
}

// "dhcp" 0 is only logged: the write still selects DHCP.
TEST_F(NetConfig, DhcpFlagIsOnlyLogged) {
  char ip[] = "10.0.0.5", mask[] = "255.0.0.0", gw[] = "10.0.0.1";
  ASSERT_EQ(api_config_advance_network_wanport_ipv4_static(1, ip, mask, gw, nullptr, nullptr), 0);
  ASSERT_EQ(api_config_advance_network_wanport_ipv4_is_dhcp(), 0);
  int dhcp = 0, static_dns = 0;
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_dhcp(1, &dhcp, &static_dns, nullptr, nullptr), 0);
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_is_dhcp(), 1);
  EXPECT_EQ(text_at("network.cfg", {"br0", "staticdns"}), "0");
}

TEST_F(NetConfig, StaticWithEmptyDns1StoresTheGateway) {
  char ip[] = "192*0*2*20", mask[] = "255.255.255.0", gw[] = "192.0.2.1", dns1[] = "";
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, ip, mask, gw, dns1, nullptr), 0);
  for (const char* o : {"wan", "br0"}) {
    EXPECT_EQ(text_at("network.cfg", {o, "mode"}), "static_ip");
    EXPECT_EQ(text_at("network.cfg", {o, "ipaddr"}), "192.0.2.20");
    EXPECT_EQ(text_at("network.cfg", {o, "netmask"}), "255.255.255.0");
    EXPECT_EQ(text_at("network.cfg", {o, "gateway"}), "192.0.2.1");
    EXPECT_EQ(text_at("network.cfg", {o, "staticdns"}), "1");
    EXPECT_EQ(text_at("network.cfg", {o, "dns1"}), "192.0.2.1");
    EXPECT_EQ(text_at("network.cfg", {o, "dns2"}), "");
  }
  EXPECT_EQ(commands_heard(listener),
            (std::vector<std::string>{command_payload("start_network"), command_payload("reload_account")}));
  char r[5][PHONECORE_NET_ADDRESS_SIZE] = {};
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(0, r[0], r[1], r[2], r[3], r[4]), 0);
  EXPECT_STREQ(r[0], "192.0.2.20");
  EXPECT_STREQ(r[3], "192.0.2.1");
}

// Refusals in the order ip 3, netmask 4, gateway 5, dns1 1, dns2 2; a
// leading zero is refused, and any valid address passes as a netmask.
TEST_F(NetConfig, StaticRefusalsInOrder) {
  char ok_ip[] = "10.0.0.5", zero[] = "10.0.0.05", empty[] = "", bad[] = "x", odd_mask[] = "1.2.3.4";
  char gw[] = "10.0.0.1";
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, zero, bad, bad, bad, bad), 3);
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, empty, odd_mask, gw, nullptr, nullptr), 3);
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, ok_ip, empty, bad, bad, bad), 4);
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, ok_ip, odd_mask, nullptr, bad, bad), 5);
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, ok_ip, odd_mask, gw, bad, bad), 1);
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, ok_ip, odd_mask, gw, nullptr, bad), 2);
  EXPECT_TRUE(commands_heard(listener).empty());
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, ok_ip, odd_mask, gw, nullptr, nullptr), 0);
  EXPECT_EQ(text_at("network.cfg", {"wan", "netmask"}), "1.2.3.4");
}

TEST_F(NetConfig, LongAndStarredInputIsCut) {
  std::string stars(80, '*');
  char gw[] = "10.0.0.1", ip[] = "10.0.0.5", mask[] = "255.0.0.0";
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, stars.data(), mask, gw, nullptr, nullptr), 3);
  std::string long_dns = "1.2.3.4" + std::string(200, '5');
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, ip, mask, gw, long_dns.data(), nullptr), 1);
}

// NAT is stored and nothing is applied.
TEST_F(NetConfig, NatWritesAndAppliesNothing) {
  int sw = 1;
  char server[] = "203*0*113*7", port[] = "3479";
  peer.clear();
  EXPECT_EQ(api_config_advance_network_nat(1, &sw, server, port), 0);
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkNAT", "NatSTUNSwitch"}), "1");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkNAT", "NatSTUNServer"}), "203.0.113.7");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkNAT", "NatSTUNPort"}), "3479");
  EXPECT_TRUE(commands_heard(listener).empty());
  EXPECT_EQ(peer.count(), 0);
  int r_sw = -1;
  char r_server[PHONECORE_NET_FIELD_SIZE] = "", r_port[PHONECORE_NET_FIELD_SIZE] = "";
  EXPECT_EQ(api_config_advance_network_nat(0, &r_sw, r_server, r_port), 0);
  EXPECT_EQ(r_sw, 1);
  EXPECT_STREQ(r_server, "203.0.113.7");
  EXPECT_STREQ(r_port, "3479");
}

TEST_F(NetConfig, VlanOnSetsStatusAndModeThenStartsTheNetwork) {
  int sw = 1;
  char vid[] = "100", priority[] = "5";
  EXPECT_EQ(api_config_advance_network_vlan(1, &sw, vid, priority), 0);
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanSwitch"}), "1");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanVid"}), "100");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanPriority"}), "5");
  EXPECT_EQ(text_at("status.cfg", {"vlanid"}), "100");
  EXPECT_EQ(peer.requests(), (std::vector<NetRequest>{{kNic, kMode, 12, 89, 2, "100"}}));
  EXPECT_EQ(commands_heard(listener), (std::vector<std::string>{command_payload("start_network")}));
  int r_sw = 0;
  char r_vid[PHONECORE_NET_FIELD_SIZE] = "", r_pri[PHONECORE_NET_FIELD_SIZE] = "";
  EXPECT_EQ(api_config_advance_network_vlan(0, &r_sw, r_vid, r_pri), 0);
  EXPECT_EQ(r_sw, 1);
  EXPECT_STREQ(r_vid, "100");
  EXPECT_STREQ(r_pri, "5");
}

TEST_F(NetConfig, VlanOffGivesModeZeroAndVlanidZero) {
  int sw = 0;
  char vid[] = "20", priority[] = "1";
  EXPECT_EQ(api_config_advance_network_vlan(1, &sw, vid, priority), 0);
  EXPECT_EQ(text_at("status.cfg", {"vlanid"}), "0");
  EXPECT_EQ(peer.requests(), (std::vector<NetRequest>{{kNic, kMode, 12, 89, 0, "20"}}));
}

TEST_F(NetConfig, VlanPriorityRule) {
  const std::pair<const char*, const char*> rows[] = {{"9", "7"}, {"12", "0"}, {"", "0"},  {"a", "0"},
                                                      {"0", "0"}, {"7", "7"},  {"8", "8"}, {"3", "3"}};
  for (auto [given, stored] : rows) {
    int sw = 0;
    char vid[] = "5";
    std::string p = given;
    ASSERT_EQ(api_config_advance_network_vlan(1, &sw, vid, p.data()), 0);
    const std::string expect = std::string(given) == "8" ? "7" : stored;
    EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanPriority"}), expect) << given;
  }
  EXPECT_EQ(api_config_advance_network_vlan(1, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanPriority"}), "0");
}

// The status file is written even when the switch key is absent; the mode
// goes out only when it is there; "start_network" always.
TEST_F(NetConfig, VlanHelpersOnAnObjectWithoutTheSwitch) {
  json_object* advanced = json_tokener_parse(R"({"VlanWanVid":"30"})");
  std::remove("/appconfigs/status.cfg");
  EXPECT_EQ(setStatus_vlan(advanced), 0);
  EXPECT_EQ(text_at("status.cfg", {"vlanid"}), "0");
  EXPECT_EQ(setNetworkAdvanced_vlan(advanced), 0);
  EXPECT_EQ(peer.count(), 0);
  EXPECT_EQ(commands_heard(listener), (std::vector<std::string>{command_payload("start_network")}));
  json_object_put(advanced);
}

// LLDP off with a learnt VLAN: the learnt file goes, mode 0 "0", the learnt
// VLAN is removed, the manual one put back; then both commands.
TEST_F(NetConfig, LldpOffUndoesTheLearntVlan) {
  const std::string file = slurp("/appconfigs/default/internet.cfg");
  json_object* root = json_tokener_parse(file.c_str());
  json_object* adv = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(root, "NetworkAdvanced", &adv));
  json_object_object_add(adv, "VlanWanSwitchLldp", json_object_new_string("1"));
  json_object_object_add(adv, "VlanWanVidLldp", json_object_new_string("5"));
  json_object_object_add(adv, "VlanWanSwitch", json_object_new_string("1"));
  json_object_object_add(adv, "VlanWanVid", json_object_new_string("44"));
  std::ofstream("/appconfigs/default/internet.cfg") << json_object_get_string(root);
  json_object_put(root);
  std::ofstream("/tmp/lldp_get_vlan.txt") << "5";
  const size_t calls_before = calls_log().size();
  EXPECT_EQ(api_config_set_lldp(0, 45), 0);
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "LLDPSwitch"}), "0");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "LLDPPacketInterval"}), "45");
  struct stat st;
  EXPECT_NE(stat("/tmp/lldp_get_vlan.txt", &st), 0);
  auto calls = calls_log();
  ASSERT_GE(calls.size(), calls_before + 1);
  EXPECT_EQ(calls.back(), "vconfig rem br0.5");
  EXPECT_EQ(peer.requests(), (std::vector<NetRequest>{{kNic, kMode, 12, 89, 0, "0"}, {kNic, kMode, 12, 89, 2, "44"}}));
  EXPECT_EQ(commands_heard(listener),
            (std::vector<std::string>{command_payload("start_network"), command_payload("startSomething")}));
  int enable = -1, interval = -1;
  EXPECT_EQ(api_config_get_lldp(&enable, &interval), 0);
  EXPECT_EQ(enable, 0);
  EXPECT_EQ(interval, 45);
}

// Only the key's presence counts: "VlanWanSwitchLldp" "0" still undoes.
TEST_F(NetConfig, LldpOffLooksAtKeysNotValues) {
  // The factory file has "VlanWanSwitchLldp" "0" and "VlanWanVidLldp" "0".
  ASSERT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanSwitchLldp"}), "0");
  const size_t calls_before = calls_log().size();
  EXPECT_EQ(api_config_set_lldp(0, 30), 0);
  EXPECT_EQ(calls_log().size(), calls_before);  // vid 0: no vconfig
  // Mode 0 "0", then the manual VLAN (switch "0", vid "1").
  EXPECT_EQ(peer.requests(), (std::vector<NetRequest>{{kNic, kMode, 12, 89, 0, "0"}, {kNic, kMode, 12, 89, 0, "1"}}));
}

TEST_F(NetConfig, LldpOffWithoutTheLearntKeyRunsNothingButSendsBoth) {
  const std::string file = slurp("/appconfigs/default/internet.cfg");
  json_object* root = json_tokener_parse(file.c_str());
  json_object* adv = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(root, "NetworkAdvanced", &adv));
  json_object_object_del(adv, "VlanWanSwitchLldp");
  std::ofstream("/appconfigs/default/internet.cfg") << json_object_get_string(root);
  json_object_put(root);
  std::ofstream("/tmp/lldp_get_vlan.txt") << "5";
  const size_t calls_before = calls_log().size();
  EXPECT_EQ(api_config_set_lldp(0, 30), 0);
  struct stat st;
  EXPECT_EQ(stat("/tmp/lldp_get_vlan.txt", &st), 0);
  std::remove("/tmp/lldp_get_vlan.txt");
  EXPECT_EQ(calls_log().size(), calls_before);
  EXPECT_EQ(peer.count(), 0);
  EXPECT_EQ(commands_heard(listener),
            (std::vector<std::string>{command_payload("start_network"), command_payload("startSomething")}));
}

TEST_F(NetConfig, LldpReadWithoutTheFile) {
  std::remove("/appconfigs/default/internet.cfg");
  int enable = 5, interval = 5;
  EXPECT_EQ(api_config_get_lldp(&enable, &interval), -1);
  EXPECT_EQ(enable, 0);
  EXPECT_EQ(interval, 30);
  EXPECT_EQ(api_config_set_wired_802_1x(), -1);
}

TEST_F(NetConfig, Wired8021xChangesNothing) {
  const std::string before = slurp("/appconfigs/default/internet.cfg");
  peer.clear();
  EXPECT_EQ(api_config_set_wired_802_1x(), 0);
  EXPECT_EQ(slurp("/appconfigs/default/internet.cfg"), before);
  EXPECT_TRUE(commands_heard(listener).empty());
  EXPECT_EQ(peer.count(), 0);
}

TEST_F(NetConfig, VpnFlagsAndFiles) {
  std::remove("/tmp/start_vpn");
  std::remove("/tmp/stop_vpn");
  int on = 1;
  EXPECT_EQ(api_config_advance_network_vpn(1, &on), 0);
  EXPECT_EQ(text_at("network.cfg", {"NetworkVpn", "VpnType"}), "1");
  EXPECT_EQ(slurp("/tmp/start_vpn"), "openvpn");
  int flag = -1;
  EXPECT_EQ(api_config_advance_network_vpn(0, &flag), 0);
  EXPECT_EQ(flag, 1);
  int off = 0;
  EXPECT_EQ(api_config_advance_network_vpn(1, &off), 0);
  EXPECT_EQ(slurp("/tmp/stop_vpn"), "all");
  EXPECT_EQ(api_config_advance_network_vpn(0, &flag), 0);
  EXPECT_EQ(flag, 0);
}

// VpnType 2 reads as on and starts l2tp; 3 reads as off and writes nothing.
TEST_F(NetConfig, VpnTypesTwoAndThree) {
  for (const char* type : {"2", "3"}) {
    std::remove("/tmp/start_vpn");
    std::remove("/tmp/stop_vpn");
    json_object* root = json_tokener_parse(slurp("/appconfigs/network.cfg").c_str());
    json_object* vpn = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(root, "NetworkVpn", &vpn));
    json_object_object_add(vpn, "VpnType", json_object_new_string(type));
    std::ofstream("/appconfigs/network.cfg") << json_object_get_string(root);
    json_object_put(root);
    int flag = -1;
    EXPECT_EQ(api_config_advance_network_vpn(0, &flag), 0);
    EXPECT_EQ(check_and_reload_l2tp(), 0);
    struct stat st;
    if (std::string(type) == "2") {
      EXPECT_EQ(flag, 1);
      EXPECT_EQ(slurp("/tmp/start_vpn"), "l2tp");
    } else {
      EXPECT_EQ(flag, 0);
      EXPECT_NE(stat("/tmp/start_vpn", &st), 0);
      EXPECT_NE(stat("/tmp/stop_vpn", &st), 0);
    }
  }
}

TEST_F(NetConfig, WithoutNetworkCfg) {
  std::remove("/appconfigs/network.cfg");
  EXPECT_EQ(check_and_reload_l2tp(), -1);
  int flag = 7;
  EXPECT_EQ(api_config_advance_network_vpn(0, &flag), 0);
  EXPECT_EQ(flag, 7);
  EXPECT_EQ(api_config_advance_network_4g(1, &flag), 0);
  struct stat st;
  EXPECT_NE(stat("/appconfigs/network.cfg", &st), 0);
}

TEST_F(NetConfig, FourGFlagAndTouchFiles) {
  std::remove("/tmp/4g_start");
  std::remove("/tmp/4g_stop");
  int on = 1;
  EXPECT_EQ(api_config_advance_network_4g(1, &on), 0);
  struct stat st;
  EXPECT_EQ(stat("/tmp/4g_start", &st), 0);
  EXPECT_EQ(text_at("network.cfg", {"Network4G", "enable"}), "1");
  int flag = -1;
  EXPECT_EQ(api_config_advance_network_4g(0, &flag), 0);
  EXPECT_EQ(flag, 1);
  int off = 0;
  EXPECT_EQ(api_config_advance_network_4g(1, &off), 0);
  EXPECT_EQ(stat("/tmp/4g_stop", &st), 0);
  EXPECT_EQ(text_at("network.cfg", {"Network4G", "enable"}), "0");
}

// The password line keeps no line end: the next line joins it.
TEST_F(NetConfig, L2tpCredentials) {
  mkdir("/appconfigs/etc/ppp", 0755);
  mkdir("/appconfigs/etc/xl2tpd", 0755);
  std::ofstream("/appconfigs/etc/ppp/options.l2tp.conf") << "noauth\nname olduser\npassword oldpass\nmtu 1410\n";
  std::ofstream("/appconfigs/etc/xl2tpd/xl2tpd.conf") << "[lac eft-ipsec]\nlns = 1.1.1.1\n";
  EXPECT_EQ(l2tp_channge_username_password("198.51.100.9", "alice", "s3cret"), 0);
  EXPECT_EQ(slurp("/appconfigs/etc/ppp/options.l2tp.conf"), "noauth\nname alice\npassword s3cretmtu 1410\n");
  EXPECT_NE(slurp("/appconfigs/etc/xl2tpd/xl2tpd.conf").find("198.51.100.9"), std::string::npos);
}

TEST_F(NetConfig, L2tpLongLinesAndPasswordLast) {
  mkdir("/appconfigs/etc/ppp", 0755);
  std::string long_line(200, 'z');
  std::ofstream("/appconfigs/etc/ppp/options.l2tp.conf") << long_line << "\npassword x\n";
  EXPECT_EQ(l2tp_channge_username_password("1.2.3.4", "u", "p"), 0);
  EXPECT_EQ(slurp("/appconfigs/etc/ppp/options.l2tp.conf"), long_line + "\npassword p");
  std::remove("/appconfigs/etc/ppp/options.l2tp.conf");
  EXPECT_EQ(l2tp_channge_username_password("1.2.3.4", "u", "p"), -1);
}

// A "wan" that isn't an object is replaced; 200-character values are cut.
TEST_F(NetConfig, DamagedStore) {
  std::ofstream("/appconfigs/network.cfg") << R"({"wan":"text","br0":5})";
  char ip[] = "10.0.0.5", mask[] = "255.0.0.0", gw[] = "10.0.0.1";
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_static(1, ip, mask, gw, nullptr, nullptr), 0);
  EXPECT_EQ(text_at("network.cfg", {"wan", "ipaddr"}), "10.0.0.5");
  EXPECT_EQ(text_at("network.cfg", {"br0", "ipaddr"}), "10.0.0.5");
  std::ofstream("/appconfigs/network.cfg") << R"({"wan":{"dns1":")" << std::string(200, '9') << R"("}})";
  char d1[PHONECORE_NET_ADDRESS_SIZE + 8];
  std::memset(d1, 'K', sizeof d1);
  int dhcp = 0, sdns = 0;
  EXPECT_EQ(api_config_advance_network_wanport_ipv4_dhcp(0, &dhcp, &sdns, d1, nullptr), 0);
  EXPECT_EQ(std::strlen(d1), PHONECORE_NET_ADDRESS_SIZE - 1u);
  EXPECT_EQ(d1[PHONECORE_NET_ADDRESS_SIZE], 'K');
}

}  // namespace
