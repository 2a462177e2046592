// The web server's file, restart and firewall lists in the box: the
// working file made from the templates, the recorded restart, the stored
// settings and the broadcasts.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "phonecore/web_config.h"
#include "support/calls_log.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/put_file.h"
#include "support/raw_session.h"

using phonecore::testing::calls_log;
using phonecore::testing::commands_heard;
using phonecore::testing::FactoryFiles;
using phonecore::testing::put_file;
using phonecore::testing::RawSession;
using phonecore::testing::slurp;
using phonecore::testing::text_at;

namespace {

constexpr const char* kWorking = "/appconfigs/lighttpd.conf";
const std::string kTemplates = "/customer/etc/lighttpd/";

json_object* file_json(const std::string& name) { return json_tokener_parse(slurp("/appconfigs/" + name).c_str()); }

// Replaces one member of an object of a JSON file below /appconfigs.
void set_member(const std::string& file, const char* object, const char* key, json_object* value) {
  json_object* root = file_json(file);
  json_object* o = nullptr;
  if (!json_object_object_get_ex(root, object, &o)) {
    o = json_object_new_object();
    json_object_object_add(root, object, o);
  }
  json_object_object_add(o, key, value);
  put_file("/appconfigs/" + file, json_object_get_string(root));
  json_object_put(root);
}

const std::string kStartNetwork = std::string("{\"cmd\":\"start_network\"}") + '\0';

// The calls recorded since before, once the restarted server's start (in
// the background) has written its line.
std::vector<std::string> restart_calls(size_t before) {
  std::vector<std::string> calls;
  for (int i = 0; i < 200; ++i) {
    calls = calls_log();
    if (calls.size() > before && calls.back().starts_with("lighttpd -f")) break;
    usleep(10000);
  }
  return std::vector<std::string>(calls.begin() + static_cast<long>(std::min(before, calls.size())), calls.end());
}

std::vector<int> list_of(const char* key) {
  json_object* root = file_json("network.cfg");
  json_object *fw = nullptr, *list = nullptr;
  std::vector<int> out;
  if (json_object_object_get_ex(root, "firewall", &fw) && json_object_object_get_ex(fw, key, &list) &&
      json_object_is_type(list, json_type_array))
    for (size_t i = 0; i < json_object_array_length(list); ++i)
      out.push_back(json_object_get_int(json_object_array_get_idx(list, i)));
  json_object_put(root);
  return out;
}

// Waits until every restart's server start, which runs in the background,
// has written its line, so that one test's late line can't fall into the
// next test's record.
void settle_restarts() {
  for (int i = 0; i < 500; ++i) {
    if (calls_log("killall -9 lighttpd").size() == calls_log("lighttpd -f").size()) return;
    usleep(10000);
  }
}

class Web : public ::testing::Test {
 protected:
  void SetUp() override {
    settle_restarts();
    ASSERT_TRUE(listener.ok());
  }
  void TearDown() override { settle_restarts(); }
  FactoryFiles files{"network.cfg", "default/internet.cfg", "system.cfg", "hal.cfg", "lighttpd.conf"};
  RawSession listener{3200};
};

TEST_F(Web, StoredValuesSendOnlyStartNetwork) {
  int a = -1, b = -1, c = -1, d = -1;
  ASSERT_EQ(getWebType(&a, &b, &c, &d), 0);
  EXPECT_EQ(a, 1);
  EXPECT_EQ(b, 1);
  EXPECT_EQ(c, 80);
  EXPECT_EQ(d, 443);
  const std::string before = slurp("/appconfigs/default/internet.cfg");
  const size_t calls = calls_log().size();
  EXPECT_EQ(setWebType(a, b, c, d), 0);
  EXPECT_EQ(commands_heard(listener), std::vector<std::string>{kStartNetwork});
  EXPECT_EQ(slurp("/appconfigs/default/internet.cfg"), before);
  EXPECT_EQ(calls_log().size(), calls);
  EXPECT_EQ(slurp(kWorking), "");
}

TEST_F(Web, PortsMovedAndServerRestarted) {
  const size_t before = calls_log().size();
  EXPECT_EQ(setWebType(1, 1, 8180, 8543), 0);
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "NetworkhttpPort"}), "8180");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "NetworkhttpsPort"}), "8543");
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "HttpServerSwitch"}), "1");
  const std::string conf = slurp(kWorking);
  EXPECT_NE(conf.find("$SERVER[\"socket\"] == \"0.0.0.0:8180\""), std::string::npos) << conf;
  EXPECT_NE(conf.find("$SERVER[\"socket\"] == \":8543\""), std::string::npos) << conf;
  EXPECT_EQ(conf.find(":80\""), std::string::npos);
  EXPECT_EQ(conf.find(":443\""), std::string::npos);
  // Each port's two sed lines (the box's sed records its arguments as the
  // shell split them), then the restart.
  EXPECT_EQ(restart_calls(before), (std::vector<std::string>{
                                       "sed -i s/\":80\"/\":8180\"/g /appconfigs/lighttpd.conf",
                                       "sed -i s/0.0.0.0:80/0.0.0.0:8180/g /appconfigs/lighttpd.conf",
                                       "sed -i s/\":443\"/\":8543\"/g /appconfigs/lighttpd.conf",
                                       "sed -i s/0.0.0.0:443/0.0.0.0:8543/g /appconfigs/lighttpd.conf",
                                       "killall -9 lighttpd",
                                       "lighttpd -f /appconfigs/lighttpd.conf",
                                   }));
  EXPECT_EQ(commands_heard(listener), std::vector<std::string>{kStartNetwork});
}

// http off in the file and unchanged: it counts as on, so an https change
// alone selects a template with http.
TEST_F(Web, UnchangedSideCountsAsOn) {
  set_member("default/internet.cfg", "NetworkAdvanced", "HttpServerSwitch", json_object_new_string("0"));
  EXPECT_EQ(setWebType(0, 0, 80, 443), 0);
  EXPECT_EQ(slurp(kWorking), slurp(kTemplates + "lighttpd.conf.no.https"));
}

TEST_F(Web, HttpSwitchKeptOffWithANewPortCountsAsOff) {
  set_member("default/internet.cfg", "NetworkAdvanced", "HttpServerSwitch", json_object_new_string("0"));
  EXPECT_EQ(setWebType(0, 1, 8080, 443), 0);
  EXPECT_EQ(slurp(kWorking), slurp(kTemplates + "lighttpd.conf.no.http"));
}

TEST_F(Web, TemplatesByState) {
  struct Row {
    int http_switch, https_switch;
    const char* file;
  };
  // From the factory state (both on, 80 and 443), each side changed.
  const Row rows[] = {
      {0, 0, "lighttpd.conf.no.http.no.https"}, {1, 0, "lighttpd.conf.no.https"}, {0, 1, "lighttpd.conf.no.http"}};
  for (const Row& r : rows) {
    settle_restarts();
    ASSERT_TRUE(files.restore());
    ASSERT_EQ(setWebType(r.http_switch, r.https_switch, 80, 443), 0);
    EXPECT_EQ(slurp(kWorking), slurp(kTemplates + r.file)) << r.file;
  }
}

TEST_F(Web, WithoutInternetCfgTheServerStillRestarts) {
  std::remove("/appconfigs/default/internet.cfg");
  const size_t before = calls_log().size();
  EXPECT_EQ(setWebType(1, 1, 80, 443), 0);
  EXPECT_EQ(restart_calls(before),
            (std::vector<std::string>{"killall -9 lighttpd", "lighttpd -f /appconfigs/lighttpd.conf"}));
  EXPECT_EQ(text_at("default/internet.cfg", {"NetworkAdvanced", "NetworkhttpPort"}), "80");
}

TEST_F(Web, ChangeHttpdPortAppendsTheServerPort) {
  const size_t before = calls_log().size();
  EXPECT_EQ(change_httpd_port(8180, 8543), 0);
  EXPECT_EQ(slurp(kWorking), slurp(kTemplates + "lighttpd.conf") + "server.port = 8180\n");
  EXPECT_EQ(calls_log().size(), before);  // not restarted
  int http = 0, https = 0;
  const std::string stored = slurp("/appconfigs/network.cfg");
  EXPECT_EQ(get_httpd_port(&http, &https), 0);
  EXPECT_EQ(http, 8180);
  EXPECT_EQ(https, 8543);
  json_object* a = json_tokener_parse(stored.c_str());
  json_object* b = file_json("network.cfg");
  EXPECT_TRUE(json_object_equal(a, b));
  json_object_put(a);
  json_object_put(b);
}

TEST_F(Web, WanAllowRunsTheFirewall) {
  const size_t before = calls_log().size();
  EXPECT_EQ(httpd_wan_allow(0), 0);
  EXPECT_EQ(text_at("network.cfg", {"httpd", "wan_allow"}), "0");
  auto calls = calls_log();
  ASSERT_EQ(calls.size(), before + 1);
  EXPECT_EQ(calls.back(), "firewall.sh");
}

TEST_F(Web, WithoutNetworkCfgSettersDoNothing) {
  std::remove("/appconfigs/network.cfg");
  const size_t before = calls_log().size();
  EXPECT_EQ(httpd_wan_allow(0), 0);
  EXPECT_EQ(change_httpd_port(1, 2), 0);
  const int port = 5060;
  EXPECT_EQ(firewall_set(&port, 1, 1), 0);
  int http = 7;
  EXPECT_EQ(get_httpd_port(&http, nullptr), 0);
  EXPECT_EQ(http, 7);
  EXPECT_EQ(calls_log().size(), before);
  EXPECT_EQ(slurp(kWorking), "");
}

TEST_F(Web, FirewallAllowList) {
  const size_t before = calls_log().size();
  const int open[] = {5060, 80, 5060};
  EXPECT_EQ(firewall_set(open, 3, 1), 0);
  EXPECT_EQ(list_of("tcp_allow_list"), (std::vector<int>{5060, 80}));
  const int again[] = {80};
  EXPECT_EQ(firewall_set(again, 1, 1), 0);  // already listed
  EXPECT_EQ(list_of("tcp_allow_list"), (std::vector<int>{5060, 80}));
  EXPECT_EQ(firewall_set(again, 1, 0), 0);
  EXPECT_EQ(list_of("tcp_allow_list"), (std::vector<int>{5060}));
  EXPECT_EQ(list_of("tcp_deny_list"), std::vector<int>{});
  EXPECT_EQ(calls_log().size(), before);  // no firewall.sh
}

TEST_F(Web, FirewallDenyListIsTheReverse) {
  set_member("network.cfg", "firewall", "mode", json_object_new_int(1));
  const int ports[] = {22, 23};
  EXPECT_EQ(firewall_set(ports, 2, 0), 0);
  EXPECT_EQ(list_of("tcp_deny_list"), (std::vector<int>{22, 23}));
  EXPECT_EQ(firewall_set(ports, 1, 1), 0);
  EXPECT_EQ(list_of("tcp_deny_list"), (std::vector<int>{23}));
  EXPECT_EQ(list_of("tcp_allow_list"), std::vector<int>{});
}

TEST_F(Web, FirewallModeTwoLeavesBothLists) {
  set_member("network.cfg", "firewall", "mode", json_object_new_int(2));
  set_member("network.cfg", "firewall", "tcp_allow_list", json_tokener_parse("[1,2]"));
  const int ports[] = {3};
  EXPECT_EQ(firewall_set(ports, 1, 1), 0);
  EXPECT_EQ(firewall_set(ports, 1, 0), 0);
  EXPECT_EQ(list_of("tcp_allow_list"), (std::vector<int>{1, 2}));
  EXPECT_EQ(list_of("tcp_deny_list"), std::vector<int>{});
}

// An unreadable allow list: closing writes an empty list, opening leaves
// the file alone.
TEST_F(Web, FirewallUnreadableList) {
  set_member("network.cfg", "firewall", "tcp_allow_list", json_object_new_string("oops"));
  const int ports[] = {5060};
  const std::string before = slurp("/appconfigs/network.cfg");
  EXPECT_EQ(firewall_set(ports, 1, 1), 0);
  EXPECT_EQ(slurp("/appconfigs/network.cfg"), before);
  EXPECT_EQ(firewall_set(ports, 1, 0), 0);
  EXPECT_EQ(text_at("network.cfg", {"firewall", "tcp_allow_list"}), "[ ]");
}

// A list holds 64 ports; a 65th is not added.
TEST_F(Web, FirewallListHoldsSixtyFourPorts) {
  std::vector<int> ports;
  for (int p = 1000; p < 1065; ++p) ports.push_back(p);
  EXPECT_EQ(firewall_set(ports.data(), static_cast<int>(ports.size()), 1), 0);
  auto stored = list_of("tcp_allow_list");
  ASSERT_EQ(stored.size(), 64u);
  EXPECT_EQ(stored.back(), 1063);
  EXPECT_EQ(firewall_set(nullptr, 5, 1), 0);
}

TEST_F(Web, OneKeySettings) {
  EXPECT_EQ(wan_login_enable(), 0);
  EXPECT_EQ(redial_del_ontime_get(), 0);
  EXPECT_EQ(redial_del_ontime_set(30), 0);
  EXPECT_EQ(redial_del_ontime_get(), 30);
  EXPECT_EQ(text_at("system.cfg", {"systeminfo", "redial_del_ontime"}), "30");
  EXPECT_EQ(keytone_mode_get(), 1);
  EXPECT_EQ(keytone_mode_set(0), 0);
  EXPECT_EQ(keytone_mode_get(), 0);
  EXPECT_EQ(getWallPaperIndex(), 0);
  EXPECT_EQ(setWallPaperIndex(3), 0);
  EXPECT_EQ(getWallPaperIndex(), 3);
  EXPECT_EQ(text_at("hal.cfg", {"lcd", "DesktopImg"}), "3");
}

TEST_F(Web, OneKeySettingsWithoutTheirFiles) {
  std::remove("/appconfigs/system.cfg");
  std::remove("/appconfigs/hal.cfg");
  EXPECT_EQ(redial_del_ontime_get(), -1);
  EXPECT_EQ(redial_del_ontime_set(1), -1);
  EXPECT_EQ(keytone_mode_get(), 0);
  EXPECT_EQ(keytone_mode_set(1), -1);
  EXPECT_EQ(getWallPaperIndex(), 0);
  EXPECT_EQ(setWallPaperIndex(1), -1);
}

}  // namespace
