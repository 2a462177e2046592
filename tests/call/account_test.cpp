// Accounts and registration against the box's SIP process: the local copy
// from "account_get" and the msgtype 7 broadcasts, registration state,
// setSipAccount's two stores, and the command broadcasts.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "call/account_copy.h"
#include "call/call_events.h"
#include "phonecore/account.h"
#include "phonecore/config.h"
#include "phonecore/fileutil.h"
#include "phonecore/json_msg.h"
#include "support/calls_log.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/json_files.h"
#include "support/raw_session.h"
#include "support/sip_session.h"

using phonecore::testing::CallEvents;
using phonecore::testing::RawSession;

namespace {

bool wait_until(const std::function<bool()>& done) {
  for (int i = 0; i < 400; ++i) {
    if (done()) return true;
    usleep(5000);
  }
  return done();
}

class Accounts : public phonecore::testing::SipSessionTest {
 protected:
  void SetUp() override {
    CallEvents::get().clear();
    SipSessionTest::SetUp();
  }
  void TearDown() override {
    LocalAcountInforBufferDel(client_);
    request_pc_disconnect(client_);
    client_ = nullptr;
    __atomic_store_n(&_gl_accountLen, 0, __ATOMIC_RELEASE);
    factory_.restore();
    SipSessionTest::TearDown();
  }

  phonecore::testing::FactoryFiles factory_{"voip.cfg", "default/voiplist.cfg", "default/settinglist.cfg",
                                            "system.cfg"};
};

TEST_F(Accounts, TheCopyStartsWithTheRecordsOfAccountGet) {
  EXPECT_EQ(phonecore::testing::add_account_copy(client_, 4), 0);
  EXPECT_EQ(__atomic_load_n(&_gl_accountLen, __ATOMIC_ACQUIRE), 4);
  EXPECT_EQ(__atomic_load_n(&__gl_maxlen, __ATOMIC_ACQUIRE), 4);
  ASSERT_NE(__atomic_load_n(&__gl_pAccHook, __ATOMIC_ACQUIRE), nullptr);
  EXPECT_EQ(sip_.log().at(0), R"(1 6 { "msgtype": "account_get" })");
  AccountRecord records[5] = {};
  EXPECT_EQ(LocalAcountInforGet(records, 5), 4);
  EXPECT_EQ(records[0].account_id, 1u);
  EXPECT_STREQ(records[0].text[3], "1001");
  EXPECT_STREQ(records[0].text[0], "Office 1001");
  EXPECT_EQ(records[3].account_id, 4u);
  EXPECT_EQ(LocalAcountInforGet(records, 2), 2);

  int bytes = 0;
  EXPECT_EQ(voip_account_get(client_, records, &bytes), 1);
  EXPECT_EQ(bytes, 4 * 676);
}

TEST_F(Accounts, AccountGetNeverReportsMoreThanFourRecords) {
  sip_.control("set records 6");
  std::vector<uint8_t> out(6 * 676, 0xEE);
  int bytes = 0;
  EXPECT_EQ(phonecore::testing::until_answered(
                [&] {
                  EXPECT_EQ(voip_account_get_real(client_, out.data(), &bytes), 0);
                  return bytes;
                },
                0),
            2704);
  AccountRecord fourth;
  std::memcpy(&fourth, out.data() + 3 * 676, sizeof fourth);
  EXPECT_EQ(fourth.account_id, 4u);
}

TEST_F(Accounts, AFailedAccountGetLeavesTheByteCount) {
  sip_.control("silent 1");
  AccountRecord out[4];
  int bytes = 77;
  EXPECT_EQ(voip_account_get_real(client_, out, &bytes), 0);
  EXPECT_EQ(bytes, 77);
}

TEST_F(Accounts, WithoutAnswerTheHookIsInstalledAndTheFirstBroadcastFillsTheCopy) {
  sip_.control("silent 1");
  EXPECT_EQ(LocalAcountInforBufferAdd(client_, 4), 0);
  EXPECT_EQ(__atomic_load_n(&_gl_accountLen, __ATOMIC_ACQUIRE), 0);
  EXPECT_EQ(get_reg_status(1), -10);
  sip_.control("silent 0");
  ASSERT_EQ(sip_.control("reg 1 1"), "ok");
  ASSERT_TRUE(wait_until([] { return __atomic_load_n(&_gl_accountLen, __ATOMIC_ACQUIRE) == 4; }));
  EXPECT_TRUE(wait_until([] { return get_reg_status(1) == 1; }));
  EXPECT_EQ(get_reg_status(2), 0);
}

TEST_F(Accounts, ABroadcastOfThreeRecordsKeepsTheFirstTwoWhenTwoAreKept) {
  phonecore::testing::add_account_copy(client_, 2);
  EXPECT_EQ(__atomic_load_n(&_gl_accountLen, __ATOMIC_ACQUIRE), 4);  // what account_get gave, whatever the maximum
  AccountRecord three[3] = {};
  for (uint32_t i = 0; i < 3; ++i) {
    three[i].account_id = 11 + i;
    snprintf(three[i].text[3], sizeof three[i].text[3], "90%u", i);
  }
  EXPECT_EQ(LocalAcountInforUpdateExt(three, 3), 0);
  ASSERT_TRUE(wait_until([] { return __atomic_load_n(&_gl_accountLen, __ATOMIC_ACQUIRE) == 2; }));
  AccountRecord copy[5] = {};
  EXPECT_EQ(LocalAcountInforGet(copy, 5), 2);
  EXPECT_EQ(copy[0].account_id, 11u);
  EXPECT_EQ(copy[1].account_id, 12u);
  EXPECT_STREQ(copy[1].text[3], "901");
}

TEST_F(Accounts, TheBroadcastOfAllFiveRecordsFitsTheMonitor) {
  phonecore::testing::add_account_copy(client_, 5);
  AccountRecord five[5] = {};
  for (uint32_t i = 0; i < 5; ++i) five[i].account_id = 21 + i;
  five[4].reg_state = 1;
  LocalAcountInforUpdateExt(five, 5);
  ASSERT_TRUE(wait_until([] { return __atomic_load_n(&_gl_accountLen, __ATOMIC_ACQUIRE) == 5; }));
  EXPECT_EQ(get_reg_status(25), 1);
}

TEST_F(Accounts, RegistrationStateByAccountId) {
  phonecore::testing::add_account_copy(client_, 4);
  EXPECT_EQ(get_reg_status(1), 0);
  callback_on_reg_changed(3, 1);
  EXPECT_EQ(get_reg_status(3), 1);
  callback_on_reg_changed(9, 1);  // no such record: nothing
  EXPECT_EQ(get_reg_status(9), -20);
  EXPECT_EQ(get_reg_status(0), -20);
}

TEST_F(Accounts, DeletingTheCopyStopsTheBroadcastsFromReachingIt) {
  phonecore::testing::add_account_copy(client_, 4);
  EXPECT_EQ(LocalAcountInforBufferDel(client_), 0);
  EXPECT_EQ(__atomic_load_n(&__gl_maxlen, __ATOMIC_ACQUIRE), 0);
  AccountRecord one[1] = {};
  one[0].account_id = 31;
  LocalAcountInforUpdateExt(one, 1);
  usleep(100000);
  EXPECT_EQ(__atomic_load_n(&_gl_accountLen, __ATOMIC_ACQUIRE), 4);
  EXPECT_EQ(get_reg_status(31), -20);
}

TEST_F(Accounts, SendRegStatusTellsEveryProcess) {
  EXPECT_EQ(voip_send_reg_status(client_, 2, 1), 0);
  auto lines = sip_.wait_log(1);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], R"(2 0 { "msgtype": "reg_changed", "data": { "acc_id": 2, "bOnline": 1 } })");
}

json_object* read_file(const char* path) { return json_object_from_file(path); }

std::string text_at(json_object* o, std::initializer_list<const char*> keys) {
  for (const char* k : keys) {
    if (o == nullptr) return "(missing)";
    if (json_object_is_type(o, json_type_array)) o = json_object_array_get_idx(o, std::atoi(k));
    else o = json_object_object_get(o, k);
  }
  return o != nullptr ? json_object_get_string(o) : "(missing)";
}

TEST_F(Accounts, SetSipAccountWritesTheAccountStoreWithDottedAddresses) {
  EXPECT_EQ(setSipAccount(1, "Lab", "2001", "pw2001", "Lab Phone", "2001r", "", "192*168*1*10", 1, "5070", "10*0*0*2"),
            0);
  json_object* voip = read_file("/appconfigs/voip.cfg");
  ASSERT_NE(voip, nullptr);
  EXPECT_EQ(text_at(voip, {"Account"}), "1");
  EXPECT_EQ(text_at(voip, {"account", "1", "enable"}), "1");
  EXPECT_EQ(text_at(voip, {"account", "1", "cred_acc", "0", "label"}), "Lab");
  EXPECT_EQ(text_at(voip, {"account", "1", "cred_acc", "0", "username"}), "2001");
  EXPECT_EQ(text_at(voip, {"account", "1", "cred_acc", "0", "password"}), "pw2001");
  EXPECT_EQ(text_at(voip, {"account", "1", "cred_acc", "0", "display"}), "Lab Phone");
  EXPECT_EQ(text_at(voip, {"account", "1", "cred_acc", "0", "regname"}), "2001r");
  // An empty port: the registrar ends in :5060, the port stays empty.
  EXPECT_EQ(text_at(voip, {"account", "1", "registrar"}), "sip:192.168.1.10:5060");
  EXPECT_EQ(text_at(voip, {"account", "1", "id"}), "sip:2001r@192.168.1.10:5060");
  EXPECT_EQ(text_at(voip, {"account", "1", "SIP1ServerAddr"}), "192.168.1.10");
  EXPECT_EQ(text_at(voip, {"account", "1", "SIP1ServerAddrPort"}), "");
  EXPECT_EQ(text_at(voip, {"account", "1", "outb-rid"}), "192.168.1.10");
  EXPECT_EQ(text_at(voip, {"account", "1", "transport-type"}), "udp");
  EXPECT_EQ(text_at(voip, {"account", "1", "registrar2"}), "sip:10.0.0.2:5070");
  EXPECT_EQ(text_at(voip, {"account", "1", "id2"}), "sip:2001r@10.0.0.2:5070");
  EXPECT_EQ(text_at(voip, {"account", "1", "SIP2ServerAddr"}), "10.0.0.2");
  EXPECT_EQ(text_at(voip, {"account", "1", "SIP2ServerAddrPort"}), "5070");
  EXPECT_EQ(text_at(voip, {"account", "1", "outb-rid2"}), "10.0.0.2");
  EXPECT_EQ(text_at(voip, {"account", "1", "transport-type2"}), "udp");
  EXPECT_EQ(text_at(voip, {"account", "1", "outbound"}), "[ ]");
  // The other accounts are as they were.
  EXPECT_EQ(text_at(voip, {"account", "0", "registrar"}), "sip:127.0.0.1:5060");
  json_object_put(voip);
}

TEST_F(Accounts, SetSipAccountMergesIntoTheAccountsPageOfVoiplist) {
  // A member of our own in the element stays; the others are replaced.
  json_object* list = read_gnl_config_json("default/voiplist.cfg");
  ASSERT_NE(list, nullptr);
  json_object* element = json_object_array_get_idx(json_object_object_get(list, "AccountRegister"), 1);
  json_object_object_add(element, "Keep", json_object_new_string("me"));
  json_object_object_add(element, "AccountLabel", json_object_new_string("old"));
  write_gnl_config_json("default/voiplist.cfg", list);
  json_object_put(list);

  const std::string long_label = "  " + std::string(70, 'L') + "  ";
  EXPECT_EQ(setSipAccount(1, long_label.c_str(), "2001", "pw", " Lab ", "2001", "", "192*168*1*10", 1, "", ""), 0);

  json_object* after = read_file("/appconfigs/default/voiplist.cfg");
  ASSERT_NE(after, nullptr);
  json_object* array = json_object_object_get(after, "AccountRegister");
  ASSERT_EQ(json_object_array_length(array), 4u);
  json_object* e = json_object_array_get_idx(array, 1);
  EXPECT_EQ(text_at(e, {"Keep"}), "me");
  EXPECT_EQ(text_at(e, {"page"}), "setAccountRegister");
  // The account number comes in as an int and is stored as one.
  EXPECT_TRUE(json_object_is_type(json_object_object_get(e, "Account"), json_type_int));
  EXPECT_EQ(text_at(e, {"Account"}), "1");
  EXPECT_EQ(text_at(e, {"RegisterStatus"}), "unregistered");
  EXPECT_EQ(text_at(e, {"AccountEnable"}), "1");
  // Cut to 63 bytes, then trimmed.
  EXPECT_EQ(text_at(e, {"AccountLabel"}), std::string(61, 'L'));
  EXPECT_EQ(text_at(e, {"AccountDisplayName"}), "Lab");
  EXPECT_EQ(text_at(e, {"SIP1ServerAddr"}), "192.168.1.10");
  EXPECT_EQ(text_at(e, {"SIP1ServerAddrPort"}), "5060");
  EXPECT_EQ(text_at(e, {"SIP2ServerAddrPort"}), "5060");
  EXPECT_EQ(text_at(e, {"SIP1HeartbeatMessage"}), "60");
  EXPECT_EQ(text_at(e, {"SIP2RetryCount"}), "10");
  EXPECT_EQ(text_at(e, {"Nat"}), "disabled");
  EXPECT_EQ(json_object_object_length(e), 27);  // the 26 members of the page and "Keep"
  json_object_put(after);
}

TEST_F(Accounts, SetSipAccountAppendsWhenTheAccountHasNoElement) {
  phonecore::testing::write_json_text("default/voiplist.cfg", R"({"SipAdvance":[]})");
  EXPECT_EQ(setSipAccount(2, "L", "3001", "p", "D", "3001", "5060", "10.1.1.1", 0, "", ""), 0);
  json_object* after = read_file("/appconfigs/default/voiplist.cfg");
  ASSERT_NE(after, nullptr);
  json_object* array = json_object_object_get(after, "AccountRegister");
  ASSERT_EQ(json_object_array_length(array), 1u);
  json_object* e = json_object_array_get_idx(array, 0);
  EXPECT_EQ(text_at(e, {"page"}), "setAccountRegister");
  EXPECT_EQ(text_at(e, {"Account"}), "2");
  EXPECT_EQ(json_object_object_length(e), 26);
  EXPECT_NE(json_object_object_get(after, "SipAdvance"), nullptr);
  json_object_put(after);
}

TEST_F(Accounts, SetSipAccountWithoutAnAccountStoreAnswersMinusOneAndWritesNothing) {
  const std::string before = phonecore::testing::slurp("/appconfigs/default/voiplist.cfg");
  ASSERT_EQ(unlink("/appconfigs/voip.cfg"), 0);
  EXPECT_EQ(setSipAccount(1, "L", "2001", "p", "D", "2001", "", "1.2.3.4", 1, "", ""), -1);
  EXPECT_EQ(phonecore::testing::slurp("/appconfigs/default/voiplist.cfg"), before);
}

TEST_F(Accounts, SetSipAccountReloadsTheAccountsAndTheSipProcessRegistersThem) {
  add_callback_fun(CallEvents::ops());
  EXPECT_EQ(setSipAccount(1, "Lab", "2001", "pw", "Lab", "2001", "5060", "10*1*1*1", 1, "", ""), 0);
  EXPECT_TRUE(CallEvents::get().wait_for("reg_changed acc=2 online=1"));
  bool reload_seen = false;
  for (const auto& l : sip_.wait_log(1)) reload_seen |= l == R"(3 5 {"cmd":"reload_account"})";
  EXPECT_TRUE(reload_seen);
  add_callback_fun(nullptr);
}

// The kind-3 packets that reach a listening session within a while.
std::vector<std::pair<phonecore::bus::BusPacketHeader, std::string>> commands_heard(RawSession& s, size_t n) {
  std::vector<std::pair<phonecore::bus::BusPacketHeader, std::string>> out;
  for (int i = 0; i < 50 && out.size() < n; ++i) {
    auto in = s.receive(100);
    if (!in) continue;
    auto h = RawSession::header(*in);
    if (h.kind == 3) out.emplace_back(h, RawSession::payload(*in));
  }
  return out;
}

TEST_F(Accounts, CommandBroadcastsReachEveryProcessWithTheirTerminator) {
  RawSession listener(3000);
  ASSERT_TRUE(listener.ok());
  EXPECT_EQ(reload_account_all(), 0);
  EXPECT_EQ(start_network(), 0);
  EXPECT_EQ(startSomething(), 0);
  EXPECT_EQ(startSomething_ssh(), 0);
  EXPECT_EQ(reload_sip_base(), 0);
  EXPECT_EQ(reload_cmd_broadcast("reload_hotkey"), 0);
  auto heard = commands_heard(listener, 6);
  const char* texts[] = {R"({"cmd":"reload_account"})",  R"({"cmd":"start_network"})",
                         R"({"cmd":"startSomething"})",  R"({"cmd":"startSomething_ssh"})",
                         R"({"cmd":"reload_sip_base"})", R"({"cmd":"reload_hotkey"})"};
  ASSERT_EQ(heard.size(), 6u);
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(heard[i].second, std::string(texts[i]) + '\0');
    EXPECT_EQ(heard[i].first.msgtype, 5);
    EXPECT_EQ(heard[i].first.dest, 65535);
    EXPECT_EQ(heard[i].first.source, 4110);
    EXPECT_EQ(heard[i].first.length, std::strlen(texts[i]) + 1);
  }
}

TEST_F(Accounts, LogDisableSwitchesTheLocalLogOffAndTellsEveryone) {
  RawSession listener(3001);
  EXPECT_EQ(set_voip_log_disable(), 0);
  json_object* s = read_file("/appconfigs/default/settinglist.cfg");
  EXPECT_EQ(text_at(s, {"SettingConfiguration", "LocalLogSwitch"}), "0");
  json_object_put(s);
  auto heard = commands_heard(listener, 1);
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].second, std::string(R"({"cmd":"log_config_indicate"})") + '\0');
}

TEST_F(Accounts, LogDisableWithoutTheSettingsFileStillBroadcasts) {
  RawSession listener(3002);
  unlink("/appconfigs/default/settinglist.cfg");
  EXPECT_EQ(set_voip_log_disable(), 0);
  EXPECT_EQ(access("/appconfigs/default/settinglist.cfg", F_OK), -1);
  EXPECT_EQ(commands_heard(listener, 1).size(), 1u);
}

std::vector<std::string> kills() { return phonecore::testing::calls_log("killall -9"); }

TEST_F(Accounts, TelnetAndSshAreStoppedAndSwitchedOff) {
  RawSession listener(3003);
  json_object* on = read_gnl_config_json("system.cfg");
  set_string_to_json2(on, "telnet_type", "1", 1, "systeminfo");
  set_string_to_json2(on, "ssh_type", "1", 1, "systeminfo");
  write_gnl_config_json("system.cfg", on);
  json_object_put(on);
  const size_t before = kills().size();
  EXPECT_EQ(set_telnet_ssh_type_disable(), 0);
  auto lines = kills();
  ASSERT_EQ(lines.size(), before + 4);
  EXPECT_EQ(lines[before], "killall -9 telnetd");
  EXPECT_EQ(lines[before + 1], "killall -9 dropbear");
  EXPECT_EQ(lines[before + 2], "killall -9 telnetd");
  EXPECT_EQ(lines[before + 3], "killall -9 dropbear");
  json_object* s = read_file("/appconfigs/system.cfg");
  EXPECT_EQ(text_at(s, {"systeminfo", "telnet_type"}), "0");
  EXPECT_EQ(text_at(s, {"systeminfo", "ssh_type"}), "0");
  json_object_put(s);
  auto heard = commands_heard(listener, 1);
  ASSERT_EQ(heard.size(), 1u);
  EXPECT_EQ(heard[0].second, std::string(R"({"cmd":"startSomething"})") + '\0');
}

TEST_F(Accounts, TelnetSwitchWithoutSystemCfgKillsTwiceAndBroadcastsNothing) {
  RawSession listener(3004);
  unlink("/appconfigs/system.cfg");
  const size_t before = kills().size();
  EXPECT_EQ(set_telnet_ssh_type_disable(), 0);
  EXPECT_EQ(kills().size(), before + 4);
  EXPECT_TRUE(commands_heard(listener, 1).empty());
}

}  // namespace
