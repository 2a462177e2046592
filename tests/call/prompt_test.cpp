// Prompts through the box's SIP process, and the voice-mail numbers and
// counts of the accounts in their files.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "phonecore/config.h"
#include "phonecore/fileutil.h"
#include "phonecore/json_msg.h"
#include "phonecore/prompt.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/json_files.h"
#include "support/sip_session.h"

using phonecore::testing::slurp;

namespace {

constexpr const char* kVoipList = "/appconfigs/default/voiplist.cfg";

class Prompts : public phonecore::testing::SipSessionTest {
 protected:
  phonecore::testing::FactoryFiles factory_{"default/voiplist.cfg", "default/voice_message.cfg"};
};

TEST_F(Prompts, PlayWavSendsTheFileWithYesAndNo) {
  const int seq = voip_play_wav(client_, "/customer/audio/en/welcome.wav", 1, 0, 2, 300);
  EXPECT_GT(seq, 0);
  auto lines = sip_.wait_log(1);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(
      lines[0],
      R"(9 0 { "msgtype": "play_wav", "data": { "file": "\/customer\/audio\/en\/welcome.wav", "enable": "yes", "wait": "no", "loop": 2, "delay_ms": 300 } })");
}

TEST_F(Prompts, PlayWavStringAndFileStringCarryTheirFields) {
  const int a = voip_play_wav_string(client_, "en", "1002", 0, 7, 1, 0);
  const int b = voip_play_wav_file_string(client_, "zh", "number.wav", "1002", 1);
  EXPECT_EQ(b, a + 1);
  auto lines = sip_.wait_log(2);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(
      lines[0],
      R"(9 0 { "msgtype": "play_wav_string", "data": { "string": "1002", "lang": "en", "enable": "no", "wait": "yes", "loop": 1, "delay_ms": 0 } })");
  EXPECT_EQ(
      lines[1],
      R"(9 0 { "msgtype": "play_wav_file_string", "data": { "file": "number.wav", "string": "1002", "lang": "zh", "enable": "yes" } })");
}

TEST_F(Prompts, ANullFileOrTextAnswersMinusOneAndSendsNothing) {
  EXPECT_EQ(voip_play_wav(client_, nullptr, 1, 1, 0, 0), -1);
  EXPECT_EQ(voip_play_wav_string(client_, "en", nullptr, 1, 1, 0, 0), -1);
  EXPECT_EQ(voip_play_wav_file_string(client_, "en", nullptr, "x", 1), -1);
  EXPECT_EQ(voip_play_wav_file_string(client_, "en", "f.wav", nullptr, 1), -1);
  usleep(30000);
  EXPECT_TRUE(sip_.log().empty());
}

void set_registered(int index, const char* user) {
  json_object* list = read_gnl_config_json("default/voiplist.cfg");
  json_object* e = json_object_array_get_idx(json_object_object_get(list, "AccountRegister"), index);
  json_object_object_add(e, "RegisterStatus", json_object_new_string("registered"));
  json_object_object_add(e, "AccountUserName", json_object_new_string(user));
  write_gnl_config_json("default/voiplist.cfg", list);
  json_object_put(list);
}

TEST_F(Prompts, VoiceMessagesOfRegisteredAccountsOnly) {
  set_registered(0, "1001");
  set_registered(2, "3001");
  phonecore::testing::write_json_text("default/voice_message.cfg", R"({"1001":{"miss_unread":4,"miss_read":9}})");
  char u1[64] = "", u2[64] = "keep", u3[64] = "", u4[64] = "keep";
  int un1 = -1, r1 = -1, un2 = -7, r2 = -7, un3 = -1, r3 = -1, un4 = -7, r4 = -7;
  testing::internal::CaptureStdout();
  EXPECT_EQ(api_getVoiceMessage(u1, &un1, &r1, u2, &un2, &r2, u3, &un3, &r3, u4, &un4, &r4), 0);
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_STREQ(u1, "1001");
  EXPECT_EQ(un1, 4);
  EXPECT_EQ(r1, 9);
  // Registered, but no messages under that name: both 0.
  EXPECT_STREQ(u3, "3001");
  EXPECT_EQ(un3, 0);
  EXPECT_EQ(r3, 0);
  // Not registered: as the caller left them.
  EXPECT_STREQ(u2, "keep");
  EXPECT_EQ(un2, -7);
  EXPECT_EQ(r4, -7);
  // The trace says "read" first and gives the unread count there.
  EXPECT_NE(out.find("voice_acc1 != NULL read = 4, unread = 9"), std::string::npos);
  EXPECT_NE(out.find("else read = 0, unread = 0"), std::string::npos);
}

TEST_F(Prompts, VoiceMessagesWithoutEitherFileFillNothing) {
  set_registered(0, "1001");
  unlink("/appconfigs/default/voice_message.cfg");
  char u1[64] = "keep";
  int un1 = -1, r1 = -1;
  testing::internal::CaptureStdout();
  EXPECT_EQ(api_getVoiceMessage(u1, &un1, &r1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr),
            0);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("voice_message open error!"), std::string::npos);
  EXPECT_STREQ(u1, "keep");
  EXPECT_EQ(un1, -1);
}

TEST_F(Prompts, VoiceMailCodesAreReadAndStored) {
  char a[64] = "", b[64] = "", c[64] = "", d[64] = "";
  EXPECT_EQ(api_setVoiceMailCode(0, a, b, c, d), 0);
  EXPECT_STREQ(a, "*97");
  char n1[64] = "*98", n2[64] = "200", n3[64] = "300", n4[64] = "400";
  EXPECT_EQ(api_setVoiceMailCode(1, n1, n2, n3, n4), 0);
  EXPECT_EQ(api_setVoiceMailCode(0, a, b, c, d), 0);
  EXPECT_STREQ(a, "*98");
  EXPECT_STREQ(b, "200");
  EXPECT_STREQ(d, "400");
}

TEST_F(Prompts, VoiceMailCodeModeTwoLeavesTheFileAlone) {
  const std::string before = slurp(kVoipList);
  char n[64] = "999";
  EXPECT_EQ(api_setVoiceMailCode(2, n, n, n, n), 0);
  EXPECT_EQ(slurp(kVoipList), before);
  EXPECT_STREQ(n, "999");
}

std::string mail_number(int element) {
  json_object* root = json_object_from_file(kVoipList);
  json_object* e = json_object_array_get_idx(json_object_object_get(root, "SipAdvance"), element);
  json_object* n = json_object_object_get(e, "AccountVoiceMailNumber");
  std::string out = n != nullptr ? json_object_get_string(n) : "(missing)";
  json_object_put(root);
  return out;
}

TEST_F(Prompts, VoicemailSetcodeMatchesAccountOneToElementZero) {
  const int accounts[] = {1, 3};
  const char* numbers[] = {"*86", "*88"};
  EXPECT_EQ(voip_message_voicemail_setcode(client_, accounts, numbers, 2), 1);
  EXPECT_EQ(mail_number(0), "*86");
  EXPECT_EQ(mail_number(1), "");  // account 2 untouched
  EXPECT_EQ(mail_number(2), "*88");
  // The SIP process hears the account reload.
  bool reload = false;
  for (const auto& l : sip_.wait_log(1)) reload |= l == R"(3 5 {"cmd":"reload_account"})";
  EXPECT_TRUE(reload);
}

TEST_F(Prompts, VoicemailSetcodeWithoutSipAdvanceStoresTheFirstAccountsPage) {
  phonecore::testing::write_json_text("default/voiplist.cfg", R"({"AccountRegister":[]})");
  const int accounts[] = {2, 4};
  const char* numbers[] = {"*22", "*44"};
  EXPECT_EQ(voip_message_voicemail_setcode(client_, accounts, numbers, 2), 1);
  json_object* root = json_object_from_file(kVoipList);
  json_object* array = json_object_object_get(root, "SipAdvance");
  ASSERT_EQ(json_object_array_length(array), 1u);
  EXPECT_STREQ(json_object_to_json_string_ext(json_object_array_get_idx(array, 0), JSON_C_TO_STRING_PLAIN),
               R"({"page":"setSipAdvance","Account":"1","AccountVoiceMailNumber":"*22"})");
  EXPECT_NE(json_object_object_get(root, "AccountRegister"), nullptr);
  json_object_put(root);
}

TEST_F(Prompts, VoicemailSetcodeWithoutTheFileStartsANewOne) {
  unlink(kVoipList);
  const int accounts[] = {1};
  const char* numbers[] = {"*11"};
  EXPECT_EQ(voip_message_voicemail_setcode(client_, accounts, numbers, 1), 1);
  EXPECT_EQ(mail_number(0), "*11");
}

TEST_F(Prompts, VoicemailSetcodeWithNoAccountsAnswersZero) {
  const std::string before = slurp(kVoipList);
  const int accounts[] = {1};
  const char* numbers[] = {"*11"};
  EXPECT_EQ(voip_message_voicemail_setcode(client_, accounts, numbers, 0), 0);
  EXPECT_EQ(slurp(kVoipList), before);
}

}  // namespace
