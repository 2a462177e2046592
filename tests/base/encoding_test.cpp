// GBK and UTF-8 checks, and the copies that keep characters whole. The
// conversions through iconv are tested in the box, where the converters
// are.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "phonecore/text.h"

namespace {

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }
int length(const char* text) { return static_cast<int>(std::strlen(text)); }

// "张三" in GBK and UTF-8; "é" in UTF-8 (two bytes).
constexpr const char* kGbkName = "\xd5\xc5\xc8\xfd";
constexpr const char* kUtf8Name = "\xe5\xbc\xa0\xe4\xb8\x89";
constexpr const char* kUtf8Letter = "\xc3\xa9";

TEST(HasChineseGbk, FindsHighBytes) {
  EXPECT_EQ(has_Chinese_GBK("abc123"), 0);
  EXPECT_EQ(has_Chinese_GBK(kGbkName), 1);
  EXPECT_EQ(has_Chinese_GBK("\x80"), 0);
  EXPECT_EQ(has_Chinese_GBK("\xff"), 0);
  EXPECT_EQ(has_Chinese_GBK(nullptr), 0);
}

TEST(IsGbk, AsciiAndPairsPass) {
  EXPECT_EQ(isGBK(bytes("hello"), 5), 1);
  EXPECT_EQ(isGBK(bytes(kGbkName), 4), 1);
  EXPECT_EQ(isGBK(bytes("a\x81\x40z"), 4), 1);
  EXPECT_EQ(isGBK(bytes("\xfe\xfe"), 2), 1);
}

TEST(IsGbk, LeadAndTrailRanges) {
  EXPECT_EQ(isGBK(bytes("\x80\x40"), 2), 0) << "0x80 is no lead";
  EXPECT_EQ(isGBK(bytes("\xff\x40"), 2), 0);
  EXPECT_EQ(isGBK(bytes("\x81\x3f"), 2), 0) << "trail below 0x40";
  EXPECT_EQ(isGBK(bytes("\x81\xff"), 2), 0);
}

TEST(IsGbk, TheTrailByteF7IsRefused) {
  EXPECT_EQ(isGBK(bytes("\xb0\xf7"), 2), 0);
  EXPECT_EQ(isGBK(bytes("\xb0\xf6"), 2), 1);
  EXPECT_EQ(isGBK(bytes("\xb0\xf8"), 2), 1);
}

TEST(IsGbk, ALeadAtTheEndFails) {
  EXPECT_EQ(isGBK(bytes("ab\xb0"), 3), 0);
  EXPECT_EQ(isGBK(bytes("\xb0\xa1"), 1), 0);
}

TEST(IsUtf8, TwoByteLettersAreRefused) {
  EXPECT_EQ(isUtf8(bytes(kUtf8Letter), 2), 0);
  EXPECT_EQ(isUtf8(bytes("caf\xc3\xa9"), 5), 0);
}

TEST(IsUtf8, ChineseCharactersPass) {
  EXPECT_EQ(isUtf8(bytes(kUtf8Name), length(kUtf8Name)), 1);
  EXPECT_EQ(isUtf8(bytes("abc"), 3), 1);
  EXPECT_EQ(isUtf8(bytes("\xf0\x9f\x98\x80"), 4), 1);
}

TEST(IsUtf8, FollowersMustBeContinuationBytes) {
  EXPECT_EQ(isUtf8(bytes("\xe5\xbc\x41"), 3), 0);
  EXPECT_EQ(isUtf8(bytes("\x80"), 1), 0) << "one leading one";
  EXPECT_EQ(isUtf8(bytes("\xe5\xbc"), 2), 0) << "a sequence cut by the end fails";
  const unsigned char eight[] = {0xff, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
  EXPECT_EQ(isUtf8(eight, 8), 1) << "eight leading ones take seven followers";
  EXPECT_EQ(isUtf8(eight, 7), 0);
}

TEST(Utf8Check, PureAsciiGivesZero) {
  EXPECT_EQ(utf8_check(bytes("plain text"), 10), 0);
  EXPECT_EQ(utf8_check(bytes(""), 0), 0);
}

TEST(Utf8Check, CompleteSequencesOfTwoToSixBytes) {
  EXPECT_EQ(utf8_check(bytes(kUtf8Letter), 2), 1);
  EXPECT_EQ(utf8_check(bytes(kUtf8Name), length(kUtf8Name)), 1);
  EXPECT_EQ(utf8_check(bytes("\xfc\x80\x80\x80\x80\x80"), 6), 1);
  EXPECT_EQ(utf8_check(bytes("\xfe\x80\x80\x80\x80\x80\x80"), 7), 0);
  EXPECT_EQ(utf8_check(bytes("\xe5\xbc"), 2), 0);
  EXPECT_EQ(utf8_check(bytes("a\x80"), 2), 0);
  EXPECT_EQ(utf8_check(bytes(kGbkName), 4), 0);
}

TEST(Utf8MaxCopy, WholeCharactersWithinMax) {
  char out[16];
  EXPECT_EQ(Utf8MaxCopy(out, kUtf8Name, 5), 3);
  EXPECT_STREQ(out, "\xe5\xbc\xa0");
  EXPECT_EQ(Utf8MaxCopy(out, kUtf8Name, 6), 6);
  EXPECT_STREQ(out, kUtf8Name);
  EXPECT_EQ(Utf8MaxCopy(out, "abc", 2), 2);
  EXPECT_STREQ(out, "ab");
}

TEST(Utf8MaxCopy, MaxTwoOnAThreeByteCharacterGivesEmpty) {
  char out[4] = "xyz";
  EXPECT_EQ(Utf8MaxCopy(out, kUtf8Name, 2), 0);
  EXPECT_STREQ(out, "");
}

TEST(Utf8MaxCopy, ACutSequenceAtTheEndIsNotCopied) {
  char out[8];
  EXPECT_EQ(Utf8MaxCopy(out, "a\xe5\xbc", 7), 1);
  EXPECT_STREQ(out, "a");
  EXPECT_EQ(Utf8MaxCopy(out, "\x80z", 7), 2) << "an unknown form counts as one byte";
}

TEST(VornStrcpy, KeepsSixtyThreeBytes) {
  char out[64];
  const std::string long_text(100, 'a');
  EXPECT_EQ(vorn_strcpy(out, long_text.c_str()), out);
  EXPECT_EQ(std::string(out), std::string(63, 'a'));
}

TEST(VornStrcpy, AHighByteNearTheEndEndsTheText) {
  char out[64];
  // 61 letters and a three-byte character: the character keeps two bytes
  // of the 63 and is dropped.
  const std::string text = std::string(61, 'b') + kUtf8Name;
  vorn_strcpy(out, text.c_str());
  EXPECT_EQ(std::string(out), std::string(61, 'b'));
  const std::string fits = std::string(60, 'b') + kUtf8Name;
  vorn_strcpy(out, fits.c_str());
  EXPECT_EQ(std::string(out), std::string(60, 'b') + "\xe5\xbc\xa0");
  // A two-byte letter is taken for three bytes too.
  vorn_strcpy(out, "ab\xc3\xa9");
  EXPECT_STREQ(out, "ab");
}

TEST(VornStrcpy, NullGivesNull) {
  char out[64];
  EXPECT_EQ(vorn_strcpy(nullptr, "a"), nullptr);
  EXPECT_EQ(vorn_strcpy(out, nullptr), nullptr);
}

TEST(Checks, RandomBytesStayWithinTheirLength) {
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    const int n = static_cast<int>(random() % 40);
    std::vector<unsigned char> data(static_cast<size_t>(n));
    for (auto& b : data) b = static_cast<unsigned char>(random());
    const int gbk = isGBK(data.data(), n);
    const int utf = isUtf8(data.data(), n);
    const int check = utf8_check(data.data(), n);
    EXPECT_TRUE(gbk == 0 || gbk == 1);
    EXPECT_TRUE(utf == 0 || utf == 1);
    EXPECT_TRUE(check == 0 || check == 1);
    std::string text(data.begin(), data.end());
    char out[48];
    const int copied = Utf8MaxCopy(out, text.c_str(), n);
    EXPECT_LE(copied, n);
    EXPECT_EQ(out[copied], '\0');
  }
}

}  // namespace
