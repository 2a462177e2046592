// Account texts of the dial rules, the defaults of the tables, and the
// match questions on tables set up in memory.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "dial/dial_rule_internal.h"
#include "phonecore/dial_rule.h"

using namespace phonecore::dial;

namespace {

struct Flags {
  int32_t v[RULE_ACCOUNTS] = {9, 9, 9, 9};
};

TEST(ParseAccount, ACommaListSetsTheNamedAccountsAndCountsThem) {
  Flags f;
  EXPECT_EQ(parse_account("1,2,4", f.v), 3);
  EXPECT_EQ(f.v[0], 1);
  EXPECT_EQ(f.v[1], 1);
  EXPECT_EQ(f.v[2], 0);
  EXPECT_EQ(f.v[3], 1);
}

TEST(ParseAccount, AccountsOfFiveAndAboveAreIgnoredInAList) {
  Flags f;
  EXPECT_EQ(parse_account("2,9", f.v), 1);
  EXPECT_EQ(f.v[0], 0);
  EXPECT_EQ(f.v[1], 1);
  EXPECT_EQ(f.v[2], 0);
  EXPECT_EQ(f.v[3], 0);
}

TEST(ParseAccount, ASingleAccountAboveFourSetsNothing) {
  Flags f;
  EXPECT_EQ(parse_account("7", f.v), 0);
  for (int32_t flag : f.v) EXPECT_EQ(flag, 0);
  EXPECT_EQ(parse_account("3", f.v), 1);
  EXPECT_EQ(f.v[2], 1);
}

TEST(ParseAccount, NoTextOrBlanksMeanAllFour) {
  for (const char* text : {static_cast<const char*>(nullptr), "", " ", " \t "}) {
    Flags f{{0, 0, 0, 0}};
    EXPECT_EQ(parse_account(text, f.v), 4) << (text ? text : "null");
    for (int32_t flag : f.v) EXPECT_EQ(flag, 1);
  }
}

TEST(ParseAccount, TokensAreTrimmedAndEmptyOnesSkipped) {
  Flags f;
  EXPECT_EQ(parse_account(" 1 , ,3 ,", f.v), 2);
  EXPECT_EQ(f.v[0], 1);
  EXPECT_EQ(f.v[2], 1);
  EXPECT_EQ(f.v[1], 0);
}

TEST(ParseAccount, ZeroAndNegativeAccountsNameNothing) {
  Flags f;
  EXPECT_EQ(parse_account("0,-1,-400,2", f.v), 1);
  EXPECT_EQ(f.v[1], 1);
  EXPECT_EQ(parse_account("0", f.v), 0);
  EXPECT_EQ(parse_account("-3", f.v), 0);
  for (int32_t flag : f.v) EXPECT_EQ(flag, 0);
}

TEST(ParseAccount, LogsTheCountOfAList) {
  Flags f;
  ::testing::internal::CaptureStdout();
  parse_account("1,2", f.v);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("parse_account,"), std::string::npos);
  ::testing::internal::CaptureStdout();
  parse_account("1,2", f.v);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find(", accCount = 2 \n\r"), std::string::npos);
}

TEST(ParseAccount, ALongTextIsCutNotOverrun) {
  const std::string text = std::string(200, ' ') + "1," + std::string(300, '2');
  Flags f;
  EXPECT_EQ(parse_account(text.c_str(), f.v), 4);  // 62 blanks remain: all
  const std::string list = "1," + std::string(100, '0') + "3";
  EXPECT_EQ(parse_account(list.c_str(), f.v), 1);  // the long token reads 0
  EXPECT_EQ(f.v[0], 1);
}

TEST(FormatAccount, KeepsTheCommaBehindEveryAccountButTheFourth) {
  char out[16] = "junk";
  const int32_t one_three[RULE_ACCOUNTS] = {1, 0, 1, 0};
  format_account(out, one_three);
  EXPECT_STREQ(out, "1,3,");
  const int32_t all[RULE_ACCOUNTS] = {1, 1, 1, 1};
  format_account(out, all);
  EXPECT_STREQ(out, "1,2,3,4");
  const int32_t none[RULE_ACCOUNTS] = {0, 0, 0, 0};
  format_account(out, none);
  EXPECT_STREQ(out, "");
  format_account(nullptr, all);
}

TEST(FormatAccount, NoAccountsReadBackAsAllFour) {
  char out[16];
  const int32_t none[RULE_ACCOUNTS] = {0, 0, 0, 0};
  format_account(out, none);
  Flags f;
  EXPECT_EQ(parse_account(out, f.v), 4);
}

TEST(RuleInit, TheAreaCodeDefaultsToAccountTwoAlone) {
  g_rule_replace[3].prefix[0] = '9';
  vorn_rule_init();
  EXPECT_EQ(g_rule_replace[3].prefix[0], '\0');
  EXPECT_EQ(g_rule_zone.min_length, 1);
  EXPECT_EQ(g_rule_zone.max_length, 15);
  EXPECT_EQ(g_rule_zone.accounts[0], 0);
  EXPECT_EQ(g_rule_zone.accounts[1], 1);
  EXPECT_EQ(g_rule_zone.accounts[2], 0);
  EXPECT_EQ(g_rule_zone.accounts[3], 0);
}

void set_replace(int row, const char* prefix, const char* replace, std::initializer_list<int> accounts) {
  RuleReplace& r = g_rule_replace[row];
  std::snprintf(r.prefix, sizeof r.prefix, "%s", prefix);
  std::snprintf(r.replace, sizeof r.replace, "%s", replace);
  for (int a : accounts) r.accounts[a - 1] = 1;
}

TEST(RuleMatch, AReplaceRuleOfAnotherAccountLeavesTheNumberToTheNextRowAndTheAreaCode) {
  vorn_rule_init();
  set_replace(0, "0(x.)", "0049$1", {1});
  set_replace(1, "9(x.)", "$1", {2});
  std::snprintf(g_rule_zone.code, sizeof g_rule_zone.code, "%s", "030");
  g_rule_zone.accounts[0] = g_rule_zone.accounts[1] = 1;
  char out[RULE_TEXT_SIZE];
  EXPECT_EQ(vorn_rule_replace_match("0301234", out, 1), 1);
  EXPECT_STREQ(out, "0049301234");
  EXPECT_EQ(vorn_rule_replace_match("0301234", out, 2), 1);  // row 0 isn't account 2's; the area code is
  EXPECT_STREQ(out, "0300301234");
  EXPECT_EQ(vorn_rule_replace_match("91234", out, 2), 1);  // row 1 is
  EXPECT_STREQ(out, "1234");
  EXPECT_EQ(vorn_rule_replace_match("91234", out, 3), 0);  // nothing for account 3
}

TEST(RuleMatch, TheFirstMatchingRowDecides) {
  vorn_rule_init();
  set_replace(0, "1(x.)", "A$1", {1});
  set_replace(1, "12(x.)", "B$1", {1});
  char out[RULE_TEXT_SIZE];
  EXPECT_EQ(vorn_rule_replace_match("1234", out, 1), 1);
  EXPECT_STREQ(out, "A234");
}

TEST(RuleMatch, AnEmptyPrefixEndsTheReplaceWalk) {
  vorn_rule_init();
  set_replace(1, "1(x.)", "A$1", {1});  // behind the empty row 0
  g_rule_zone.accounts[0] = 0;
  char out[RULE_TEXT_SIZE] = "untouched";
  EXPECT_EQ(vorn_rule_replace_match("1234", out, 1), 0);
  EXPECT_STREQ(out, "untouched");
}

TEST(RuleMatch, AnAccountOutsideOneToFourGivesZeroAndLeavesTheOutput) {
  vorn_rule_init();
  set_replace(0, "x.", "1", {1, 2, 3, 4});
  std::snprintf(g_rule_zone.code, sizeof g_rule_zone.code, "%s", "030");
  char out[RULE_TEXT_SIZE] = "untouched";
  for (int account : {0, 5, -1}) {
    EXPECT_EQ(vorn_rule_replace_match("123", out, account), 0);
    EXPECT_EQ(vorn_rule_zone_match("123", out, account), 0);
    EXPECT_EQ(vorn_rule_dial_match("123", account), 0);
    EXPECT_EQ(vorn_rule_limit_match("123", account), 0);
  }
  EXPECT_EQ(vorn_rule_replace_match("", out, 1), 0);
  EXPECT_EQ(vorn_rule_replace_match(nullptr, out, 1), 0);
  EXPECT_STREQ(out, "untouched");
}

TEST(RuleMatch, TheAreaCodeHoldsToTheLengthBounds) {
  vorn_rule_init();
  std::snprintf(g_rule_zone.code, sizeof g_rule_zone.code, "%s", "0711");
  char out[RULE_TEXT_SIZE] = "untouched";
  EXPECT_EQ(vorn_rule_zone_match("1234567890123456", out, 2), 0);  // 16 digits
  EXPECT_STREQ(out, "untouched");
  EXPECT_EQ(vorn_rule_zone_match("123456789012345", out, 2), 1);  // 15 digits
  EXPECT_STREQ(out, "0711123456789012345");
  EXPECT_EQ(vorn_rule_zone_match("1", out, 2), 1);
  EXPECT_EQ(vorn_rule_zone_match("1", out, 1), 0);  // the default flag is account 2's alone
  g_rule_zone.min_length = 3;
  EXPECT_EQ(vorn_rule_zone_match("12", out, 2), 0);
  g_rule_zone.code[0] = '\0';
  EXPECT_EQ(vorn_rule_zone_match("123", out, 2), 0);
}

TEST(RuleMatch, TheAreaCodeAndNumberAreCutAtSixtyThreeCharacters) {
  vorn_rule_init();
  std::memset(g_rule_zone.code, '7', 40);
  g_rule_zone.code[40] = '\0';
  g_rule_zone.max_length = 100;
  const std::string number(40, '1');
  char out[RULE_TEXT_SIZE + 8];
  std::memset(out, 'z', sizeof out);
  EXPECT_EQ(vorn_rule_zone_match(number.c_str(), out, 2), 1);
  EXPECT_EQ(std::strlen(out), 63u);
  EXPECT_EQ(out[64], 'z');
}

TEST(RuleMatch, AnEmptyDialNowRowHidesTheRowsBehindIt) {
  vorn_rule_init();
  std::snprintf(g_rule_dial[1].rule, sizeof g_rule_dial[1].rule, "%s", "911");
  g_rule_dial[1].accounts[0] = 1;
  EXPECT_EQ(vorn_rule_dial_match("911", 1), 0);
  std::snprintf(g_rule_dial[0].rule, sizeof g_rule_dial[0].rule, "%s", "112");
  g_rule_dial[0].accounts[0] = 1;
  EXPECT_EQ(vorn_rule_dial_match("911", 1), 1);
  EXPECT_EQ(vorn_rule_dial_match("112", 1), 1);
  EXPECT_EQ(vorn_rule_dial_match("113", 1), 0);
}

TEST(RuleMatch, LimitRowsAreAllVisitedGapsAndAll) {
  vorn_rule_init();
  std::snprintf(g_rule_limit[2].number, sizeof g_rule_limit[2].number, "%s", "900x.");
  g_rule_limit[2].accounts[3] = 1;
  EXPECT_EQ(vorn_rule_limit_match("9001234", 4), 1);
  EXPECT_EQ(vorn_rule_limit_match("9001234", 3), 0);
  EXPECT_EQ(vorn_rule_limit_match("8001234", 4), 0);
}

TEST(RuleMatch, LogsOnEntryAndBeforeEachCandidate) {
  vorn_rule_init();
  set_replace(0, "0(x.)", "0049$1", {1});
  std::snprintf(g_rule_dial[0].rule, sizeof g_rule_dial[0].rule, "%s", "911");
  g_rule_dial[0].accounts[0] = 1;
  std::snprintf(g_rule_limit[0].number, sizeof g_rule_limit[0].number, "%s", "900");
  g_rule_limit[0].accounts[0] = 1;
  char out[RULE_TEXT_SIZE];
  ::testing::internal::CaptureStdout();
  vorn_rule_replace_match("123", out, 1);
  vorn_rule_dial_match("123", 1);
  vorn_rule_limit_match("123", 1);
  const std::string log = ::testing::internal::GetCapturedStdout();
  for (const char* line : {
           "tolk_rule vorn_rule_replace_match inputStr:123 accId:1\n",
           "tolk_rule vorn_rule_dial_match acc is valid,match the preffix:0(x.) replace:0049$1\n",
           "tolk_rule vorn_rule_zone_match inputStr:123 accId:1\n",
           "tolk_rule vorn_rule_dial_match inputStr:123 accId:1\n",
           "tolk_rule vorn_rule_dial_match acc is valid,match the rule:911\n",
           "tolk_rule vorn_rule_limit_match inputStr:123 accId:1\n",
           "tolk_rule vorn_rule_limit_match acc is valid,match the rule:900\n",
       }) {
    EXPECT_NE(log.find(line), std::string::npos) << line;
  }
}

}  // namespace
