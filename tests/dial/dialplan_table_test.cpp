// The dial-plan engine, case by case: pattern, number, template, the
// verdict and the rewritten number. Every case is checked three ways:
// dialplan_check_block, dialplan_check_replace, and the two records by
// hand (compile, wrap, check).

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "phonecore/dialplan.h"

namespace {

struct Case {
  std::string pattern;
  std::string number;
  std::string templ;  // "" checks the verdict alone (the rewrite is then "")
  int matches;
  std::string out;  // the rewritten number on a match
};

std::string rep(char c, int n) { return std::string(static_cast<size_t>(n), c); }

std::vector<Case> literal_and_anchor_cases() {
  return {
      {"12", "12", "", 1, ""},
      {"12", "123", "", 0, ""},
      {"12", "012", "", 0, ""},
      {"12", "1", "", 0, ""},
      {"12.", "123", "", 1, ""},
      {"12.", "12", "", 1, ""},
      {"12.", "0123", "", 0, ""},
      {".12", "0012", "", 1, ""},
      {".12", "12", "", 1, ""},
      // leftmost fit at 0 ends at 2, not at the end: no second try
      {".12", "1212", "", 0, ""},
      {".12.", "0123", "", 1, ""},
      {".12.", "12", "", 1, ""},
      {".12.", "1", "", 0, ""},
      {".12.", "1x2", "", 0, ""},
      {"5.12", "5121212", "", 0, ""},
      {"5.12", "5012", "", 1, ""},
      {"5.12", "512", "", 1, ""},
      {"5.12", "52", "", 0, ""},
      {"1.2.3", "1a2b3", "", 1, ""},
      {"1.2.3", "1a3b2", "", 0, ""},
      {"1.2.3", "123", "", 1, ""},
      {"1.2.3", "1223", "", 1, ""},
      {"1.2.3", "12332", "", 0, ""},
      {"12", "", "", 0, ""},
      {"x", "", "", 0, ""},
      {"x", "a", "", 1, ""},
      {"x", "ab", "", 0, ""},
      {"xx", "ab", "", 1, ""},
      {"X", "X", "", 1, ""},
      {"X", "a", "", 0, ""},
      {"x.", "", "", 0, ""},
      {".x", "5", "", 1, ""},
      {".x.", "5", "", 1, ""},
      {"*#+", "*#+", "", 1, ""},
      {"a-b,c", "a-b,c", "", 1, ""},
      {"$", "$", "", 1, ""},
      {"0x.", "0", "", 0, ""},
      {"0x.", "01", "", 1, ""},
      {"0x.", "0123456", "", 1, ""},
      {"0x.", "1123456", "", 0, ""},
      {"00x.", "0049301234", "", 1, ""},
      {"1xxxxxxxxxx", "14155550100", "", 1, ""},
      {"1xxxxxxxxxx", "1415555010", "", 0, ""},
      {"1xxxxxxxxxx", "141555501000", "", 0, ""},
      {"911", "911", "", 1, ""},
      {"911", "9111", "", 0, ""},
      {"*x.", "*72", "", 1, ""},
      {"*x.", "#72", "", 0, ""},
      {"x.#", "1234#", "", 1, ""},
      {"x.#", "#", "", 0, ""},
      {"x.#", "12#4", "", 0, ""},
      {".#", "12#4#", "", 0, ""},
      {".#", "124#", "", 1, ""},
      // case-sensitive bytes
      {"abc", "ABC", "", 0, ""},
  };
}

std::vector<Case> set_cases() {
  std::vector<Case> cases = {
      {"91[5-7]1234", "9151234", "", 1, ""},
      {"91[5-7]1234", "9161234", "", 1, ""},
      {"91[5-7]1234", "9171234", "", 1, ""},
      {"91[5-7]1234", "9141234", "", 0, ""},
      {"91[5-7]1234", "9181234", "", 0, ""},
      {"[1,2,3]", "2", "", 1, ""},
      {"[1,2,3]", "4", "", 0, ""},
      // without commas a set holds no element at all
      {"[123]", "1", "", 0, ""},
      {"[123]", "2", "", 0, ""},
      {"[1-34]", "1", "", 0, ""},
      {"[1-34]", "4", "", 0, ""},
      {"[1-3,45]", "2", "", 1, ""},
      {"[1-3,45]", "4", "", 0, ""},
      {"[1-3,45]", "5", "", 0, ""},
      {"[1-3,7]", "7", "", 1, ""},
      {"[1-3,7]", "5", "", 0, ""},
      {"[1,,2]", "2", "", 1, ""},
      {"[1,,2]", "1", "", 1, ""},
      {"[1,,2]", "3", "", 0, ""},
      {"[x]", "x", "", 1, ""},
      {"[x]", "5", "", 0, ""},
      {"[a-c]", "b", "", 1, ""},
      {"[9-0]", "5", "", 0, ""},
      {"[9-0]", "9", "", 0, ""},
      {"[1,[2]", "2", "", 1, ""},
      {"[1,[2]", "1", "", 1, ""},
      {"[1,[2]", "[", "", 0, ""},
      {"[1-2-3]", "2", "", 0, ""},
      {"[,1]", "1", "", 1, ""},
      {"[]", "1", "", 0, ""},
      {"[]", "", "", 0, ""},
      {"[[]", "[", "", 1, ""},
      {"[1,2]x", "2a", "", 1, ""},
      {"[1-3][4-6]", "25", "", 1, ""},
      {"[1-3][4-6]", "52", "", 0, ""},
      {"[!-~]", "A", "", 1, ""},
      {"[!-~]", " ", "", 0, ""},
      // bytes compare unsigned
      {"[\x80-\xff]", "\xc3", "", 1, ""},
      {"[\x01-\x7f]", "\xc3", "", 0, ""},
      {"[.]", ".", "", 0, ""},  // a set can't span a '.'
      {"[(]", "(", "", 0, ""},  // '(' inside a set is a fault: never matches
      {"0[2-9]xxxxxxx.", "0212345678", "", 1, ""},
      {"0[2-9]xxxxxxx.", "0112345678", "", 0, ""},
  };
  // One set against every digit: a range fits from its head to its end.
  for (char d = '0'; d <= '9'; ++d) {
    cases.push_back({"[2-5,8]", std::string(1, d), "", (d >= '2' && d <= '5') || d == '8' ? 1 : 0, ""});
    cases.push_back({"x[0,9]", std::string("7") + d, "", d == '0' || d == '9' ? 1 : 0, ""});
  }
  return cases;
}

std::vector<Case> group_cases() {
  return {
      {"9([5-7])(.)", "96123", "5$2", 1, "5123"},
      {"9([5-7])(.)", "96123", "$1$2", 1, "6123"},
      {"9([5-7])(.)", "98123", "5$2", 0, ""},
      {"9([5-7])(.)", "96", "<$2>", 1, "<>"},
      {"0(.)", "0123", "00$1", 1, "00123"},
      {"0(.)", "0", "00$1", 1, "00"},
      {"0(.)", "123", "00$1", 0, ""},
      // a group that closes at the start of the number is absent
      {"()1", "1", "a$1b", 1, "ab"},
      {"1(.)", "1", "$1!", 1, "!"},
      {"1(.)", "12", "$1!", 1, "2!"},
      // "$12" is group 12, then a literal 2
      {"(9)(1)", "91", "$12", 1, "2"},
      {"(9)(1)", "91", "$2$1", 1, "19"},
      // groups count by their closing marks
      {"((9)1)", "91", "$1-$2", 1, "9-91"},
      {"(1)", "1", "$1", 1, "1"},
      {"(12)", "12", "$1$1", 1, "1212"},
      {"(1)(2)(3)", "123", "$3$2$1", 1, "321"},
      {"9(x)", "95", "$0", 1, ""},
      {"9(x)", "95", "$", 1, ""},
      {"9(x)", "95", "a$", 1, "a"},
      {"9(x)", "95", "$a", 1, ""},
      {"9(x)", "95", "$1$", 1, "5"},
      // the number behind '$' is read as atoi reads it
      {"9(x)", "95", "$ 1", 1, "51"},
      {"9(x)", "95", "$+1", 1, "51"},
      {"9(x)", "95", "$-1", 1, "1"},
      {"9(x)", "95", "x$1y", 1, "x5y"},
      {"9(x)", "95", "$$1", 1, "1"},
      {"9(x)", "95", "", 1, ""},
      {"9(x)", "95", "$9", 1, ""},
      {"(x)(x)(x)(x)(x)(x)(x)(x)(x)(x)", "0123456789", "$9$1", 1, "80"},
      {"(x)(x)(x)(x)(x)(x)(x)(x)(x)(x)", "0123456789", "$10", 1, "0"},
      {"(1.2)", "1ab2", "$1", 1, "1ab2"},
      {"(1.2)", "12", "$1", 1, "12"},
      {".(1).", "0123", "$1", 1, "1"},
      {"(.)", "abc", "$1", 1, "abc"},
      {"(.)", "", "[$1]", 1, "[]"},
      {"().1", "51", "[$1]", 1, "[]"},
      {"1.()", "12", "[$1]", 1, "[]"},
      {"()", "", "[$1]", 1, "[]"},
      {"()", "1", "[$1]", 0, ""},
      // marks need not balance
      {"(1", "1", "[$1]", 1, "[]"},
      {"1)", "1", "[$1]", 1, "[]"},
      {"((((1))))", "1", "$1$2$3$4", 1, "1111"},
      {"(0(1.2)3)", "01x23", "$1|$2", 1, "1x2|01x23"},
      {"0(x.)", "0123", "$1", 1, "123"},
      {"(0)x.", "0123", "1$1", 1, "10"},
      {"([2-9]xx)(xxxx)", "5550100", "($1) $2", 1, "(555) 0100"},
      {"00(x.)", "004930", "+$1", 1, "+4930"},
      {"+(x.)", "+4930", "00$1", 1, "004930"},
      {"9(1)(x.)", "9123", "$2", 1, "23"},
      {".(9)", "0099", "$1", 0, ""},  // leftmost 9, not at the end
      {".(9)", "0019", "$1", 1, "9"},
      {"(x).(x)", "abc", "$2$1", 0, ""},
      {"(x).(x)", "ab", "$2$1", 1, "ba"},
      {"(x).(x)", "a", "$2$1", 0, ""},
  };
}

// Thirty characters make a segment; the 31st starts the next one, which may
// lie anywhere behind it.
std::vector<Case> segment_cut_cases() {
  return {
      {rep('A', 31), rep('A', 30) + "B" + "A", "", 1, ""},
      {rep('A', 31), rep('A', 30) + "BCDEF" + "A", "", 1, ""},
      {rep('A', 31), rep('A', 31), "", 1, ""},
      {rep('A', 31), rep('A', 30), "", 0, ""},
      {rep('A', 30), rep('A', 30), "", 1, ""},
      {rep('A', 30), rep('A', 31), "", 0, ""},
      {rep('A', 30) + ".B", rep('A', 30) + "B", "", 1, ""},
      {rep('A', 30) + ".B", rep('A', 30) + "xyzB", "", 1, ""},
      {rep('1', 29) + "[2,3]", rep('1', 29) + "2", "", 0, ""},  // the set is cut open
      {rep('1', 28) + "[2,3]", rep('1', 28) + "2", "", 0, ""},
      {rep('1', 25) + "[2,3]", rep('1', 25) + "3", "", 1, ""},
      {rep('1', 30) + "(2)", rep('1', 30) + "2", "$1", 1, "2"},
      {"(" + rep('1', 30) + ")", rep('1', 30), "$1", 1, rep('1', 30)},
  };
}

// Wildcard units against numbers of every length up to 12. A leading '.'
// frees the start, but the segment still takes its leftmost fit: ".xxxxxxx"
// takes exactly seven characters.
std::vector<Case> length_cases() {
  std::vector<Case> cases;
  const std::string digits = "123456789012";
  for (int n = 0; n <= 12; ++n) {
    const std::string number = digits.substr(0, static_cast<size_t>(n));
    cases.push_back({"xxxxxxx", number, "", n == 7 ? 1 : 0, ""});
    cases.push_back({"xxxxxxx.", number, "", n >= 7 ? 1 : 0, ""});
    cases.push_back({".xxxxxxx", number, "", n == 7 ? 1 : 0, ""});
    cases.push_back({"1(x.)", number, "0$1", n >= 2 ? 1 : 0, "0" + number.substr(n >= 1 ? 1 : 0)});
  }
  return cases;
}

// Patterns the engine refuses never match anything.
std::vector<Case> invalid_pattern_cases() {
  std::vector<Case> cases;
  for (const char* pattern : {"",       ".",      "..",     "1..2",  "[1-]",  "[-1]", "[1",  "1]",    "([1)]", "[1--2]",
                              "[1-,2]", "[1,-2]", "1.().2", ".().1", "1.().", ".()",  "().", "[1.2]", "[1(]",  "[)]"}) {
    for (const char* number : {"", "1", "12", "1.2", "()", "[1]"}) cases.push_back({pattern, number, "x", 0, ""});
  }
  return cases;
}

std::vector<Case> all_cases() {
  std::vector<Case> all;
  for (auto part : {literal_and_anchor_cases(), set_cases(), group_cases(), segment_cut_cases(), length_cases()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

class DialplanTable : public ::testing::TestWithParam<Case> {};

TEST_P(DialplanTable, VerdictAndRewriteAreAsTheGrammarSays) {
  const Case& c = GetParam();
  EXPECT_EQ(dialplan_check_block(c.pattern.c_str(), c.number.c_str()), c.matches);

  char out[128];
  std::memset(out, '#', sizeof out);
  out[sizeof out - 1] = '\0';
  const std::string untouched(out);
  EXPECT_EQ(dialplan_check_replace(c.pattern.c_str(), c.templ.c_str(), c.number.c_str(), out, sizeof out), c.matches);
  EXPECT_EQ(std::string(out), c.matches ? c.out : untouched);

  regexp* re = dialplan_regexp_format(c.pattern.c_str());
  dstring* d = dialplan_string_init(c.number.c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(re != nullptr && dialplan_check(re, d) == 1 ? 1 : 0, c.matches);
  dialplan_string_free(d);
  dialplan_regexp_free(re);
}

std::string case_name(const ::testing::TestParamInfo<Case>& info) { return "case" + std::to_string(info.index); }

INSTANTIATE_TEST_SUITE_P(Engine, DialplanTable, ::testing::ValuesIn(all_cases()), case_name);
INSTANTIATE_TEST_SUITE_P(InvalidPatterns, DialplanTable, ::testing::ValuesIn(invalid_pattern_cases()), case_name);

TEST(DialplanTableSize, HoldsAtLeastTwoHundredMatchCases) { EXPECT_GE(all_cases().size(), 200u); }

}  // namespace
