// Action URLs in the box: templates loaded from default/function.cfg, the
// variables filled in, and the exact request the recording server got.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "phonecore/action_url.h"
#include "phonecore/net_info.h"
#include "remote/action_url_internal.h"
#include "support/factory_files.h"
#include "support/http_peer.h"
#include "support/web_server.h"

namespace {

using phonecore::remote::kActionEvents;
using phonecore::testing::FactoryFiles;
using phonecore::testing::HttpPeer;
using phonecore::testing::HttpRecord;
using phonecore::testing::WebServer;

using EventFunction = int (*)(const char*, const char*, const char*, const char*, const char*, const char*, const char*,
                              const char*, const char*, const char*);

// Every exported event function by its name, as a caller links them.
const std::vector<std::pair<std::string, EventFunction>> kFunctions = {
    {"action_Setup_Completed", action_Setup_Completed},
    {"action_Registered", action_Registered},
    {"action_Unregistered", action_Unregistered},
    {"action_Register_Failed", action_Register_Failed},
    {"action_Off_Hook", action_Off_Hook},
    {"action_On_Hook", action_On_Hook},
    {"action_Incoming_Call", action_Incoming_Call},
    {"action_Outgoing_Call", action_Outgoing_Call},
    {"action_Established", action_Established},
    {"action_Terminated", action_Terminated},
    {"action_Open_DND", action_Open_DND},
    {"action_Close_DND", action_Close_DND},
    {"action_Always_Forward_On", action_Always_Forward_On},
    {"action_Always_Forward_Off", action_Always_Forward_Off},
    {"action_Busy_Forward_On", action_Busy_Forward_On},
    {"action_Busy_Forward_Off", action_Busy_Forward_Off},
    {"action_No_Answer_Forward_On", action_No_Answer_Forward_On},
    {"action_No_Answer_Forward_Off", action_No_Answer_Forward_Off},
    {"action_Transfer_Call", action_Transfer_Call},
    {"action_Blind_Transfer", action_Blind_Transfer},
    {"action_Attended_Transfer", action_Attended_Transfer},
    {"action_Hold", action_Hold},
    {"action_UnHold", action_UnHold},
    {"action_MUTE", action_MUTE},
    {"action_UnMute", action_UnMute},
    {"action_Missed_Call", action_Missed_Call},
    {"action_IP_Changed", action_IP_Changed},
    {"action_Idle_to_Busy", action_Idle_to_Busy},
    {"action_Busy_to_Idle", action_Busy_to_Idle},
    {"action_Reject_Incoming_Call", action_Reject_Incoming_Call},
    {"action_Answer_New_Incoming_Call", action_Answer_New_Incoming_Call},
    {"action_Transfer_Finished", action_Transfer_Finished},
    {"action_Forward_Incoming_Call", action_Forward_Incoming_Call},
    {"action_Autop_Finish", action_Autop_Finish},
    {"action_Call_Waiting_On", action_Call_Waiting_On},
    {"action_Call_Waiting_Off", action_Call_Waiting_Off},
    {"action_Headset", action_Headset},
    {"action_Handsfree", action_Handsfree},
    {"action_Cancel_Call_Out", action_Cancel_Call_Out},
    {"action_Remote_Busy", action_Remote_Busy},
    {"action_Call_Remote_Canceled", action_Call_Remote_Canceled},
    {"action_Peripheral_Information", action_Peripheral_Information},
    {"action_VPN_IP", action_VPN_IP},
};

// A JSON text of s (the templates hold no control characters).
std::string quoted(const std::string& s) {
  std::string out = "\"";
  for (char c : s) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

// Writes "FeatureActionURL" of default/function.cfg: every member "" but
// the ones given; a member given as nullptr is left out of the section.
void write_templates(const std::vector<std::pair<std::string, const char*>>& set) {
  std::string body = "{\"FeatureActionURL\":{";
  bool first = true;
  for (const auto& e : kActionEvents) {
    const char* value = "";
    bool omitted = false;
    for (const auto& [member, v] : set)
      if (member == e.member) {
        value = v;
        omitted = v == nullptr;
      }
    if (omitted) continue;
    if (!first) body += ",";
    first = false;
    body += quoted(std::string(e.member)) + ":" + quoted(value);
  }
  body += "}}";
  std::ofstream("/appconfigs/default/function.cfg", std::ios::trunc) << body;
}

void write_system(const std::string& mac) {
  std::ofstream("/appconfigs/system.cfg", std::ios::trunc)
      << "{\"systeminfo\":{\"mac\":" << quoted(mac) << ",\"serialnumber\":\"QP20260001\"},"
      << "\"version\":{\"mode\":\"QP-100\"}}";
}

std::string wan_address() {
  char ip[PHONECORE_IPV4_TEXT_SIZE] = {};
  GetLocalIp(client_getWANName(), ip);
  return ip;
}

class ActionUrlBox : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(peer.clear());
    std::memset(action_event_url, 0, sizeof action_event_url);
  }
  // Loads a template for one event and fires it with the call's strings,
  // again while it runs into its 200 ms limit (a loaded machine, a TLS
  // handshake): the last result; what the events printed on standard
  // error is in errors.
  int fire_incoming(const std::string& url, const char* remote = "1002", const char* display_remote = "Bob") {
    write_templates({{"AUSetupCompleted", ""}, {"AUIncomingCall", url.c_str()}});
    update_all_action_arrary(action_event_url);
    int result = -1;
    errors.clear();
    for (int i = 0; i < 20; ++i) {
      ::testing::internal::CaptureStderr();
      result = action_Incoming_Call("sip:1001@pbx", "1001", "pbx", "1001", remote, "Alice", display_remote, "c-42",
                                    "2002", "3003");
      errors = ::testing::internal::GetCapturedStderr();
      if (result == 0 || errors.find("返回值:28\n") == std::string::npos) break;
    }
    return result;
  }
  std::string errors;

  std::string one_target() {
    const auto r = peer.requests(1);
    return r.empty() ? std::string("<nothing>") : r[0].target;
  }

  FactoryFiles files{"default/function.cfg", "system.cfg", "quorbit_ota.cfg"};
  HttpPeer peer;
};

TEST_F(ActionUrlBox, TheRequestOnTheWire) {
  ASSERT_EQ(fire_incoming(HttpPeer::url("/ev?mac=$mac&sn=$sn&ip=$ip&model=$model&fw=$firmware&r=$remote")), 0);
  const auto r = peer.requests(1);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].method, "GET");
  EXPECT_EQ(r[0].target,
            "/ev?mac=00:1A:2B:3C:4D:5E&sn=QP20260001&ip=" + wan_address() + "&model=QP-100&fw=1.0.0&r=1002");
  EXPECT_FALSE(wan_address().empty());
  // The one header of its own, without a blank behind the colon.
  EXPECT_NE(r[0].raw.find("\r\nContent-Type:application/json;charset=UTF-8\r\n"), std::string::npos) << r[0].raw;
  std::vector<std::string> names;
  for (const auto& [n, v] : r[0].headers) names.push_back(n);
  EXPECT_EQ(names, (std::vector<std::string>{"Host", "Accept", "Content-Type"}));
  EXPECT_EQ(r[0].body, "");
}

TEST_F(ActionUrlBox, EveryEventVariable) {
  ASSERT_EQ(fire_incoming(HttpPeer::url("/v?au=$active_url&us=$active_user&ah=$active_host&l=$local&r=$remote"
                                        "&dl=$display_local&dr=$display_remote&ci=$call_id&cid=$callerID"
                                        "&cn=$calledNumber")),
            0);
  EXPECT_EQ(one_target(), "/v?au=sip:1001@pbx&us=1001&ah=pbx&l=1001&r=1002&dl=Alice&dr=Bob&ci=c-42&cid=2002&cn=3003");
}

TEST_F(ActionUrlBox, NeighbouringNamesDontHitEachOther) {
  // "$local" is not inside "$display_local", nor "$call_id" in "$callerID".
  ASSERT_EQ(fire_incoming(HttpPeer::url("/n?dl=$display_local&cid=$callerID&l=$local&ci=$call_id")), 0) << errors;
  EXPECT_EQ(one_target(), "/n?dl=Alice&cid=2002&l=1001&ci=c-42");
}

TEST_F(ActionUrlBox, OnlyTheFirstOccurrenceIsReplaced) {
  ASSERT_EQ(fire_incoming(HttpPeer::url("/f?a=$mac&b=$mac&c=$remote&d=$remote")), 0) << errors;
  EXPECT_EQ(one_target(), "/f?a=00:1A:2B:3C:4D:5E&b=$mac&c=1002&d=$remote");
}

TEST_F(ActionUrlBox, EmptyOrNullEventValueStaysLiterally) {
  ASSERT_EQ(fire_incoming(HttpPeer::url("/e?dr=$display_remote&r=$remote"), nullptr, ""), 0) << errors;
  EXPECT_EQ(one_target(), "/e?dr=$display_remote&r=$remote");
}

TEST_F(ActionUrlBox, OverlongEventValueStaysLiterally) {
  const std::string v641(641, 'x');
  ASSERT_EQ(fire_incoming(HttpPeer::url("/o?r=$remote"), v641.c_str()), 0) << errors;
  EXPECT_EQ(one_target(), "/o?r=$remote");
}

TEST_F(ActionUrlBox, UnknownDollarWordStays) {
  ASSERT_EQ(fire_incoming(HttpPeer::url("/u?x=$nobody&y=$calledNumberX")), 0) << errors;
  EXPECT_EQ(one_target(), "/u?x=$nobody&y=3003X");
}

TEST_F(ActionUrlBox, EmptyStoredValueDeletesItsVariable) {
  write_system("");
  ASSERT_EQ(fire_incoming(HttpPeer::url("/s?mac=$mac&sn=$sn")), 0) << errors;
  EXPECT_EQ(one_target(), "/s?mac=&sn=QP20260001");
}

TEST_F(ActionUrlBox, ValuesAreNotEncoded) {
  ASSERT_EQ(fire_incoming(HttpPeer::url("/raw?r=$remote"), "1002&admin=1#frag"), 0);
  // The fragment is the client's own: only what stands before it goes out.
  EXPECT_EQ(one_target(), "/raw?r=1002&admin=1");
}

TEST_F(ActionUrlBox, BlankInValueIsRefusedByLibcurl) {
  EXPECT_EQ(fire_incoming(HttpPeer::url("/blank?r=$remote"), "10 02"), -1);
  EXPECT_NE(errors.find("返回值:3\n"), std::string::npos) << errors;
  EXPECT_TRUE(peer.requests(1).empty());
}

TEST_F(ActionUrlBox, ErrorStatusIsSuccessWithBodyOnStandardOutput) {
  for (const int status : {404, 500}) {
    ::testing::internal::CaptureStdout();
    const int result = http_send_get(HttpPeer::url("/status/" + std::to_string(status)).c_str());
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(result, 0) << status;
    EXPECT_NE(out.find("status " + std::to_string(status) + "\n"), std::string::npos) << out;
    EXPECT_NE(out.find("---------------------http_send_get res = 0\n"), std::string::npos) << out;
    EXPECT_NE(out.find("--------------------------http_send_get end!!!!"), std::string::npos) << out;
  }
}

TEST_F(ActionUrlBox, RedirectIsFollowed) {
  EXPECT_EQ(http_send_get(HttpPeer::url("/redirect").c_str()), 0);
  const auto r = peer.requests(2);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].target.substr(0, 9), "/redirect");
  EXPECT_EQ(r[1].target, "/status/200");
}

TEST_F(ActionUrlBox, ClosedPortAndStallFail) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(http_send_get("http://127.0.0.1:18081/"), -1);
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("不能连接到remote主机或者代理\n"), std::string::npos) << err;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(http_send_get(HttpPeer::url("/stall/2").c_str()), -1);
  err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("返回值:28\n"), std::string::npos) << err;
  // The server records the stalled connection once it sees it closed.
  EXPECT_EQ(peer.requests(1).size(), 1u);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(http_send_get("gopher2://127.0.0.1/"), -1);
  err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("不支持的协议,由URL的头部指定\n"), std::string::npos) << err;
}

TEST_F(ActionUrlBox, EmptySlotSendsNothing) {
  write_templates({{"AUSetupCompleted", ""}});
  update_all_action_arrary(action_event_url);
  EXPECT_EQ(action_Incoming_Call("a", "b", "c", "d", "e", "f", "g", "h", "i", "j"), 0);
  EXPECT_TRUE(peer.requests(1).empty());
}

TEST_F(ActionUrlBox, EachEventSendsItsOwnSlot) {
  std::vector<std::string> urls;
  std::vector<std::pair<std::string, const char*>> set;
  for (const auto& e : kActionEvents) urls.push_back(HttpPeer::url("/ev/" + std::string(e.member)));
  for (size_t i = 0; i < urls.size(); ++i) set.emplace_back(std::string(kActionEvents[i].member), urls[i].c_str());
  write_templates(set);
  update_all_action_arrary(action_event_url);
  // The slot without a function is loaded all the same.
  EXPECT_STREQ(action_event_url[31], HttpPeer::url("/ev/AUTransferFailed").c_str());
  std::vector<std::string> expected;
  for (const auto& [name, fn] : kFunctions) {
    const int slot = phonecore::remote::action_slot(name);
    ASSERT_GE(slot, 0) << name;
    // A loaded machine may run a send into its 200 ms limit: that one
    // event is sent again.
    int result = -1;
    for (int i = 0; i < 20; ++i) {
      ::testing::internal::CaptureStderr();
      result = fn(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
      errors = ::testing::internal::GetCapturedStderr();
      if (result == 0 || errors.find("返回值:28\n") == std::string::npos) break;
    }
    ASSERT_EQ(result, 0) << name << errors;
    expected.push_back("/ev/" + std::string(kActionEvents[slot].member));
    EXPECT_STREQ(action_event_url_tmp[slot], urls[static_cast<size_t>(slot)].c_str()) << name;
  }
  EXPECT_EQ(kFunctions.size(), 43u);
  // A send cut at its limit may have reached the peer as well, and be
  // written down after a later one: the targets are compared as a set.
  const auto r = peer.requests(43);
  ASSERT_GE(r.size(), 43u);
  std::set<std::string> heard;
  for (const auto& one : r) heard.insert(one.target);
  const std::set<std::string> wanted(expected.begin(), expected.end());
  EXPECT_EQ(wanted.size(), 43u);
  EXPECT_EQ(heard, wanted);
}

TEST_F(ActionUrlBox, TemplateOf639IsWholeLongerIsCut) {
  const std::string base = HttpPeer::url("/l?");
  const std::string t639 = base + std::string(639 - base.size(), 'a');
  ASSERT_EQ(fire_incoming(t639), 0) << errors;
  EXPECT_EQ(one_target().size(), 639 - std::string("http://127.0.0.1:18080").size());
  ASSERT_TRUE(peer.clear());
  const std::string t700 = base + std::string(700 - base.size(), 'b');
  ASSERT_EQ(fire_incoming(t700), 0);
  EXPECT_EQ(std::strlen(action_event_url[6]), 639u);
  EXPECT_EQ(one_target(), "/l?" + std::string(639 - base.size(), 'b'));
}

TEST_F(ActionUrlBox, ReplacementIsCutAtTheRoom) {
  // A template near the room and a long value: the request is cut at 639.
  const std::string base = HttpPeer::url("/c?r=$remote&");
  const std::string t = base + std::string(600 - base.size(), 'z');
  const std::string value(300, 'v');
  ASSERT_EQ(fire_incoming(t, value.c_str()), 0);
  EXPECT_EQ(std::strlen(action_event_url_tmp[6]), 639u);
  const std::string sent = one_target();
  EXPECT_EQ(sent.substr(0, 5 + 300), "/c?r=" + value);
  EXPECT_EQ(sent.size(), 639 - std::string("http://127.0.0.1:18080").size());
}

TEST_F(ActionUrlBox, WithoutSetupCompletedNothingIsLoaded) {
  write_templates({{"AUSetupCompleted", ""}, {"AUIncomingCall", "http://127.0.0.1:18080/before"}});
  update_all_action_arrary(action_event_url);
  std::strcpy(my_action_url_conf[0].value, "kept");
  write_templates({{"AUSetupCompleted", nullptr}, {"AUIncomingCall", "http://127.0.0.1:18080/after"}});
  EXPECT_EQ(update_all_action_arrary(action_event_url), 1);
  EXPECT_STREQ(action_event_url[6], "http://127.0.0.1:18080/before");
  EXPECT_STREQ(my_action_url_conf[0].value, "kept");  // the stored variables aren't read either
  get_system_something();
  EXPECT_STREQ(my_action_url_conf[0].value, "00:1A:2B:3C:4D:5E");
}

TEST_F(ActionUrlBox, MissingOtherMemberLoadsEmpty) {
  std::strcpy(action_event_url[7], "http://127.0.0.1:18080/old");
  write_templates({{"AUSetupCompleted", ""}, {"AUCallOut", nullptr}, {"AUIncomingCall", "x"}});
  update_all_action_arrary(action_event_url);
  EXPECT_STREQ(action_event_url[7], "");
  EXPECT_STREQ(action_event_url[6], "x");
}

TEST_F(ActionUrlBox, UnreadableFileChangesNothing) {
  std::strcpy(action_event_url[6], "kept");
  std::remove("/appconfigs/default/function.cfg");
  EXPECT_EQ(update_all_action_arrary(action_event_url), 0);
  EXPECT_STREQ(action_event_url[6], "kept");
}

TEST_F(ActionUrlBox, MacIsTheLastLoadIpFollowsTheInterface) {
  ASSERT_EQ(fire_incoming(HttpPeer::url("/m?mac=$mac&ip=$ip")), 0);
  const std::string before = wan_address();
  ASSERT_FALSE(before.empty());
  EXPECT_EQ(one_target(), "/m?mac=00:1A:2B:3C:4D:5E&ip=" + before);
  ASSERT_TRUE(peer.clear());
  // A new MAC in the file and a new address, without a reload.
  write_system("AA:BB:CC:DD:EE:FF");
  const std::string wan = client_getWANName();
  ASSERT_EQ(std::system(("ip addr flush dev " + wan + " && ip addr add 192.0.2.77/24 dev " + wan).c_str()), 0);
  EXPECT_EQ(
      action_Incoming_Call(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
      0);
  EXPECT_EQ(one_target(), "/m?mac=00:1A:2B:3C:4D:5E&ip=192.0.2.77");
  ASSERT_EQ(std::system(("ip addr flush dev " + wan + " && ip addr add " + before + "/24 dev " + wan +
                         " && ip route add default via 192.0.2.1 dev " + wan)
                            .c_str()),
            0);
}

TEST_F(ActionUrlBox, VpnAddressOfTun0) {
  char url[ACTION_URL_SIZE] = "http://h/?v=$vpn_ip&x";
  url_replace_normal_string_without_speakthing(url);
  EXPECT_STREQ(url, "http://h/?v=&x");  // no tun0: nothing
  // The box has no /dev/net/tun: a veth named as the VPN's interface holds
  // the address just the same.
  ASSERT_EQ(std::system("ip link add tun0 type veth peer name tun0-far && ip addr add 10.8.0.6/24 dev tun0 && "
                        "ip link set tun0 up"),
            0);
  std::strcpy(url, "http://h/?v=$vpn_ip&x");
  url_replace_normal_string_without_speakthing(url);
  EXPECT_STREQ(url, "http://h/?v=10.8.0.6&x");
  EXPECT_EQ(std::system("ip link del tun0"), 0);
}

TEST_F(ActionUrlBox, NormalStringCutsOthersAndTheFirstEnd) {
  get_system_something();
  char url[ACTION_URL_SIZE] = "http://h/friend?m=$mac&r=$remote&q=$nobody&weekend";
  url_replace_normal_string(url);
  // "end" is a row of the table: its first occurrence goes, wherever it is.
  EXPECT_STREQ(url, "http://h/fri?m=00:1A:2B:3C:4D:5E&r=&q=$nobody&weekend");
  char kept[ACTION_URL_SIZE] = "http://h/friend?m=$mac&r=$remote";
  url_replace_normal_string_without_speakthing(kept);
  EXPECT_STREQ(kept, "http://h/friend?m=00:1A:2B:3C:4D:5E&r=$remote");
}

TEST_F(ActionUrlBox, SecondNamesAreTheSamePipeline) {
  get_system_something();
  char url[ACTION_URL_SIZE];
  std::snprintf(url, sizeof url, "%s", HttpPeer::url("/two?m=$mac&r=$remote").c_str());
  EXPECT_EQ(
      set_action_http_get2(url, nullptr, nullptr, nullptr, nullptr, "7", nullptr, nullptr, nullptr, nullptr, nullptr),
      0);
  EXPECT_STREQ(url, HttpPeer::url("/two?m=00:1A:2B:3C:4D:5E&r=7").c_str());
  EXPECT_EQ(one_target(), "/two?m=00:1A:2B:3C:4D:5E&r=7");
}

TEST_F(ActionUrlBox, RealWebServerLogsTheFilledRequest) {
  ASSERT_EQ(fire_incoming("http://127.0.0.1:8080/books/placeholder.txt?ev=in&mac=$mac&remote=$remote&ip=$ip"), 0)
      << errors;
  const std::string line = WebServer::access_log_line("ev=in&");
  EXPECT_NE(line.find("\"GET /books/placeholder.txt?ev=in&mac=00:1A:2B:3C:4D:5E&remote=1002&ip=" + wan_address() +
                      " HTTP/1.1\" 200 12"),
            std::string::npos)
      << line;
}

TEST_F(ActionUrlBox, CertificatesAreNotChecked) {
  // The self-signed server is taken as the CA's.
  ASSERT_EQ(fire_incoming("https://127.0.0.1:8444/?ev=tls&r=$remote"), 0) << errors;
  // (over TLS libcurl and lighttpd agree on HTTP/2)
  const std::string line = WebServer::access_log_line("ev=tls&");
  EXPECT_NE(line.find("\"GET /?ev=tls&r=1002 HTTP/2.0\" 200"), std::string::npos) << line;
}

}  // namespace
