// The dial rules against the configuration-service peer: loads from
// "default/settinglist.cfg" and "default/rule.cfg", and what the stores
// and row updates leave in "default/rule.cfg".

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstring>
#include <string>

#include "dial/dial_rule_internal.h"
#include "phonecore/config.h"
#include "phonecore/dial_rule.h"
#include "support/json_files.h"

using namespace phonecore::dial;

namespace {

using phonecore::testing::write_json_text;

void write_settings(const std::string& members) { write_json_text("default/settinglist.cfg", "{" + members + "}"); }

json_object* read_rule_store() { return read_gnl_config_json("default/rule.cfg"); }

std::string rule_store_member(const char* name) {
  json_object* root = read_rule_store();
  json_object* m = nullptr;
  std::string text = "absent";
  if (root != nullptr && json_object_object_get_ex(root, name, &m)) {
    text = json_object_to_json_string_ext(m, JSON_C_TO_STRING_PLAIN);
  }
  json_object_put(root);
  return text;
}

RuleReplace replace_row(int id, const char* prefix, const char* replace, int account) {
  RuleReplace r{};
  r.id = id;
  std::snprintf(r.prefix, sizeof r.prefix, "%s", prefix);
  std::snprintf(r.replace, sizeof r.replace, "%s", replace);
  r.accounts[account - 1] = 1;
  return r;
}

RuleDial dial_row(int id, const char* rule) {
  RuleDial r{};
  r.id = id;
  std::snprintf(r.rule, sizeof r.rule, "%s", rule);
  r.accounts[0] = 1;
  return r;
}

class DialRules : public ::testing::Test {
 protected:
  void SetUp() override {
    write_json_text("default/rule.cfg", R"({"ReplaceInfo":[],"DialInfo":[],"LimitInfo":[],"ZoneInfo":{}})");
    vorn_rule_init();
  }
};

TEST_F(DialRules, LoadsTheFourTablesFromTheCurrentStore) {
  write_settings(R"J(
    "DialplanReplace": {"data": [{"Prefix": "0(x.)", "Replace": "0049$1", "Account": "1,3"}]},
    "DialplanDialnow": {"data": [{"RealTimeDialingRules": "911", "Account": "2"}]},
    "DialplanRestrict": {"BlockOut1": "900x.", "Account1": "4"},
    "DialplanAreaCode": {"AreaCode": "0711", "AreaCodeMinLen": "3", "AreaCodeMaxLen": 9, "AreaCodeAccount": ""})J");
  ::testing::internal::CaptureStdout();
  vorn_rule_all_load();
  const std::string log = ::testing::internal::GetCapturedStdout();
  EXPECT_NE(log.find(", Preffix = 0(x.), Replace = 0049$1, Account = 1,3\n\r"), std::string::npos);

  EXPECT_STREQ(g_rule_replace[0].prefix, "0(x.)");
  EXPECT_STREQ(g_rule_replace[0].replace, "0049$1");
  EXPECT_EQ(g_rule_replace[0].accounts[0], 1);
  EXPECT_EQ(g_rule_replace[0].accounts[1], 0);
  EXPECT_EQ(g_rule_replace[0].accounts[2], 1);
  EXPECT_STREQ(g_rule_dial[0].rule, "911");
  EXPECT_EQ(g_rule_dial[0].accounts[1], 1);
  EXPECT_STREQ(g_rule_limit[0].number, "900x.");
  EXPECT_EQ(g_rule_limit[0].accounts[3], 1);
  EXPECT_EQ(g_rule_limit[0].accounts[0], 0);
  EXPECT_STREQ(g_rule_zone.code, "0711");
  EXPECT_EQ(g_rule_zone.min_length, 3);
  EXPECT_EQ(g_rule_zone.max_length, 9);
  for (int32_t flag : g_rule_zone.accounts) EXPECT_EQ(flag, 1);

  char out[RULE_TEXT_SIZE];
  EXPECT_EQ(vorn_rule_replace_match("0301234", out, 3), 1);
  EXPECT_STREQ(out, "0049301234");
  EXPECT_EQ(vorn_rule_dial_match("911", 2), 1);
  EXPECT_EQ(vorn_rule_limit_match("9001", 4), 1);
}

TEST_F(DialRules, RestrictWithOnlyBlockOutThreeBlocksThroughRowTwo) {
  write_settings(R"("DialplanRestrict": {"BlockOut3": "1900x.", "Account3": "1"})");
  vorn_rule_all_load();
  EXPECT_STREQ(g_rule_limit[0].number, "");
  EXPECT_STREQ(g_rule_limit[2].number, "1900x.");
  EXPECT_EQ(g_rule_limit[2].id, 2);
  EXPECT_EQ(vorn_rule_limit_match("19001234", 1), 1);
  EXPECT_EQ(vorn_rule_limit_match("19001234", 2), 0);
  // Rows without their account member apply to all accounts.
  for (int32_t flag : g_rule_limit[0].accounts) EXPECT_EQ(flag, 1);
}

TEST_F(DialRules, ADialNowStoreWithAnEmptyFirstRowHidesTheRest) {
  write_settings(R"("DialplanDialnow": {"data": [{"RealTimeDialingRules": "", "Account": ""},
                                                  {"RealTimeDialingRules": "112", "Account": ""}]})");
  vorn_rule_all_load();
  EXPECT_STREQ(g_rule_dial[1].rule, "112");
  EXPECT_EQ(vorn_rule_dial_match("112", 1), 0);
}

TEST_F(DialRules, TheEleventhAndLaterElementsAreNotLoaded) {
  std::string data;
  for (int i = 0; i < 12; ++i) {
    data += std::string(i ? "," : "") + R"({"Prefix": ")" + std::to_string(100 + i) + R"(", "Replace": "x"})";
  }
  write_settings(R"("DialplanReplace": {"data": [)" + data + "]}");
  vorn_rule_all_load();
  EXPECT_STREQ(g_rule_replace[9].prefix, "109");
  EXPECT_EQ(g_rule_replace[9].id, 9);
  char out[RULE_TEXT_SIZE] = "untouched";
  g_rule_zone.code[0] = '\0';
  EXPECT_EQ(vorn_rule_replace_match("110", out, 1), 0);
  EXPECT_EQ(vorn_rule_replace_match("109", out, 1), 1);
}

TEST_F(DialRules, AreaCodeBoundsGiveSixteenDigitsNoAreaCode) {
  write_settings(
      R"("DialplanAreaCode": {"AreaCode": "030", "AreaCodeMinLen": 1, "AreaCodeMaxLen": 15, "AreaCodeAccount": "1"})");
  vorn_rule_all_load();
  char out[RULE_TEXT_SIZE] = "untouched";
  EXPECT_EQ(vorn_rule_replace_match("1234567890123456", out, 1), 0);
  EXPECT_STREQ(out, "untouched");
  EXPECT_EQ(vorn_rule_replace_match("123456789012345", out, 1), 1);
  EXPECT_STREQ(out, "030123456789012345");
}

TEST_F(DialRules, AbsentSectionsAndMembersKeepTheDefaults) {
  write_settings(R"("DialplanAreaCode": {"AreaCode": "0123456789012345678901234567890123456789"})");
  vorn_rule_all_load();
  EXPECT_EQ(std::string(g_rule_zone.code), "01234567890123456789012345678901");  // 32 characters
  EXPECT_EQ(g_rule_zone.min_length, 0);                                          // an absent bound reads as 0
  EXPECT_EQ(g_rule_zone.max_length, 0);
  write_settings(R"("Other": {})");
  vorn_rule_all_load();
  EXPECT_EQ(g_rule_zone.min_length, 1);
  EXPECT_EQ(g_rule_zone.max_length, 15);
  EXPECT_EQ(g_rule_zone.accounts[1], 1);
}

TEST_F(DialRules, WithoutTheCurrentStoreTheTablesKeepTheirDefaults) {
  g_rule_dial[0] = dial_row(0, "911");
  ASSERT_EQ(std::remove("/appconfigs/default/settinglist.cfg"), 0);
  ::testing::internal::CaptureStdout();
  const int printed = vorn_rule_all_load();
  const std::string log = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(printed, static_cast<int>(log.size()));  // the length of its log line
  EXPECT_STREQ(g_rule_dial[0].rule, "");
  EXPECT_EQ(g_rule_zone.max_length, 15);
  EXPECT_EQ(vorn_rule_dial_match("911", 1), 0);
}

TEST_F(DialRules, LongPatternsAreCutAtSixtyThreeCharacters) {
  const std::string long_prefix(100, '1');
  write_settings(R"("DialplanReplace": {"data": [{"Prefix": ")" + long_prefix + R"(", "Replace": ")" + long_prefix +
                 R"("}]})");
  vorn_rule_all_load();
  EXPECT_EQ(std::string(g_rule_replace[0].prefix), std::string(63, '1'));
  EXPECT_EQ(std::string(g_rule_replace[0].replace), std::string(63, '1'));
}

TEST_F(DialRules, StoresWriteTheOlderFormatWithItsSpelling) {
  g_rule_replace[0] = replace_row(0, "0(x.)", "0049$1", 1);
  g_rule_replace[0].accounts[2] = 1;
  g_rule_replace[1] = replace_row(1, "9x.", "", 1);  // no template: the stored rows end here
  g_rule_replace[2] = replace_row(2, "8x.", "8", 1);
  EXPECT_EQ(vorn_rule_replace_store(), 0);
  EXPECT_EQ(rule_store_member("ReplaceInfo"), R"J([{"Id":0,"Preffix":"0(x.)","Replace":"0049$1","Account":"1,3,"}])J");

  g_rule_dial[0] = dial_row(0, "911");
  vorn_rule_dial_store();
  EXPECT_EQ(rule_store_member("DialInfo"), R"([{"Id":0,"Rule":"911","Account":"1,"}])");

  std::snprintf(g_rule_limit[0].number, sizeof g_rule_limit[0].number, "%s", "900");
  g_rule_limit[0].accounts[3] = 1;
  vorn_rule_limit_store();
  EXPECT_EQ(rule_store_member("LimitInfo"), R"([{"Id":0,"Number":"900","Account":"4"}])");

  std::snprintf(g_rule_zone.code, sizeof g_rule_zone.code, "%s", "0711");
  vorn_rule_zone_store();
  EXPECT_EQ(rule_store_member("ZoneInfo"), R"({"Code":"0711","minLength":1,"maxLength":15,"Account":"2,"})");
  // The other tables' members stay as they were written.
  EXPECT_EQ(rule_store_member("DialInfo"), R"([{"Id":0,"Rule":"911","Account":"1,"}])");
}

TEST_F(DialRules, AZoneStoreWithAnEmptyCodeLeavesTheMembersThatStand) {
  write_json_text("default/rule.cfg", R"({"ZoneInfo":{"Code":"030","MinLength":2,"MaxLength":9,"Account":"1"}})");
  vorn_rule_zone_store();
  EXPECT_EQ(rule_store_member("ZoneInfo"), R"({"Code":"030","MinLength":2,"MaxLength":9,"Account":"1"})");
}

TEST_F(DialRules, AStoreStartsAFreshFileWhenNoneCanBeRead) {
  ASSERT_EQ(std::remove("/appconfigs/default/rule.cfg"), 0);
  g_rule_dial[0] = dial_row(0, "112");
  vorn_rule_dial_store();
  EXPECT_EQ(rule_store_member("DialInfo"), R"([{"Id":0,"Rule":"112","Account":"1,"}])");
  EXPECT_EQ(rule_store_member("ReplaceInfo"), "absent");
}

TEST_F(DialRules, TheOlderLoadReadsBackWhatTheStoresWroteExceptTheBounds) {
  g_rule_replace[0] = replace_row(0, "0(x.)", "0049$1", 2);
  vorn_rule_replace_store();
  g_rule_dial[0] = dial_row(5, "911");
  vorn_rule_dial_store();
  std::snprintf(g_rule_zone.code, sizeof g_rule_zone.code, "%s", "0711");
  g_rule_zone.min_length = 4;
  g_rule_zone.max_length = 12;
  vorn_rule_zone_store();

  vorn_rule_all_load_obsoleted();
  EXPECT_STREQ(g_rule_replace[0].prefix, "0(x.)");
  EXPECT_EQ(g_rule_replace[0].accounts[1], 1);
  EXPECT_EQ(g_rule_replace[0].accounts[0], 0);
  EXPECT_EQ(g_rule_dial[0].id, 5);
  EXPECT_STREQ(g_rule_zone.code, "0711");
  // Stored as "minLength" and "maxLength", looked for as "MinLength" and
  // "MaxLength".
  EXPECT_EQ(g_rule_zone.min_length, 0);
  EXPECT_EQ(g_rule_zone.max_length, 0);
}

TEST_F(DialRules, TheCurrentLoadDoesNotReadTheOlderStore) {
  write_settings(R"("Other": {})");
  g_rule_dial[0] = dial_row(0, "911");
  vorn_rule_dial_store();
  vorn_rule_all_load();
  EXPECT_STREQ(g_rule_dial[0].rule, "");
}

TEST_F(DialRules, AddNumbersTheRowFromTheRowBeforeIt) {
  g_rule_dial[0] = dial_row(7, "1");
  RuleDial record = dial_row(99, "2");
  vorn_rule_dial_update(0, &record);
  EXPECT_STREQ(g_rule_dial[1].rule, "2");
  EXPECT_EQ(g_rule_dial[1].id, 8);
  EXPECT_EQ(rule_store_member("DialInfo"),
            R"([{"Id":7,"Rule":"1","Account":"1,"},{"Id":8,"Rule":"2","Account":"1,"}])");
}

TEST_F(DialRules, AddOnAFullTableOverwritesRowZeroWithIdZero) {
  for (int i = 0; i < RULE_ROWS; ++i) g_rule_dial[i] = dial_row(i + 10, std::to_string(i).c_str());
  RuleDial record = dial_row(99, "new");
  vorn_rule_dial_update(0, &record);
  EXPECT_STREQ(g_rule_dial[0].rule, "new");
  EXPECT_EQ(g_rule_dial[0].id, 0);
  EXPECT_STREQ(g_rule_dial[1].rule, "1");
}

TEST_F(DialRules, DeleteMovesTheRowsDownAndLeavesTheLastOneTwice) {
  g_rule_replace[0] = replace_row(1, "A", "a", 1);
  g_rule_replace[1] = replace_row(2, "B", "b", 1);
  g_rule_replace[2] = replace_row(3, "C", "c", 1);
  RuleReplace target{};
  target.id = 1;
  vorn_rule_replace_update(1, &target);
  EXPECT_STREQ(g_rule_replace[0].prefix, "B");
  EXPECT_STREQ(g_rule_replace[1].prefix, "C");
  EXPECT_STREQ(g_rule_replace[2].prefix, "C");
  EXPECT_STREQ(g_rule_replace[3].prefix, "");
  EXPECT_EQ(rule_store_member("ReplaceInfo"), R"([{"Id":2,"Preffix":"B","Replace":"b","Account":"1,"},)"
                                              R"({"Id":3,"Preffix":"C","Replace":"c","Account":"1,"},)"
                                              R"({"Id":3,"Preffix":"C","Replace":"c","Account":"1,"}])");
}

TEST_F(DialRules, DeletingTheLastOrOnlyRowChangesNothing) {
  g_rule_dial[0] = dial_row(1, "A");
  g_rule_dial[1] = dial_row(2, "B");
  RuleDial last{};
  last.id = 2;
  vorn_rule_dial_update(1, &last);
  EXPECT_STREQ(g_rule_dial[0].rule, "A");
  EXPECT_STREQ(g_rule_dial[1].rule, "B");

  vorn_rule_init();
  g_rule_dial[0] = dial_row(4, "only");
  RuleDial only{};
  only.id = 4;
  vorn_rule_dial_update(1, &only);
  EXPECT_STREQ(g_rule_dial[0].rule, "only");
}

TEST_F(DialRules, ModifyKeepsTheRowsIdAndAnUnknownIdActsOnRowZero) {
  g_rule_dial[0] = dial_row(4, "A");
  g_rule_dial[1] = dial_row(5, "B");
  RuleDial change = dial_row(5, "B2");
  change.accounts[2] = 1;
  vorn_rule_dial_update(2, &change);
  EXPECT_STREQ(g_rule_dial[1].rule, "B2");
  EXPECT_EQ(g_rule_dial[1].id, 5);
  EXPECT_EQ(g_rule_dial[1].accounts[2], 1);

  RuleDial unknown = dial_row(77, "Z");
  vorn_rule_dial_update(2, &unknown);
  EXPECT_STREQ(g_rule_dial[0].rule, "Z");
  EXPECT_EQ(g_rule_dial[0].id, 4);
  vorn_rule_dial_update(1, &unknown);  // delete of an unknown id: row 0 goes
  EXPECT_STREQ(g_rule_dial[0].rule, "B2");
}

TEST_F(DialRules, AnyOtherOpStoresWithoutChangingAndANullRecordDoesNothing) {
  g_rule_limit[0].id = 0;
  std::snprintf(g_rule_limit[0].number, sizeof g_rule_limit[0].number, "%s", "900");
  g_rule_limit[0].accounts[0] = 1;
  vorn_rule_limit_update(1, nullptr);
  EXPECT_EQ(rule_store_member("LimitInfo"), "[]");
  RuleLimit record{};
  std::snprintf(record.number, sizeof record.number, "%s", "800");
  vorn_rule_limit_update(7, &record);
  EXPECT_STREQ(g_rule_limit[0].number, "900");
  EXPECT_EQ(rule_store_member("LimitInfo"), R"([{"Id":0,"Number":"900","Account":"1,"}])");
}

TEST_F(DialRules, ZoneUpdateReplacesTheRecordWholeAndStoresIt) {
  RuleZone zone{};
  std::snprintf(zone.code, sizeof zone.code, "%s", "089");
  zone.min_length = 5;
  zone.max_length = 8;
  zone.accounts[0] = zone.accounts[3] = 1;
  vorn_rule_zone_update(&zone);
  EXPECT_EQ(std::memcmp(&g_rule_zone, &zone, sizeof zone), 0);
  EXPECT_EQ(rule_store_member("ZoneInfo"), R"({"Code":"089","minLength":5,"maxLength":8,"Account":"1,4"})");
  vorn_rule_zone_update(nullptr);
  EXPECT_STREQ(g_rule_zone.code, "089");
}

}  // namespace
