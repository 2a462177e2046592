// The phone.cfg keys: one row per key, walked by the import (which member
// a key changes and which values it takes), the export (how a member is
// printed back) and phonectl's listing. Rows stand in the order in which
// the handler of their group tests them; the first row whose key matches
// wins.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace phonecore::phonecfg {

// The JSON object a member lives in. The network configuration is the
// configuration service's store 4096 ("network.cfg"); the others are files
// below /appconfigs.
enum class Target : uint8_t {
  kNone,
  kNetworkStore,
  kTr069,
  kInternet,
  // The account handler's objects. The voip configuration is store 4097
  // ("voip.cfg"), what the SIP process reads.
  kVoipStore,
  kVoiplist,
  kFunction,
  kSettinglist,
  kSystem,
  kAddresslist,
  kHal,
  kProgrammingKey,
};

struct TargetFile {
  Target target;
  int category;      // 0: a file read by its name
  const char* path;  // relative to /appconfigs
};

inline constexpr std::array kTargetFiles{
    TargetFile{Target::kNetworkStore, 4096, "network.cfg"},
    TargetFile{Target::kTr069, 0, "tr069.cfg"},
    TargetFile{Target::kInternet, 0, "default/internet.cfg"},
    TargetFile{Target::kVoipStore, 4097, "voip.cfg"},
    TargetFile{Target::kVoiplist, 0, "default/voiplist.cfg"},
    TargetFile{Target::kFunction, 0, "default/function.cfg"},
    TargetFile{Target::kSettinglist, 0, "default/settinglist.cfg"},
    TargetFile{Target::kSystem, 0, "system.cfg"},
    TargetFile{Target::kAddresslist, 0, "default/addresslist.cfg"},
    TargetFile{Target::kHal, 0, "hal.cfg"},
    TargetFile{Target::kProgrammingKey, 0, "default/programing_key.cfg"},
};

// Which handler takes a key (the router decides by the key's text; the
// group says where its row belongs).
// The groups of the account handler stand in the order in which it tests
// them; each needs its objects (see the handler).
enum class Group : uint8_t { kNetwork, kAccount, kFunction, kKeys, kVoice, kDialplan, kSystem, kLdap };

// The test a value must pass before it is stored; a refused value changes
// nothing.
enum class Check : uint8_t {
  kAny,
  kZeroOrOne,    // exactly "0" or "1"
  kIpv4,         // is_ipv4_addr
  kOneOf,        // exactly one of the '|'-separated choices
  kDigitsRange,  // digits only, then low <= atoi(value) <= high
  kDigits,       // digits only, stored as it stands
  kDigitsClamp,  // digits only; above high stores high, below low stores low
  kAtoiRange,    // low <= atoi(value) <= high, no digit test: "389abc" passes whole
};

// How the stored member goes into the JSON object.
enum class Type : uint8_t { kText, kInteger };

// How the export prints the key's line: "KEY = VALUE", the same line
// twice, or with "0" for a missing member (else "(null)").
enum class ExportForm : uint8_t { kSpaced, kSpacedTwice, kSpacedZeroWhenMissing };

// Where a member sits in its object; the element index is the row's.
enum class Place : uint8_t {
  kSection,     // object.section.member
  kElement,     // object.section[index].member (an account's element)
  kCredential,  // object.section[index].cred_acc[0].member
  kData,        // object.section.data[index].member, the element must exist
  kGrow,        // object.section.data[index].member; a missing element is
                // created only right behind the last one (a rule can't
                // come before its predecessor)
};

// What a key does beyond storing its member.
enum class Action : uint8_t {
  kNone,
  kOneLower,         // a one-based account stored zero-based
  kDialNowKey,       // also sets "key" to the rule's number (see the handler)
  kVolumeHandset,    // hal_volume_config_set(3, level)
  kVolumeSpeaker,    // hal_volume_config_set(1, level)
  kVolumeRingtones,  // hal_volume_config_set_ringtones(level)
  kLanguage,         // "Chinese" and "English" stored as their codes
  kBacklight,        // the PWM duty cycle set at once
};

struct Member {
  Target target = Target::kNone;
  const char* section = nullptr;
  const char* member = nullptr;
  Place place = Place::kSection;
};

struct KeyRow {
  // The key, compared exactly; "<N>" stands for one index digit in the
  // numbered groups.
  std::string_view key;
  Group group;
  Member store;
  Member also;  // a second member given the same value, or none
  Check check;
  std::string_view choices;  // kOneOf
  int low;                   // kDigitsRange
  int high;
  Type type;
  ExportForm export_form;
  int index = 0;  // the element of kElement, kCredential, kData and kGrow members
  Action action = Action::kNone;
};

// Row makers of the network group: one member, one test.
namespace rows {

constexpr KeyRow text(std::string_view key, Target t, const char* section, const char* member, Check check,
                      ExportForm form = ExportForm::kSpaced) {
  return KeyRow{key, Group::kNetwork, {t, section, member}, {}, check, {}, 0, 0, Type::kText, form};
}
constexpr KeyRow one_of(std::string_view key, Target t, const char* section, const char* member,
                        std::string_view choices, ExportForm form = ExportForm::kSpaced) {
  return KeyRow{key, Group::kNetwork, {t, section, member}, {}, Check::kOneOf, choices, 0, 0, Type::kText, form};
}
constexpr KeyRow digits(std::string_view key, Target t, const char* section, const char* member, int low, int high) {
  return KeyRow{key,  Group::kNetwork, {t, section, member}, {}, Check::kDigitsRange, {}, low,
                high, Type::kText,     ExportForm::kSpaced};
}

// Row makers of the account handler's groups.
constexpr KeyRow row(std::string_view key, Group group, Member store, Check check = Check::kAny, int index = 0,
                     Action action = Action::kNone) {
  KeyRow r{key, group, store, {}, check, {}, 0, 0, Type::kText, ExportForm::kSpaced};
  r.index = index;
  r.action = action;
  return r;
}
constexpr KeyRow with_also(KeyRow r, Member also) {
  r.also = also;
  return r;
}
constexpr KeyRow with_choices(KeyRow r, std::string_view choices) {
  r.check = Check::kOneOf;
  r.choices = choices;
  return r;
}
constexpr KeyRow with_range(KeyRow r, Check check, int low, int high) {
  r.check = check;
  r.low = low;
  r.high = high;
  return r;
}
constexpr KeyRow as_integer(KeyRow r) {
  r.type = Type::kInteger;
  return r;
}

// An account key: its member of AccountRegister[n] and, when it has one,
// its member of the voip configuration's account[n].
constexpr KeyRow account(std::string_view key, int n, const char* member, Member voip = {}) {
  return with_also(
      row(key, Group::kAccount, {Target::kVoiplist, "AccountRegister", member, Place::kElement}, Check::kAny, n - 1),
      voip);
}
constexpr Member credential(const char* member) { return {Target::kVoipStore, "account", member, Place::kCredential}; }
constexpr Member voip_account(const char* member) { return {Target::kVoipStore, "account", member, Place::kElement}; }
// An account key kept only in SipBase[n] or SipAdvance[n].
constexpr KeyRow sip(std::string_view key, int n, const char* section, const char* member, Check check) {
  return row(key, Group::kAccount, {Target::kVoiplist, section, member, Place::kElement}, check, n - 1);
}

constexpr KeyRow function(std::string_view key, const char* section, const char* member,
                          Check check = Check::kZeroOrOne) {
  return row(key, Group::kFunction, {Target::kFunction, section, member}, check);
}

constexpr KeyRow line_key(std::string_view key, int n, const char* member) {
  return row(key, Group::kKeys, {Target::kProgrammingKey, "Hotkey_lineKey", member, Place::kData}, Check::kAny, n - 1);
}
constexpr KeyRow soft_key(std::string_view key, int n, const char* member) {
  return row(key, Group::kKeys, {Target::kProgrammingKey, "Hotkey_hotKey", member, Place::kData}, Check::kAny, n - 1);
}

constexpr KeyRow volume(std::string_view key, const char* member, const char* hal_member, Action action) {
  return as_integer(
      with_also(with_range(row(key, Group::kVoice, {Target::kSettinglist, "Volume", member}, Check::kAny, 0, action),
                           Check::kDigitsRange, 0, 15),
                {Target::kHal, "audio", hal_member}));
}

constexpr KeyRow rule(std::string_view key, int i, const char* section, const char* member,
                      Action action = Action::kNone) {
  return row(key, Group::kDialplan, {Target::kSettinglist, section, member, Place::kGrow}, Check::kAny, i - 1, action);
}
constexpr KeyRow dialplan(std::string_view key, const char* section, const char* member) {
  return row(key, Group::kDialplan, {Target::kSettinglist, section, member});
}

constexpr KeyRow ldap(std::string_view key, const char* member, Check check = Check::kAny) {
  return row(key, Group::kLdap, {Target::kAddresslist, "MaillistLDAP", member}, check);
}

}  // namespace rows

// The 22 keys of account N, as one block per account.
#define PHONECFG_ACCOUNT_ROWS(N)                                                                                 \
  rows::account("Account" #N ".AccountUserName", N, "AccountUserName", rows::credential("username")),            \
      rows::account("Account" #N ".AccountPassword", N, "AccountPassword", rows::credential("password")),        \
      rows::account("Account" #N ".AccountDisplayName", N, "AccountDisplayName", rows::credential("display")),   \
      rows::account("Account" #N ".AccountRegisterName", N, "AccountRegisterName", rows::credential("regname")), \
      rows::account("Account" #N ".AccountLabel", N, "AccountLabel", rows::credential("label")),                 \
      rows::account("Account" #N ".AccountEnable", N, "AccountEnable", rows::voip_account("enable")),            \
      rows::account("Account" #N ".SIP1ServerAddr", N, "SIP1ServerAddr"),                                        \
      rows::account("Account" #N ".SIP1ServerAddrPort", N,                                                       \
                    "SIP1ServerAddrPort"), /* The heartbeat feeds the registration timeout, on purpose. */       \
      rows::account("Account" #N ".SIP1HeartbeatMessage", N, "SIP1HeartbeatMessage",                             \
                    rows::voip_account("reg-timeout")),                                                          \
      rows::account("Account" #N ".SIP1RetryCount", N, "SIP1RetryCount",                                         \
                    rows::voip_account("AccountRegFailRetryCount")),                                             \
      rows::account("Account" #N ".SIP1Transport", N, "SIP1Transport", rows::voip_account("transport-type")),    \
      rows::account("Account" #N ".SIP2ServerAddr", N, "SIP2ServerAddr"),                                        \
      rows::account("Account" #N ".SIP2ServerAddrPort", N, "SIP2ServerAddrPort"),                                \
      rows::account("Account" #N ".SIP2HeartbeatMessage", N, "SIP2HeartbeatMessage",                             \
                    rows::voip_account("reg-timeout2")),                                                         \
      rows::account("Account" #N ".SIP2RetryCount", N, "SIP2RetryCount",                                         \
                    rows::voip_account("AccountRegFailRetryCount2")),                                            \
      rows::account("Account" #N ".SIP2Transport", N, "SIP2Transport", rows::voip_account("transport-type2")),   \
      rows::sip("Account" #N ".Anonymous_call", N, "SipBase", "AccountAnonymousCallSwitch", Check::kZeroOrOne),  \
      rows::sip("Account" #N ".Reject_anonymous_call", N, "SipBase", "AccountRejectAnonymousCallSwitch",         \
                Check::kZeroOrOne),                                                                              \
      rows::sip("Account" #N ".Auto_answer", N, "SipBase", "AccountAutoAnswerSwitch",                            \
                Check::kZeroOrOne), /* "Subsribe" is the member's name as every reader knows it. */              \
      rows::sip("Account" #N ".Subscribe_mwi", N, "SipAdvance", "AccountSubsribeMWI", Check::kZeroOrOne),        \
      rows::sip("Account" #N ".Voice_mail.Number", N, "SipAdvance", "AccountVoiceMailNumber", Check::kAny),      \
      rows::sip("Account" #N ".Subscribe_mwi_expires", N, "SipAdvance", "AccountSubscribeMWIExpire", Check::kAny)

// The five keys of line key N and of soft key N. A line key's Line is a
// one-based account stored zero-based; a soft key's is stored as it comes.
#define PHONECFG_KEY_ROWS(N)                                                                                          \
  rows::with_choices(rows::line_key("LineKey" #N ".Type", N, "Type"), "15|106|117|213|9|10|56"),                      \
      rows::with_choices(rows::row("LineKey" #N ".Line", Group::kKeys,                                                \
                                   {Target::kProgrammingKey, "Hotkey_lineKey", "Line", Place::kData}, Check::kOneOf,  \
                                   N - 1, Action::kOneLower),                                                         \
                         "1|2|3|4"),                                                                                  \
      rows::line_key("LineKey" #N ".Value", N, "Value"), rows::line_key("LineKey" #N ".Label", N, "Label"),           \
      rows::line_key("LineKey" #N ".Extension", N, "Extension"),                                                      \
      rows::with_choices(rows::soft_key("SoftKey" #N ".Type", N, "Type"), "201|301|5|401"),                           \
      rows::row("SoftKey" #N ".Line", Group::kKeys, {Target::kProgrammingKey, "Hotkey_hotKey", "Line", Place::kData}, \
                Check::kDigits, N - 1),                                                                               \
      rows::soft_key("SoftKey" #N ".Value", N, "Value"), rows::soft_key("SoftKey" #N ".Label", N, "Label"),           \
      rows::soft_key("SoftKey" #N ".Extension", N, "Extension")

// The dial-plan keys of rule I of the two rule arrays.
#define PHONECFG_RULE_ROWS(I)                                                                \
  rows::rule("Dialplan.Replace_Rule.Prefix" #I, I, "DialplanReplace", "Prefix"),             \
      rows::rule("Dialplan.Replace_Rule.Replace" #I, I, "DialplanReplace", "Replace"),       \
      rows::rule("Dialplan.Replace_Rule.Account" #I, I, "DialplanReplace", "Account"),       \
      rows::rule("Dialplan.Dial_now.Rule" #I, I, "DialplanDialnow", "RealTimeDialingRules"), \
      rows::rule("Dialplan.Dial_now.Account" #I, I, "DialplanDialnow", "Account", Action::kDialNowKey)

#define PHONECFG_BLOCK_OUT_ROWS(I)                                                     \
  rows::dialplan("Dialplan.Block_out.BlockOut" #I, "DialplanRestrict", "BlockOut" #I), \
      rows::dialplan("Dialplan.Block_out.Account" #I, "DialplanRestrict", "Account" #I)

// Network handler. Every key containing "Network" or "Static" comes here;
// "Static" marks keys whose change needs a network restart, also where the
// setting itself is none (TR-069).
inline constexpr std::array kKeyTable{
    rows::one_of("Network.Wan.mode", Target::kNetworkStore, "wan", "mode", "dhcp|static_ip"),
    rows::text("Network.Wan.ipaddr", Target::kNetworkStore, "wan", "ipaddr", Check::kIpv4),
    rows::text("Network.Wan.netmask", Target::kNetworkStore, "wan", "netmask", Check::kIpv4),
    rows::text("Network.Wan.gateway", Target::kNetworkStore, "wan", "gateway", Check::kIpv4),
    rows::text("Network.Wan.dns1", Target::kNetworkStore, "wan", "dns1", Check::kIpv4),
    rows::text("Network.Wan.dns2", Target::kNetworkStore, "wan", "dns2", Check::kIpv4),
    rows::text("Static.TR069.Enable", Target::kTr069, "local", "enable", Check::kZeroOrOne),
    rows::text("Static.NatStun.Enable", Target::kInternet, "NetworkNAT", "NatSTUNSwitch", Check::kZeroOrOne),
    rows::text("Static.NatStun.Server", Target::kInternet, "NetworkNAT", "NatSTUNServer", Check::kAny),
    rows::text("Static.NatStun.Port", Target::kInternet, "NetworkNAT", "NatSTUNPort", Check::kAny),
    rows::one_of("Static.Network.PcPort.Enable", Target::kInternet, "NetworkPCPort", "PCPortActive", "auto|disabled",
                 ExportForm::kSpacedZeroWhenMissing),
    rows::text("Static.Network.Vlan.Wan.Enable", Target::kInternet, "NetworkAdvanced", "VlanWanSwitch",
               Check::kZeroOrOne, ExportForm::kSpacedTwice),
    rows::digits("Static.Network.Vlan.Wan.Vid", Target::kInternet, "NetworkAdvanced", "VlanWanVid", 1, 4094),
    rows::digits("Static.Network.Vlan.Wan.Priority", Target::kInternet, "NetworkAdvanced", "VlanWanPriority", 0, 7),
    rows::text("Static.Network.Vlan.Pc.Enable", Target::kInternet, "NetworkAdvanced", "VlanPcSwitch",
               Check::kZeroOrOne),
    rows::digits("Static.Network.Vlan.Pc.Vid", Target::kInternet, "NetworkAdvanced", "VlanPcVid", 1, 4094),
    rows::digits("Static.Network.Vlan.Pc.Priority", Target::kInternet, "NetworkAdvanced", "VlanPcPriority", 0, 7),
    // The VPN switch also feeds the type field of the network
    // configuration: an on-off value as the type, on purpose; the other
    // readers of that field expect 0 or 1 there.
    KeyRow{"Static.Network.Vpn.Enable",
           Group::kNetwork,
           {Target::kInternet, "NetworkAdvanced", "VpnSwitch"},
           {Target::kNetworkStore, "NetworkVpn", "VpnType"},
           Check::kZeroOrOne,
           {},
           0,
           0,
           Type::kText,
           ExportForm::kSpaced},

    // Account handler. Accounts: AccountRegister[n] of "default/voiplist.cfg",
    // kept in step by hand with account[n] of the voip configuration.
    PHONECFG_ACCOUNT_ROWS(1),
    PHONECFG_ACCOUNT_ROWS(2),
    PHONECFG_ACCOUNT_ROWS(3),
    PHONECFG_ACCOUNT_ROWS(4),

    // "default/function.cfg". Two member names don't follow their keys and
    // are kept so, since every reader of the file uses them:
    // Features.key_as_send feeds AutoRedialSwitch and the "on" key of the
    // talk light feeds TalkPowerLightFlash.
    rows::function("Forward.mode", "FeatureForwardDND", "ForwardMode"),
    rows::function("Forward.account", "FeatureForwardDND", "ForwardAccount"),
    rows::function("Forward.always.enable", "FeatureForwardDND", "AlwaysForwardSwitch"),
    rows::function("Forward.always.target", "FeatureForwardDND", "AlwaysForwardTarget", Check::kAny),
    rows::function("Forward.busy.enable", "FeatureForwardDND", "BusyForwardSwitch"),
    rows::function("Forward.busy.target", "FeatureForwardDND", "BusyForwardTarget", Check::kAny),
    rows::function("Forward.no_answer.enable", "FeatureForwardDND", "NoAnswerForwardSwitch"),
    rows::with_range(
        rows::function("Forward.no_answer.after_ring_time", "FeatureForwardDND", "NoAnswerForwardDelayTime"),
        Check::kDigitsRange, 0, 5),
    rows::function("Forward.no_answer.target", "FeatureForwardDND", "NoAnswerForwardTarget", Check::kAny),
    rows::function("Features.dnd.mode", "FeatureForwardDND", "DndMode"),
    rows::function("Features.dnd.account", "FeatureForwardDND", "DNDAccount"),
    rows::function("Features.dnd.status", "FeatureForwardDND", "DndStatus"),
    rows::function("Features.CallWaiting", "FeatureGnlInfor", "CallWaitingSwitch"),
    rows::with_choices(rows::function("Features.key_as_send", "FeatureGnlInfor", "AutoRedialSwitch"), "0|1|2"),
    rows::function("Features.HotlineNumber", "FeatureGnlInfor", "HotlineNumber", Check::kAny),
    // The one number that is clamped, not refused.
    rows::with_range(rows::function("Features.HotlineDelay", "FeatureGnlInfor", "HotlineDelay"), Check::kDigitsClamp, 0,
                     10),
    rows::function("Features.Intercom.Allow", "FeatureIntercom", "IntercomAllowance"),
    rows::function("Features.Intercom.Mute", "FeatureIntercom", "IntercomMuteSwitch"),
    rows::function("PowerLED.Common_Power_Light_on", "FeaturePowerLed", "CommonPowerLightOn"),
    rows::function("PowerLED.Ringing_Power_Light_Flash", "FeaturePowerLed", "RingPowerLightFlash"),
    rows::function("PowerLED.Voice/Text_Mail_Power_Light_Flash", "FeaturePowerLed", "MailPowerLightFlash"),
    rows::function("PowerLED.Mute_Power_Light_Flash", "FeaturePowerLed", "MutePowerLightFlash"),
    rows::function("PowerLED.Hold/Held_Power_Light_Flash", "FeaturePowerLed", "HoldPowerLightFlash"),
    rows::function("PowerLED.Talk/Dial_Power_Light_on", "FeaturePowerLed", "TalkPowerLightFlash"),
    rows::function("PowerLED.MissCall_Power_Light_Flash", "FeaturePowerLed", "MissCallPowerLightFlash"),

    // "default/programing_key.cfg": key N is element N-1 of data.
    PHONECFG_KEY_ROWS(1),
    PHONECFG_KEY_ROWS(2),
    PHONECFG_KEY_ROWS(3),
    PHONECFG_KEY_ROWS(4),

    // Voice: "default/settinglist.cfg"; the volumes are integers and have a
    // second copy in "hal.cfg" (both left alone in hotel mode, where only
    // the level is set).
    rows::row("Voice.ECHO", Group::kVoice, {Target::kSettinglist, "SettingAudio", "VPMECHO"}, Check::kZeroOrOne),
    rows::row("Voice.VAD", Group::kVoice, {Target::kSettinglist, "SettingAudio", "VPMVAD"}, Check::kZeroOrOne),
    rows::row("Voice.CNG", Group::kVoice, {Target::kSettinglist, "SettingAudio", "VPMCNG"}, Check::kZeroOrOne),
    rows::volume("Voice.Handset.Output", "VolumeHandsetoutput", "handset-level", Action::kVolumeHandset),
    rows::volume("Voice.Speaker", "VolumeSpeaker", "speaker-level-call", Action::kVolumeSpeaker),
    rows::volume("Voice.Ringtones", "VolumeModulationRing", "ringtones-level", Action::kVolumeRingtones),

    // Dial plan, "default/settinglist.cfg": rules i = 1..5 of two arrays
    // that only grow, ten block-out pairs and the area code.
    PHONECFG_RULE_ROWS(1),
    PHONECFG_RULE_ROWS(2),
    PHONECFG_RULE_ROWS(3),
    PHONECFG_RULE_ROWS(4),
    PHONECFG_RULE_ROWS(5),
    PHONECFG_BLOCK_OUT_ROWS(1),
    PHONECFG_BLOCK_OUT_ROWS(2),
    PHONECFG_BLOCK_OUT_ROWS(3),
    PHONECFG_BLOCK_OUT_ROWS(4),
    PHONECFG_BLOCK_OUT_ROWS(5),
    PHONECFG_BLOCK_OUT_ROWS(6),
    PHONECFG_BLOCK_OUT_ROWS(7),
    PHONECFG_BLOCK_OUT_ROWS(8),
    PHONECFG_BLOCK_OUT_ROWS(9),
    PHONECFG_BLOCK_OUT_ROWS(10),
    rows::dialplan("Dialplan.Area_code.Code", "DialplanAreaCode", "AreaCode"),
    rows::with_range(rows::dialplan("Dialplan.Area_code.Min_len", "DialplanAreaCode", "AreaCodeMinLen"),
                     Check::kDigitsRange, 0, 15),
    rows::with_range(rows::dialplan("Dialplan.Area_code.Max_len", "DialplanAreaCode", "AreaCodeMaxLen"),
                     Check::kDigitsRange, 0, 15),
    rows::dialplan("Dialplan.Area_code.Line_id", "DialplanAreaCode", "AreaCodeAccount"),

    // "system.cfg". "English" is stored as "es-us", the code the rest of
    // the phone uses for it.
    rows::row("Language.Lcd", Group::kSystem, {Target::kSystem, "systeminfo", "lang"}, Check::kAny, 0,
              Action::kLanguage),
    rows::with_choices(
        rows::row("Phone.LcdBackLight_level", Group::kSystem, {Target::kSystem, "hardware", "bk_light_l_active"},
                  Check::kOneOf, 0, Action::kBacklight),
        "0|10|20|30|40|50|60|70|80|90|100"),

    // LDAP, section MaillistLDAP of "default/addresslist.cfg", gated on
    // "system.cfg" too. The numbers are read by atoi without a digit test,
    // so "389abc" passes and is stored whole. The odd cases of some keys
    // and members are the names as they stand.
    rows::ldap("LDAP.Enable", "LdapSwitch", Check::kZeroOrOne),
    rows::ldap("LDAP.Label", "LdapName"),
    rows::ldap("LDAP.Name_filter", "LdapNameFilter"),
    rows::ldap("LDAP.Number_filter", "LdapNumberFilter"),
    rows::with_choices(rows::ldap("LDAP.Tls_mode", "LDAPTLSMode"), "0|1|2"),
    rows::ldap("LDAP.Server", "LdapServer"),
    rows::with_range(rows::ldap("LDAP.Port", "LdapPort"), Check::kAtoiRange, 1, 65535),
    rows::ldap("LDAP.Base", "LDAPbase"),
    rows::ldap("LDAP.User", "LdapUserName"),
    rows::ldap("LDAP.Password", "LdapUserPassword"),
    rows::with_range(rows::ldap("LDAP.max_hits", "LdapMaxHits"), Check::kAtoiRange, 1, 1000),
    rows::ldap("LDAP.Name_attr", "LdapNameAttr"),
    rows::ldap("LDAP.Display_name", "LdapResultDisplayName"),
    rows::with_range(rows::ldap("LDAP.Version", "LdapProtocolVersion"), Check::kAtoiRange, 2, 3),
    rows::ldap("LDAP.Call_in_lookup", "LdapCallInSearchSwitch", Check::kZeroOrOne),
    rows::ldap("LDAP.call_out_lookup", "LDAPCallOutLookup", Check::kZeroOrOne),
    rows::ldap("LDAP.Sort_enable", "LdapSortSwitch", Check::kZeroOrOne),
};

#undef PHONECFG_ACCOUNT_ROWS
#undef PHONECFG_KEY_ROWS
#undef PHONECFG_RULE_ROWS
#undef PHONECFG_BLOCK_OUT_ROWS

constexpr size_t count_of(Group group) {
  return static_cast<size_t>(
      std::count_if(kKeyTable.begin(), kKeyTable.end(), [group](const KeyRow& r) { return r.group == group; }));
}

static_assert(count_of(Group::kNetwork) == 18);
static_assert(count_of(Group::kAccount) == 88);
static_assert(count_of(Group::kFunction) == 25);
static_assert(count_of(Group::kKeys) == 40);
static_assert(count_of(Group::kVoice) == 6);
static_assert(count_of(Group::kSystem) == 2);
static_assert(count_of(Group::kDialplan) == 49);
static_assert(count_of(Group::kLdap) == 17);
static_assert(kKeyTable.size() == 245);

// Whether key matches a row's key; "<N>" in the row takes one digit of
// key, given back in *index (untouched for an exact key).
constexpr bool key_matches(std::string_view pattern, std::string_view key, int* index = nullptr) {
  constexpr std::string_view kIndex = "<N>";
  const size_t at = pattern.find(kIndex);
  if (at == std::string_view::npos) return pattern == key;
  if (key.size() != pattern.size() - kIndex.size() + 1) return false;
  if (key.substr(0, at) != pattern.substr(0, at)) return false;
  if (key.substr(at + 1) != pattern.substr(at + kIndex.size())) return false;
  const char digit = key[at];
  if (digit < '0' || digit > '9') return false;
  if (index != nullptr) *index = digit - '0';
  return true;
}

// The first row of the group whose key matches, or null.
inline const KeyRow* find_key(Group group, std::string_view key, int* index = nullptr) {
  for (const KeyRow& row : kKeyTable)
    if (row.group == group && key_matches(row.key, key, index)) return &row;
  return nullptr;
}

// Whether value passes the row's test.
bool value_accepted(const KeyRow& row, const char* value);

// The name of a target for listings: the file below /appconfigs.
constexpr const char* target_path(Target target) {
  for (const TargetFile& f : kTargetFiles)
    if (f.target == target) return f.path;
  return "";
}

}  // namespace phonecore::phonecfg
