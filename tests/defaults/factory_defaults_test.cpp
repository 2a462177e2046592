// The factory defaults under /customer/appconfigs: every file parses and
// holds the sections and members that the library reads.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

json_object* load(const std::string& name) { return json_object_from_file(("/customer/appconfigs/" + name).c_str()); }

// Walks a dotted path; a number selects an array element.
json_object* at(json_object* o, const std::string& path) {
  size_t start = 0;
  while (o != nullptr && start <= path.size()) {
    size_t dot = path.find('.', start);
    std::string key = path.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
    if (json_object_is_type(o, json_type_array)) {
      o = json_object_array_get_idx(o, std::stoul(key));
    } else if (!json_object_object_get_ex(o, key.c_str(), &o)) {
      return nullptr;
    }
    if (dot == std::string::npos) break;
    start = dot + 1;
  }
  return o;
}

struct Expectation {
  const char* file;
  std::vector<const char*> paths;
};

const std::vector<Expectation> kExpected = {
    {"default/voiplist.cfg",
     {"AccountRegister.3.Account", "AccountRegister.0.AccountUserName", "AccountRegister.0.SIP1ServerAddr",
      "AccountRegister.0.SIP1ServerAddrPort", "SipBase.3.AccountAutoAnswerSwitch",
      "SipAdvance.3.AccountVoiceMailNumber", "SipAdvance.0.AccountSubsribeMWI"}},
    {"default/dss.cfg", {"DssArr.3.Account", "DssArr.0.type", "DssArr.0.SAccLine.accId", "DssArr.2.SAccBlf.extension"}},
    {"default/programing_key.cfg",
     {"Hotkey_hotKey.data.0.RealKey", "Hotkey_lineKey.data.3.Type", "Hotkey_lineKey.data.0.Line",
      "Hotkey_lineKey.data.0.Key", "Hotkey_lineKey.data.0.Extension"}},
    {"default/settinglist.cfg",
     {"SettingConfiguration.LocalLogSwitch", "SettingPrefrence.EnableWatchDog", "SettingDateTime.CurrentTimeZoneTime",
      "SettingAudio.VPMECHO", "Volume.VolumeSpeaker", "SettingAutoProvision.AutoProvisionServerURL",
      "SettingAutoProvision.AutoProvisionWeeklyBeginTime.to_minute", "SettingAutoProvision.AutoProvisionWeeklyMask",
      "SettingAutoProvision.AutoProvisionGetCrtName", "DialplanReplace.data", "DialplanDialnow.data",
      "DialplanRestrict.BlockOut10", "DialplanRestrict.Account10", "DialplanAreaCode.AreaCodeAccount",
      "SettingKeyType.KEY_gpio53_key.CallButtonNight", "SettingKeyType.KEY_LONG_gpio54_key.KeyType",
      "SettingGpioKey.StartNightHours"}},
    {"default/function.cfg",
     {"FeatureActionURL.AUSetupCompleted", "FeatureActionURL.AUVPNIPChange", "FeatureRemote.AURILimitIP",
      "FeatureForwardDND.DndStatus", "FeatureGnlInfor.CallWaitingSwitch", "FeatureIntercom.IntercomAllowance",
      "FeaturePowerLed.TalkPowerLightFlash"}},
    {"default/internet.cfg",
     {"NetworkNAT.NatSTUNSwitch", "NetworkPCPort.PCPortActive", "NetworkAdvanced.VlanWanVid",
      "NetworkAdvanced.Network802_1XMode", "NetworkAdvanced.NetworkhttpsPort"}},
    {"default/addresslist.cfg", {"MaillistRemotePhoneBook.data", "MaillistLDAP.LdapPort", "MaillistLDAP.LDAPbase"}},
    {"default/rule.cfg", {"ReplaceInfo", "DialInfo", "LimitInfo", "ZoneInfo.MinLength"}},
    {"default/security.cfg", {"SecurityTrustedCert.child_security_trusted_cert_list"}},
    {"default/voice_message.cfg", {"1001.miss_unread"}},
    {"system.cfg",
     {"systeminfo.telnet_type", "systeminfo.ssh_type", "systeminfo.lang", "systeminfo.mac",
      "hardware.bk_light_ps_enbale", "version.mode"}},
    {"network.cfg",
     {"wan.mode", "wan.dns2", "br0.staticdns", "NetworkVpn.VpnType", "Network4G.enable", "firewall.tcp_allow_list",
      "httpd.wan_allow"}},
    {"hal.cfg",
     {"audio.speaker-level-call", "audio.headset-level-ring", "audio.HotelModelEnable", "audio.RingVoluemEnable",
      "lcd.bk_light_pwm", "lcd.DesktopImg"}},
    {"status.cfg", {"vlanid"}},
    {"tr069.cfg", {"local.enable", "local.logging_level", "acs.periodic_time", "device.software_version"}},
    {"voip.cfg", {"account.3.cred_acc.0.regname", "account.0.enable", "account.0.registrar"}},
    {"ldap.cfg", {"server"}},
    {"quorbit_ota.cfg", {"QuorbitOta.sw_version"}},
};

TEST(FactoryDefaults, EveryFileParsesAndHoldsWhatTheLibraryReads) {
  for (const auto& e : kExpected) {
    json_object* root = load(e.file);
    ASSERT_NE(root, nullptr) << e.file;
    for (const char* path : e.paths) EXPECT_NE(at(root, path), nullptr) << e.file << ": " << path;
    json_object_put(root);
  }
}

TEST(FactoryDefaults, FourAccountsOfWhichOnlyTheFirstIsFilled) {
  json_object* voiplist = load("default/voiplist.cfg");
  ASSERT_NE(voiplist, nullptr);
  for (const char* array : {"AccountRegister", "SipBase", "SipAdvance"}) {
    json_object* a = at(voiplist, array);
    ASSERT_EQ(json_object_array_length(a), 4u) << array;
    for (int i = 0; i < 4; ++i)
      EXPECT_STREQ(json_object_get_string(at(a, std::to_string(i) + ".Account")), std::to_string(i).c_str());
  }
  EXPECT_STRNE(json_object_get_string(at(voiplist, "AccountRegister.0.AccountUserName")), "");
  EXPECT_STREQ(json_object_get_string(at(voiplist, "AccountRegister.1.AccountUserName")), "");
  json_object_put(voiplist);
}

TEST(FactoryDefaults, FortyFourActionUrlEventsAllEmpty) {
  json_object* f = load("default/function.cfg");
  json_object* urls = at(f, "FeatureActionURL");
  ASSERT_NE(urls, nullptr);
  EXPECT_EQ(json_object_object_length(urls), 44);
  json_object_object_foreach(urls, key, value) EXPECT_STREQ(json_object_get_string(value), "") << key;
  json_object_put(f);
}

TEST(FactoryDefaults, DssKeysAndLineKeysAgree) {
  json_object* dss = load("default/dss.cfg");
  json_object* keys = load("default/programing_key.cfg");
  const char* member_of[] = {"SAccLine", "SAccBlf", "SAccIntercom", "SAccSpeedDial"};
  const char* type_of[] = {"15", "106", "117", "213"};
  json_object* line_keys = at(keys, "Hotkey_lineKey.data");
  ASSERT_EQ(json_object_array_length(line_keys), 4u);
  for (int i = 0; i < 4; ++i) {
    std::string n = std::to_string(i);
    int type = json_object_get_int(at(dss, "DssArr." + n + ".type"));
    ASSERT_GE(type, 0);
    ASSERT_LT(type, 4);
    EXPECT_NE(at(dss, "DssArr." + n + "." + member_of[type]), nullptr);
    EXPECT_STREQ(json_object_get_string(at(line_keys, n + ".Type")), type_of[type]);
    int acc = json_object_get_int(at(dss, "DssArr." + n + "." + member_of[type] + ".accId"));
    EXPECT_STREQ(json_object_get_string(at(line_keys, n + ".Line")), std::to_string(acc - 1).c_str());
  }
  json_object_put(dss);
  json_object_put(keys);
}

TEST(FactoryDefaults, EveryFileFitsOneConfigurationDatagram) {
  for (const auto& e : kExpected) {
    json_object* root = load(e.file);
    ASSERT_NE(root, nullptr);
    EXPECT_LT(std::strlen(json_object_to_json_string_ext(root, JSON_C_TO_STRING_PLAIN)), 32767u) << e.file;
    json_object_put(root);
  }
}

TEST(FactoryDefaults, WebauthNamesTheWebLanguage) {
  std::ifstream in("/customer/etc/webauth.cfg");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_NE(text.find("[system_info]"), std::string::npos);
  EXPECT_NE(text.find("lang="), std::string::npos);
}

}  // namespace
