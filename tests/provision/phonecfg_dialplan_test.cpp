// phone.cfg dial-plan and LDAP keys in the box: rule arrays that grow one
// element at a time and never shrink, the Dial_now "key" member that a new
// element gets only for the first rule, the flat block-out and area-code
// members, and the LDAP keys read by atoi and gated on "system.cfg".

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <filesystem>
#include <string>

#include "phonecore/phonecfg.h"
#include "support/config_peer.h"
#include "support/factory_files.h"
#include "support/files.h"

namespace {

using phonecore::testing::ConfigPeer;
using phonecore::testing::FactoryFiles;
using phonecore::testing::text_at_pointer;

constexpr const char* kSettings = "default/settinglist.cfg";
constexpr const char* kAddresses = "default/addresslist.cfg";

class PhonecfgDialplan : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    ASSERT_TRUE(config_.clear());
    reload_something_flag = 0;
  }

  static std::string at(const char* file, const char* pointer) { return text_at_pointer(file, pointer); }

  // The element count of a rule array.
  static size_t rules(const char* section) {
    json_object* root = json_object_from_file((std::string("/appconfigs/") + kSettings).c_str());
    json_object* data = nullptr;
    size_t n = 0;
    if (root != nullptr && json_pointer_getf(root, &data, "/%s/data", section) == 0 &&
        json_object_is_type(data, json_type_array))
      n = json_object_array_length(data);
    json_object_put(root);
    return n;
  }

  FactoryFiles files_{std::span(phonecore::testing::kItemFiles)};
  ConfigPeer config_;
};

TEST_F(PhonecfgDialplan, ReplaceRulesGrowOneElementAtATime) {
  ASSERT_EQ(rules("DialplanReplace"), 0u);
  my_dm_handle_value1("Dialplan.Replace_Rule.Prefix2=9");
  EXPECT_EQ(rules("DialplanReplace"), 0u);
  EXPECT_EQ(reload_something_flag, 1);
  my_dm_handle_value1("Dialplan.Replace_Rule.Prefix1=9");
  ASSERT_EQ(rules("DialplanReplace"), 1u);
  EXPECT_EQ(at(kSettings, "/DialplanReplace/data/0/Prefix"), "9");
  my_dm_handle_value1("Dialplan.Replace_Rule.Replace1=0");
  EXPECT_EQ(at(kSettings, "/DialplanReplace/data/0/Replace"), "0");
  EXPECT_EQ(at(kSettings, "/DialplanReplace/data/0/Prefix"), "9");
  my_dm_handle_value1("Dialplan.Replace_Rule.Account2=1");
  ASSERT_EQ(rules("DialplanReplace"), 2u);
  EXPECT_EQ(at(kSettings, "/DialplanReplace/data/1/Account"), "1");
  EXPECT_EQ(at(kSettings, "/DialplanReplace/data/1/Prefix"), "<absent>");
  // Rule 6 is no key; nothing shrinks.
  my_dm_handle_value1("Dialplan.Replace_Rule.Prefix6=1");
  EXPECT_EQ(rules("DialplanReplace"), 2u);
}

TEST_F(PhonecfgDialplan, ANewDialNowElementGetsItsKeyOnlyForTheFirstRule) {
  // Account1 on the empty array: a new element with Account and key "1".
  my_dm_handle_value1("Dialplan.Dial_now.Account1=0");
  ASSERT_EQ(rules("DialplanDialnow"), 1u);
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/0/Account"), "0");
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/0/key"), "1");
  // Account2 creating element 1: Account alone, no key.
  my_dm_handle_value1("Dialplan.Dial_now.Account2=1");
  ASSERT_EQ(rules("DialplanDialnow"), 2u);
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/1/Account"), "1");
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/1/key"), "<absent>");
  // Rule3 first, then Account3 on the existing element: the key comes.
  my_dm_handle_value1("Dialplan.Dial_now.Rule3=911");
  ASSERT_EQ(rules("DialplanDialnow"), 3u);
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/2/RealTimeDialingRules"), "911");
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/2/key"), "<absent>");
  my_dm_handle_value1("Dialplan.Dial_now.Account3=2");
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/2/Account"), "2");
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/2/key"), "3");
  // And an existing element of rule 2 gets it once its Account comes again.
  my_dm_handle_value1("Dialplan.Dial_now.Account2=1");
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data/1/key"), "2");
  // A gap drops the key; rule 6 is no key at all.
  my_dm_handle_value1("Dialplan.Dial_now.Rule5=1");
  my_dm_handle_value1("Dialplan.Dial_now.Rule6=1");
  EXPECT_EQ(rules("DialplanDialnow"), 3u);
}

TEST_F(PhonecfgDialplan, AStoreLongerThanFiveRulesKeepsItsTail) {
  json_object* root = json_object_from_file((std::string("/appconfigs/") + kSettings).c_str());
  ASSERT_NE(root, nullptr);
  json_object* data = nullptr;
  ASSERT_EQ(json_pointer_get(root, "/DialplanReplace/data", &data), 0);
  for (int i = 0; i < 7; ++i) {
    json_object* rule = json_object_new_object();
    json_object_object_add(rule, "Prefix", json_object_new_string(std::to_string(i).c_str()));
    json_object_array_add(data, rule);
  }
  ASSERT_EQ(json_object_to_file((std::string("/appconfigs/") + kSettings).c_str(), root), 0);
  json_object_put(root);
  my_dm_handle_value1("Dialplan.Replace_Rule.Prefix5=x");
  EXPECT_EQ(rules("DialplanReplace"), 7u);
  EXPECT_EQ(at(kSettings, "/DialplanReplace/data/4/Prefix"), "x");
  EXPECT_EQ(at(kSettings, "/DialplanReplace/data/5/Prefix"), "5");
  EXPECT_EQ(at(kSettings, "/DialplanReplace/data/6/Prefix"), "6");
}

TEST_F(PhonecfgDialplan, ADataMemberThatIsNoArrayTakesNoRule) {
  json_object* root = json_object_from_file((std::string("/appconfigs/") + kSettings).c_str());
  ASSERT_NE(root, nullptr);
  json_object_object_add(json_object_object_get(root, "DialplanDialnow"), "data", json_object_new_object());
  ASSERT_EQ(json_object_to_file((std::string("/appconfigs/") + kSettings).c_str(), root), 0);
  json_object_put(root);
  my_dm_handle_value1("Dialplan.Dial_now.Rule1=1");
  EXPECT_EQ(at(kSettings, "/DialplanDialnow/data"), "{ }");
}

TEST_F(PhonecfgDialplan, BlockOutAndAreaCodeAreFlatMembers) {
  my_dm_handle_value1("Dialplan.Block_out.BlockOut10=5");
  EXPECT_EQ(at(kSettings, "/DialplanRestrict/BlockOut10"), "5");
  my_dm_handle_value1("Dialplan.Block_out.Account10=1");
  EXPECT_EQ(at(kSettings, "/DialplanRestrict/Account10"), "1");
  my_dm_handle_value1("Dialplan.Block_out.BlockOut1=900");
  EXPECT_EQ(at(kSettings, "/DialplanRestrict/BlockOut1"), "900");
  EXPECT_EQ(at(kSettings, "/DialplanRestrict/BlockOut10"), "5");

  my_dm_handle_value1("Dialplan.Area_code.Code=0571");
  EXPECT_EQ(at(kSettings, "/DialplanAreaCode/AreaCode"), "0571");
  my_dm_handle_value1("Dialplan.Area_code.Max_len=12");
  EXPECT_EQ(at(kSettings, "/DialplanAreaCode/AreaCodeMaxLen"), "12");
  my_dm_handle_value1("Dialplan.Area_code.Max_len=16");
  EXPECT_EQ(at(kSettings, "/DialplanAreaCode/AreaCodeMaxLen"), "12");
  // Unlike the LDAP numbers, the lengths have the digit test.
  my_dm_handle_value1("Dialplan.Area_code.Max_len=1a");
  EXPECT_EQ(at(kSettings, "/DialplanAreaCode/AreaCodeMaxLen"), "12");
  my_dm_handle_value1("Dialplan.Area_code.Max_len=15");
  EXPECT_EQ(at(kSettings, "/DialplanAreaCode/AreaCodeMaxLen"), "15");
  my_dm_handle_value1("Dialplan.Area_code.Min_len=0");
  EXPECT_EQ(at(kSettings, "/DialplanAreaCode/AreaCodeMinLen"), "0");
  my_dm_handle_value1("Dialplan.Area_code.Line_id=2");
  EXPECT_EQ(at(kSettings, "/DialplanAreaCode/AreaCodeAccount"), "2");
}

TEST_F(PhonecfgDialplan, WithoutTheSettingsFileTheDialPlanIsDropped) {
  std::filesystem::remove(std::string("/appconfigs/") + kSettings);
  my_dm_handle_value1("Dialplan.Replace_Rule.Prefix1=9");
  EXPECT_FALSE(std::filesystem::exists(std::string("/appconfigs/") + kSettings));
  EXPECT_EQ(reload_something_flag, 1);
}

TEST_F(PhonecfgDialplan, LdapNumbersByAtoiTheOthersByTheirTests) {
  const char* port = "/MaillistLDAP/LdapPort";
  const std::string factory_port = at(kAddresses, port);
  my_dm_handle_value1("LDAP.Port=0");
  my_dm_handle_value1("LDAP.Port=65536");
  EXPECT_EQ(at(kAddresses, port), factory_port);
  my_dm_handle_value1("LDAP.Port=65535");
  EXPECT_EQ(at(kAddresses, port), "65535");
  // No digit test: the tail is stored with the number.
  my_dm_handle_value1("LDAP.Port=389abc");
  EXPECT_EQ(at(kAddresses, port), "389abc");

  const char* version = "/MaillistLDAP/LdapProtocolVersion";
  my_dm_handle_value1("LDAP.Version=2");
  EXPECT_EQ(at(kAddresses, version), "2");
  my_dm_handle_value1("LDAP.Version=4");
  EXPECT_EQ(at(kAddresses, version), "2");
  my_dm_handle_value1("LDAP.Version=3");
  EXPECT_EQ(at(kAddresses, version), "3");

  const char* hits = "/MaillistLDAP/LdapMaxHits";
  my_dm_handle_value1("LDAP.max_hits=1000");
  EXPECT_EQ(at(kAddresses, hits), "1000");
  my_dm_handle_value1("LDAP.max_hits=1001");
  EXPECT_EQ(at(kAddresses, hits), "1000");
  my_dm_handle_value1("LDAP.Max_hits=5");  // keys are compared with their case
  EXPECT_EQ(at(kAddresses, hits), "1000");

  const char* tls = "/MaillistLDAP/LDAPTLSMode";
  my_dm_handle_value1("LDAP.Tls_mode=2");
  EXPECT_EQ(at(kAddresses, tls), "2");
  my_dm_handle_value1("LDAP.Tls_mode=3");
  EXPECT_EQ(at(kAddresses, tls), "2");

  my_dm_handle_value1("LDAP.Base=dc=example,dc=org");
  EXPECT_EQ(at(kAddresses, "/MaillistLDAP/LDAPbase"), "dc=example,dc=org");
  my_dm_handle_value1("LDAP.call_out_lookup=1");
  EXPECT_EQ(at(kAddresses, "/MaillistLDAP/LDAPCallOutLookup"), "1");
  my_dm_handle_value1("LDAP.Enable=2");
  EXPECT_NE(at(kAddresses, "/MaillistLDAP/LdapSwitch"), "2");
}

TEST_F(PhonecfgDialplan, LdapIsGatedOnTheSystemFile) {
  const char* server = "/MaillistLDAP/LdapServer";
  std::filesystem::remove("/appconfigs/system.cfg");
  my_dm_handle_value1("LDAP.Server=ldap.example.org");
  EXPECT_NE(at(kAddresses, server), "ldap.example.org");
  ASSERT_TRUE(files_.restore());
  my_dm_handle_value1("LDAP.Server=ldap.example.org");
  EXPECT_EQ(at(kAddresses, server), "ldap.example.org");
}

}  // namespace
