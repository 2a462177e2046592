// The call commands against the box's SIP process: the JSON of each
// command byte for byte, the replies, the time limits and the events of a
// call.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "call/call_events.h"
#include "call/call_internal.h"
#include "phonecore/config.h"
#include "phonecore/hal.h"
#include "phonecore/voip.h"
#include "support/config_service.h"
#include "support/sip_session.h"

using phonecore::testing::CallEvents;
using phonecore::testing::until_answered;

namespace {

long now_ms() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec * 1000L + tv.tv_usec / 1000;
}

class Voip : public phonecore::testing::SipSessionTest {
 protected:
  void SetUp() override {
    CallEvents::get().clear();
    add_callback_fun(CallEvents::ops());
    SipSessionTest::SetUp();
  }
  void TearDown() override {
    SipSessionTest::TearDown();
    add_callback_fun(nullptr);
  }

  // The one packet the SIP process received from a call, as its record line.
  std::string sent_by(const std::function<void()>& call) {
    sip_.control("clear");
    call();
    auto lines = sip_.wait_log(1);
    return lines.size() == 1 ? lines[0] : "(" + std::to_string(lines.size()) + " packets)";
  }
};

struct Command {
  std::function<int(MessageClient*)> call;
  const char* json;
};

TEST_F(Voip, EveryCommandWithoutReplySendsItsJsonAndAnswersOne) {
  const Command commands[] = {
      {[](MessageClient* c) { return voip_hook_switch(c, 2); },
       R"({ "msgtype": "hook_switch", "data": { "dev": 2 } })"},
      {[](MessageClient* c) { return voip_audio_tone(c, 1); },
       R"({ "msgtype": "audio_tone", "data": { "toneFlag": 1 } })"},
      {[](MessageClient* c) { return voip_audio_input_key(c, 0); },
       R"({ "msgtype": "audio_input_key", "data": { "inputKeyAudioFlag": 0 } })"},
      {[](MessageClient* c) { return voip_phone_set_dnd(c, 1, 2, 3); },
       R"({ "msgtype": "phone_set_dnd", "data": { "dndStatus": 1, "dndMode": 2, "dndAccount": 3 } })"},
      {[](MessageClient* c) { return voip_phone_set_auto_answer(c, 2, 1); },
       R"({ "msgtype": "phone_set_auto_answer", "data": { "accId": 2, "openflag": 1 } })"},
      {[](MessageClient* c) { return voip_phone_set_transfer_param(c, 1, 1, "1002", "*72", "*73", 20); },
       R"({ "msgtype": "phone_set_transfer_param", "data": { "type": 1, "enable": 1, "dst": "1002", "on": "*72", "off": "*73", "time": 20 } })"},
      {[](MessageClient* c) { return voip_phone_hangup(c, 7); },
       R"({ "msgtype": "phone_hangup", "data": { "current_call": 7 } })"},
      {[](MessageClient* c) { return voip_phone_hold(c, 7); },
       R"({ "msgtype": "phone_hold", "data": { "current_call": 7 } })"},
      {[](MessageClient* c) { return voip_phone_resume(c, 7); },
       R"({ "msgtype": "phone_resume", "data": { "current_call": 7 } })"},
      {[](MessageClient* c) { return voip_phone_answer(c, 7, 1); },
       R"({ "msgtype": "phone_answer", "data": { "current_call": 7, "acceptFlag": 1 } })"},
      {[](MessageClient* c) { return voip_ring_operation(c, 1, "ring3.wav"); },
       R"({ "msgtype": "ring_operation", "data": { "opType": 1, "fileName": "ring3.wav" } })"},
      {[](MessageClient* c) { return voip_line_led_status(c, 2, 35); },
       R"({ "msgtype": "line_led_status", "data": { "lineId": 2, "ledStatus": 35 } })"},
      {[](MessageClient* c) { return voip_conf_connect(c, 3, 4, 1); },
       R"({ "msgtype": "conf_connect", "data": { "callId1": 3, "callId2": 4, "connFlag": 1 } })"},
      {[](MessageClient* c) { return voip_conf_mute(c, 3, 1, 0); },
       R"({ "msgtype": "conf_mute", "data": { "current_call": 3, "speakerFlag": 1, "muteFlag": 0 } })"},
      {[](MessageClient* c) { return voip_phone_register(c, 4, 0); },
       R"({ "msgtype": "phone_register", "data": { "lineId": 4, "registerFlag": 0 } })"},
      {[](MessageClient* c) { return voip_phone_transfer(c, 3, "1003", 1); },
       R"({ "msgtype": "phone_transfer", "data": { "current_call": 3, "phoneNumber": "1003", "incommingFlag": 1 } })"},
      {[](MessageClient* c) { return voip_phone_transfer_replace(c, 3, 4); },
       R"({ "msgtype": "phone_transfer_replace", "data": { "current_call": 3, "transfer_call": 4 } })"},
      {[](MessageClient* c) { return voip_phone_send_dtmf(c, 3, "12#", 0); },
       R"({ "msgtype": "phone_send_dtmf", "data": { "current_call": 3, "inputStr": "12#", "infoType": 0 } })"},
      {[](MessageClient* c) { return voip_lcd_state_change(c, 1, 2, 3); },
       R"({ "msgtype": "lcd_state_change", "data": { "accnumber": 1, "old_Status": 2, "new_Status": 3 } })"},
      {[](MessageClient* c) { return voip_volume_change(c, 1, 9); },
       R"({ "msgtype": "volume_change", "data": { "bSpeakerFlag": 1, "volume": 9 } })"},
      {[](MessageClient* c) { return voip_voice_ctrl(c, 3, 0, 1, 1); },
       R"({ "msgtype": "voice_ctrl", "data": { "current_call": 3, "ringFlag": 0, "startFlag": 1, "speakerFlag": 1 } })"},
      {[](MessageClient* c) { return voip_tip_info_clear(c, 2); },
       R"({ "msgtype": "tip_info_clear", "data": { "tipType": 2 } })"},
      {[](MessageClient* c) { return voip_phone_set_record_history(c, 1); },
       R"({ "msgtype": "set_rec_history", "data": { "enableFlag": 1 } })"},
      {[](MessageClient* c) { return voip_account_set_default(c, 2); },
       R"({ "msgtype": "account_set_default", "data": { "accId": 2 } })"},
  };
  for (const Command& command : commands) {
    int result = 0;
    EXPECT_EQ(sent_by([&] { result = command.call(client_); }), std::string("9 0 ") + command.json);
    EXPECT_EQ(result, 1) << command.json;
  }
}

TEST_F(Voip, FourCommandsAnswerTheSeqOfTheirPacket) {
  const int first = voip_voice_test_set(client_, 1);
  const int second = voip_int_val_set(client_, 7, 42);
  const int third = voip_set_has_one_speaking_flag(client_, 1);
  EXPECT_GT(first, 0);
  EXPECT_EQ(second, first + 1);
  EXPECT_EQ(third, first + 2);
  auto lines = sip_.wait_log(3);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], R"(9 0 { "msgtype": "voice_test_set", "data": { "enable": 1 } })");
  EXPECT_EQ(lines[1], R"(9 0 { "msgtype": "voip_int_val_set", "data": { "variable": 7, "value": 42 } })");
  EXPECT_EQ(lines[2], R"(9 0 { "msgtype": "set_has_one_speaking_flag", "data": { "bSpeakerFlag": 1 } })");
}

TEST_F(Voip, HookSwitchSwitchesTheLocalAudioChannelToo) {
  switch_audio_channel(1);
  voip_hook_switch(client_, 3);
  EXPECT_EQ(get_audio_channel(), 3);
}

TEST_F(Voip, DialOnAnUnregisteredAccountIsRefusedWithItsText) {
  char desc[64] = "untouched";
  EXPECT_EQ(until_answered([&] { return voip_phone_dail(client_, 1, "1002", desc); }, 0), -1);
  EXPECT_STREQ(desc, "Account not registered");
  auto lines = sip_.log();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], R"(9 0 { "msgtype": "phone_dail", "data": { "dialAccId": 1, "phoneNumber": "1002" } })");
}

TEST_F(Voip, ADialledCallGetsItsIdAndItsEventsConnectingThenConnect) {
  ASSERT_EQ(sip_.control("reg 1 1"), "ok");
  ASSERT_TRUE(CallEvents::get().wait_for("reg_changed acc=1 online=1"));
  char desc[64] = "";
  EXPECT_EQ(voip_phone_dail(client_, 1, "1002", desc), 1);
  EXPECT_STREQ(desc, "calling 1002");
  ASSERT_TRUE(CallEvents::get().wait_for("connect acc=1"));
  std::vector<std::string> calls;
  for (const auto& l : CallEvents::get().lines())
    if (l.rfind("reg_changed", 0) != 0) calls.push_back(l);
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0], "connecting acc=1 id=1 from=1001 to=1002 inF=0 gl=1@sipd");
  EXPECT_EQ(calls[1], "connect acc=1 id=1 flags=0 peer=1002");

  char from[64] = "", to[64] = "";
  int acc = 0;
  EXPECT_EQ(until_answered([&] { return voip_call_info(client_, 1, from, to, &acc); }, 0), 1);
  EXPECT_STREQ(from, "1001");
  EXPECT_STREQ(to, "1002");
  EXPECT_EQ(acc, 1);

  // Hold and resume: the SIP process answers each re-invite.
  CallEvents::get().clear();
  voip_phone_hold(client_, 1);
  ASSERT_TRUE(CallEvents::get().wait_for("invite_response acc=1 flags=200"));
  EXPECT_NE(sip_.control("state").find(R"("state":"held")"), std::string::npos);
  CallEvents::get().clear();
  voip_phone_resume(client_, 1);
  ASSERT_TRUE(CallEvents::get().wait_for("invite_response acc=1 flags=200"));  // sent after the state changed
  EXPECT_NE(sip_.control("state").find(R"("state":"connected")"), std::string::npos);

  voip_phone_hangup(client_, 1);
  ASSERT_TRUE(CallEvents::get().wait_for("disconnect acc=1 id=1 flags=0"));
  EXPECT_EQ(sip_.control("state").find(R"("id":1)"), std::string::npos);
}

TEST_F(Voip, ABusyFarEndEndsTheCallWithDisconnect) {
  sip_.control("reg 1 1");
  sip_.control("outcome disconnect");
  EXPECT_EQ(voip_phone_dail(client_, 1, "1003", nullptr), 1);
  ASSERT_TRUE(CallEvents::get().wait_for("disconnect acc=1 id=1 flags=486"));
  EXPECT_STREQ(voip_status_desc(0, 486), "Busy Here!");
}

TEST_F(Voip, AnIncomingCallIsAnsweredWithTheCallersNumber) {
  sip_.control("reg 1 1");
  const int id = std::stoi(sip_.control("incoming 1 2001"));
  ASSERT_TRUE(CallEvents::get().wait_for("incoming acc=1 from=2001 to=1001"));
  voip_phone_answer(client_, id, 1);
  ASSERT_TRUE(CallEvents::get().wait_for("connect acc=1 id=" + std::to_string(id) + " flags=1 peer=2001"));
}

TEST_F(Voip, DialWithoutReplyWithinOneHundredMsAnswersZeroAndLeavesTheBuffer) {
  sip_.control("silent 1");
  char desc[64] = "untouched";
  const long start = now_ms();
  EXPECT_EQ(voip_phone_dail(client_, 1, "1002", desc), 0);
  EXPECT_GE(now_ms() - start, 100);
  EXPECT_STREQ(desc, "untouched");
  // It was sent all the same.
  EXPECT_EQ(sip_.wait_log(1).size(), 1u);
}

TEST_F(Voip, DialWithALateReplyRunsIntoItsLimit) {
  sip_.control("reg 1 1");
  sip_.control("delay 150");
  char desc[64] = "untouched";
  EXPECT_EQ(voip_phone_dail(client_, 1, "1002", desc), 0);
  EXPECT_STREQ(desc, "untouched");
}

TEST_F(Voip, BlfSubscribeAnswersOneWithOrWithoutReply) {
  EXPECT_EQ(sent_by([&] { EXPECT_EQ(voip_blf_subscribe(client_, (3 << 8) | 1, 1, "1002"), 1); }),
            R"(9 0 { "msgtype": "blf_subscribe", "data": { "startFlag": 769, "acc_id": 1, "number": "1002" } })");
  EXPECT_NE(sip_.control("state").find(R"({"key":3,"acc_id":1,"number":"1002"})"), std::string::npos);
  sip_.control("silent 1");
  EXPECT_EQ(voip_blf_subscribe(client_, 0, 1, "1002"), 1);
}

TEST_F(Voip, PhoneInfoComesFromTheSipProcessState) {
  voip_hook_switch(client_, 2);
  int hook = -1, dev = -1, dial = -1;
  EXPECT_EQ(until_answered([&] { return voip_phone_info_get(client_, &hook, &dev, &dial); }, 0), 1);
  EXPECT_EQ(hook, 1);
  EXPECT_EQ(dev, 2);
  EXPECT_EQ(dial, 0);

  sip_.control("reg 2 1");
  sip_.control("outcome ring");
  voip_phone_dail(client_, 2, "1005", nullptr);
  EXPECT_EQ(until_answered([&] { return voip_phone_info_get(client_, &hook, &dev, &dial); }, 0), 1);
  EXPECT_EQ(dial, 1);
}

TEST_F(Voip, PhoneInfoWithANullResultAnswersZeroAndAsksNothing) {
  int a = 0, b = 0;
  EXPECT_EQ(voip_phone_info_get(client_, &a, &b, nullptr), 0);
  EXPECT_EQ(voip_phone_state_get(client_, &a, &b, &a, nullptr), 0);
  EXPECT_EQ(voip_phone_get_record_history(client_, nullptr), 0);
  usleep(20000);
  EXPECT_TRUE(sip_.log().empty());
}

TEST_F(Voip, RequestsWithoutReplyAnswerZero) {
  sip_.control("silent 1");
  int a = 7, b = 7, c = 7, d = 7;
  EXPECT_EQ(voip_phone_info_get(client_, &a, &b, &c), 0);
  EXPECT_EQ(voip_phone_state_get(client_, &a, &b, &c, &d), 0);
  EXPECT_EQ(voip_phone_get_record_history(client_, &a), 0);
  char from[64] = "keep";
  EXPECT_EQ(voip_call_info(client_, 1, from, nullptr, &a), 0);
  EXPECT_STREQ(from, "keep");
  EXPECT_EQ(a, 7);
  EXPECT_EQ(b, 7);
}

TEST_F(Voip, PhoneStateTellsEachAccountsRegistration) {
  sip_.control("reg 1 1");
  sip_.control("reg 3 1");
  int a1 = -1, a2 = -1, a3 = -1, a4 = -1;
  EXPECT_EQ(until_answered([&] { return voip_phone_state_get(client_, &a1, &a2, &a3, &a4); }, 0), 1);
  EXPECT_EQ(a1, 1);
  EXPECT_EQ(a2, 0);
  EXPECT_EQ(a3, 1);
  EXPECT_EQ(a4, 0);
  auto lines = sip_.log();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), R"(9 0 { "msgtype": "phone_state_get" })");
}

TEST_F(Voip, RecordHistoryReadsBackWhatWasSet) {
  int flag = -1;
  EXPECT_EQ(until_answered([&] { return voip_phone_get_record_history(client_, &flag); }, 0), 1);
  EXPECT_EQ(flag, 0);
  voip_phone_set_record_history(client_, 1);
  sip_.wait_log(2);
  EXPECT_EQ(until_answered([&] { return voip_phone_get_record_history(client_, &flag); }, 0), 1);
  EXPECT_EQ(flag, 1);
}

TEST_F(Voip, CallInfoOfAnUnknownCallLeavesTheTexts) {
  char from[64] = "keep", to[64] = "keep";
  int acc = 9;
  EXPECT_EQ(until_answered([&] { return voip_call_info(client_, 42, from, to, &acc); }, 0), 1);
  EXPECT_STREQ(from, "keep");
  EXPECT_STREQ(to, "keep");
  EXPECT_EQ(acc, 0);
  EXPECT_EQ(sip_.log().back(), R"(9 0 { "msgtype": "call_info", "data": { "callId": 42 } })");
}

TEST_F(Voip, VoicePowerComesUnderTheRequestsOwnName) {
  sip_.control("set power 9");
  int power = -1;
  EXPECT_EQ(until_answered([&] { return voip_voice_get_power(client_, &power); }, -1), 0);
  EXPECT_EQ(power, 9);
  EXPECT_EQ(sip_.log().back(), R"(9 0 { "msgtype": "voice_get_power" })");
}

TEST_F(Voip, VoicePowerWaitsTwoHundredMs) {
  sip_.control("silent 1");
  int power = -1;
  const long start = now_ms();
  EXPECT_EQ(voip_voice_get_power(client_, &power), -1);
  EXPECT_GE(now_ms() - start, 200);
  // A reply 150 ms late, past the 100 ms of the other requests, is taken.
  sip_.control("silent 0");
  sip_.control("delay 150");
  EXPECT_EQ(until_answered([&] { return voip_voice_get_power(client_, &power); }, -1), 0);
  EXPECT_EQ(power, 12);
}

TEST_F(Voip, InternalValueReadsBackWhatWasSet) {
  voip_int_val_set(client_, 7, 42);
  sip_.wait_log(1);
  int value = 0;
  EXPECT_EQ(until_answered([&] { return voip_in_val_get(client_, 7, &value); }, -1), 0);
  EXPECT_EQ(value, 42);
  EXPECT_EQ(sip_.log().back(), R"(9 0 { "msgtype": "voip_in_val_get", "data": { "variable": 7 } })");
}

TEST_F(Voip, InternalValueOfAnotherVariableAnswersMinusOneAndLeavesTheDestination) {
  voip_int_val_set(client_, 7, 42);
  sip_.control("set wrongvar 1");
  int value = 5;
  EXPECT_EQ(voip_in_val_get(client_, 7, &value), -1);
  EXPECT_EQ(value, 5);
  sip_.control("silent 1");
  EXPECT_EQ(voip_in_val_get(client_, 7, &value), -1);
  EXPECT_EQ(value, 5);
}

TEST_F(Voip, WarningListComesAsBinaryAndIsClearedOnRequest) {
  sip_.control("set warnings low battery");
  std::vector<char> out(VOIP_WARNNINGIST_MAX, '#');
  EXPECT_EQ(until_answered([&] { return voip_warnningist_get(client_, 0, out.data()); }, 0), 1);
  EXPECT_EQ(std::string(out.data(), 12), "low battery#");
  EXPECT_EQ(sip_.log().back(), R"(1 6 { "msgtype": "warnningist_get", "data": { "isCleard": 0 } })");
  std::fill(out.begin(), out.end(), '#');
  EXPECT_EQ(voip_warnningist_get(client_, 1, out.data()), 1);
  EXPECT_EQ(std::string(out.data(), 12), "low battery#");
  std::fill(out.begin(), out.end(), '#');
  EXPECT_EQ(voip_warnningist_get(client_, 0, out.data()), 1);
  EXPECT_EQ(out[0], '#') << "an empty list writes nothing";
  sip_.control("silent 1");
  EXPECT_EQ(voip_warnningist_get(client_, 0, out.data()), 0);
  EXPECT_EQ(out[0], '#');
}

// hal.cfg's level of every path and mode set to one value.
void set_all_levels(int level) {
  json_object* hal = read_gnl_config_json("hal.cfg");
  ASSERT_NE(hal, nullptr);
  json_object* audio = json_object_object_get(hal, "audio");
  json_object_object_foreach(audio, key, value) {
    (void)value;
    if (std::strstr(key, "-level-") != nullptr) json_object_object_add(audio, key, json_object_new_int(level));
  }
  write_gnl_config_json("hal.cfg", hal);
  json_object_put(hal);
}

TEST_F(Voip, VolumeGetGivesTheLevelOfTheCurrentVolume) {
  int level = -1;
  set_all_levels(15);
  EXPECT_EQ(voip_volume_get(client_, 0, &level), 1);
  EXPECT_EQ(level, 15);
  set_all_levels(7);
  EXPECT_EQ(voip_volume_get(client_, 0, &level), 1);
  EXPECT_EQ(level, 7);
  // A level beyond 15 in the file is a volume above 1.0: left alone.
  set_all_levels(30);
  EXPECT_EQ(voip_volume_get(client_, 0, &level), 1);
  EXPECT_EQ(level, 7);
  set_all_levels(12);
}

TEST_F(Voip, CallStatusFollowsTheMarkerFile) {
  std::remove("/tmp/call_check.txt");
  EXPECT_EQ(getCallStatus_common(), 0);
  auto write = [](const char* text) {
    FILE* f = std::fopen("/tmp/call_check.txt", "w");
    std::fputs(text, f);
    std::fclose(f);
  };
  write("0");
  EXPECT_EQ(getCallStatus_common(), 0);
  write("1");
  EXPECT_EQ(getCallStatus_common(), 1);
  write("0\n");  // the first 16 bytes as text: "0\n" isn't "0"
  EXPECT_EQ(getCallStatus_common(), 1);
  write("");
  EXPECT_EQ(getCallStatus_common(), 1);
  std::remove("/tmp/call_check.txt");
}

TEST_F(Voip, RealtimeNetworkStatusComesFromTheLiveStatusStore) {
  char ip[64] = "", mask[64] = "", gateway[64] = "keep", dns1[64] = "", dns2[64] = "", mac[64] = "";
  EXPECT_EQ(getRealtimeNTStatus(client_, ip, mask, gateway, dns1, dns2, mac), 0);
  EXPECT_STREQ(ip, "192.0.2.10");  // the box's eth0
  EXPECT_STREQ(mask, "255.255.255.0");
  EXPECT_EQ(std::strlen(mac), 17u);
}

// Last in this file: it stops the configuration service.
TEST_F(Voip, RealtimeNetworkStatusWithoutTheServiceAnswersMinusOne) {
  ASSERT_TRUE(phonecore::testing::stop_config_service());
  char ip[64] = "keep";
  EXPECT_EQ(getRealtimeNTStatus(client_, ip, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
  EXPECT_STREQ(ip, "keep");
}

}  // namespace
