// The words of a phone.cfg export: one row per key word (where its value
// is stored and how it prints), the dial-plan group words and the special
// words with their sections. Walked by the export and by phonectl.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace phonecore::phonecfg {

// The files a key word may be read from, in the order in which the export
// reads them for every word: an account word stops after the first, a
// line or soft key word after the third, every other word reads all nine.
enum class Source : uint8_t {
  kVoiplist,
  kSystem,
  kProgramingKey,
  kAddresslist,
  kSettinglist,
  kFunction,
  kNetwork,
  kInternet,
  kTr069,
};

struct SourceFile {
  Source source;
  const char* path;  // relative to /appconfigs
};

inline constexpr std::array kExportSources{
    SourceFile{Source::kVoiplist, "default/voiplist.cfg"},
    SourceFile{Source::kSystem, "system.cfg"},
    SourceFile{Source::kProgramingKey, "default/programing_key.cfg"},
    SourceFile{Source::kAddresslist, "default/addresslist.cfg"},
    SourceFile{Source::kSettinglist, "default/settinglist.cfg"},
    SourceFile{Source::kFunction, "default/function.cfg"},
    SourceFile{Source::kNetwork, "network.cfg"},
    SourceFile{Source::kInternet, "default/internet.cfg"},
    SourceFile{Source::kTr069, "tr069.cfg"},
};

constexpr bool sources_in_order() {
  for (size_t i = 0; i < kExportSources.size(); ++i)
    if (static_cast<size_t>(kExportSources[i].source) != i) return false;
  return true;
}
static_assert(kExportSources.size() == 9);
static_assert(sources_in_order());

constexpr const char* source_path(Source source) { return kExportSources[static_cast<size_t>(source)].path; }

// Where a key word's value stands in its source.
enum class ExportPlace : uint8_t {
  kMember,   // section.member
  kAccount,  // section[N-1].member: one element per account
  kKey,      // section.data[N-1].member: one element per key
};

// How the line prints: "WORD = VALUE"; twice; with "0" instead of
// "(null)" for a missing member; or with the language's name for its code.
enum class Print : uint8_t { kPlain, kTwice, kZeroWhenMissing, kLanguage };

struct ExportRow {
  // The word, compared exactly; "<N>" stands for one digit from 1 to 4.
  std::string_view word;
  Source source;
  ExportPlace place;
  const char* section;
  // null: the word's part behind its first dot (acc_after_name).
  const char* member;
  Print print;
};

// Indexed words run from 1 to 4: the accounts and the keys of each kind.
inline constexpr int kIndexedCount = 4;

// An account word and a line or soft key word end the search after their
// source: nothing further down could know them.
constexpr bool ends_search(const ExportRow& row) { return row.place != ExportPlace::kMember; }

namespace export_rows {

constexpr ExportRow account(std::string_view word, const char* section = "AccountRegister",
                            const char* member = nullptr) {
  return ExportRow{word, Source::kVoiplist, ExportPlace::kAccount, section, member, Print::kPlain};
}
constexpr ExportRow key(std::string_view word, const char* section) {
  return ExportRow{word, Source::kProgramingKey, ExportPlace::kKey, section, nullptr, Print::kPlain};
}
constexpr ExportRow member(std::string_view word, Source source, const char* section, const char* member,
                           Print print = Print::kPlain) {
  return ExportRow{word, source, ExportPlace::kMember, section, member, print};
}

}  // namespace export_rows

inline constexpr std::array kExportTable{
    // default/voiplist.cfg: the sixteen members named as the suffix...
    export_rows::account("Account<N>.AccountUserName"),
    export_rows::account("Account<N>.AccountPassword"),
    export_rows::account("Account<N>.AccountDisplayName"),
    export_rows::account("Account<N>.AccountRegisterName"),
    export_rows::account("Account<N>.AccountLabel"),
    export_rows::account("Account<N>.AccountEnable"),
    export_rows::account("Account<N>.SIP1ServerAddr"),
    export_rows::account("Account<N>.SIP1ServerAddrPort"),
    export_rows::account("Account<N>.SIP1HeartbeatMessage"),
    export_rows::account("Account<N>.SIP1RetryCount"),
    export_rows::account("Account<N>.SIP1Transport"),
    export_rows::account("Account<N>.SIP2ServerAddr"),
    export_rows::account("Account<N>.SIP2ServerAddrPort"),
    export_rows::account("Account<N>.SIP2HeartbeatMessage"),
    export_rows::account("Account<N>.SIP2RetryCount"),
    export_rows::account("Account<N>.SIP2Transport"),
    // ...and six of the SIP pages, under names of their own
    // (AccountSubsribeMWI as every reader of the file spells it).
    export_rows::account("Account<N>.Anonymous_call", "SipBase", "AccountAnonymousCallSwitch"),
    export_rows::account("Account<N>.Reject_anonymous_call", "SipBase", "AccountRejectAnonymousCallSwitch"),
    export_rows::account("Account<N>.Auto_answer", "SipBase", "AccountAutoAnswerSwitch"),
    export_rows::account("Account<N>.Subscribe_mwi", "SipAdvance", "AccountSubsribeMWI"),
    export_rows::account("Account<N>.Voice_mail.Number", "SipAdvance", "AccountVoiceMailNumber"),
    export_rows::account("Account<N>.Subscribe_mwi_expires", "SipAdvance", "AccountSubscribeMWIExpire"),
    // system.cfg
    export_rows::member("Language.Lcd", Source::kSystem, "systeminfo", "lang", Print::kLanguage),
    export_rows::member("Phone.LcdBackLight_level", Source::kSystem, "hardware", "bk_light_l_active"),
    // default/programing_key.cfg: the stored value, so a line key's Line
    // prints zero-based what the import took one-based.
    export_rows::key("LineKey<N>.Type", "Hotkey_lineKey"),
    export_rows::key("LineKey<N>.Line", "Hotkey_lineKey"),
    export_rows::key("LineKey<N>.Value", "Hotkey_lineKey"),
    export_rows::key("LineKey<N>.Label", "Hotkey_lineKey"),
    export_rows::key("LineKey<N>.Extension", "Hotkey_lineKey"),
    export_rows::key("SoftKey<N>.Type", "Hotkey_hotKey"),
    export_rows::key("SoftKey<N>.Line", "Hotkey_hotKey"),
    export_rows::key("SoftKey<N>.Value", "Hotkey_hotKey"),
    export_rows::key("SoftKey<N>.Label", "Hotkey_hotKey"),
    export_rows::key("SoftKey<N>.Extension", "Hotkey_hotKey"),
    // default/addresslist.cfg; LDAP.Number_attr has no import key.
    export_rows::member("LDAP.Enable", Source::kAddresslist, "MaillistLDAP", "LdapSwitch"),
    export_rows::member("LDAP.Label", Source::kAddresslist, "MaillistLDAP", "LdapName"),
    export_rows::member("LDAP.Name_filter", Source::kAddresslist, "MaillistLDAP", "LdapNameFilter"),
    export_rows::member("LDAP.Number_filter", Source::kAddresslist, "MaillistLDAP", "LdapNumberFilter"),
    export_rows::member("LDAP.Tls_mode", Source::kAddresslist, "MaillistLDAP", "LDAPTLSMode"),
    export_rows::member("LDAP.Server", Source::kAddresslist, "MaillistLDAP", "LdapServer"),
    export_rows::member("LDAP.Port", Source::kAddresslist, "MaillistLDAP", "LdapPort"),
    export_rows::member("LDAP.Base", Source::kAddresslist, "MaillistLDAP", "LDAPbase"),
    export_rows::member("LDAP.User", Source::kAddresslist, "MaillistLDAP", "LdapUserName"),
    export_rows::member("LDAP.Password", Source::kAddresslist, "MaillistLDAP", "LdapUserPassword"),
    export_rows::member("LDAP.max_hits", Source::kAddresslist, "MaillistLDAP", "LdapMaxHits"),
    export_rows::member("LDAP.Name_attr", Source::kAddresslist, "MaillistLDAP", "LdapNameAttr"),
    export_rows::member("LDAP.Number_attr", Source::kAddresslist, "MaillistLDAP", "LdapNumberAttr"),
    export_rows::member("LDAP.Display_name", Source::kAddresslist, "MaillistLDAP", "LdapResultDisplayName"),
    export_rows::member("LDAP.Version", Source::kAddresslist, "MaillistLDAP", "LdapProtocolVersion"),
    export_rows::member("LDAP.Call_in_lookup", Source::kAddresslist, "MaillistLDAP", "LdapCallInSearchSwitch"),
    export_rows::member("LDAP.call_out_lookup", Source::kAddresslist, "MaillistLDAP", "LDAPCallOutLookup"),
    export_rows::member("LDAP.Sort_enable", Source::kAddresslist, "MaillistLDAP", "LdapSortSwitch"),
    // default/settinglist.cfg: the levels as stored there, never hal.cfg's.
    export_rows::member("Voice.ECHO", Source::kSettinglist, "SettingAudio", "VPMECHO"),
    export_rows::member("Voice.VAD", Source::kSettinglist, "SettingAudio", "VPMVAD"),
    export_rows::member("Voice.CNG", Source::kSettinglist, "SettingAudio", "VPMCNG"),
    export_rows::member("Voice.Handset.Output", Source::kSettinglist, "Volume", "VolumeHandsetoutput"),
    export_rows::member("Voice.Speaker", Source::kSettinglist, "Volume", "VolumeSpeaker"),
    export_rows::member("Voice.Ringtones", Source::kSettinglist, "Volume", "VolumeModulationRing"),
    // default/function.cfg; of the power LED only the first two keys.
    export_rows::member("Forward.mode", Source::kFunction, "FeatureForwardDND", "ForwardMode"),
    export_rows::member("Forward.account", Source::kFunction, "FeatureForwardDND", "ForwardAccount"),
    export_rows::member("Forward.always.enable", Source::kFunction, "FeatureForwardDND", "AlwaysForwardSwitch"),
    export_rows::member("Forward.always.target", Source::kFunction, "FeatureForwardDND", "AlwaysForwardTarget"),
    export_rows::member("Forward.busy.enable", Source::kFunction, "FeatureForwardDND", "BusyForwardSwitch"),
    export_rows::member("Forward.busy.target", Source::kFunction, "FeatureForwardDND", "BusyForwardTarget"),
    export_rows::member("Forward.no_answer.enable", Source::kFunction, "FeatureForwardDND", "NoAnswerForwardSwitch"),
    export_rows::member("Forward.no_answer.after_ring_time", Source::kFunction, "FeatureForwardDND",
                        "NoAnswerForwardDelayTime"),
    export_rows::member("Forward.no_answer.target", Source::kFunction, "FeatureForwardDND", "NoAnswerForwardTarget"),
    export_rows::member("Features.dnd.mode", Source::kFunction, "FeatureForwardDND", "DndMode"),
    export_rows::member("Features.dnd.account", Source::kFunction, "FeatureForwardDND", "DNDAccount"),
    export_rows::member("Features.dnd.status", Source::kFunction, "FeatureForwardDND", "DndStatus"),
    export_rows::member("Features.CallWaiting", Source::kFunction, "FeatureGnlInfor", "CallWaitingSwitch",
                        Print::kZeroWhenMissing),
    export_rows::member("Features.key_as_send", Source::kFunction, "FeatureGnlInfor", "AutoRedialSwitch"),
    export_rows::member("Features.HotlineNumber", Source::kFunction, "FeatureGnlInfor", "HotlineNumber"),
    export_rows::member("Features.HotlineDelay", Source::kFunction, "FeatureGnlInfor", "HotlineDelay"),
    export_rows::member("Features.Intercom.Allow", Source::kFunction, "FeatureIntercom", "IntercomAllowance"),
    export_rows::member("Features.Intercom.Mute", Source::kFunction, "FeatureIntercom", "IntercomMuteSwitch"),
    export_rows::member("PowerLED.Common_Power_Light_on", Source::kFunction, "FeaturePowerLed", "CommonPowerLightOn"),
    export_rows::member("PowerLED.Ringing_Power_Light_Flash", Source::kFunction, "FeaturePowerLed",
                        "RingPowerLightFlash"),
    // network.cfg
    export_rows::member("Network.Wan.mode", Source::kNetwork, "wan", "mode"),
    export_rows::member("Network.Wan.ipaddr", Source::kNetwork, "wan", "ipaddr"),
    export_rows::member("Network.Wan.netmask", Source::kNetwork, "wan", "netmask"),
    export_rows::member("Network.Wan.gateway", Source::kNetwork, "wan", "gateway"),
    export_rows::member("Network.Wan.dns1", Source::kNetwork, "wan", "dns1"),
    export_rows::member("Network.Wan.dns2", Source::kNetwork, "wan", "dns2"),
    // default/internet.cfg. The WAN VLAN switch prints its line twice, on
    // purpose: the readers of the answer take the pair as one setting.
    export_rows::member("Static.Network.Vlan.Wan.Enable", Source::kInternet, "NetworkAdvanced", "VlanWanSwitch",
                        Print::kTwice),
    export_rows::member("Static.Network.Vlan.Wan.Vid", Source::kInternet, "NetworkAdvanced", "VlanWanVid"),
    export_rows::member("Static.Network.Vlan.Wan.Priority", Source::kInternet, "NetworkAdvanced", "VlanWanPriority"),
    export_rows::member("Static.Network.Vlan.Pc.Enable", Source::kInternet, "NetworkAdvanced", "VlanPcSwitch"),
    export_rows::member("Static.Network.Vlan.Pc.Vid", Source::kInternet, "NetworkAdvanced", "VlanPcVid"),
    export_rows::member("Static.Network.Vlan.Pc.Priority", Source::kInternet, "NetworkAdvanced", "VlanPcPriority"),
    export_rows::member("Static.Network.Vpn.Enable", Source::kInternet, "NetworkAdvanced", "VpnSwitch"),
    export_rows::member("Static.NatStun.Enable", Source::kInternet, "NetworkNAT", "NatSTUNSwitch"),
    export_rows::member("Static.NatStun.Server", Source::kInternet, "NetworkNAT", "NatSTUNServer"),
    export_rows::member("Static.NatStun.Port", Source::kInternet, "NetworkNAT", "NatSTUNPort"),
    export_rows::member("Static.Network.PcPort.Enable", Source::kInternet, "NetworkPCPort", "PCPortActive",
                        Print::kZeroWhenMissing),
    // tr069.cfg
    export_rows::member("Static.TR069.Enable", Source::kTr069, "local", "enable"),
};

constexpr bool indexed(std::string_view word) { return word.find("<N>") != std::string_view::npos; }

// Words the rows stand for, an indexed row counting once per index.
constexpr size_t export_word_count() {
  size_t n = 0;
  for (const ExportRow& row : kExportTable) n += indexed(row.word) ? kIndexedCount : 1;
  return n;
}

constexpr size_t export_word_count(Source source) {
  size_t n = 0;
  for (const ExportRow& row : kExportTable)
    if (row.source == source) n += indexed(row.word) ? kIndexedCount : 1;
  return n;
}

static_assert(export_word_count() == 192);
static_assert(export_word_count(Source::kVoiplist) == 88);
static_assert(export_word_count(Source::kProgramingKey) == 40);
static_assert(export_word_count(Source::kSystem) == 2);
static_assert(export_word_count(Source::kAddresslist) == 18);
static_assert(export_word_count(Source::kSettinglist) == 6);
static_assert(export_word_count(Source::kFunction) == 20);
static_assert(export_word_count(Source::kNetwork) + export_word_count(Source::kInternet) +
                  export_word_count(Source::kTr069) ==
              18);

// The dial-plan groups of "default/settinglist.cfg", which no import key
// names as a whole.
enum class GroupKind : uint8_t {
  kRules,     // section.data: the first five elements that hold the first
              // line's member, each line "WORD.NAME<i> = VALUE"; i counts the
              // element's place, skipped elements included
  kNumbered,  // flat: for i from 1 to 10 each member NAME<i> that exists,
              // "WORD.NAME<i> = VALUE"
  kFixed,     // flat: each line "WORD.NAME = VALUE", "(null)" when missing
};

struct GroupLine {
  const char* name;
  const char* member;
};

struct GroupRow {
  std::string_view word;
  const char* section;
  GroupKind kind;
  int limit;  // rules looked at, or the last number
  std::array<GroupLine, 4> lines;
  size_t line_count;
};

inline constexpr std::array kGroupTable{
    GroupRow{"Dialplan.Replace_Rule",
             "DialplanReplace",
             GroupKind::kRules,
             5,
             {{{"Prefix", "Prefix"}, {"Replace", "Replace"}, {"Account", "Account"}}},
             3},
    GroupRow{"Dialplan.Dial_now",
             "DialplanDialnow",
             GroupKind::kRules,
             5,
             {{{"Rule", "RealTimeDialingRules"}, {"Account", "Account"}}},
             2},
    GroupRow{"Dialplan.Block_out",
             "DialplanRestrict",
             GroupKind::kNumbered,
             10,
             {{{"BlockOut", "BlockOut"}, {"Account", "Account"}}},
             2},
    GroupRow{"Dialplan.Area_code",
             "DialplanAreaCode",
             GroupKind::kFixed,
             0,
             {{{"Code", "AreaCode"},
               {"Min_len", "AreaCodeMinLen"},
               {"Max_len", "AreaCodeMaxLen"},
               {"Line_id", "AreaCodeAccount"}}},
             4},
};
static_assert(kGroupTable.size() == 4);

// The special words: whole sections straight into the answer, "NAME=VALUE"
// without blanks.
struct SpecialLine {
  const char* head;  // a section head printed before the line, or null
  const char* name;
  const char* member;
};

inline constexpr std::array kAccountsLines{
    SpecialLine{nullptr, "AccountEnable", "AccountEnable"},
    SpecialLine{nullptr, "AccountLabel", "AccountLabel"},
    SpecialLine{nullptr, "AccountDisplayName", "AccountDisplayName"},
    SpecialLine{nullptr, "AccountUserName", "AccountUserName"},
    SpecialLine{nullptr, "SIP1ServerAddr", "SIP1ServerAddr"},
    SpecialLine{nullptr, "SIP1ServerAddrPort", "SIP1ServerAddrPort"},
    SpecialLine{nullptr, "SIP2ServerAddr", "SIP2ServerAddr"},
    SpecialLine{nullptr, "SIP2ServerAddrPort", "SIP2ServerAddrPort"},
};

inline constexpr std::array kDndLines{
    SpecialLine{"[DND]", "State", "DndStatus"},
};

// The no-answer section crosses its last two lines: Target carries the
// delay and Ringtimes the number. The management tools read the section
// so, and it must stay so.
inline constexpr std::array kForwardLines{
    SpecialLine{"[Forward_always]", "State", "AlwaysForwardSwitch"},
    SpecialLine{nullptr, "Target", "AlwaysForwardTarget"},
    SpecialLine{"[Forward_busy]", "State", "BusyForwardSwitch"},
    SpecialLine{nullptr, "Target", "BusyForwardTarget"},
    SpecialLine{"[Forward_noanswer]", "State", "NoAnswerForwardSwitch"},
    SpecialLine{nullptr, "Target", "NoAnswerForwardDelayTime"},
    SpecialLine{nullptr, "Ringtimes", "NoAnswerForwardTarget"},
};

struct SpecialWord {
  std::string_view word;  // also known with one leading '&'
  Source source;
  // Per account: the head once, then the lines of section[0..3] as
  // "Account<n>.NAME=VALUE". Else the lines of the flat section.
  bool per_account;
  const char* head;
  const char* section;
  std::span<const SpecialLine> lines;
};

inline constexpr std::array kSpecialTable{
    SpecialWord{"accounts=1", Source::kVoiplist, true, "[Accounts]", "AccountRegister", kAccountsLines},
    SpecialWord{"dnd=1", Source::kFunction, false, nullptr, "FeatureForwardDND", kDndLines},
    SpecialWord{"fw=1", Source::kFunction, false, nullptr, "FeatureForwardDND", kForwardLines},
};
static_assert(kSpecialTable.size() == 3);
static_assert(kAccountsLines.size() * kIndexedCount == 32);

// Every word of the tables, in their order: the key words (an indexed
// one for 1 to 4), the group words, the special words.
inline std::vector<std::string> all_export_words() {
  std::vector<std::string> words;
  for (const ExportRow& row : kExportTable) {
    const size_t at = row.word.find("<N>");
    if (at == std::string_view::npos) {
      words.emplace_back(row.word);
      continue;
    }
    for (int n = 1; n <= kIndexedCount; ++n)
      words.push_back(std::string(row.word.substr(0, at)) + std::to_string(n) + std::string(row.word.substr(at + 3)));
  }
  for (const GroupRow& row : kGroupTable) words.emplace_back(row.word);
  for (const SpecialWord& special : kSpecialTable) words.emplace_back(special.word);
  return words;
}

}  // namespace phonecore::phonecfg
