// Device-management settings against the configuration-service peer.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "phonecore/config.h"
#include "phonecore/dm.h"
#include "phonecore/json_msg.h"
#include "support/config_service.h"
#include "support/files.h"

namespace {

using phonecore::testing::slurp;

class DeviceManagement : public ::testing::Test {
 protected:
  // open_config_client forgets the cached objects without releasing them:
  // the process that owns them releases them first.
  void SetUp() override {
    for (json_object* entry : g_config_json) json_object_put(entry);
    open_config_client();
  }
};

TEST_F(DeviceManagement, WanStaticChangesTheCacheUntilRefreshWritesIt) {
  EXPECT_EQ(quorrbitWanStatic("10.1.1.5", "255.255.255.0", "10.1.1.1", "8.8.8.8", "8.8.4.4"), 0);
  char mode[DM_TEXT_SIZE] = {};
  EXPECT_EQ(quorrbitGetnetworkMode(mode), 0);
  EXPECT_STREQ(mode, "static");  // this road's own word
  EXPECT_EQ(slurp("/appconfigs/network.cfg").find("10.1.1.5"), std::string::npos);
  refresh_config(4096, 1, nullptr);
  EXPECT_NE(slurp("/appconfigs/network.cfg").find("10.1.1.5"), std::string::npos);
  EXPECT_STREQ(get_ipv4_ipaddr(), "10.1.1.5");
  EXPECT_STREQ(get_ipv4_mode(), "static");
  EXPECT_STREQ(get_ipv4_dns2(), "8.8.4.4");
}

TEST_F(DeviceManagement, LanDhcpAndCwmpSections) {
  EXPECT_EQ(quorrbitLanStatic("192.168.5.1", "255.255.255.0"), 0);
  EXPECT_EQ(quorrbitDhcpServer("1", "192.168.5.100", "192.168.5.200", "255.255.255.0", "192.168.5.1", "1.1.1.1", ""),
            0);
  json_object* network = get_config_slot(4096);
  EXPECT_STREQ(get_string_from_json(network, 2, "dhcp", "ipstart"), "192.168.5.100");
  EXPECT_STREQ(get_string_from_json2(4096, 2, "lan", "ipaddr"), "192.168.5.1");
  EXPECT_EQ(cwmp_set_acs("acs.example.com", "u", "p", "key", "1", "600", ""), 0);
  EXPECT_EQ(cwmp_set_local("eth0", "7547", "u", "p", "code", "4"), 0);
  EXPECT_EQ(cwmp_set_device("Q", "001A2B", "QP", "SN", "1", "2"), 0);
  char text[DM_STORE_TEXT_SIZE] = {};
  EXPECT_EQ(quorbit_get_cwmp_config(text), 0);
  EXPECT_NE(std::string(text).find("acs.example.com"), std::string::npos);
  char member[DM_TEXT_SIZE] = {};
  EXPECT_EQ(quorrbitGetNetcfg(member, "NetworkVpn"), 0);
  EXPECT_NE(std::string(member).find("VpnType"), std::string::npos);
  EXPECT_EQ(quorrbitGetNetcfg(member, "absent"), -1);
  EXPECT_NE(quorrbitGetSipConfig(), nullptr);
  EXPECT_NE(quorrbitGetLdapConfig(), nullptr);
  EXPECT_EQ(quorrbitSaveSipConfig(quorrbitGetSipConfig()), 0);
}

TEST_F(DeviceManagement, SetOnAStoreThatCannotTakeItAnswersMinusOne) {
  std::ofstream("/appconfigs/network.cfg") << R"({"wan":"not an object"})";
  EXPECT_EQ(quorrbitSetnetworkMode("dhcp"), -1);
}

TEST_F(DeviceManagement, NoStoreGivesMinusOneAndLeavesTheReceiver) {
  remove("/appconfigs/tr069.cfg");
  char text[32] = "untouched";
  EXPECT_EQ(quorbit_get_cwmp_config(text), -1);
  EXPECT_STREQ(text, "untouched");
  remove("/appconfigs/network.cfg");
  EXPECT_STREQ(get_ipv4_mode(), "");
  char mode[16] = "x";
  EXPECT_EQ(sys_get_netinfor(mode, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
}

TEST_F(DeviceManagement, NetinforKeepsTheOldTextForAnEmptyDns2) {
  std::ofstream("/appconfigs/network.cfg")
      << R"({"wan":{"mode":"dhcp","ipaddr":"10.0.0.2","netmask":"255.0.0.0","gateway":"10.0.0.1","dns1":"9.9.9.9","dns2":""}})";
  char mode[16], ip[64], mask[64], gw[64], dns1[64] = "old1", dns2[64] = "old2", mac[64] = "oldmac";
  EXPECT_EQ(sys_get_netinfor(mode, ip, mask, gw, dns1, dns2, mac), 0);
  EXPECT_STREQ(ip, "10.0.0.2");
  EXPECT_STREQ(dns1, "9.9.9.9");
  EXPECT_STREQ(dns2, "old2");
  EXPECT_STREQ(mac, "oldmac");
}

TEST_F(DeviceManagement, StatusInforPrintsAndCopies) {
  char sw[64] = "", hw[64] = "", id[64] = "", ip[64] = "", mac[64] = "";
  testing::internal::CaptureStdout();
  EXPECT_EQ(sys_get_statusinfor(sw, hw, id, ip, mac), 0);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("tolk_net sys_get_statusinfor json:"), std::string::npos);
  EXPECT_STREQ(ip, "192.0.2.10");  // the box's eth0
  EXPECT_EQ(std::strlen(mac), 17u);
}

TEST_F(DeviceManagement, FileQuestionAnswersZeroOrMinusTwo) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(sys_check_file_exist("hal.cfg"), 0);
  EXPECT_EQ(sys_check_file_exist("no-such.cfg"), -2);
  EXPECT_EQ(config_check_file_infor(0x3008, nullptr), -1);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("result_datalen = 1, file exist, return 0"), std::string::npos);
  EXPECT_NE(out.find("result_datalen = 0, file not exist, return -2"), std::string::npos);
  EXPECT_NE(out.find("(filename == NULL), return"), std::string::npos);
}

TEST_F(DeviceManagement, AccountQuestionCopiesTheAnswer) {
  std::vector<char> data(32768);
  int length = -1;
  EXPECT_EQ(account_get_from_config(data.data(), &length), 0);
  ASSERT_GT(length, 0);
  json_object* o = json_tokener_parse(data.data());
  ASSERT_NE(o, nullptr);
  EXPECT_NE(get_jobj_from_json(o, 1, "account"), nullptr);
  json_object_put(o);
  EXPECT_EQ(config_read_other_infor(0x7777, data.data(), &length), 0);
  EXPECT_EQ(length, 0);
}

TEST(NoService, FileQuestionWithoutAnAnswerIsMinusTwo) {
  ASSERT_TRUE(phonecore::testing::stop_config_service());
  testing::internal::CaptureStdout();
  EXPECT_EQ(sys_check_file_exist("hal.cfg"), -2);
  testing::internal::GetCapturedStdout();
}

}  // namespace
