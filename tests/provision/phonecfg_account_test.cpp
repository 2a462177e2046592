// phone.cfg keys of the account handler in the box: the frame's reads and
// writes on the configuration service's record, what each account key
// changes in both stores, the mandatory and optional files, and the
// shapes a damaged file may have.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

#include "phonecore/phonecfg.h"
#include "provision/phonecfg/key_table.h"
#include "support/config_peer.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/phonecfg_member.h"

namespace {

using phonecore::testing::ConfigPeer;
using phonecore::testing::ConfigRequest;
using phonecore::testing::FactoryFiles;
using phonecore::testing::shapes;
using phonecore::testing::slurp;
using phonecore::testing::text_at_pointer;
namespace pc = phonecore::phonecfg;

ConfigRequest read_file(const char* path) { return {4102, 1, 1, path, 0}; }
ConfigRequest write_file(const char* path) { return {4102, 2, 1, path, 0}; }
const ConfigRequest kReadVoip{4097, 1, 1, "", 0};
// The store's write leaves the format word as the record last held it;
// shapes() sets it to 0.
const ConfigRequest kWriteVoip{4097, 2, 0, "", 0};

// Nine reads, hotel_mode_get's first, then the eight writes, in order.
std::vector<ConfigRequest> full_record() {
  return {read_file("hal.cfg"),
          kReadVoip,
          read_file("default/voiplist.cfg"),
          read_file("default/function.cfg"),
          read_file("default/settinglist.cfg"),
          read_file("system.cfg"),
          read_file("default/addresslist.cfg"),
          read_file("hal.cfg"),
          read_file("default/programing_key.cfg"),
          write_file("default/voiplist.cfg"),
          write_file("default/function.cfg"),
          write_file("default/programing_key.cfg"),
          write_file("default/settinglist.cfg"),
          kWriteVoip,
          write_file("system.cfg"),
          write_file("default/addresslist.cfg"),
          write_file("hal.cfg")};
}

std::vector<ConfigRequest> without(std::vector<ConfigRequest> record, const ConfigRequest& gone) {
  std::erase(record, gone);
  return record;
}

using phonecore::testing::pointer_of;

class PhonecfgAccount : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(files_.restore());
    ASSERT_TRUE(config_.clear());
    start_network_flag = 0;
    reload_something_flag = 0;
  }

  // The item's printed words and the handler's result, run directly.
  static std::pair<std::string, int> run_handler(const char* item) {
    get_equal_after_ldap(item);
    ::testing::internal::CaptureStdout();
    const int result = Set_Account_Massage();
    return {::testing::internal::GetCapturedStdout(), result};
  }

  FactoryFiles files_{std::span(phonecore::testing::kItemFiles)};
  ConfigPeer config_;
};

TEST_F(PhonecfgAccount, OneKeyIsNineReadsAndEightWritesInOrder) {
  EXPECT_EQ(my_dm_handle_value1("Account1.AccountUserName=1001"), 0);
  EXPECT_EQ(shapes(config_.requests()), full_record());
  EXPECT_EQ(start_network_flag, 0);
  EXPECT_EQ(reload_something_flag, 1);
}

TEST_F(PhonecfgAccount, AVolumeKeysLevelCallComesBetweenTheReadsAndTheWrites) {
  my_dm_handle_value1("Voice.Speaker=9");
  const std::vector<ConfigRequest> heard = shapes(config_.requests());
  const std::vector<ConfigRequest> frame = full_record();
  ASSERT_GT(heard.size(), frame.size());
  EXPECT_EQ(std::vector<ConfigRequest>(heard.begin(), heard.begin() + 9),
            std::vector<ConfigRequest>(frame.begin(), frame.begin() + 9));
  EXPECT_EQ(std::vector<ConfigRequest>(heard.end() - 8, heard.end()),
            std::vector<ConfigRequest>(frame.begin() + 9, frame.end()));
  // The level call writes "hal.cfg" itself in between.
  const std::vector<ConfigRequest> between(heard.begin() + 9, heard.end() - 8);
  EXPECT_NE(std::find(between.begin(), between.end(), write_file("hal.cfg")), between.end());
  EXPECT_EQ(text_at_pointer("hal.cfg", "/audio/speaker-level-call"), "9");
}

TEST_F(PhonecfgAccount, EveryAccountKeyLandsInItsMembersOfBothStores) {
  int rows = 0;
  for (const pc::KeyRow& row : pc::kKeyTable) {
    if (row.group != pc::Group::kAccount) continue;
    ++rows;
    const std::string key(row.key);
    // "1" passes every gate of the group.
    ASSERT_TRUE(files_.restore());
    my_dm_handle_value1((key + "=1").c_str());
    EXPECT_EQ(text_at_pointer("default/voiplist.cfg", pointer_of(row.store, row.index).c_str()), "1") << key;
    if (row.also.target != pc::Target::kNone) {
      EXPECT_EQ(text_at_pointer("voip.cfg", pointer_of(row.also, row.index).c_str()), "1") << key;
    }
  }
  EXPECT_EQ(rows, 88);
}

TEST_F(PhonecfgAccount, EachSuffixHasItsOwnMember) {
  struct Case {
    const char* item;
    const char* file;
    const char* pointer;
    const char* stored;
  };
  const Case cases[] = {
      {"Account2.AccountUserName=2002", "voip.cfg", "/account/1/cred_acc/0/username", "2002"},
      {"Account3.AccountPassword=a=b", "voip.cfg", "/account/2/cred_acc/0/password", "a=b"},
      {"Account4.AccountDisplayName=Desk 4", "voip.cfg", "/account/3/cred_acc/0/display", "Desk 4"},
      {"Account1.AccountRegisterName=reg1", "voip.cfg", "/account/0/cred_acc/0/regname", "reg1"},
      {"Account1.AccountLabel=L1", "voip.cfg", "/account/0/cred_acc/0/label", "L1"},
      {"Account1.AccountEnable=abc", "voip.cfg", "/account/0/enable", "abc"},
      // The heartbeat feeds the registration timeout.
      {"Account1.SIP1HeartbeatMessage=45", "voip.cfg", "/account/0/reg-timeout", "45"},
      {"Account1.SIP2HeartbeatMessage=46", "voip.cfg", "/account/0/reg-timeout2", "46"},
      {"Account1.SIP1RetryCount=3", "voip.cfg", "/account/0/AccountRegFailRetryCount", "3"},
      {"Account1.SIP2RetryCount=4", "voip.cfg", "/account/0/AccountRegFailRetryCount2", "4"},
      {"Account1.SIP1Transport=2", "voip.cfg", "/account/0/transport-type", "2"},
      {"Account1.SIP2Transport=1", "voip.cfg", "/account/0/transport-type2", "1"},
      {"Account2.SIP1ServerAddr=sip.example.org", "default/voiplist.cfg", "/AccountRegister/1/SIP1ServerAddr",
       "sip.example.org"},
      {"Account2.Auto_answer=1", "default/voiplist.cfg", "/SipBase/1/AccountAutoAnswerSwitch", "1"},
      {"Account2.Anonymous_call=1", "default/voiplist.cfg", "/SipBase/1/AccountAnonymousCallSwitch", "1"},
      {"Account2.Reject_anonymous_call=1", "default/voiplist.cfg", "/SipBase/1/AccountRejectAnonymousCallSwitch", "1"},
      {"Account3.Subscribe_mwi=1", "default/voiplist.cfg", "/SipAdvance/2/AccountSubsribeMWI", "1"},
      {"Account3.Voice_mail.Number=*97", "default/voiplist.cfg", "/SipAdvance/2/AccountVoiceMailNumber", "*97"},
      {"Account3.Subscribe_mwi_expires=3600", "default/voiplist.cfg", "/SipAdvance/2/AccountSubscribeMWIExpire",
       "3600"},
  };
  for (const Case& c : cases) {
    ASSERT_TRUE(files_.restore());
    my_dm_handle_value1(c.item);
    EXPECT_EQ(text_at_pointer(c.file, c.pointer), c.stored) << c.item;
  }
  // No member of the voip configuration comes from a server address.
  const std::string voip = slurp("/appconfigs/voip.cfg");
  EXPECT_EQ(voip.find("sip.example.org"), std::string::npos);
}

TEST_F(PhonecfgAccount, GatedSuffixesRefuseAnythingButZeroOrOne) {
  const std::string before = text_at_pointer("default/voiplist.cfg", "/SipBase/1/AccountAutoAnswerSwitch");
  my_dm_handle_value1("Account2.Auto_answer=2");
  EXPECT_EQ(text_at_pointer("default/voiplist.cfg", "/SipBase/1/AccountAutoAnswerSwitch"), before);
  // Refused, yet the frame ran whole and the reload is asked for.
  EXPECT_EQ(shapes(config_.requests()), full_record());
  EXPECT_EQ(reload_something_flag, 1);
  my_dm_handle_value1("Account2.Auto_answer=1");
  EXPECT_EQ(text_at_pointer("default/voiplist.cfg", "/SipBase/1/AccountAutoAnswerSwitch"), "1");
}

TEST_F(PhonecfgAccount, AnUnknownKeyRewritesAllEightFilesUnchanged) {
  const std::string voiplist = text_at_pointer("default/voiplist.cfg", "/AccountRegister");
  my_dm_handle_value1("Account5.AccountUserName=x");
  EXPECT_EQ(shapes(config_.requests()), full_record());
  EXPECT_EQ(reload_something_flag, 1);
  EXPECT_EQ(start_network_flag, 0);
  EXPECT_EQ(text_at_pointer("default/voiplist.cfg", "/AccountRegister"), voiplist);
}

TEST_F(PhonecfgAccount, EachMandatoryFileMissingIsItsLineMinusOneAndNothingWritten) {
  struct Case {
    const char* file;
    const char* words;
    size_t reads;  // the reads made before the handler gives up
  };
  const Case cases[] = {
      {"voip.cfg", "voip.cfg open error!\n", 2},
      {"default/voiplist.cfg", "voiplist.cfg open error!\n", 3},
      {"default/programing_key.cfg", "programing_key.cfg open error!\n", 9},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    ASSERT_TRUE(files_.restore());
    std::filesystem::remove(std::string("/appconfigs/") + c.file);
    ASSERT_TRUE(config_.clear());
    const auto [words, result] = run_handler("Account1.AccountUserName=1001");
    EXPECT_EQ(words, c.words);
    EXPECT_EQ(result, -1);
    const std::vector<ConfigRequest> heard = shapes(config_.requests());
    const std::vector<ConfigRequest> all = full_record();
    const std::vector<ConfigRequest> reads(all.begin(), all.begin() + static_cast<long>(c.reads));
    EXPECT_EQ(heard, reads);
  }
  // Through the router the result is dropped, and the flag still rises.
  ASSERT_TRUE(files_.restore());
  std::filesystem::remove("/appconfigs/default/voiplist.cfg");
  reload_something_flag = 0;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(my_dm_handle_value1("Account1.AccountUserName=1001"), 0);
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(reload_something_flag, 1);
}

TEST_F(PhonecfgAccount, AMissingOptionalFileDropsItsGroupAndItsWrite) {
  std::filesystem::remove("/appconfigs/default/function.cfg");
  const auto [words, result] = run_handler("Forward.mode=1");
  EXPECT_EQ(words, "");
  EXPECT_EQ(result, 0);
  EXPECT_EQ(shapes(config_.requests()), without(full_record(), write_file("default/function.cfg")));
  EXPECT_FALSE(std::filesystem::exists("/appconfigs/default/function.cfg"));
}

TEST_F(PhonecfgAccount, WrongShapesPassWithoutEffect) {
  // Two accounts only, and the key arrays not arrays.
  json_object* accounts = json_object_from_file("/appconfigs/default/voiplist.cfg");
  ASSERT_NE(accounts, nullptr);
  json_object* list = json_object_object_get(accounts, "AccountRegister");
  json_object_array_del_idx(list, 2, 2);
  ASSERT_EQ(json_object_to_file("/appconfigs/default/voiplist.cfg", accounts), 0);
  json_object_put(accounts);
  json_object* keys = json_object_from_file("/appconfigs/default/programing_key.cfg");
  ASSERT_NE(keys, nullptr);
  json_object_object_add(json_object_object_get(keys, "Hotkey_lineKey"), "data", json_object_new_string("x"));
  ASSERT_EQ(json_object_to_file("/appconfigs/default/programing_key.cfg", keys), 0);
  json_object_put(keys);

  // Account 4 has no element in the settings view; its voip member still
  // takes the value, since that store has all four.
  my_dm_handle_value1("Account4.AccountUserName=4004");
  EXPECT_EQ(text_at_pointer("default/voiplist.cfg", "/AccountRegister/3"), "<absent>");
  EXPECT_EQ(text_at_pointer("voip.cfg", "/account/3/cred_acc/0/username"), "4004");
  my_dm_handle_value1("LineKey1.Label=x");
  EXPECT_EQ(text_at_pointer("default/programing_key.cfg", "/Hotkey_lineKey/data"), "x");
  EXPECT_EQ(shapes(config_.requests()).size(), 2 * full_record().size());
}

TEST_F(PhonecfgAccount, IdentitiesOfEmptyServersKeepTheirShape) {
  my_dm_handle_value1("Account2.SIP1ServerAddr=");  // no value: nothing happens
  json_object* accounts = json_object_from_file("/appconfigs/default/voiplist.cfg");
  json_object* a2 = json_object_array_get_idx(json_object_object_get(accounts, "AccountRegister"), 1);
  json_object_object_add(a2, "AccountUserName", json_object_new_string("2002"));
  json_object_object_add(a2, "SIP1ServerAddr", json_object_new_string(""));
  json_object_object_add(a2, "SIP1ServerAddrPort", json_object_new_string(""));
  ASSERT_EQ(json_object_to_file("/appconfigs/default/voiplist.cfg", accounts), 0);
  json_object_put(accounts);
  EXPECT_EQ(set_id_to_voip_cfg(), 0);
  EXPECT_EQ(text_at_pointer("voip.cfg", "/account/1/registrar"), "sip::");
  EXPECT_EQ(text_at_pointer("voip.cfg", "/account/1/id"), "sip:2002@:");
}

}  // namespace
