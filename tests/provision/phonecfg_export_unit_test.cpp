// The pure parts of the phone.cfg export: the word buffers, the tables and
// the text each word prints from an object in hand. The files and the
// configuration service are the box test's.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

#include "phonecore/phonecfg_export.h"
#include "provision/phonecfg/export_lines.h"
#include "provision/phonecfg/export_table.h"
#include "provision/phonecfg/key_table.h"

namespace {

namespace pc = phonecore::phonecfg;

struct Json {
  explicit Json(const char* text) : object(json_tokener_parse(text)) {}
  ~Json() { json_object_put(object); }
  Json(const Json&) = delete;
  Json& operator=(const Json&) = delete;
  json_object* object;
};

std::string shifted(const std::string& text) {
  char word[PHONECFG_EXPORT_WORD_SIZE + 64] = {};
  std::memcpy(word, text.data(), std::min(text.size(), sizeof word - 1));
  EXPECT_EQ(strimp_shift_7(word), 0);
  return word;
}

TEST(PhonecfgExportWord, OneLeadingAmpersandGoes) {
  EXPECT_EQ(shifted("&accounts=1"), "accounts=1");
  EXPECT_EQ(shifted("accounts=1"), "accounts=1");
  EXPECT_EQ(shifted("&&fw=1"), "&fw=1");
  EXPECT_EQ(shifted("a&b"), "a&b");
  EXPECT_EQ(shifted("&"), "");
  EXPECT_EQ(shifted(""), "");
  EXPECT_EQ(strimp_shift_7(nullptr), -1);
}

TEST(PhonecfgExportWord, TheScratchHoldsTheShiftedWord) {
  EXPECT_EQ(shifted("&Network.Wan.mode"), "Network.Wan.mode");
  EXPECT_STREQ(test_tmp, "Network.Wan.mode");
  shifted("x");
  // Cleared before each use: nothing of the longer word stays behind.
  EXPECT_EQ(std::string(test_tmp, sizeof test_tmp), std::string("x") + std::string(sizeof test_tmp - 1, '\0'));
}

TEST(PhonecfgExportWord, AWordKeepsAtMost63Characters) {
  const std::string long_word(100, 'w');
  EXPECT_EQ(shifted(long_word), std::string(63, 'w'));
  EXPECT_EQ(shifted("&" + long_word), std::string(63, 'w'));
  EXPECT_EQ(shifted("&" + std::string(63, 'v')), std::string(63, 'v'));
  EXPECT_EQ(test_tmp[63], '\0');
}

TEST(PhonecfgExportWord, TheShiftNeverReadsPast64BytesOfAWord) {
  // A word filling its 64 bytes without a terminator (the caller's
  // buffer ends there): cut to 63, the last byte becomes the terminator.
  char word[PHONECFG_EXPORT_WORD_SIZE];
  std::memset(word, 'z', sizeof word);
  EXPECT_EQ(strimp_shift_7(word), 0);
  EXPECT_EQ(std::string(word), std::string(63, 'z'));
}

TEST(PhonecfgExportAccName, TheTextBehindTheFirstDot) {
  EXPECT_EQ(get_acc_after_name("Account1.AccountUserName"), 0);
  EXPECT_STREQ(acc_after_name, "AccountUserName");
  get_acc_after_name("Account2.Voice_mail.Number");
  EXPECT_STREQ(acc_after_name, "Voice_mail.Number");
  get_acc_after_name("LineKey3.Extension");
  EXPECT_STREQ(acc_after_name, "Extension");
  get_acc_after_name("Account1.");
  EXPECT_STREQ(acc_after_name, "");
  get_acc_after_name(".x");
  EXPECT_STREQ(acc_after_name, "x");
}

TEST(PhonecfgExportAccName, WithoutADotItStaysEmpty) {
  get_acc_after_name("Account1.AccountUserName");
  get_acc_after_name("accounts=1");
  EXPECT_EQ(std::string(acc_after_name, sizeof acc_after_name), std::string(sizeof acc_after_name, '\0'));
  get_acc_after_name("Account1.AccountUserName");
  get_acc_after_name(nullptr);
  EXPECT_STREQ(acc_after_name, "");
}

TEST(PhonecfgExportAccName, CutAt31Characters) {
  get_acc_after_name(("k." + std::string(40, 'n')).c_str());
  EXPECT_EQ(std::string(acc_after_name), std::string(31, 'n'));
  EXPECT_EQ(acc_after_name[31], '\0');
  get_acc_after_name(("k." + std::string(31, 'm')).c_str());
  EXPECT_EQ(std::string(acc_after_name), std::string(31, 'm'));
  get_acc_after_name(("k." + std::string(32, 'p')).c_str());
  EXPECT_EQ(std::string(acc_after_name), std::string(31, 'p'));
}

TEST(PhonecfgExportTable, EveryWordOnceAndFoundAgain) {
  const std::vector<std::string> words = pc::all_export_words();
  EXPECT_EQ(words.size(), 192u + 4u + 3u);
  EXPECT_EQ(std::set<std::string>(words.begin(), words.end()).size(), words.size());
  size_t keys = 0, groups = 0, specials = 0;
  for (const std::string& w : words) {
    int index = 0;
    const pc::ExportRow* row = pc::find_export_word(w, &index);
    keys += row != nullptr;
    groups += pc::find_group_word(w) != nullptr;
    specials += pc::find_special_word(w) != nullptr;
    EXPECT_EQ((row != nullptr) + (pc::find_group_word(w) != nullptr) + (pc::find_special_word(w) != nullptr), 1) << w;
    if (row != nullptr && pc::indexed(row->word)) {
      EXPECT_GE(index, 1) << w;
      EXPECT_LE(index, 4) << w;
      EXPECT_EQ(w.find(std::to_string(index)), row->word.find("<N>")) << w;
    }
  }
  EXPECT_EQ(keys, 192u);
  EXPECT_EQ(groups, 4u);
  EXPECT_EQ(specials, 3u);
}

TEST(PhonecfgExportTable, IndexesRunFromOneToFour) {
  int index = 0;
  EXPECT_NE(pc::find_export_word("Account4.AccountUserName", &index), nullptr);
  EXPECT_EQ(index, 4);
  EXPECT_NE(pc::find_export_word("SoftKey1.Type", &index), nullptr);
  EXPECT_EQ(index, 1);
  for (const char* word : {"Account0.AccountUserName", "Account5.AccountUserName", "LineKey0.Type", "LineKey5.Type",
                           "Account10.AccountUserName", "AccountN.AccountUserName", "Account<N>.AccountUserName"})
    EXPECT_EQ(pc::find_export_word(word, &index), nullptr) << word;
}

TEST(PhonecfgExportTable, OnlyTheGroupWordsOfTheDialPlan) {
  for (const char* word : {"Dialplan.Replace_Rule.Prefix1", "Dialplan.Dial_now.Rule1", "Dialplan.Block_out.BlockOut1",
                           "Dialplan.Area_code.Code", "Dialplan", "dialplan.Dial_now"}) {
    EXPECT_EQ(pc::find_export_word(word, nullptr), nullptr) << word;
    EXPECT_EQ(pc::find_group_word(word), nullptr) << word;
  }
  // The five PowerLED keys the import takes besides these two have no
  // export word.
  EXPECT_NE(pc::find_export_word("PowerLED.Common_Power_Light_on", nullptr), nullptr);
  EXPECT_NE(pc::find_export_word("PowerLED.Ringing_Power_Light_Flash", nullptr), nullptr);
  for (const char* word : {"PowerLED.Voice/Text_Mail_Power_Light_Flash", "PowerLED.Mute_Power_Light_Flash",
                           "PowerLED.Hold/Held_Power_Light_Flash", "PowerLED.Talk/Dial_Power_Light_on",
                           "PowerLED.MissCall_Power_Light_Flash"})
    EXPECT_EQ(pc::find_export_word(word, nullptr), nullptr) << word;
}

TEST(PhonecfgExportTable, SpecialWordsWithOrWithoutOneAmpersand) {
  for (const char* word : {"accounts=1", "dnd=1", "fw=1"}) {
    EXPECT_NE(pc::find_special_word(word), nullptr) << word;
    EXPECT_EQ(pc::find_special_word(std::string("&") + word), pc::find_special_word(word)) << word;
    EXPECT_EQ(pc::find_special_word(std::string("&&") + word), nullptr) << word;
  }
  for (const char* word : {"accounts=0", "accounts", "fw=1 ", "DND=1", ""})
    EXPECT_EQ(pc::find_special_word(word), nullptr) << word;
}

TEST(PhonecfgExportTable, TheNetworkWordsReadWhatTheImportWrites) {
  // Each network key of the import is an export word of the same file and
  // member, printed in the key table's export form.
  for (const pc::KeyRow& key : pc::kKeyTable) {
    if (key.group != pc::Group::kNetwork) continue;
    const pc::ExportRow* row = pc::find_export_word(key.key, nullptr);
    ASSERT_NE(row, nullptr) << key.key;
    EXPECT_STREQ(pc::source_path(row->source), pc::target_path(key.store.target)) << key.key;
    EXPECT_STREQ(row->section, key.store.section) << key.key;
    EXPECT_STREQ(row->member, key.store.member) << key.key;
    const pc::Print expected = key.export_form == pc::ExportForm::kSpacedTwice             ? pc::Print::kTwice
                               : key.export_form == pc::ExportForm::kSpacedZeroWhenMissing ? pc::Print::kZeroWhenMissing
                                                                                           : pc::Print::kPlain;
    EXPECT_EQ(row->print, expected) << key.key;
  }
}

TEST(PhonecfgExportTable, WhichWordsEndTheSearch) {
  EXPECT_TRUE(pc::ends_search(*pc::find_export_word("Account1.Voice_mail.Number", nullptr)));
  EXPECT_TRUE(pc::ends_search(*pc::find_export_word("LineKey2.Line", nullptr)));
  EXPECT_TRUE(pc::ends_search(*pc::find_export_word("SoftKey4.Label", nullptr)));
  EXPECT_FALSE(pc::ends_search(*pc::find_export_word("Language.Lcd", nullptr)));
  EXPECT_FALSE(pc::ends_search(*pc::find_export_word("Static.TR069.Enable", nullptr)));
}

// The line of a key word from an object, its member found as the export
// finds it.
std::string line_of(const char* word, json_object* source) {
  int index = 0;
  const pc::ExportRow* row = pc::find_export_word(word, &index);
  EXPECT_NE(row, nullptr) << word;
  if (row == nullptr) return "";
  char member[PHONECFG_ACC_NAME_SIZE];
  pc::after_first_dot(word, member);
  return pc::word_lines(word, *row, index, member, source);
}

TEST(PhonecfgExportLines, AKeyWordPrintsSpacedWithTheStoredValue) {
  Json voiplist(R"({"AccountRegister":[{"AccountUserName":"1001","AccountEnable":1,"SIP1HeartbeatMessage":60},
                  {"AccountUserName":"2002","AccountPassword":"p w=d "}],
                  "SipAdvance":[{},{},{"AccountVoiceMailNumber":"*97"}]})");
  EXPECT_EQ(line_of("Account1.AccountUserName", voiplist.object), "Account1.AccountUserName = 1001\n");
  EXPECT_EQ(line_of("Account2.AccountUserName", voiplist.object), "Account2.AccountUserName = 2002\n");
  // Numbers as their text; a password as it stands, blanks and "=" kept.
  EXPECT_EQ(line_of("Account1.AccountEnable", voiplist.object), "Account1.AccountEnable = 1\n");
  EXPECT_EQ(line_of("Account1.SIP1HeartbeatMessage", voiplist.object), "Account1.SIP1HeartbeatMessage = 60\n");
  EXPECT_EQ(line_of("Account2.AccountPassword", voiplist.object), "Account2.AccountPassword = p w=d \n");
  EXPECT_EQ(line_of("Account3.Voice_mail.Number", voiplist.object), "Account3.Voice_mail.Number = *97\n");
}

TEST(PhonecfgExportLines, AMissingMemberPrintsNull) {
  Json voiplist(R"({"AccountRegister":[{"AccountUserName":null}]})");
  EXPECT_EQ(line_of("Account1.AccountUserName", voiplist.object), "Account1.AccountUserName = (null)\n");
  EXPECT_EQ(line_of("Account1.AccountLabel", voiplist.object), "Account1.AccountLabel = (null)\n");
  EXPECT_EQ(line_of("Account4.AccountLabel", voiplist.object), "Account4.AccountLabel = (null)\n");
  EXPECT_EQ(line_of("Account1.Auto_answer", voiplist.object), "Account1.Auto_answer = (null)\n");
  Json empty("{}");
  EXPECT_EQ(line_of("LineKey1.Type", empty.object), "LineKey1.Type = (null)\n");
  EXPECT_EQ(line_of("Forward.mode", empty.object), "Forward.mode = (null)\n");
  EXPECT_EQ(line_of("Network.Wan.dns1", empty.object), "Network.Wan.dns1 = (null)\n");
}

TEST(PhonecfgExportLines, TwoWordsPrintZeroForAMissingMember) {
  Json empty("{}");
  EXPECT_EQ(line_of("Features.CallWaiting", empty.object), "Features.CallWaiting = 0\n");
  EXPECT_EQ(line_of("Static.Network.PcPort.Enable", empty.object), "Static.Network.PcPort.Enable = 0\n");
  // Their neighbours don't.
  EXPECT_EQ(line_of("Features.key_as_send", empty.object), "Features.key_as_send = (null)\n");
  EXPECT_EQ(line_of("Static.Network.Vlan.Pc.Enable", empty.object), "Static.Network.Vlan.Pc.Enable = (null)\n");
  Json stored(R"({"FeatureGnlInfor":{"CallWaitingSwitch":"1"},"NetworkPCPort":{"PCPortActive":"auto"}})");
  EXPECT_EQ(line_of("Features.CallWaiting", stored.object), "Features.CallWaiting = 1\n");
  EXPECT_EQ(line_of("Static.Network.PcPort.Enable", stored.object), "Static.Network.PcPort.Enable = auto\n");
}

TEST(PhonecfgExportLines, TheWanVlanSwitchPrintsTwice) {
  Json internet(R"({"NetworkAdvanced":{"VlanWanSwitch":"1","VlanPcSwitch":"0"}})");
  EXPECT_EQ(line_of("Static.Network.Vlan.Wan.Enable", internet.object),
            "Static.Network.Vlan.Wan.Enable = 1\nStatic.Network.Vlan.Wan.Enable = 1\n");
  EXPECT_EQ(line_of("Static.Network.Vlan.Pc.Enable", internet.object), "Static.Network.Vlan.Pc.Enable = 0\n");
  Json empty("{}");
  EXPECT_EQ(line_of("Static.Network.Vlan.Wan.Enable", empty.object),
            "Static.Network.Vlan.Wan.Enable = (null)\nStatic.Network.Vlan.Wan.Enable = (null)\n");
}

TEST(PhonecfgExportLines, TheLanguageByItsName) {
  auto lcd = [](const char* stored) {
    const std::string text = std::string(R"({"systeminfo":{"lang":")") + stored + "\"}}";
    Json system(text.c_str());
    return line_of("Language.Lcd", system.object);
  };
  EXPECT_EQ(lcd("es-us"), "Language.Lcd = English\n");
  EXPECT_EQ(lcd("zh-cn"), "Language.Lcd = Chinese\n");
  EXPECT_EQ(lcd("French"), "Language.Lcd = French\n");
  EXPECT_EQ(lcd("en-us"), "Language.Lcd = en-us\n");
  EXPECT_EQ(lcd("ES-US"), "Language.Lcd = ES-US\n");
  Json empty("{}");
  EXPECT_EQ(line_of("Language.Lcd", empty.object), "Language.Lcd = (null)\n");
}

TEST(PhonecfgExportLines, KeysByTheirPlaceInTheirArray) {
  Json keys(R"({"Hotkey_lineKey":{"data":[{"Line":"0"},{"Line":"3","Label":"Boss"}]},
              "Hotkey_hotKey":{"data":[{},{},{},{"Type":"201"}]}})");
  // The stored, zero-based line: the import took "1" and stored "0".
  EXPECT_EQ(line_of("LineKey1.Line", keys.object), "LineKey1.Line = 0\n");
  EXPECT_EQ(line_of("LineKey2.Line", keys.object), "LineKey2.Line = 3\n");
  EXPECT_EQ(line_of("LineKey2.Label", keys.object), "LineKey2.Label = Boss\n");
  EXPECT_EQ(line_of("LineKey3.Line", keys.object), "LineKey3.Line = (null)\n");
  EXPECT_EQ(line_of("SoftKey4.Type", keys.object), "SoftKey4.Type = 201\n");
}

TEST(PhonecfgExportLines, VolumesAsTheirNumbers) {
  Json settings(R"({"Volume":{"VolumeHandsetoutput":10,"VolumeSpeaker":12,"VolumeModulationRing":"6"}})");
  EXPECT_EQ(line_of("Voice.Handset.Output", settings.object), "Voice.Handset.Output = 10\n");
  EXPECT_EQ(line_of("Voice.Speaker", settings.object), "Voice.Speaker = 12\n");
  EXPECT_EQ(line_of("Voice.Ringtones", settings.object), "Voice.Ringtones = 6\n");
}

std::string group_of(const char* word, const char* settings) {
  Json object(settings);
  const pc::GroupRow* row = pc::find_group_word(word);
  EXPECT_NE(row, nullptr) << word;
  return row != nullptr ? pc::group_lines(*row, object.object) : "";
}

TEST(PhonecfgExportGroups, ReplaceRules) {
  EXPECT_EQ(group_of("Dialplan.Replace_Rule",
                     R"({"DialplanReplace":{"data":[{"Prefix":"9","Replace":"0","Account":"1"},{"Prefix":"00"}]}})"),
            "Dialplan.Replace_Rule.Prefix1 = 9\n"
            "Dialplan.Replace_Rule.Replace1 = 0\n"
            "Dialplan.Replace_Rule.Account1 = 1\n"
            "Dialplan.Replace_Rule.Prefix2 = 00\n"
            "Dialplan.Replace_Rule.Replace2 = (null)\n"
            "Dialplan.Replace_Rule.Account2 = (null)\n");
}

TEST(PhonecfgExportGroups, AnEmptyStoreSaysSoWithoutAnEqualsSign) {
  EXPECT_EQ(group_of("Dialplan.Replace_Rule", R"({"DialplanReplace":{"data":[]}})"),
            "Dialplan.Replace_Rule has no rule!\n");
  EXPECT_EQ(group_of("Dialplan.Dial_now", R"({"DialplanDialnow":{"data":[]}})"), "Dialplan.Dial_now has no rule!\n");
  // A store that is no array reads as empty.
  EXPECT_EQ(group_of("Dialplan.Dial_now", R"({"DialplanDialnow":{"data":{}}})"), "Dialplan.Dial_now has no rule!\n");
  EXPECT_EQ(group_of("Dialplan.Dial_now", "{}"), "Dialplan.Dial_now has no rule!\n");
  // Elements without the first member: nothing, not the empty note.
  EXPECT_EQ(group_of("Dialplan.Dial_now", R"({"DialplanDialnow":{"data":[{"Account":"1"}]}})"), "");
}

TEST(PhonecfgExportGroups, TheNumberCountsRulesPassedOver) {
  // Element 0 has no Prefix: the rule of element 1 still prints as 2.
  EXPECT_EQ(group_of("Dialplan.Replace_Rule",
                     R"({"DialplanReplace":{"data":[{"Account":"1"},{"Prefix":"8","Replace":"","Account":"2"}]}})"),
            "Dialplan.Replace_Rule.Prefix2 = 8\n"
            "Dialplan.Replace_Rule.Replace2 = \n"
            "Dialplan.Replace_Rule.Account2 = 2\n");
  EXPECT_EQ(
      group_of(
          "Dialplan.Dial_now",
          R"({"DialplanDialnow":{"data":[{"Account":"1","key":"1"},{},{"RealTimeDialingRules":"1xx","Account":"0"}]}})"),
      "Dialplan.Dial_now.Rule3 = 1xx\n"
      "Dialplan.Dial_now.Account3 = 0\n");
}

TEST(PhonecfgExportGroups, OnlyTheFirstFiveRules) {
  std::string data;
  for (int i = 1; i <= 7; ++i)
    data += std::string(i > 1 ? "," : "") + R"({"RealTimeDialingRules":"r)" + std::to_string(i) + R"(","Account":"0"})";
  const std::string out = group_of("Dialplan.Dial_now", (R"({"DialplanDialnow":{"data":[)" + data + "]}}").c_str());
  EXPECT_NE(out.find("Dialplan.Dial_now.Rule5 = r5\nDialplan.Dial_now.Account5 = 0\n"), std::string::npos);
  EXPECT_EQ(out.find("r6"), std::string::npos);
  EXPECT_EQ(out.find("Rule6"), std::string::npos);
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 10);
}

TEST(PhonecfgExportGroups, BlockOutMembersThatExistInPairs) {
  EXPECT_EQ(group_of("Dialplan.Block_out",
                     R"({"DialplanRestrict":{"Account10":"1","BlockOut10":"5","BlockOut1":"900","Account2":"",
                        "BlockOut11":"x","Account0":"y","Block1":"z"}})"),
            "Dialplan.Block_out.BlockOut1 = 900\n"
            "Dialplan.Block_out.Account2 = \n"
            "Dialplan.Block_out.BlockOut10 = 5\n"
            "Dialplan.Block_out.Account10 = 1\n");
  EXPECT_EQ(group_of("Dialplan.Block_out", "{}"), "");
}

TEST(PhonecfgExportGroups, AreaCodeAlwaysFourLines) {
  EXPECT_EQ(group_of("Dialplan.Area_code",
                     R"({"DialplanAreaCode":{"AreaCode":"0755","AreaCodeMinLen":"0","AreaCodeMaxLen":"15"}})"),
            "Dialplan.Area_code.Code = 0755\n"
            "Dialplan.Area_code.Min_len = 0\n"
            "Dialplan.Area_code.Max_len = 15\n"
            "Dialplan.Area_code.Line_id = (null)\n");
}

std::string special_of(const char* word, const char* source) {
  Json object(source);
  const pc::SpecialWord* special = pc::find_special_word(word);
  EXPECT_NE(special, nullptr) << word;
  return special != nullptr ? pc::special_lines(*special, object.object) : "";
}

TEST(PhonecfgExportSpecial, ForwardSectionsCrossTheirLastTwoLines) {
  EXPECT_EQ(special_of("fw=1", R"({"FeatureForwardDND":{
      "AlwaysForwardSwitch":"1","AlwaysForwardTarget":"8001","BusyForwardSwitch":"0","BusyForwardTarget":"8002",
      "NoAnswerForwardSwitch":"1","NoAnswerForwardDelayTime":"5","NoAnswerForwardTarget":"8003"}})"),
            "[Forward_always]\nState=1\nTarget=8001\n"
            "[Forward_busy]\nState=0\nTarget=8002\n"
            // Target carries the delay, Ringtimes the number.
            "[Forward_noanswer]\nState=1\nTarget=5\nRingtimes=8003\n");
}

TEST(PhonecfgExportSpecial, DoNotDisturb) {
  EXPECT_EQ(special_of("&dnd=1", R"({"FeatureForwardDND":{"DndStatus":"1"}})"), "[DND]\nState=1\n");
  EXPECT_EQ(special_of("dnd=1", "{}"), "[DND]\nState=(null)\n");
}

TEST(PhonecfgExportSpecial, EightLinesForEachOfFourAccounts) {
  const std::string out = special_of(
      "accounts=1",
      R"({"AccountRegister":[{"AccountEnable":1,"AccountLabel":"Office 1001","AccountDisplayName":"Front Desk",
          "AccountUserName":"1001","SIP1ServerAddr":"127.0.0.1","SIP1ServerAddrPort":"5060","SIP2ServerAddr":"",
          "SIP2ServerAddrPort":"5060"},{"AccountEnable":0}]})");
  std::string expected =
      "[Accounts]\n"
      "Account1.AccountEnable=1\nAccount1.AccountLabel=Office 1001\nAccount1.AccountDisplayName=Front Desk\n"
      "Account1.AccountUserName=1001\nAccount1.SIP1ServerAddr=127.0.0.1\nAccount1.SIP1ServerAddrPort=5060\n"
      "Account1.SIP2ServerAddr=\nAccount1.SIP2ServerAddrPort=5060\n"
      "Account2.AccountEnable=0\n";
  for (const char* name : {"AccountLabel", "AccountDisplayName", "AccountUserName", "SIP1ServerAddr",
                           "SIP1ServerAddrPort", "SIP2ServerAddr", "SIP2ServerAddrPort"})
    expected += std::string("Account2.") + name + "=(null)\n";
  for (int n = 3; n <= 4; ++n)
    for (const char* name : {"AccountEnable", "AccountLabel", "AccountDisplayName", "AccountUserName", "SIP1ServerAddr",
                             "SIP1ServerAddrPort", "SIP2ServerAddr", "SIP2ServerAddrPort"})
      expected += "Account" + std::to_string(n) + "." + name + "=(null)\n";
  EXPECT_EQ(out, expected);
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 33);
}

}  // namespace
