// phone.cfg network keys in the box: what each key changes in the files,
// the configuration service's record of every read and write in order, the
// network service's mode datagram that follows every network key, and the
// flags the reload reads.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

#include "phonecore/phonecfg.h"
#include "provision/phonecfg/key_table.h"
#include "support/config_peer.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/net_peer.h"

namespace {

using phonecore::testing::ConfigPeer;
using phonecore::testing::ConfigRequest;
using phonecore::testing::FactoryFiles;
using phonecore::testing::NetPeer;
using phonecore::testing::NetRequest;
using phonecore::testing::shapes;
using phonecore::testing::slurp;
using phonecore::testing::text_at;
namespace pc = phonecore::phonecfg;

constexpr uint16_t kNic = 0x100C;
constexpr uint16_t kMode = 0x3004;

const ConfigRequest kReadNetwork{4096, 1, 1, "", 0};
const ConfigRequest kReadTr069{4102, 1, 1, "tr069.cfg", 0};
const ConfigRequest kReadInternet{4102, 1, 1, "default/internet.cfg", 0};
const ConfigRequest kReadStatus{4102, 1, 1, "status.cfg", 0};
// The store's write leaves the format word as the record last held it, so
// the comparison passes over it (shapes() sets it to 0).
const ConfigRequest kWriteNetwork{4096, 2, 0, "", 0};

bool touches_network_store(const std::vector<ConfigRequest>& requests) {
  for (const ConfigRequest& r : requests)
    if (r.category == 4096) return true;
  return false;
}

std::vector<ConfigRequest> write_shapes(std::initializer_list<ConfigRequest> writes) {
  std::vector<ConfigRequest> out(writes);
  for (ConfigRequest& r : out) r.operation = 2;
  return out;
}

class PhonecfgNetwork : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    net_.reset();
    ASSERT_TRUE(config_.clear());
    start_network_flag = 0;
    reload_something_flag = 0;
  }
  void TearDown() override { net_.reset(); }

  // The full record of one network key with all files present: five reads
  // and four writes, in this order.
  static std::vector<ConfigRequest> full_record() {
    std::vector<ConfigRequest> r{kReadNetwork, kReadTr069, kReadInternet, kWriteNetwork};
    for (const ConfigRequest& w : write_shapes({kReadTr069, kReadInternet})) r.push_back(w);
    r.push_back(kReadInternet);
    r.push_back(kReadStatus);
    r.push_back(write_shapes({kReadStatus})[0]);
    return r;
  }

  FactoryFiles files_{"network.cfg", "tr069.cfg", "default/internet.cfg", "status.cfg",
                      // The account handler's files, which the other groups' keys rewrite.
                      "voip.cfg", "default/voiplist.cfg", "default/function.cfg", "default/settinglist.cfg",
                      "system.cfg", "default/addresslist.cfg", "hal.cfg", "default/programing_key.cfg"};
  ConfigPeer config_;
  NetPeer net_;
};

TEST_F(PhonecfgNetwork, EveryKeyLandsInItsMemberWithTheFullRecordAndOneModeDatagram) {
  struct Case {
    const char* item;
    const char* file;
    std::initializer_list<const char*> path;
    const char* stored;
  };
  const Case cases[] = {
      {"Network.Wan.mode=static_ip", "network.cfg", {"wan", "mode"}, "static_ip"},
      {"Network.Wan.ipaddr=192.0.2.20", "network.cfg", {"wan", "ipaddr"}, "192.0.2.20"},
      {"Network.Wan.netmask=255.255.255.0", "network.cfg", {"wan", "netmask"}, "255.255.255.0"},
      {"Network.Wan.gateway=192.0.2.1", "network.cfg", {"wan", "gateway"}, "192.0.2.1"},
      {"Network.Wan.dns1 = 10.0.0.1", "network.cfg", {"wan", "dns1"}, "10.0.0.1"},
      {"Network.Wan.dns2=8.8.4.4", "network.cfg", {"wan", "dns2"}, "8.8.4.4"},
      {"Static.TR069.Enable=1", "tr069.cfg", {"local", "enable"}, "1"},
      {"Static.NatStun.Enable=1", "default/internet.cfg", {"NetworkNAT", "NatSTUNSwitch"}, "1"},
      {"Static.NatStun.Server=stun.example.org",
       "default/internet.cfg",
       {"NetworkNAT", "NatSTUNServer"},
       "stun.example.org"},
      {"Static.NatStun.Port=3479", "default/internet.cfg", {"NetworkNAT", "NatSTUNPort"}, "3479"},
      {"Static.Network.PcPort.Enable=disabled", "default/internet.cfg", {"NetworkPCPort", "PCPortActive"}, "disabled"},
      {"Static.Network.Vlan.Wan.Enable=1", "default/internet.cfg", {"NetworkAdvanced", "VlanWanSwitch"}, "1"},
      {"Static.Network.Vlan.Wan.Vid=4094", "default/internet.cfg", {"NetworkAdvanced", "VlanWanVid"}, "4094"},
      {"Static.Network.Vlan.Wan.Priority=7", "default/internet.cfg", {"NetworkAdvanced", "VlanWanPriority"}, "7"},
      {"Static.Network.Vlan.Pc.Enable=1", "default/internet.cfg", {"NetworkAdvanced", "VlanPcSwitch"}, "1"},
      {"Static.Network.Vlan.Pc.Vid=1", "default/internet.cfg", {"NetworkAdvanced", "VlanPcVid"}, "1"},
      {"Static.Network.Vlan.Pc.Priority=0", "default/internet.cfg", {"NetworkAdvanced", "VlanPcPriority"}, "0"},
      {"Static.Network.Vpn.Enable=1", "default/internet.cfg", {"NetworkAdvanced", "VpnSwitch"}, "1"},
  };
  static_assert(std::size(cases) == pc::count_of(pc::Group::kNetwork));
  for (const Case& c : cases) {
    ASSERT_TRUE(files_.restore());
    ASSERT_TRUE(config_.clear());
    ASSERT_TRUE(net_.clear());
    EXPECT_EQ(my_dm_handle_value1(c.item), 0);
    EXPECT_EQ(text_at(c.file, c.path), c.stored) << c.item;
    EXPECT_EQ(shapes(config_.requests()), full_record()) << c.item;
    // The factory switch is "0": every key sends the plain mode with the
    // stored vid, VLAN key or not.
    const std::vector<NetRequest> heard = net_.requests();
    ASSERT_EQ(heard.size(), 1u) << c.item;
    EXPECT_EQ(heard[0].category, kNic);
    EXPECT_EQ(heard[0].operation, kMode);
    EXPECT_EQ(heard[0].data_length, 12u);
    const bool wan_on = std::strcmp(c.item, "Static.Network.Vlan.Wan.Enable=1") == 0;
    const bool new_vid = std::strcmp(c.item, "Static.Network.Vlan.Wan.Vid=4094") == 0;
    EXPECT_EQ(heard[0].mode, wan_on ? 2 : 0) << c.item;
    EXPECT_EQ(heard[0].vid, new_vid ? "4094" : "1") << c.item;
    EXPECT_EQ(text_at("status.cfg", {"vlanid"}), wan_on ? "1" : "0") << c.item;
    EXPECT_EQ(start_network_flag, 1);
    EXPECT_EQ(reload_something_flag, 1);
  }
}

TEST_F(PhonecfgNetwork, TheVpnSwitchAlsoBecomesTheNetworkType) {
  my_dm_handle_value1("Static.Network.Vpn.Enable=1");
  EXPECT_EQ(text_at("network.cfg", {"NetworkVpn", "VpnType"}), "1");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VpnSwitch"}), "1");
  my_dm_handle_value1("Static.Network.Vpn.Enable=0");
  EXPECT_EQ(text_at("network.cfg", {"NetworkVpn", "VpnType"}), "0");
  my_dm_handle_value1("Static.Network.Vpn.Enable=2");
  EXPECT_EQ(text_at("network.cfg", {"NetworkVpn", "VpnType"}), "0");
}

TEST_F(PhonecfgNetwork, WanVlanOnSendsTheVlanModeAndMirrorsTheVid) {
  my_dm_handle_value1("Static.Network.Vlan.Wan.Vid=20");
  my_dm_handle_value1("Static.Network.Vlan.Wan.Enable=1");
  EXPECT_EQ(text_at("status.cfg", {"vlanid"}), "20");
  const std::vector<NetRequest> heard = net_.requests();
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(heard[0].mode, 0);
  EXPECT_EQ(heard[0].vid, "20");
  EXPECT_EQ(heard[1].mode, 2);
  EXPECT_EQ(heard[1].vid, "20");
  // Any later network key sends the mode again, here with a value refused.
  ASSERT_TRUE(net_.clear());
  my_dm_handle_value1("Network.Wan.mode=static");
  ASSERT_EQ(net_.requests().size(), 1u);
  EXPECT_EQ(net_.requests()[0].mode, 2);
  my_dm_handle_value1("Static.Network.Vlan.Wan.Enable=0");
  EXPECT_EQ(text_at("status.cfg", {"vlanid"}), "0");
  EXPECT_EQ(net_.requests().back().mode, 0);
  EXPECT_EQ(net_.requests().back().vid, "20");
}

TEST_F(PhonecfgNetwork, RefusedValuesChangeNothingButTheFilesAreWrittenAll) {
  const std::string internet_before = text_at("default/internet.cfg", {"NetworkAdvanced"});
  for (const char* item :
       {"Network.Wan.mode = static", "Network.Wan.gateway=0.0.0.0", "Network.Wan.ipaddr=256.1.1.1",
        "Network.Wan.dns1=1.2.3.4.5", "Network.Wan.dns2=1..2.3", "Static.Network.Vlan.Wan.Vid=4095",
        "Static.Network.Vlan.Wan.Vid=0", "Static.Network.Vlan.Wan.Vid=12a", "Static.Network.Vlan.Wan.Priority=8",
        "Static.Network.Vlan.Pc.Enable=2", "Static.Network.PcPort.Enable=on", "Static.TR069.Enable=yes"}) {
    ASSERT_TRUE(config_.clear());
    my_dm_handle_value1(item);
    EXPECT_EQ(shapes(config_.requests()), full_record()) << item;
  }
  EXPECT_EQ(text_at("network.cfg", {"wan", "mode"}), "dhcp");
  EXPECT_EQ(text_at("network.cfg", {"wan", "gateway"}), "");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced"}), internet_before);
  EXPECT_EQ(text_at("tr069.cfg", {"local", "enable"}), "0");
}

TEST_F(PhonecfgNetwork, TheVidBoundariesPass) {
  my_dm_handle_value1("Static.Network.Vlan.Wan.Vid=1");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanVid"}), "1");
  my_dm_handle_value1("Static.Network.Vlan.Wan.Vid=4094");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanVid"}), "4094");
  my_dm_handle_value1("Static.Network.Vlan.Wan.Priority=7");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "VlanWanPriority"}), "7");
}

TEST_F(PhonecfgNetwork, AnEmptyValueChangesNothingAndRaisesNoFlag) {
  my_dm_handle_value1("Network.Wan.ipaddr=");
  my_dm_handle_value1("Network.Wan.ipaddr=   ");
  my_dm_handle_value1("[Status]");
  my_dm_handle_value1("#Network.Wan.mode=dhcp");
  my_dm_handle_value1("");
  EXPECT_EQ(start_network_flag, 0);
  EXPECT_EQ(reload_something_flag, 0);
  EXPECT_TRUE(config_.requests().empty());
  EXPECT_EQ(net_.count(), 0);
}

TEST_F(PhonecfgNetwork, AnUnknownKeyRaisesBothFlagsAndRewritesEveryFile) {
  for (const char* item : {" #Network.Wan.mode=dhcp", "Static.Unknown=1", "FirmwareVersion = 1.0"}) {
    SCOPED_TRACE(item);
    start_network_flag = 0;
    reload_something_flag = 0;
    ASSERT_TRUE(config_.clear());
    ASSERT_TRUE(net_.clear());
    my_dm_handle_value1(item);
    const bool network_key = std::strstr(item, "Network") != nullptr || std::strstr(item, "Static") != nullptr;
    EXPECT_EQ(start_network_flag, network_key ? 1 : 0);
    EXPECT_EQ(reload_something_flag, 1);
    if (network_key) EXPECT_EQ(shapes(config_.requests()), full_record());
    else EXPECT_FALSE(touches_network_store(config_.requests()));
    EXPECT_EQ(net_.count(), network_key ? 1 : 0);
  }
}

TEST_F(PhonecfgNetwork, ACarriageReturnStaysInTheStoredValue) {
  my_dm_handle_value1("Static.NatStun.Server=stun.example.org\r\n");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkNAT", "NatSTUNServer"}), "stun.example.org\r");
  // And fails the exact tests: a CRLF file can't switch the mode.
  my_dm_handle_value1("Network.Wan.mode=static_ip\r\n");
  EXPECT_EQ(text_at("network.cfg", {"wan", "mode"}), "dhcp");
}

TEST_F(PhonecfgNetwork, InnerEqualsSignsTabsAndTrailingBlanksAsTheReaderLeavesThem) {
  my_dm_handle_value1("Static.NatStun.Server=a=b");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkNAT", "NatSTUNServer"}), "a=b");
  my_dm_handle_value1("Static.NatStun.Server = \tst\tun host  ");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkNAT", "NatSTUNServer"}), "stun host  ");
  my_dm_handle_value1("&Static.NatStun.Port=&5000");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkNAT", "NatSTUNPort"}), "&5000");
}

TEST_F(PhonecfgNetwork, WithoutTheNetworkConfigurationNothingIsWrittenAndTheFlagsStillRise) {
  std::filesystem::remove("/appconfigs/network.cfg");
  testing::internal::CaptureStdout();
  EXPECT_EQ(my_dm_handle_value1("Network.Wan.mode=static_ip"), 0);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("network.cfg open error!"), std::string::npos);
  EXPECT_EQ(start_network_flag, 1);
  EXPECT_EQ(reload_something_flag, 1);
  EXPECT_EQ(shapes(config_.requests()), std::vector<ConfigRequest>{kReadNetwork});
  EXPECT_EQ(net_.count(), 0);
  std::strcpy(parameterA, "Network.Wan.mode");
  std::strcpy(parameterA_value, "dhcp");
  EXPECT_EQ(Set_Network_Massage(), -1);
}

TEST_F(PhonecfgNetwork, AMissingInternetFilePassesItsKeysAndItsWriteIsNotSent) {
  std::filesystem::remove("/appconfigs/default/internet.cfg");
  my_dm_handle_value1("Static.Network.Vpn.Enable=1");
  // The network configuration's half of the key still lands.
  EXPECT_EQ(text_at("network.cfg", {"NetworkVpn", "VpnType"}), "1");
  EXPECT_FALSE(std::filesystem::exists("/appconfigs/default/internet.cfg"));
  const std::vector<ConfigRequest> expected{kReadNetwork,
                                            kReadTr069,
                                            kReadInternet,
                                            kWriteNetwork,
                                            write_shapes({kReadTr069})[0],
                                            kReadInternet,
                                            kReadStatus,
                                            write_shapes({kReadStatus})[0]};
  EXPECT_EQ(shapes(config_.requests()), expected);
  // Without the switch key no mode goes to the network service; the
  // status file is written back unchanged.
  EXPECT_EQ(net_.count(), 0);
  EXPECT_EQ(text_at("status.cfg", {"vlanid"}), "0");
}

TEST_F(PhonecfgNetwork, AMissingTr069FilePassesItsKey) {
  std::filesystem::remove("/appconfigs/tr069.cfg");
  my_dm_handle_value1("Static.TR069.Enable=1");
  EXPECT_FALSE(std::filesystem::exists("/appconfigs/tr069.cfg"));
  std::vector<ConfigRequest> expected = full_record();
  expected.erase(expected.begin() + 4);  // the refused write of tr069.cfg
  EXPECT_EQ(shapes(config_.requests()), expected);
  EXPECT_EQ(net_.count(), 1);
}

TEST_F(PhonecfgNetwork, AMissingStatusFileIsNotWrittenButTheModeGoesOut) {
  std::filesystem::remove("/appconfigs/status.cfg");
  my_dm_handle_value1("Static.Network.Vlan.Wan.Enable=1");
  EXPECT_FALSE(std::filesystem::exists("/appconfigs/status.cfg"));
  std::vector<ConfigRequest> expected = full_record();
  expected.pop_back();
  EXPECT_EQ(shapes(config_.requests()), expected);
  ASSERT_EQ(net_.requests().size(), 1u);
  EXPECT_EQ(net_.requests()[0].mode, 2);
}

TEST_F(PhonecfgNetwork, OtherGroupsKeysRaiseOnlyTheReloadFlag) {
  my_dm_handle_value1("Account1.AccountUserName=1001");
  EXPECT_EQ(start_network_flag, 0);
  EXPECT_EQ(reload_something_flag, 1);
  EXPECT_FALSE(config_.requests().empty());
  EXPECT_FALSE(touches_network_store(config_.requests()));
  EXPECT_EQ(net_.count(), 0);
}

}  // namespace
