// The dial-plan engine's records, its unit walk and its limits: group
// storage, output buffers of every size, long templates and groups, and
// inputs of any bytes and lengths.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "dial/dialplan_internal.h"
#include "phonecore/dialplan.h"

using namespace phonecore::dial;

namespace {

struct Compiled {
  explicit Compiled(const char* pattern) : re(dialplan_regexp_format(pattern)) {}
  ~Compiled() { dialplan_regexp_free(re); }
  regexp* re;
};

struct Subject {
  explicit Subject(const char* text) : d(dialplan_string_init(text)) {}
  ~Subject() { dialplan_string_free(d); }
  dstring* d;
};

TEST(DialplanCompile, SetsAnchorsAndSegments) {
  Compiled c(".12.3x.");
  ASSERT_NE(c.re, nullptr);
  EXPECT_EQ(c.re->anchor_head, 0);
  EXPECT_EQ(c.re->anchor_tail, 0);
  ASSERT_EQ(c.re->segment_count, 2);
  EXPECT_STREQ(c.re->segments[0], "12");
  EXPECT_STREQ(c.re->segments[1], "3x");

  Compiled anchored("9([5-7])(.)");
  ASSERT_NE(anchored.re, nullptr);
  EXPECT_EQ(anchored.re->anchor_head, 1);
  EXPECT_EQ(anchored.re->anchor_tail, 1);
  ASSERT_EQ(anchored.re->segment_count, 2);
  EXPECT_STREQ(anchored.re->segments[0], "9([5-7])(");
  EXPECT_STREQ(anchored.re->segments[1], ")");
}

TEST(DialplanCompile, CutsARunOfMoreThanThirtyCharactersIntoSegments) {
  const std::string pattern = std::string(31, 'A');
  Compiled c(pattern.c_str());
  ASSERT_NE(c.re, nullptr);
  ASSERT_EQ(c.re->segment_count, 2);
  EXPECT_EQ(std::string(c.re->segments[0]), std::string(30, 'A'));
  EXPECT_STREQ(c.re->segments[1], "A");
}

TEST(DialplanCompile, IgnoresEverythingBehindTheThirtiethSegment) {
  std::string pattern;
  for (int i = 0; i < 30; ++i) pattern += "1.";
  pattern += "Z";  // the 31st segment
  Compiled c(pattern.c_str());
  ASSERT_NE(c.re, nullptr);
  EXPECT_EQ(c.re->segment_count, 30);
  EXPECT_EQ(c.re->anchor_tail, 1);  // from the pattern's last character all the same
  EXPECT_EQ(dialplan_check_block(pattern.c_str(), std::string(30, '1').c_str()), 1);
}

TEST(DialplanCompile, GroupMarksAloneStandOnlyAtAnAnchoredEnd) {
  for (const char* valid : {"()", "().1", "1.()", "(.)", "(1", "1)", "[1,,2]", "[1,[2]", "[]"}) {
    Compiled c(valid);
    EXPECT_NE(c.re, nullptr) << valid;
  }
  for (const char* invalid : {"1.().2", ".().1", "1.().", ".()", "().", "..", ".", "", "1..2"}) {
    Compiled c(invalid);
    EXPECT_EQ(c.re, nullptr) << invalid;
  }
  EXPECT_EQ(dialplan_regexp_format(nullptr), nullptr);
}

TEST(DialplanCheck, LeavesTheStateOfTheWalkInTheSubject) {
  Compiled c("1.2.3");
  Subject s("1a2b3");
  ASSERT_EQ(dialplan_check(c.re, s.d), 1);
  EXPECT_EQ(s.d->seg_index, 3);
  EXPECT_EQ(s.d->offset, 5);
  EXPECT_EQ(s.d->length, 5);

  Subject fail("1a3b2");
  ASSERT_EQ(dialplan_check(c.re, fail.d), 0);
  EXPECT_EQ(fail.d->seg_index, 2);  // the third segment found nothing
}

TEST(DialplanCheck, RecordsGroupsAsPointersIntoTheNumber) {
  const char* number = "96123";
  Compiled c("9([5-7])(.)");
  Subject s(number);
  ASSERT_EQ(dialplan_check(c.re, s.d), 1);
  EXPECT_EQ(s.d->text, number);  // borrowed, not copied
  EXPECT_EQ(s.d->params[0].start, number + 1);
  EXPECT_EQ(s.d->params[0].end, number + 1);
  EXPECT_EQ(s.d->params[1].start, number + 2);
  EXPECT_EQ(s.d->params[1].end, number + 4);
  EXPECT_EQ(s.d->params[2].start, nullptr);
  EXPECT_EQ(s.d->open_depth, 0);
}

TEST(DialplanCheck, AGroupClosingAtTheStartIsStoredWithoutAnEnd) {
  const char* number = "1";
  Compiled c("()1");
  Subject s(number);
  ASSERT_EQ(dialplan_check(c.re, s.d), 1);
  EXPECT_EQ(s.d->params[0].start, number);
  EXPECT_EQ(s.d->params[0].end, nullptr);
  char out[8] = "keep";
  EXPECT_EQ(get_dialplan_string_param(s.d, 1, out, sizeof out), 0);
  EXPECT_STREQ(out, "keep");
}

TEST(DialplanCheck, NullRecordsAreNoMatch) {
  Compiled c("1");
  Subject s("1");
  EXPECT_EQ(dialplan_check(nullptr, s.d), 0);
  EXPECT_EQ(dialplan_check(c.re, nullptr), 0);
  dialplan_regexp_free(nullptr);
  dialplan_string_free(nullptr);
  EXPECT_EQ(dialplan_check_block("1", nullptr), 0);
  EXPECT_EQ(dialplan_check_block(nullptr, "1"), 0);
  char out[8] = "keep";
  EXPECT_EQ(dialplan_check_replace("1", "2", nullptr, out, sizeof out), 0);
  EXPECT_STREQ(out, "keep");
}

TEST(DialplanCheck, ANullNumberIsWrappedAsAnEmptyOne) {
  Subject s(nullptr);
  ASSERT_NE(s.d, nullptr);
  EXPECT_EQ(s.d->length, 0);
  Compiled c("()");
  EXPECT_EQ(dialplan_check(c.re, s.d), 1);
}

// Ten groups on ten digits: all are stored, $1 to $9 can be read.
TEST(DialplanGroups, TheTenthAndLaterAreStoredButNotReadable) {
  const char* number = "0123456789";
  Compiled c("(x)(x)(x)(x)(x)(x)(x)(x)(x)(x)");
  Subject s(number);
  ASSERT_EQ(dialplan_check(c.re, s.d), 1);
  EXPECT_EQ(s.d->params[9].start, number + 9);
  char out[8] = "keep";
  EXPECT_EQ(get_dialplan_string_param(s.d, 10, out, sizeof out), 0);
  EXPECT_EQ(get_dialplan_string_param(s.d, 0, out, sizeof out), 0);
  EXPECT_EQ(get_dialplan_string_param(s.d, -1, out, sizeof out), 0);
  EXPECT_STREQ(out, "keep");
  EXPECT_EQ(get_dialplan_string_param(s.d, 9, out, sizeof out), 1);
  EXPECT_STREQ(out, "8");
}

TEST(DialplanGroups, AFullTableDropsFurtherGroupsSilently) {
  Subject s("0123456789");
  for (int i = 0; i < DIALPLAN_PARAM_COUNT; ++i) add_dstring_param(s.d, s.d->text + (i % 10), s.d->text + (i % 10));
  EXPECT_EQ(s.d->params[DIALPLAN_PARAM_COUNT - 1].start, s.d->text + 1);
  add_dstring_param(s.d, s.d->text, s.d->text + 5);  // no free pair left
  for (const dstring_param& pair : s.d->params) {
    EXPECT_FALSE(pair.start == s.d->text && pair.end == s.d->text + 5);
  }
}

TEST(DialplanGroups, OpenGroupsBeyondThirtyAreIgnored) {
  // 30 marks fill the first segment; the 31st '(' finds the stack full.
  const std::string pattern = std::string(31, '(') + "1)";
  Compiled c(pattern.c_str());
  ASSERT_NE(c.re, nullptr);
  Subject s("1");
  ASSERT_EQ(dialplan_check(c.re, s.d), 1);
  EXPECT_EQ(s.d->open_depth, DIALPLAN_OPEN_DEPTH - 1);
  char out[8] = {};
  EXPECT_EQ(get_dialplan_string_param(s.d, 1, out, sizeof out), 1);
  EXPECT_STREQ(out, "1");
  EXPECT_EQ(s.d->params[1].start, nullptr);
}

TEST(DialplanParam, CutsAtTheOutputSize) {
  Compiled c("(x.)");
  Subject s("12345");
  ASSERT_EQ(dialplan_check(c.re, s.d), 1);
  char out[3] = {'a', 'b', 'c'};
  EXPECT_EQ(get_dialplan_string_param(s.d, 1, out, sizeof out), 1);
  EXPECT_STREQ(out, "12");
  char one[1] = {'z'};
  EXPECT_EQ(get_dialplan_string_param(s.d, 1, one, 1), 1);
  EXPECT_EQ(one[0], '\0');
  char none[1] = {'z'};
  EXPECT_EQ(get_dialplan_string_param(s.d, 1, none, 0), 1);
  EXPECT_EQ(none[0], 'z');
}

TEST(DialplanReplace, WritesNothingIntoAnOutputOfSizeZeroAndOnlyTheEndIntoOne) {
  char out[4] = {'a', 'b', 'c', '\0'};
  EXPECT_EQ(dialplan_check_replace("1(x)", "$1$1", "12", out, 0), 1);
  EXPECT_STREQ(out, "abc");
  EXPECT_EQ(dialplan_check_replace("1(x)", "$1$1", "12", out, 1), 1);
  EXPECT_EQ(out[0], '\0');
  EXPECT_EQ(out[1], 'b');
  EXPECT_EQ(dialplan_check_replace("1(x)", "$1$1", "12", nullptr, 16), 1);
}

TEST(DialplanReplace, CutsLiteralsAndGroupsAtTheOutputSize) {
  char out[4];
  EXPECT_EQ(dialplan_check_replace("1", "abcdef", "1", out, sizeof out), 1);
  EXPECT_STREQ(out, "abc");
  EXPECT_EQ(dialplan_check_replace("1(x.)", "0$1", "123456", out, sizeof out), 1);
  EXPECT_STREQ(out, "023");
}

TEST(DialplanReplace, TakesSixtyFourCharactersOfATemplate) {
  const std::string templ(100, 't');
  char out[200];
  EXPECT_EQ(dialplan_check_replace("1", templ.c_str(), "1", out, sizeof out), 1);
  EXPECT_EQ(std::string(out), std::string(DIALPLAN_REPLACE_SIZE, 't'));
}

TEST(DialplanReplace, AGroupCountsForAtMostNinetyFourCharacters) {
  const std::string number(150, '7');
  char out[300];
  EXPECT_EQ(dialplan_check_replace("(.)", "$1", number.c_str(), out, sizeof out), 1);
  EXPECT_EQ(std::string(out), std::string(94, '7'));
}

TEST(DialplanUnits, CountsCharactersAndSetsButNotGroupMarks) {
  EXPECT_EQ(count_units(""), 0);
  EXPECT_EQ(count_units("()"), 0);
  EXPECT_EQ(count_units("(((("), 0);
  EXPECT_EQ(count_units("1"), 1);
  EXPECT_EQ(count_units("(1)"), 1);
  EXPECT_EQ(count_units("[1,2]3"), 2);
  EXPECT_EQ(count_units("(([1]"), 1);
  EXPECT_EQ(count_units("1("), 1);
  EXPECT_EQ(count_units("((1"), 1);
  EXPECT_EQ(count_units("9([5-7])(x)x"), 4);
}

TEST(DialplanUnits, NextUnitPassesSetsAndGroupMarks) {
  const char* segment = "9([5-7])(x)";
  EXPECT_EQ(unit_next(segment), segment + 2);      // onto the set
  EXPECT_EQ(unit_next(segment + 2), segment + 9);  // past "])(" onto x
  EXPECT_EQ(unit_next(segment + 9), nullptr);      // only a mark behind
  EXPECT_EQ(unit_next(segment + 11), nullptr);     // at the end
}

TEST(DialplanUnits, PairPositionIsTheUnitsBeforeTheMark) {
  const char* segment = "9([5-7])(";
  EXPECT_EQ(get_pair_pos(segment, 1), 1);
  EXPECT_EQ(get_pair_pos(segment, 7), 2);
  EXPECT_EQ(get_pair_pos(segment, 8), 2);
  EXPECT_EQ(get_pair_pos("()", 0), 0);
}

TEST(DialplanUnitsDeathTest, ANullPositionIsAFaultOfTheEngine) {
  EXPECT_DEATH(unit_next(nullptr), "unit_next: Assertion `pos' failed");
  EXPECT_DEATH(get_pair_pos("12", 0),
               "Assertion `regexp\\[ch_id\\] == '\\(' \\|\\| regexp\\[ch_id\\] == '\\)'' failed");
  EXPECT_DEATH(add_dstring_param(nullptr, nullptr, nullptr), "Assertion `dstring' failed");
}

TEST(DialplanSelfChecks, PrintTheirInputsAndVerdictAndAnswerZero) {
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(dialplan_test_regex_0818_done(), 0);
  EXPECT_EQ(dialplan_test_regex_0818(), 0);
  const std::string printed = ::testing::internal::GetCapturedStdout();
  EXPECT_NE(printed.find("dialplan_test_regex_0818_done, "), std::string::npos);
  EXPECT_NE(printed.find(",  rule = 91[5-7]1234, string = 9151234\n"), std::string::npos);
  EXPECT_NE(printed.find(",  prefix = 9([5-7])(.), replace = 5$2, number = 96123, num_output = 5123, "
                         "len_num_output = 4 \n"),
            std::string::npos);
  size_t successes = 0;
  for (size_t at = printed.find("RegexFind success!!!!!! \n"); at != std::string::npos;
       at = printed.find("RegexFind success!!!!!! \n", at + 1)) {
    ++successes;
  }
  EXPECT_EQ(successes, 2u);
  EXPECT_EQ(printed.find("failed ######"), std::string::npos);
}

// Inputs of every shape: the engine answers 0 or 1 and stays inside its
// buffers (the sanitizer builds watch the latter).
TEST(DialplanBadInput, LongAndBinaryInputsAnswerZeroOrOne) {
  const std::string long_digits(10000, '5');
  EXPECT_EQ(dialplan_check_block(long_digits.c_str(), long_digits.c_str()), 0);  // cut after 30 segments
  EXPECT_EQ(dialplan_check_block("5.", long_digits.c_str()), 1);
  EXPECT_EQ(dialplan_check_block(".5", long_digits.c_str()), 0);
  EXPECT_EQ(dialplan_check_block("x.5", long_digits.c_str()), 0);  // leftmost 5 is not the last
  char out[2] = {'q', 'q'};
  EXPECT_EQ(dialplan_check_replace("(.)", "$1$1$1", long_digits.c_str(), out, sizeof out), 1);
  EXPECT_STREQ(out, "5");

  std::mt19937 random(20261121);
  for (int round = 0; round < 2000; ++round) {
    std::string pattern(static_cast<size_t>(random() % 80), ' ');
    std::string number(static_cast<size_t>(random() % 80), ' ');
    std::string templ(static_cast<size_t>(random() % 90), ' ');
    for (char& c : pattern) c = static_cast<char>(1 + random() % 255);
    for (char& c : number) c = static_cast<char>(1 + random() % 255);
    for (char& c : templ) c = static_cast<char>(1 + random() % 255);
    const int block = dialplan_check_block(pattern.c_str(), number.c_str());
    EXPECT_TRUE(block == 0 || block == 1);
    char small[5];
    const int replaced = dialplan_check_replace(pattern.c_str(), templ.c_str(), number.c_str(), small, sizeof small);
    EXPECT_EQ(replaced, block);
  }
}

}  // namespace
