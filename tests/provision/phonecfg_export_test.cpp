// The phone.cfg export in the box: every word's line byte for byte from
// the member the test itself names for it, the configuration service's
// record of the reads each word costs, in order, the whole answer file as
// the Action URI builds it, and the answer and scratch files' failures.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

#include "phonecore/phonecfg_export.h"
#include "support/config_peer.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::ConfigPeer;
using phonecore::testing::ConfigRequest;
using phonecore::testing::FactoryFiles;
using phonecore::testing::put_file;
using phonecore::testing::slurp;
namespace fs = std::filesystem;

constexpr const char* kAnswer = "/tmp/phonecfg.ini";
constexpr const char* kScratch = "/tmp/phonecfg_tmp.ini";

// The sources in the order the export reads them.
const std::vector<std::string> kSources{"default/voiplist.cfg",
                                        "system.cfg",
                                        "default/programing_key.cfg",
                                        "default/addresslist.cfg",
                                        "default/settinglist.cfg",
                                        "default/function.cfg",
                                        "network.cfg",
                                        "default/internet.cfg",
                                        "tr069.cfg"};

std::vector<ConfigRequest> reads_of(size_t sources) {
  std::vector<ConfigRequest> out;
  for (size_t i = 0; i < sources; ++i) out.push_back(ConfigRequest{4102, 1, 1, kSources[i], 0});
  return out;
}

// Where a word's value stands, as the phone's files have it: a file and a
// path of members; "#" steps into the array element of the word's index.
struct Where {
  std::string word;
  std::string file;
  std::vector<std::string> path;
  size_t reads;  // of the configuration service
};

std::vector<Where> every_key_word() {
  std::vector<Where> out;
  auto indexed = [&out](const std::string& prefix, const std::string& suffix, const std::string& file,
                        std::vector<std::string> path, size_t reads) {
    for (int n = 1; n <= 4; ++n) {
      std::vector<std::string> p = path;
      for (std::string& step : p)
        if (step == "#") step = std::to_string(n - 1);
      out.push_back({prefix + std::to_string(n) + "." + suffix, file, p, reads});
    }
  };
  const std::string voiplist = "default/voiplist.cfg";
  for (const char* member : {"AccountUserName", "AccountPassword", "AccountDisplayName", "AccountRegisterName",
                             "AccountLabel", "AccountEnable", "SIP1ServerAddr", "SIP1ServerAddrPort",
                             "SIP1HeartbeatMessage", "SIP1RetryCount", "SIP1Transport", "SIP2ServerAddr",
                             "SIP2ServerAddrPort", "SIP2HeartbeatMessage", "SIP2RetryCount", "SIP2Transport"})
    indexed("Account", member, voiplist, {"AccountRegister", "#", member}, 1);
  indexed("Account", "Anonymous_call", voiplist, {"SipBase", "#", "AccountAnonymousCallSwitch"}, 1);
  indexed("Account", "Reject_anonymous_call", voiplist, {"SipBase", "#", "AccountRejectAnonymousCallSwitch"}, 1);
  indexed("Account", "Auto_answer", voiplist, {"SipBase", "#", "AccountAutoAnswerSwitch"}, 1);
  indexed("Account", "Subscribe_mwi", voiplist, {"SipAdvance", "#", "AccountSubsribeMWI"}, 1);
  indexed("Account", "Voice_mail.Number", voiplist, {"SipAdvance", "#", "AccountVoiceMailNumber"}, 1);
  indexed("Account", "Subscribe_mwi_expires", voiplist, {"SipAdvance", "#", "AccountSubscribeMWIExpire"}, 1);
  for (const char* member : {"Type", "Line", "Value", "Label", "Extension"}) {
    indexed("LineKey", member, "default/programing_key.cfg", {"Hotkey_lineKey", "data", "#", member}, 3);
    indexed("SoftKey", member, "default/programing_key.cfg", {"Hotkey_hotKey", "data", "#", member}, 3);
  }
  auto plain = [&out](const std::string& word, const std::string& file, std::vector<std::string> path) {
    out.push_back({word, file, std::move(path), 9});
  };
  plain("Language.Lcd", "system.cfg", {"systeminfo", "lang"});
  plain("Phone.LcdBackLight_level", "system.cfg", {"hardware", "bk_light_l_active"});
  const std::pair<const char*, const char*> ldap[] = {{"Enable", "LdapSwitch"},
                                                      {"Label", "LdapName"},
                                                      {"Name_filter", "LdapNameFilter"},
                                                      {"Number_filter", "LdapNumberFilter"},
                                                      {"Tls_mode", "LDAPTLSMode"},
                                                      {"Server", "LdapServer"},
                                                      {"Port", "LdapPort"},
                                                      {"Base", "LDAPbase"},
                                                      {"User", "LdapUserName"},
                                                      {"Password", "LdapUserPassword"},
                                                      {"max_hits", "LdapMaxHits"},
                                                      {"Name_attr", "LdapNameAttr"},
                                                      {"Number_attr", "LdapNumberAttr"},
                                                      {"Display_name", "LdapResultDisplayName"},
                                                      {"Version", "LdapProtocolVersion"},
                                                      {"Call_in_lookup", "LdapCallInSearchSwitch"},
                                                      {"call_out_lookup", "LDAPCallOutLookup"},
                                                      {"Sort_enable", "LdapSortSwitch"}};
  for (const auto& [word, member] : ldap)
    plain(std::string("LDAP.") + word, "default/addresslist.cfg", {"MaillistLDAP", member});
  const std::string settings = "default/settinglist.cfg";
  plain("Voice.ECHO", settings, {"SettingAudio", "VPMECHO"});
  plain("Voice.VAD", settings, {"SettingAudio", "VPMVAD"});
  plain("Voice.CNG", settings, {"SettingAudio", "VPMCNG"});
  plain("Voice.Handset.Output", settings, {"Volume", "VolumeHandsetoutput"});
  plain("Voice.Speaker", settings, {"Volume", "VolumeSpeaker"});
  plain("Voice.Ringtones", settings, {"Volume", "VolumeModulationRing"});
  const std::string function = "default/function.cfg";
  const std::pair<const char*, const char*> forward[] = {
      {"Forward.mode", "ForwardMode"},
      {"Forward.account", "ForwardAccount"},
      {"Forward.always.enable", "AlwaysForwardSwitch"},
      {"Forward.always.target", "AlwaysForwardTarget"},
      {"Forward.busy.enable", "BusyForwardSwitch"},
      {"Forward.busy.target", "BusyForwardTarget"},
      {"Forward.no_answer.enable", "NoAnswerForwardSwitch"},
      {"Forward.no_answer.after_ring_time", "NoAnswerForwardDelayTime"},
      {"Forward.no_answer.target", "NoAnswerForwardTarget"},
      {"Features.dnd.mode", "DndMode"},
      {"Features.dnd.account", "DNDAccount"},
      {"Features.dnd.status", "DndStatus"}};
  for (const auto& [word, member] : forward) plain(word, function, {"FeatureForwardDND", member});
  plain("Features.CallWaiting", function, {"FeatureGnlInfor", "CallWaitingSwitch"});
  plain("Features.key_as_send", function, {"FeatureGnlInfor", "AutoRedialSwitch"});
  plain("Features.HotlineNumber", function, {"FeatureGnlInfor", "HotlineNumber"});
  plain("Features.HotlineDelay", function, {"FeatureGnlInfor", "HotlineDelay"});
  plain("Features.Intercom.Allow", function, {"FeatureIntercom", "IntercomAllowance"});
  plain("Features.Intercom.Mute", function, {"FeatureIntercom", "IntercomMuteSwitch"});
  plain("PowerLED.Common_Power_Light_on", function, {"FeaturePowerLed", "CommonPowerLightOn"});
  plain("PowerLED.Ringing_Power_Light_Flash", function, {"FeaturePowerLed", "RingPowerLightFlash"});
  for (const char* member : {"mode", "ipaddr", "netmask", "gateway", "dns1", "dns2"})
    plain(std::string("Network.Wan.") + member, "network.cfg", {"wan", member});
  const std::string internet = "default/internet.cfg";
  plain("Static.Network.Vlan.Wan.Enable", internet, {"NetworkAdvanced", "VlanWanSwitch"});
  plain("Static.Network.Vlan.Wan.Vid", internet, {"NetworkAdvanced", "VlanWanVid"});
  plain("Static.Network.Vlan.Wan.Priority", internet, {"NetworkAdvanced", "VlanWanPriority"});
  plain("Static.Network.Vlan.Pc.Enable", internet, {"NetworkAdvanced", "VlanPcSwitch"});
  plain("Static.Network.Vlan.Pc.Vid", internet, {"NetworkAdvanced", "VlanPcVid"});
  plain("Static.Network.Vlan.Pc.Priority", internet, {"NetworkAdvanced", "VlanPcPriority"});
  plain("Static.Network.Vpn.Enable", internet, {"NetworkAdvanced", "VpnSwitch"});
  plain("Static.NatStun.Enable", internet, {"NetworkNAT", "NatSTUNSwitch"});
  plain("Static.NatStun.Server", internet, {"NetworkNAT", "NatSTUNServer"});
  plain("Static.NatStun.Port", internet, {"NetworkNAT", "NatSTUNPort"});
  plain("Static.Network.PcPort.Enable", internet, {"NetworkPCPort", "PCPortActive"});
  plain("Static.TR069.Enable", "tr069.cfg", {"local", "enable"});
  return out;
}

// The JSON value at the path of a file below /appconfigs, as the test reads
// it: its text, or null when a part is missing. owner keeps it alive.
const char* value_at(json_object* root, const std::vector<std::string>& path) {
  json_object* o = root;
  for (const std::string& step : path) {
    if (o == nullptr) return nullptr;
    if (json_object_is_type(o, json_type_array)) {
      const size_t i = std::stoul(step);
      o = i < json_object_array_length(o) ? json_object_array_get_idx(o, i) : nullptr;
    } else if (!json_object_object_get_ex(o, step.c_str(), &o)) {
      o = nullptr;
    }
  }
  return o != nullptr ? json_object_get_string(o) : nullptr;
}

// Sets the member at the end of the path of a file to a JSON string.
void set_at(const std::string& file, const std::vector<std::string>& path, const std::string& value) {
  const std::string full = "/appconfigs/" + file;
  json_object* root = json_object_from_file(full.c_str());
  ASSERT_NE(root, nullptr) << file;
  json_object* o = root;
  for (size_t i = 0; i + 1 < path.size(); ++i) {
    if (json_object_is_type(o, json_type_array)) o = json_object_array_get_idx(o, std::stoul(path[i]));
    else json_object_object_get_ex(o, path[i].c_str(), &o);
    ASSERT_NE(o, nullptr) << file << " " << path[i];
  }
  json_object_object_add(o, path.back().c_str(), json_object_new_string(value.c_str()));
  ASSERT_EQ(json_object_to_file_ext(full.c_str(), root, JSON_C_TO_STRING_PRETTY), 0);
  json_object_put(root);
}

std::string shifted(const std::string& word) {
  char buffer[PHONECFG_EXPORT_WORD_SIZE] = {};
  word.copy(buffer, sizeof buffer - 1);
  strimp_shift_7(buffer);
  return buffer;
}

// What the Action URI does for a "get" request.
std::string export_words(const std::vector<std::string>& words) {
  set_cfg_header1(kAnswer);
  for (const std::string& w : words) {
    const std::string word = shifted(w);
    get_special_cfg(word.c_str());
    get_appoint_cfg(word.c_str());
  }
  merge_phonecfg();
  return slurp(kAnswer);
}

class PhonecfgExport : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    clean();
    ASSERT_TRUE(config_.clear());
  }
  void TearDown() override { clean(); }
  static void clean() {
    std::error_code ec;
    fs::remove_all(kAnswer, ec);
    fs::remove_all(kScratch, ec);
    fs::remove_all("/tmp/other.ini", ec);
  }

  FactoryFiles files_{"default/voiplist.cfg",
                      "system.cfg",
                      "default/programing_key.cfg",
                      "default/addresslist.cfg",
                      "default/settinglist.cfg",
                      "default/function.cfg",
                      "network.cfg",
                      "default/internet.cfg",
                      "tr069.cfg",
                      "quorbit_ota.cfg"};
  ConfigPeer config_;
};

TEST_F(PhonecfgExport, EveryKeyWordPrintsItsOwnMemberAndReadsItsSources) {
  const std::vector<Where> words = every_key_word();
  ASSERT_EQ(words.size(), 192u);
  // A value of its own in every word's member, so that a word reading
  // another's member shows.
  for (size_t k = 0; k < words.size(); ++k) set_at(words[k].file, words[k].path, "v" + std::to_string(k) + " x");
  for (size_t k = 0; k < words.size(); ++k) {
    const Where& w = words[k];
    std::remove(kScratch);
    ASSERT_TRUE(config_.clear());
    EXPECT_EQ(get_special_cfg(w.word.c_str()), 0) << w.word;
    EXPECT_EQ(get_appoint_cfg(w.word.c_str()), 0) << w.word;
    std::string line = w.word + " = v" + std::to_string(k) + " x\n";
    // The WAN VLAN switch doubles its line on purpose.
    if (w.word == "Static.Network.Vlan.Wan.Enable") line += line;
    EXPECT_EQ(slurp(kScratch), line) << w.word;
    EXPECT_FALSE(fs::exists(kAnswer)) << w.word;
    EXPECT_EQ(config_.requests(), reads_of(w.reads)) << w.word;
  }
}

TEST_F(PhonecfgExport, TheWholeAnswerFromTheFactoryFiles) {
  std::vector<std::string> words{"&accounts=1", "dnd=1", "fw=1"};
  std::string config;
  std::vector<json_object*> roots;
  for (const Where& w : every_key_word()) {
    words.push_back(w.word);
    json_object* root = json_object_from_file(("/appconfigs/" + w.file).c_str());
    roots.push_back(root);
    const char* value = value_at(root, w.path);
    std::string text = value != nullptr ? value : "(null)";
    if (w.word == "Language.Lcd" && text == "es-us") text = "English";
    config += w.word + " = " + text + "\n";
    if (w.word == "Static.Network.Vlan.Wan.Enable") config += w.word + " = " + text + "\n";
  }
  for (json_object* root : roots) json_object_put(root);
  EXPECT_NE(config.find("Language.Lcd = English\n"), std::string::npos);
  // The passwords as they stand: the export hides nothing.
  EXPECT_NE(config.find("Account1.AccountPassword = desk1001\n"), std::string::npos);
  EXPECT_NE(config.find("LDAP.Password = \n"), std::string::npos);
  // Members the factory files lack.
  EXPECT_NE(config.find("LineKey1.Extension = \n"), std::string::npos);
  for (const char* group : {"Dialplan.Replace_Rule", "Dialplan.Dial_now", "Dialplan.Block_out", "Dialplan.Area_code"})
    words.push_back(group);
  config += "Dialplan.Replace_Rule has no rule!\nDialplan.Dial_now has no rule!\n";
  for (int i = 1; i <= 10; ++i)
    config += "Dialplan.Block_out.BlockOut" + std::to_string(i) + " = \nDialplan.Block_out.Account" +
              std::to_string(i) + " = \n";
  config +=
      "Dialplan.Area_code.Code = \nDialplan.Area_code.Min_len = 0\nDialplan.Area_code.Max_len = 15\n"
      "Dialplan.Area_code.Line_id = \n";

  std::string accounts = "[Accounts]\n";
  for (int n = 1; n <= 4; ++n) {
    const std::string a = "Account" + std::to_string(n) + ".";
    const bool first = n == 1;
    accounts += a + "AccountEnable=" + (first ? "1" : "0") + "\n" + a + "AccountLabel=" + (first ? "Office 1001" : "") +
                "\n" + a + "AccountDisplayName=" + (first ? "Front Desk" : "") + "\n" + a +
                "AccountUserName=" + (first ? "1001" : "") + "\n" + a + "SIP1ServerAddr=" + (first ? "127.0.0.1" : "") +
                "\n" + a + "SIP1ServerAddrPort=5060\n" + a + "SIP2ServerAddr=\n" + a + "SIP2ServerAddrPort=5060\n";
  }
  const std::string expected = "[Status]\nFirmwareVersion = 1.0.0\n" + accounts + "[DND]\nState=0\n" +
                               "[Forward_always]\nState=0\nTarget=\n[Forward_busy]\nState=0\nTarget=\n"
                               "[Forward_noanswer]\nState=0\nTarget=5\nRingtimes=\n" +
                               "[Config]\n" + config;
  EXPECT_EQ(export_words(words), expected);
  EXPECT_FALSE(fs::exists(kScratch));
}

TEST_F(PhonecfgExport, NoWordGivesTheStatusAndAnEmptyConfig) {
  EXPECT_EQ(export_words({}), "[Status]\nFirmwareVersion = 1.0.0\n[Config]\n");
  // The version file is one read; merging reads nothing of the service.
  EXPECT_EQ(config_.requests(), (std::vector<ConfigRequest>{{4102, 1, 1, "quorbit_ota.cfg", 0}}));
}

TEST_F(PhonecfgExport, WithoutTheVersionOnlyTheStatusHead) {
  fs::remove("/appconfigs/quorbit_ota.cfg");
  EXPECT_EQ(export_words({}), "[Status]\n[Config]\n");
  put_file("/appconfigs/quorbit_ota.cfg", R"({"QuorbitOta":{"hw_version":"1"}})");
  EXPECT_EQ(export_words({}), "[Status]\n[Config]\n");
  put_file("/appconfigs/quorbit_ota.cfg", R"({"QuorbitOta":{"sw_version":"2.1.7 beta"}})");
  EXPECT_EQ(export_words({}), "[Status]\nFirmwareVersion = 2.1.7 beta\n[Config]\n");
}

TEST_F(PhonecfgExport, TheHeaderIgnoresItsPathAndStartsTheAnswerAfresh) {
  put_file(kAnswer, "stale answer\n");
  EXPECT_EQ(set_cfg_header1("/tmp/other.ini"), 0);
  EXPECT_FALSE(fs::exists("/tmp/other.ini"));
  EXPECT_EQ(slurp(kAnswer), "[Status]\nFirmwareVersion = 1.0.0\n");
  EXPECT_EQ(set_cfg_header1(nullptr), 0);
  EXPECT_EQ(slurp(kAnswer), "[Status]\nFirmwareVersion = 1.0.0\n");
}

TEST_F(PhonecfgExport, TheMergeAppendsTheScratchAndRemovesIt) {
  set_cfg_header1(kAnswer);
  put_file(kScratch, "a = 1\nb = 2\n");
  EXPECT_EQ(merge_phonecfg(), 0);
  EXPECT_EQ(slurp(kAnswer), "[Status]\nFirmwareVersion = 1.0.0\n[Config]\na = 1\nb = 2\n");
  EXPECT_FALSE(fs::exists(kScratch));
  // Without a scratch file "[Config]" stands all the same.
  EXPECT_EQ(merge_phonecfg(), 0);
  EXPECT_EQ(slurp(kAnswer), "[Status]\nFirmwareVersion = 1.0.0\n[Config]\na = 1\nb = 2\n[Config]\n");
}

TEST_F(PhonecfgExport, SpecialWordsWithAndWithoutTheAmpersand) {
  set_cfg_header1(kAnswer);
  const std::string head = slurp(kAnswer);
  EXPECT_EQ(get_special_cfg("accounts=1"), 0);
  const std::string once = slurp(kAnswer).substr(head.size());
  EXPECT_EQ(once.substr(0, 37), "[Accounts]\nAccount1.AccountEnable=1\nA");
  EXPECT_EQ(get_special_cfg("&accounts=1"), 0);
  EXPECT_EQ(slurp(kAnswer), head + once + once);
  // One read for the section, none of the scratch file.
  ASSERT_TRUE(config_.clear());
  EXPECT_EQ(get_special_cfg("&dnd=1"), 0);
  EXPECT_EQ(config_.requests(), (std::vector<ConfigRequest>{{4102, 1, 1, "default/function.cfg", 0}}));
  EXPECT_EQ(slurp(kAnswer), head + once + once + "[DND]\nState=0\n");
  EXPECT_FALSE(fs::exists(kScratch));
}

TEST_F(PhonecfgExport, ASpecialWordAddsNothingAsAKeyAndAKeyNothingAsASpecial) {
  for (const char* word : {"dnd=1", "accounts=1", "fw=1"}) {
    ASSERT_TRUE(config_.clear());
    EXPECT_EQ(get_appoint_cfg(word), 0);
    EXPECT_EQ(slurp(kScratch), "") << word;
    EXPECT_EQ(config_.requests(), reads_of(9)) << word;
  }
  ASSERT_TRUE(config_.clear());
  EXPECT_EQ(get_special_cfg("Account1.AccountUserName"), 0);
  EXPECT_EQ(get_special_cfg("accounts=2"), 0);
  EXPECT_FALSE(fs::exists(kAnswer));
  EXPECT_TRUE(config_.requests().empty());
}

TEST_F(PhonecfgExport, UnknownWordsReadEverySourceAndPrintNothing) {
  for (const char* word : {"Nothing.Known", "Dialplan.Replace_Rule.Prefix1", "Account5.AccountUserName",
                           "PowerLED.Mute_Power_Light_Flash", "&Network.Wan.mode", ""}) {
    ASSERT_TRUE(config_.clear());
    EXPECT_EQ(get_appoint_cfg(word), 0);
    EXPECT_EQ(slurp(kScratch), "") << word;
    EXPECT_EQ(config_.requests(), reads_of(9)) << word;
  }
}

TEST_F(PhonecfgExport, GroupWordsReadEverySource) {
  put_file("/appconfigs/default/settinglist.cfg",
           R"({"DialplanReplace":{"data":[{"Replace":"0"},{"Prefix":"9","Replace":"","Account":"1"}]},
               "DialplanDialnow":{"data":[{"RealTimeDialingRules":"1xx","Account":"0","key":"1"}]}})");
  EXPECT_EQ(get_appoint_cfg("Dialplan.Replace_Rule"), 0);
  EXPECT_EQ(config_.requests(), reads_of(9));
  EXPECT_EQ(get_appoint_cfg("Dialplan.Dial_now"), 0);
  EXPECT_EQ(get_appoint_cfg("Dialplan.Area_code"), 0);
  EXPECT_EQ(slurp(kScratch),
            "Dialplan.Replace_Rule.Prefix2 = 9\nDialplan.Replace_Rule.Replace2 = \nDialplan.Replace_Rule.Account2 = 1\n"
            "Dialplan.Dial_now.Rule1 = 1xx\nDialplan.Dial_now.Account1 = 0\n"
            "Dialplan.Area_code.Code = (null)\nDialplan.Area_code.Min_len = (null)\n"
            "Dialplan.Area_code.Max_len = (null)\nDialplan.Area_code.Line_id = (null)\n");
}

TEST_F(PhonecfgExport, ASourceMissingPrintsNothingAndTheSearchGoesOn) {
  fs::remove("/appconfigs/default/voiplist.cfg");
  EXPECT_EQ(get_appoint_cfg("Account1.AccountUserName"), 0);
  EXPECT_EQ(slurp(kScratch), "");
  EXPECT_EQ(config_.requests(), reads_of(9));
  EXPECT_EQ(get_appoint_cfg("Network.Wan.mode"), 0);
  EXPECT_EQ(slurp(kScratch), "Network.Wan.mode = dhcp\n");
  // A special word without its file: -1, the answer as it was.
  set_cfg_header1(kAnswer);
  const std::string head = slurp(kAnswer);
  EXPECT_EQ(get_special_cfg("accounts=1"), -1);
  fs::remove("/appconfigs/default/function.cfg");
  EXPECT_EQ(get_special_cfg("fw=1"), -1);
  EXPECT_EQ(get_special_cfg("dnd=1"), -1);
  EXPECT_EQ(slurp(kAnswer), head);
}

TEST_F(PhonecfgExport, AnAnswerThatCannotBeOpenedSaysSo) {
  fs::create_directory(kAnswer);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(set_cfg_header1(kAnswer), -1);
  EXPECT_EQ(get_special_cfg("dnd=1"), -1);
  EXPECT_EQ(merge_phonecfg(), -1);
  const std::string said = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(said, "phone.cfg open error!\nphone.cfg open error!\nphone.cfg open error!\n");
  // The scratch file stays for a later merge.
  fs::remove(kAnswer);
  put_file(kScratch, "x = 1\n");
  fs::create_directory(kAnswer);
  EXPECT_EQ(merge_phonecfg(), -1);
  EXPECT_EQ(slurp(kScratch), "x = 1\n");
}

TEST_F(PhonecfgExport, AScratchThatCannotBeOpenedCostsNoRead) {
  fs::create_directory(kScratch);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(get_appoint_cfg("Network.Wan.mode"), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "phone.cfg open error!\n");
  EXPECT_TRUE(config_.requests().empty());
  // The merge finds a directory: "[Config]" alone, and the shell removes it.
  set_cfg_header1(kAnswer);
  EXPECT_EQ(merge_phonecfg(), 0);
  EXPECT_EQ(slurp(kAnswer), "[Status]\nFirmwareVersion = 1.0.0\n[Config]\n");
  EXPECT_FALSE(fs::exists(kScratch));
}

TEST_F(PhonecfgExport, TheLastWordsTailStaysInAccAfterName) {
  get_appoint_cfg("Account2.Voice_mail.Number");
  EXPECT_STREQ(acc_after_name, "Voice_mail.Number");
  get_appoint_cfg("dnd=1");
  EXPECT_STREQ(acc_after_name, "");
}

}  // namespace
