// The reload after a phone.cfg batch, in the box: the two marker files and
// how they are read, the broadcasts heard on a test session byte for byte
// and in order with their pauses as lower bounds, the marker at each
// arrival, and the SIP identities written before the first broadcast.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bus/vocabulary.h"
#include "phonecore/phonecfg.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/put_file.h"
#include "support/raw_session.h"

namespace {

using phonecore::testing::command_payload;
using phonecore::testing::commands_heard;
using phonecore::testing::FactoryFiles;
using phonecore::testing::put_file;
using phonecore::testing::RawSession;
using phonecore::testing::slurp;
using phonecore::testing::text_at;
using Clock = std::chrono::steady_clock;
namespace bus = phonecore::bus;

constexpr const char* kMarker = "/tmp/reloading";
constexpr const char* kCallFile = "/tmp/call_check.txt";

struct Heard {
  std::string text;
  double ms;                   // since the call
  std::string marker;          // /tmp/reloading at its arrival
  std::string voip_registrar;  // account[0].registrar of voip.cfg at its arrival
};

class PhonecfgReload : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    std::remove(kMarker);
    std::remove(kCallFile);
    ASSERT_TRUE(listener_.ok());
    start_network_flag = 0;
    reload_something_flag = 0;
  }
  void TearDown() override {
    std::remove(kMarker);
    std::remove(kCallFile);
  }

  // Runs the reload on its own thread and records every command broadcast
  // until "reload_account" and the reload's end; *marker_zero_ms is when
  // the marker was first seen "0", counted from the call.
  std::vector<Heard> reload_and_listen(double* marker_zero_ms = nullptr) {
    std::vector<Heard> heard;
    const Clock::time_point start = Clock::now();
    auto since = [start] { return std::chrono::duration<double, std::milli>(Clock::now() - start).count(); };
    std::atomic<bool> done{false};
    std::thread reload([&] {
      reload_all_phonecfg();
      done = true;
    });
    bool account_heard = false;
    while (!account_heard) {
      auto in = listener_.receive(10000);
      if (!in) break;
      const auto h = RawSession::header(*in);
      if (h.kind != bus::kKindCommand || h.msgtype != bus::kMsgtypeCommand || h.dest != bus::kBusIdAll) continue;
      const double at = since();
      heard.push_back({RawSession::payload(*in), at, slurp(kMarker), text_at("voip.cfg", {"account"})});
      if (heard.back().text == command_payload("reload_account")) account_heard = true;
    }
    // -1 when the reload ended without a "0" in the marker.
    double zero_at = -1;
    while (zero_at < 0) {
      const bool ended = done;  // read first: its "0" is written by then
      if (slurp(kMarker) == "0") zero_at = since();
      else if (ended) break;
      else std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    reload.join();
    if (marker_zero_ms != nullptr) *marker_zero_ms = zero_at;
    return heard;
  }

  FactoryFiles files_{"voip.cfg", "default/voiplist.cfg", "default/dss.cfg", "default/programing_key.cfg"};
  RawSession listener_{3101};
};

TEST_F(PhonecfgReload, MarkersReadZeroOnlyWhenMissingOrExactlyZero) {
  struct Case {
    const char* text;  // null: no file
    int expected;
  };
  for (const Case& c : {Case{nullptr, 0}, Case{"0", 0}, Case{"", 1}, Case{"0\n", 1}, Case{"00", 1}, Case{"1", 1},
                        Case{"2", 1}, Case{"0123456789abcdef0123", 1}}) {
    SCOPED_TRACE(c.text != nullptr ? c.text : "(no file)");
    std::remove(kMarker);
    std::remove(kCallFile);
    if (c.text != nullptr) {
      put_file(kMarker, c.text);
      put_file(kCallFile, c.text);
    }
    is_reloading = -1;
    callinprocess = -1;
    EXPECT_EQ(getReloading(), 0);
    EXPECT_EQ(getCallStatus(), 0);
    EXPECT_EQ(is_reloading, c.expected);
    EXPECT_EQ(callinprocess, c.expected);
  }
}

TEST_F(PhonecfgReload, WriteTmpReloadingReplacesTheMarker) {
  EXPECT_EQ(write_tmp_reloading("1"), 0);
  EXPECT_EQ(slurp(kMarker), "1");
  EXPECT_EQ(write_tmp_reloading("0"), 0);
  EXPECT_EQ(slurp(kMarker), "0");
  EXPECT_EQ(write_tmp_reloading(nullptr), 0);
  EXPECT_TRUE(std::filesystem::exists(kMarker));
  EXPECT_EQ(slurp(kMarker), "");
}

TEST_F(PhonecfgReload, AReloadUnderWayMakesTheNextReturnAtOnce) {
  for (const char* marker : {"1", "00", ""}) {
    SCOPED_TRACE(marker);
    put_file(kMarker, marker);
    reload_something_flag = 1;
    start_network_flag = 1;
    EXPECT_EQ(reload_all_phonecfg(), 0);
    EXPECT_EQ(slurp(kMarker), marker);
    EXPECT_EQ(reload_something_flag, 1);
    EXPECT_EQ(start_network_flag, 1);
  }
  EXPECT_TRUE(commands_heard(listener_).empty());
}

TEST_F(PhonecfgReload, ABatchWithoutValuesOnlyReloadsTheAccounts) {
  my_dm_handle_value1("Network.Wan.ipaddr=");
  my_dm_handle_value1("[Config]");
  ASSERT_EQ(reload_something_flag, 0);
  double zero_after = 0;
  const std::vector<Heard> heard = reload_and_listen(&zero_after);
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].text, command_payload("reload_account"));
  EXPECT_GE(zero_after, 100.0 - 2);
  EXPECT_EQ(slurp(kMarker), "0");
}

TEST_F(PhonecfgReload, TheApplicationSequenceGoesOutInOrderWithItsPauses) {
  // voip.cfg without identities, so that their arrival shows.
  std::string voip = slurp("/appconfigs/voip.cfg");
  for (size_t at; (at = voip.find("sip:1001@127.0.0.1:5060")) != std::string::npos;) voip.replace(at, 23, "old");
  for (size_t at; (at = voip.find("sip:127.0.0.1:5060")) != std::string::npos;) voip.replace(at, 18, "old");
  put_file("/appconfigs/voip.cfg", voip);
  ASSERT_EQ(text_at("voip.cfg", {"account"}).find("sip:"), std::string::npos);
  reload_something_flag = 1;
  std::strcpy(registrar1, "stale");
  double zero_after = 0;
  const std::vector<Heard> heard = reload_and_listen(&zero_after);
  struct Expected {
    const char* name;
    double gap_ms;  // at least this long after the one before (the call for the first)
  };
  const Expected expected[] = {
      {"reload_transfer_dnd", 50}, {"reload_dial_char", 0}, {"setFeatureGnlInfor", 10}, {"reload_intercom_cnf", 50},
      {"reload_language", 10},     {"startSomething", 20},  {"reload_dialplan", 10},    {"reload_powerled_cnf", 10},
      {"reload_sip_base", 50},     {"reload_dss_key", 50},  {"reload_account", 0},
  };
  ASSERT_EQ(heard.size(), std::size(expected));
  // Lower bounds from the call: a broadcast can't go out before the
  // pauses ahead of it have passed, and a busy receiver only hears it
  // later (gaps between two arrivals may shrink; these bounds can't).
  double pauses = 0;
  for (size_t i = 0; i < heard.size(); ++i) {
    SCOPED_TRACE(expected[i].name);
    pauses += expected[i].gap_ms;
    EXPECT_EQ(heard[i].text, command_payload(expected[i].name));
    EXPECT_GE(heard[i].ms, pauses - 2);
    if (i + 1 < heard.size()) {
      EXPECT_EQ(heard[i].marker, "1");
    }
  }
  // The identities are in voip.cfg before the first broadcast.
  EXPECT_NE(heard[0].voip_registrar.find("\"registrar\": \"sip:127.0.0.1:5060\""), std::string::npos)
      << heard[0].voip_registrar;
  EXPECT_NE(heard[0].voip_registrar.find("sip:1001@127.0.0.1:5060"), std::string::npos);
  EXPECT_GE(zero_after, pauses + 100 - 2);
  EXPECT_EQ(reload_something_flag, 0);
  // The buffers are cleared at the end of the reload.
  EXPECT_STREQ(registrar1, "");
  EXPECT_STREQ(regisid1, "");
}

TEST_F(PhonecfgReload, DuringACallTheFlagSurvivesIntoTheNextReload) {
  for (const char* call : {"1", ""}) {
    SCOPED_TRACE(call);
    put_file(kCallFile, call);
    reload_something_flag = 1;
    const std::vector<Heard> heard = reload_and_listen();
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0].text, command_payload("reload_account"));
    EXPECT_EQ(reload_something_flag, 1);
    EXPECT_EQ(callinprocess, 1);
  }
  put_file(kCallFile, "0");
  const std::vector<Heard> heard = reload_and_listen();
  ASSERT_EQ(heard.size(), 11u);
  EXPECT_EQ(heard.front().text, command_payload("reload_transfer_dnd"));
  EXPECT_EQ(reload_something_flag, 0);
}

TEST_F(PhonecfgReload, IdentitiesOfEveryAccountWithAccountFourInTheAccountThreeBuffers) {
  // Account 4 gets its own servers; account 2 loses its user name.
  json_object* accounts = json_tokener_parse(slurp("/appconfigs/default/voiplist.cfg").c_str());
  json_object* list = json_object_object_get(accounts, "AccountRegister");
  json_object* a2 = json_object_array_get_idx(list, 1);
  json_object_object_del(a2, "AccountUserName");
  json_object* a4 = json_object_array_get_idx(list, 3);
  json_object_object_add(a4, "AccountUserName", json_object_new_string("4004"));
  json_object_object_add(a4, "SIP1ServerAddr", json_object_new_string("sip4.example.org"));
  json_object_object_add(a4, "SIP1ServerAddrPort", json_object_new_string("5064"));
  json_object_object_add(a4, "SIP2ServerAddr", json_object_new_string(std::string(200, 's').c_str()));
  put_file("/appconfigs/default/voiplist.cfg", json_object_to_json_string(accounts));
  json_object_put(accounts);

  init_some_arrary();
  EXPECT_EQ(set_id_to_voip_cfg(), 0);
  EXPECT_STREQ(registrar1, "sip:127.0.0.1:5060");
  EXPECT_EQ(text_at("voip.cfg", {"account"}).find("sip:1001@127.0.0.1:5060") != std::string::npos, true);
  EXPECT_EQ(std::string(regisid2).find("sip:(null)@"), 0u);
  EXPECT_STREQ(registrar3, "sip:sip4.example.org:5064");
  EXPECT_STREQ(regisid3, "sip:4004@sip4.example.org:5064");
  EXPECT_EQ(std::strlen(registrar3_2), 127u);
  for (const char* empty : {registrar4, registrar4_2, regisid4, regisid4_2}) EXPECT_STREQ(empty, "");
  json_object* voip = json_tokener_parse(slurp("/appconfigs/voip.cfg").c_str());
  json_object* v4 = json_object_array_get_idx(json_object_object_get(voip, "account"), 3);
  EXPECT_STREQ(json_object_get_string(json_object_object_get(v4, "id")), "sip:4004@sip4.example.org:5064");
  json_object* v2 = json_object_array_get_idx(json_object_object_get(voip, "account"), 1);
  EXPECT_EQ(std::string(json_object_get_string(json_object_object_get(v2, "id"))).rfind("sip:(null)@", 0), 0u);
  json_object_put(voip);
  init_some_arrary();
  EXPECT_STREQ(registrar1, "");
  EXPECT_STREQ(regisid3, "");
}

TEST_F(PhonecfgReload, EmptyServerFieldsStillGiveTheIdentityItsShape) {
  json_object* accounts = json_tokener_parse(slurp("/appconfigs/default/voiplist.cfg").c_str());
  json_object* a1 = json_object_array_get_idx(json_object_object_get(accounts, "AccountRegister"), 0);
  json_object_object_add(a1, "SIP1ServerAddr", json_object_new_string(""));
  json_object_object_add(a1, "SIP1ServerAddrPort", json_object_new_string(""));
  put_file("/appconfigs/default/voiplist.cfg", json_object_to_json_string(accounts));
  json_object_put(accounts);
  set_id_to_voip_cfg();
  EXPECT_STREQ(registrar1, "sip::");
  EXPECT_STREQ(regisid1, "sip:1001@:");
}

TEST_F(PhonecfgReload, WithoutEitherFileNoIdentityIsMade) {
  std::filesystem::remove("/appconfigs/default/voiplist.cfg");
  const std::string voip = slurp("/appconfigs/voip.cfg");
  init_some_arrary();
  set_id_to_voip_cfg();
  EXPECT_STREQ(registrar1, "");
  EXPECT_EQ(slurp("/appconfigs/voip.cfg"), voip);
}

}  // namespace
