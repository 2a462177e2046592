// The phone.cfg round trip in the box: what the import stores, the export
// prints, and the import of that export stores again. Over the whole key
// table with valid values the second export is the first one and every
// member holds the same text, but for the ways in which the two sides are
// not each other's inverse; each of those has a test of its own here.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "phonecore/phonecfg.h"
#include "phonecore/phonecfg_export.h"
#include "provision/phonecfg/export_lines.h"
#include "provision/phonecfg/export_table.h"
#include "provision/phonecfg/key_table.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/phonecfg_member.h"

namespace {

using phonecore::testing::FactoryFiles;
using phonecore::testing::slurp;
using phonecore::testing::text_at_pointer;
using phonecore::testing::write_file;
namespace pc = phonecore::phonecfg;

constexpr const char* kAnswer = "/tmp/phonecfg.ini";
// The file reader skips a line of this many bytes or more.
constexpr size_t kLineLimit = 64;

// Every file the import writes or the export reads.
FactoryFiles* every_file() {
  static FactoryFiles files{std::span(phonecore::testing::kImportFiles)};
  return &files;
}

// The text as the file reader hands it over: a line ends at LF, a line of
// 64 bytes or more is skipped. The number of lines skipped.
size_t import_text(const std::string& text) {
  size_t skipped = 0;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.size() >= kLineLimit) {
      ++skipped;
      continue;
    }
    my_dm_handle_value1(line.c_str());
  }
  return skipped;
}

void import_items(const std::vector<std::string>& items) {
  for (const std::string& item : items) my_dm_handle_value1(item.c_str());
}

// The answer to a request of the words, as the Action URI builds it.
std::string export_words(const std::vector<std::string>& words) {
  set_cfg_header1(kAnswer);
  for (const std::string& w : words) {
    char word[PHONECFG_EXPORT_WORD_SIZE] = {};
    std::strncpy(word, w.c_str(), sizeof word - 1);
    strimp_shift_7(word);
    get_special_cfg(word);
    get_appoint_cfg(word);
  }
  merge_phonecfg();
  return slurp(kAnswer);
}

std::string export_all() { return export_words(pc::all_export_words()); }

// The answer's line of a word ("WORD = VALUE"), empty when it has none.
std::string line_of(const std::string& answer, const std::string& word) {
  const std::string head = word + " = ";
  std::istringstream in(answer);
  for (std::string line; std::getline(in, line);)
    if (line.starts_with(head)) return line;
  return "";
}

using phonecore::testing::pointer_of;

std::string member_text(const pc::Member& m, int index) {
  return text_at_pointer(pc::target_path(m.target), pointer_of(m, index).c_str());
}

// The line key's Line is taken one-based and printed as stored.
bool line_key_line(std::string_view key) { return key.starts_with("LineKey") && key.ends_with(".Line"); }

// Of the power LED keys only the first two are exported.
bool one_way(std::string_view key) {
  return key.starts_with("PowerLED.") && key != "PowerLED.Common_Power_Light_on" &&
         key != "PowerLED.Ringing_Power_Light_Flash";
}

// The members' texts of every row, in the table's order; a number and its
// decimal text read alike.
std::vector<std::string> member_texts() {
  std::vector<std::string> out;
  for (const pc::KeyRow& row : pc::kKeyTable) {
    if (line_key_line(row.key) || one_way(row.key)) continue;
    out.push_back(std::string(row.key) + " " + member_text(row.store, row.index));
    if (row.also.target != pc::Target::kNone)
      out.push_back(std::string(row.key) + " + " + member_text(row.also, row.index));
  }
  return out;
}

std::string without_line_key_lines(const std::string& answer) {
  std::string out;
  std::istringstream in(answer);
  for (std::string line; std::getline(in, line);) {
    const size_t eq = line.find(" = ");
    if (eq != std::string::npos && line_key_line(std::string_view(line).substr(0, eq))) continue;
    out += line + "\n";
  }
  return out;
}

// Valid values of a row, drawn with a fixed seed; the item's line and the
// export's line both stay below 64 bytes.
class Values {
 public:
  explicit Values(unsigned seed) : random_(seed) {}

  std::string value(const pc::KeyRow& row) {
    switch (row.check) {
      case pc::Check::kZeroOrOne:
        return pick("0|1");
      case pc::Check::kIpv4:
        return std::to_string(number(1, 223)) + "." + std::to_string(number(0, 255)) + "." +
               std::to_string(number(0, 255)) + "." + std::to_string(number(1, 254));
      case pc::Check::kOneOf:
        return pick(row.choices);
      case pc::Check::kDigitsRange:
      case pc::Check::kDigitsClamp:
      case pc::Check::kAtoiRange:
        return std::to_string(number(row.low, row.high));
      case pc::Check::kDigits:
        return std::to_string(number(0, 9));
      case pc::Check::kAny:
        break;
    }
    if (row.action == pc::Action::kLanguage) return pick("English|Chinese");
    // " = " and room to spare below the reader's limit.
    const int room = static_cast<int>(kLineLimit) - 1 - static_cast<int>(row.key.size()) - 3;
    return text(number(1, std::min(20, room)));
  }

 private:
  int number(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

  std::string pick(std::string_view choices) {
    std::vector<std::string_view> all;
    for (size_t start = 0;;) {
      const size_t bar = choices.find('|', start);
      all.push_back(choices.substr(start, bar - start));
      if (bar == std::string_view::npos) break;
      start = bar + 1;
    }
    return std::string(all[static_cast<size_t>(number(0, static_cast<int>(all.size()) - 1))]);
  }

  // Letters, digits and the marks of addresses and numbers; none that the
  // reader treats apart (blanks, tabs, '&', '#', '=').
  std::string text(int length) {
    static constexpr std::string_view kCharacters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_@:*+";
    std::string out;
    for (int i = 0; i < length; ++i)
      out += kCharacters[static_cast<size_t>(number(0, static_cast<int>(kCharacters.size()) - 1))];
    // "(null)" is what a missing member prints: never drawn.
    return out;
  }

  std::mt19937 random_;
};

class PhonecfgRoundTrip : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(every_file()->restore());
    start_network_flag = 0;
    reload_something_flag = 0;
  }
  void TearDown() override {
    every_file()->restore();
    std::remove(kAnswer);
  }
};

// Fifty rounds; a sanitized build, some four times slower, looks for memory
// errors on the same paths in ten.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 10;
#else
constexpr int kRounds = 50;
#endif

TEST_F(PhonecfgRoundTrip, EveryKeyWithValidValuesComesBackTheSame) {
  Values values(20261123);
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    ASSERT_TRUE(every_file()->restore());
    std::vector<std::string> items;
    std::vector<std::string> printed;  // the lines the export must show for them
    for (const pc::KeyRow& row : pc::kKeyTable) {
      const std::string value = values.value(row);
      items.push_back(std::string(row.key) + "=" + value);
      const bool plain = pc::find_export_word(row.key, nullptr) != nullptr && !line_key_line(row.key) &&
                         row.action != pc::Action::kLanguage && row.check != pc::Check::kDigitsClamp;
      if (plain) printed.push_back(std::string(row.key) + " = " + value);
    }
    import_items(items);
    const std::string first = export_all();
    for (const std::string& line : printed) EXPECT_EQ(line_of(first, line.substr(0, line.find(" = "))), line);
    const std::vector<std::string> first_members = member_texts();

    ASSERT_TRUE(every_file()->restore());
    EXPECT_EQ(import_text(first), 0u) << "an exported line was too long for the reader";
    const std::string second = export_all();

    EXPECT_EQ(without_line_key_lines(second), without_line_key_lines(first));
    EXPECT_EQ(member_texts(), first_members);
    if (HasFailure()) break;
  }
}

// A line key's Line is one-based on the way in and printed as stored,
// zero-based: each round trip moves it one account down, and account 1
// comes back as "0", which the import refuses.
TEST_F(PhonecfgRoundTrip, ALineKeysLineShiftsOneDownEachTrip) {
  const char* pointer = "/Hotkey_lineKey/data/0/Line";
  import_items({"LineKey1.Line=3"});
  const std::string first = export_words({"LineKey1.Line"});
  EXPECT_EQ(line_of(first, "LineKey1.Line"), "LineKey1.Line = 2");
  import_text(first);
  EXPECT_EQ(text_at_pointer("default/programing_key.cfg", pointer), "1");
  const std::string second = export_words({"LineKey1.Line"});
  EXPECT_EQ(line_of(second, "LineKey1.Line"), "LineKey1.Line = 1");
  import_text(second);
  EXPECT_EQ(text_at_pointer("default/programing_key.cfg", pointer), "0");
  import_text(export_words({"LineKey1.Line"}));
  EXPECT_EQ(text_at_pointer("default/programing_key.cfg", pointer), "0") << "\"0\" is refused";
}

// Blanks and tabs before the value and tabs inside it never reach the
// store; a value that fits the item's line but makes the export's line 64
// bytes long is skipped by the reader on the way back.
TEST_F(PhonecfgRoundTrip, LeadingBlanksTabsAndLongLinesAreLost) {
  const char* pointer = "/AccountRegister/0/AccountLabel";
  import_items({"Account1.AccountLabel= \t  front\tdesk"});
  EXPECT_EQ(line_of(export_words({"Account1.AccountLabel"}), "Account1.AccountLabel"),
            "Account1.AccountLabel = frontdesk");

  const std::string key = "Account1.AccountLabel";
  const std::string value(kLineLimit - key.size() - 3, 'x');  // 40 characters
  ASSERT_LT(key.size() + 1 + value.size(), kLineLimit);
  import_items({key + "=" + value});
  ASSERT_EQ(text_at_pointer("default/voiplist.cfg", pointer), value);
  const std::string answer = export_words({key});
  ASSERT_EQ(line_of(answer, key).size(), kLineLimit);
  ASSERT_TRUE(every_file()->restore());
  EXPECT_EQ(import_text(answer), 1u);
  EXPECT_NE(text_at_pointer("default/voiplist.cfg", pointer), value);
}

// A member missing from its file prints "(null)", and the import takes
// that as the text to store.
TEST_F(PhonecfgRoundTrip, AMissingMemberComesBackAsTheTextNull) {
  json_object* root = json_tokener_parse(slurp("/appconfigs/default/function.cfg").c_str());
  ASSERT_NE(root, nullptr);
  json_object* section = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(root, "FeatureGnlInfor", &section));
  json_object_object_del(section, "HotlineNumber");
  ASSERT_TRUE(write_file("/appconfigs/default/function.cfg", json_object_to_json_string(root)));
  json_object_put(root);

  const std::string answer = export_words({"Features.HotlineNumber"});
  EXPECT_EQ(line_of(answer, "Features.HotlineNumber"), "Features.HotlineNumber = (null)");
  import_text(answer);
  EXPECT_EQ(text_at_pointer("default/function.cfg", "/FeatureGnlInfor/HotlineNumber"), "(null)");
}

// Five power LED keys are taken but never exported; LDAP.Number_attr is
// exported but no import key takes it.
TEST_F(PhonecfgRoundTrip, FivePowerLedKeysAndTheLdapNumberAttributeGoOneWay) {
  std::vector<std::string> items;
  int one_way_keys = 0;
  for (const pc::KeyRow& row : pc::kKeyTable)
    if (row.key.starts_with("PowerLED.")) {
      items.push_back(std::string(row.key) + "=0");
      one_way_keys += one_way(row.key) ? 1 : 0;
    }
  ASSERT_EQ(items.size(), 7u);
  ASSERT_EQ(one_way_keys, 5);
  import_items(items);
  const std::string answer = export_all();
  for (const pc::KeyRow& row : pc::kKeyTable) {
    if (!row.key.starts_with("PowerLED.")) continue;
    EXPECT_EQ(line_of(answer, std::string(row.key)).empty(), one_way(row.key)) << row.key;
  }

  ASSERT_TRUE(every_file()->restore());
  import_text(answer);
  // The factory's "0" of the mute light is the only one the trip keeps.
  EXPECT_EQ(text_at_pointer("default/function.cfg", "/FeaturePowerLed/CommonPowerLightOn"), "0");
  EXPECT_EQ(text_at_pointer("default/function.cfg", "/FeaturePowerLed/RingPowerLightFlash"), "0");
  EXPECT_EQ(text_at_pointer("default/function.cfg", "/FeaturePowerLed/MailPowerLightFlash"), "1");
  EXPECT_EQ(text_at_pointer("default/function.cfg", "/FeaturePowerLed/HoldPowerLightFlash"), "1");

  EXPECT_EQ(line_of(answer, "LDAP.Number_attr"), "LDAP.Number_attr = telephoneNumber");
  EXPECT_EQ(pc::find_key(pc::Group::kLdap, "LDAP.Number_attr"), nullptr);
  import_items({"LDAP.Number_attr=mobile"});
  EXPECT_EQ(text_at_pointer("default/addresslist.cfg", "/MaillistLDAP/LdapNumberAttr"), "telephoneNumber");
}

// The levels are exported from "default/settinglist.cfg"; what "hal.cfg"
// held is overwritten by them on the way back.
TEST_F(PhonecfgRoundTrip, HalLevelsComeBackFromTheSettings) {
  import_items({"Voice.Speaker=7"});
  ASSERT_EQ(text_at_pointer("hal.cfg", "/audio/speaker-level-call"), "7");
  json_object* hal = json_tokener_parse(slurp("/appconfigs/hal.cfg").c_str());
  ASSERT_NE(hal, nullptr);
  json_object* audio = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(hal, "audio", &audio));
  json_object_object_add(audio, "speaker-level-call", json_object_new_int(3));
  ASSERT_TRUE(write_file("/appconfigs/hal.cfg", json_object_to_json_string(hal)));
  json_object_put(hal);

  const std::string answer = export_all();
  EXPECT_EQ(line_of(answer, "Voice.Speaker"), "Voice.Speaker = 7");
  import_text(answer);
  EXPECT_EQ(text_at_pointer("hal.cfg", "/audio/speaker-level-call"), "7");
}

// A member the factory keeps as a number comes back as a string: only
// the volumes are stored as integers.
TEST_F(PhonecfgRoundTrip, IntegersComeBackAsStrings) {
  auto type_of = [](const char* file, const char* pointer) {
    json_object* root = json_tokener_parse(slurp(std::string("/appconfigs/") + file).c_str());
    json_object* o = nullptr;
    json_type type = json_type_null;
    if (root != nullptr && json_pointer_get(root, pointer, &o) == 0) type = json_object_get_type(o);
    json_object_put(root);
    return type;
  };
  const char* enable = "/AccountRegister/0/AccountEnable";
  ASSERT_EQ(type_of("default/voiplist.cfg", enable), json_type_int);
  const std::string answer = export_all();
  EXPECT_EQ(line_of(answer, "Account1.AccountEnable"), "Account1.AccountEnable = 1");
  import_text(answer);
  EXPECT_EQ(type_of("default/voiplist.cfg", enable), json_type_string);
  EXPECT_EQ(text_at_pointer("default/voiplist.cfg", enable), "1");
  EXPECT_EQ(type_of("default/settinglist.cfg", "/Volume/VolumeSpeaker"), json_type_int);
}

// The export numbers a rule by its place, rules without the member passed
// over; the import creates a rule only right behind the last one. A gap
// drops every later rule on the way back, and no import shortens an array.
TEST_F(PhonecfgRoundTrip, ADialPlanGapDropsTheLaterRulesAndArraysNeverShrink) {
  import_items({"Dialplan.Dial_now.Rule1=1xx", "Dialplan.Dial_now.Account1=1", "Dialplan.Dial_now.Rule2=2xx",
                "Dialplan.Dial_now.Rule3=3xx"});
  // A rule without its member in the middle.
  json_object* root = json_tokener_parse(slurp("/appconfigs/default/settinglist.cfg").c_str());
  ASSERT_NE(root, nullptr);
  json_object* second = nullptr;
  ASSERT_EQ(json_pointer_get(root, "/DialplanDialnow/data/1", &second), 0);
  json_object_object_del(second, "RealTimeDialingRules");
  ASSERT_TRUE(write_file("/appconfigs/default/settinglist.cfg", json_object_to_json_string(root)));
  json_object_put(root);

  const std::string answer = export_words({"Dialplan.Dial_now"});
  EXPECT_EQ(line_of(answer, "Dialplan.Dial_now.Rule1"), "Dialplan.Dial_now.Rule1 = 1xx");
  EXPECT_EQ(line_of(answer, "Dialplan.Dial_now.Rule2"), "");
  EXPECT_EQ(line_of(answer, "Dialplan.Dial_now.Rule3"), "Dialplan.Dial_now.Rule3 = 3xx");

  ASSERT_TRUE(every_file()->restore());
  import_text(answer);
  const char* settings = "default/settinglist.cfg";
  EXPECT_EQ(text_at_pointer(settings, "/DialplanDialnow/data/0/RealTimeDialingRules"), "1xx");
  EXPECT_EQ(text_at_pointer(settings, "/DialplanDialnow/data/1"), "<absent>") << "rule 3 came after a gap";
  // The rule's key is its number as the import saw it.
  EXPECT_EQ(text_at_pointer(settings, "/DialplanDialnow/data/0/key"), "1");

  // Three rules stay three when an export of one comes back.
  import_items(
      {"Dialplan.Replace_Rule.Prefix1=1", "Dialplan.Replace_Rule.Prefix2=2", "Dialplan.Replace_Rule.Prefix3=3"});
  const std::string one = "[Config]\nDialplan.Replace_Rule.Prefix1 = 9\n";
  import_text(one);
  EXPECT_EQ(text_at_pointer(settings, "/DialplanReplace/data/0/Prefix"), "9");
  EXPECT_EQ(text_at_pointer(settings, "/DialplanReplace/data/2/Prefix"), "3");
}

// "English" is stored as its code and printed by its name again; any
// other language text goes and comes as it stands.
TEST_F(PhonecfgRoundTrip, EnglishIsStoredAsItsCode) {
  import_items({"Language.Lcd=English"});
  EXPECT_EQ(text_at_pointer("system.cfg", "/systeminfo/lang"), "es-us");
  const std::string answer = export_words({"Language.Lcd"});
  EXPECT_EQ(line_of(answer, "Language.Lcd"), "Language.Lcd = English");
  ASSERT_TRUE(every_file()->restore());
  import_text(answer);
  EXPECT_EQ(text_at_pointer("system.cfg", "/systeminfo/lang"), "es-us");
}

// A value the store holds but the import refuses is exported all the
// same, and lost on the way back.
TEST_F(PhonecfgRoundTrip, ARefusedValueIsExportedButNotTakenBack) {
  json_object* root = json_tokener_parse(slurp("/appconfigs/network.cfg").c_str());
  ASSERT_NE(root, nullptr);
  json_object* wan = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(root, "wan", &wan));
  json_object_object_add(wan, "dns2", json_object_new_string("0.0.0.0"));
  ASSERT_TRUE(write_file("/appconfigs/network.cfg", json_object_to_json_string(root)));
  json_object_put(root);
  const std::string answer = export_words({"Network.Wan.dns2"});
  EXPECT_EQ(line_of(answer, "Network.Wan.dns2"), "Network.Wan.dns2 = 0.0.0.0");

  ASSERT_TRUE(every_file()->restore());
  import_items({"Network.Wan.dns2=10.0.0.2"});
  import_text(answer);
  EXPECT_EQ(text_at_pointer("network.cfg", "/wan/dns2"), "10.0.0.2");
}

// The identities in the voip configuration are made from the account
// members by the reload's step only; an import of accounts leaves them.
TEST_F(PhonecfgRoundTrip, IdentitiesFollowTheAccountsOnlyAfterTheReloadsStep) {
  const std::string before = text_at_pointer("voip.cfg", "/account/0/registrar");
  import_text(
      "Account1.AccountUserName = 2001\nAccount1.SIP1ServerAddr = pbx.example\nAccount1.SIP1ServerAddrPort = 5070\n");
  EXPECT_EQ(text_at_pointer("voip.cfg", "/account/0/registrar"), before);
  set_id_to_voip_cfg();
  EXPECT_EQ(text_at_pointer("voip.cfg", "/account/0/registrar"), "sip:pbx.example:5070");
  EXPECT_EQ(text_at_pointer("voip.cfg", "/account/0/id"), "sip:2001@pbx.example:5070");
}

}  // namespace
