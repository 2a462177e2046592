// Conversion between UTF-8 and GBK through iconv, and the pinyin initials
// of names. In the box, where the C library's converters are.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "phonecore/text.h"

namespace {

std::string to_gbk(const std::string& utf8, int room = 64, int* result = nullptr) {
  std::string out(static_cast<size_t>(room), '#');
  const int r = zlt_UTF8toGBK(utf8.data(), static_cast<int>(utf8.size()), out.data(), room);
  if (result != nullptr) *result = r;
  return std::string(out.c_str());
}

std::string initials(const std::string& name) { return getpystring(name.c_str()); }

TEST(Iconv, Utf8ToGbkAndBack) {
  int r = 1;
  EXPECT_EQ(to_gbk("\xe5\xbc\xa0\xe4\xb8\x89", 64, &r), "\xd5\xc5\xc8\xfd");  // "张三"
  EXPECT_EQ(r, 0);
  char back[16];
  EXPECT_EQ(zlt_GBKtoUTF8("\xd5\xc5\xc8\xfd", 4, back, sizeof back), 0);
  EXPECT_STREQ(back, "\xe5\xbc\xa0\xe4\xb8\x89");
}

TEST(Iconv, TheOutputIsClearedAndStaysTerminated) {
  char out[8];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(zlt_UTF8toGBK("abcdefg", 7, out, sizeof out), 0);
  EXPECT_STREQ(out, "abcdefg");
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(zlt_UTF8toGBK("abcdefgh", 8, out, sizeof out), -3) << "no room for the terminator";
  EXPECT_EQ(out[7], '\0');
}

TEST(Iconv, InvalidInputFailsWithMinusThree) {
  int r = 0;
  EXPECT_EQ(to_gbk("ab\xff"
                   "cd",
                   64, &r),
            "ab");
  EXPECT_EQ(r, -3);
  EXPECT_EQ(to_gbk("ab\xf0\x9f\x98\x80", 64, &r), "ab") << "no GBK code for this character";
  EXPECT_EQ(r, -3);
  char out[8];
  EXPECT_EQ(zlt_GBKtoUTF8("\xd5", 1, out, sizeof out), -3) << "a lead byte alone";
  EXPECT_EQ(zlt_GBKtoUTF8("\xff\x20", 2, out, sizeof out), -3);
}

TEST(Pinyin, ChineseNamesGiveTheirInitials) {
  EXPECT_EQ(initials("\xe5\xbc\xa0\xe4\xb8\x89"), "zs");  // 张三
  EXPECT_EQ(initials("\xe6\x9d\x8e\xe5\x9b\x9b"), "ls");  // 李四
  EXPECT_EQ(initials("\xe7\x8e\x8b\xe4\xba\x94"), "ww");  // 王五
  EXPECT_EQ(initials("\xe4\xb8\xad\xe6\x96\x87"), "zw");  // 中文
}

TEST(Pinyin, LatinNamesAreLowerCased) {
  EXPECT_EQ(initials("Tom Smith"), "tom smith");
  EXPECT_EQ(initials("ALICE-2"), "alice-2");
}

TEST(Pinyin, MixedNamesKeepLatinLettersInPlace) {
  EXPECT_EQ(initials("Tom\xe5\xbc\xa0"
                     "B\xe4\xb8\x89"),
            "tomzbs");
  EXPECT_EQ(initials("A\xe6\x9d\x8e"
                     "b"),
            "alb");
}

TEST(Pinyin, TheEdgesOfTheTable) {
  EXPECT_EQ(initials("\xe5\x95\x8a"), "a");  // 啊, 45217, the first code
  EXPECT_EQ(initials("\xe5\x8e\x8b"), "y");  // 压, 53689, the first Y
  EXPECT_EQ(initials("\xe5\xba\xa7"), "z");  // 座, 55289, the last code
}

TEST(Pinyin, TheGapBeforeYAndLevelTwoGiveBlanks) {
  EXPECT_EQ(initials("\xe8\xbf\x85"), " ");  // 迅, 53665, in the gap 53641 to 53688
  EXPECT_EQ(initials("\xe4\xba\x8d"), " ");  // 亍, level two
  EXPECT_EQ(initials("a\xe4\xba\x8d"
                     "b"),
            "a b");
}

TEST(Pinyin, LowGbkLeadsAreCopiedAsBytes) {
  // 丂 is 0x81 0x40 in GBK: the lead is at most 160 and is copied, then the
  // trail "@".
  EXPECT_EQ(initials("\xe4\xb8\x82"), "\x81@");
}

TEST(Pinyin, FullWidthSymbolsEndTheWalk) {
  testing::internal::CaptureStdout();
  const std::string got = initials("\xe5\xbc\xa0\xef\xbc\x8c\xe4\xb8\x89");  // 张，三
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(got, "z");
  EXPECT_NE(printed.find("check, i = 2, uword[i] = 0xa3"), std::string::npos) << printed;
}

TEST(Pinyin, NamesAreCutAtSixtyThreeBytes) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(initials(std::string(100, 'Q')), std::string(63, 'q'));
  EXPECT_NE(testing::internal::GetCapturedStdout().find("CHARCODEBUFFER_LEN"), std::string::npos);
  std::string name;
  for (int i = 0; i < 30; ++i) name += "\xe5\xbc\xa0";  // 90 bytes: 21 characters stay
  EXPECT_EQ(initials(name), std::string(21, 'z'));
  EXPECT_EQ(initials(std::string(62, 'x') + "\xe5\xbc\xa0"), std::string(62, 'x'));
}

TEST(Pinyin, BadUtf8KeepsWhatCameBefore) {
  EXPECT_EQ(initials("\xe5\xbc\xa0"
                     "\xff"
                     "\xe4\xb8\x89"),
            "z");
  EXPECT_EQ(initials(""), "");
  EXPECT_EQ(std::string(getpystring(nullptr)), "");
}

TEST(NameMatch, KeyIsASubstringOfTheInitials) {
  const char* name = "\xe5\xbc\xa0\xe4\xb8\x89\xe4\xb8\xb0";  // 张三丰
  EXPECT_EQ(name_match(name, "zs"), 1);
  EXPECT_EQ(name_match(name, "sf"), 1);
  EXPECT_EQ(name_match(name, "zsf"), 1);
  EXPECT_EQ(name_match(name, "zf"), 0);
  EXPECT_EQ(name_match(name, ""), 1);
}

TEST(NameMatch, MatchingIsCaseSensitive) {
  EXPECT_EQ(name_match("Tom\xe5\xbc\xa0", "tomz"), 1);
  EXPECT_EQ(name_match("Tom\xe5\xbc\xa0", "Tom"), 0) << "the key must be lower case already";
  EXPECT_EQ(name_match(nullptr, "a"), 0);
  EXPECT_EQ(name_match("a", nullptr), 0);
}

}  // namespace
