// The text toolbox: hexadecimal, the splitters and their slots, replacing,
// the address check and the small helpers.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "phonecore/text.h"

namespace {

// Room for n slots, and a guard slot behind them that must stay untouched.
class Slots {
 public:
  explicit Slots(int n) : n_(n), bytes_(STRING_ARRAY_BYTES(n + 1), '\x5a') {}
  StringArray* get() { return reinterpret_cast<StringArray*>(bytes_.data()); }
  std::vector<std::string> tokens() {
    std::vector<std::string> out;
    for (int i = 0; i < get()->count; ++i) {
      EXPECT_EQ(static_cast<size_t>(get()->slot[i].length), std::strlen(get()->slot[i].text));
      out.emplace_back(get()->slot[i].text);
    }
    return out;
  }
  bool guard_intact() {
    const char* guard = reinterpret_cast<const char*>(&get()->slot[n_]);
    for (size_t i = 0; i < sizeof(StringSlot); ++i)
      if (guard[i] != '\x5a') return false;
    return true;
  }

 private:
  int n_;
  alignas(8) std::vector<char> bytes_;
};

using Tokens = std::vector<std::string>;

TEST(Hex, DigitsAndLettersUpToZ) {
  EXPECT_EQ(hexCharToValue('0'), 0);
  EXPECT_EQ(hexCharToValue('9'), 9);
  EXPECT_EQ(hexCharToValue('a'), 10);
  EXPECT_EQ(hexCharToValue('F'), 15);
  EXPECT_EQ(hexCharToValue('g'), 16);
  EXPECT_EQ(hexCharToValue('z'), 35);
  EXPECT_EQ(hexCharToValue('Z'), 35);
  EXPECT_EQ(hexCharToValue('!'), -1);
  EXPECT_EQ(hexCharToValue(' '), -1);
}

TEST(Hex, ValuesToUpperCaseDigits) {
  EXPECT_EQ(valueToHexCh(0), '0');
  EXPECT_EQ(valueToHexCh(10), 'A');
  EXPECT_EQ(valueToHexCh(15), 'F');
  EXPECT_EQ(valueToHexCh(16), 0);
  EXPECT_EQ(valueToHexCh(255), 0);
  EXPECT_EQ(valueToHexCh(-1), 0);
}

TEST(Hex, HexToStrDecodesPairs) {
  char out[8];
  EXPECT_EQ(hexToStr("414243", out), 0);
  EXPECT_STREQ(out, "ABC");
  EXPECT_EQ(hexToStr("", out), 0);
  EXPECT_STREQ(out, "");
}

TEST(Hex, HexToStrTakesGFor16WithoutComplaint) {
  char out[4];
  EXPECT_EQ(hexToStr("4g", out), 0);
  EXPECT_EQ(static_cast<unsigned char>(out[0]), 4 * 16 + 16);
  EXPECT_EQ(hexToStr("g1", out), 0);
  EXPECT_EQ(static_cast<unsigned char>(out[0]), (16 * 16 + 1) & 0xFF);
}

TEST(Hex, HexToStrResults) {
  char out[8] = "xxxxxxx";
  EXPECT_EQ(hexToStr(nullptr, out), -1);
  EXPECT_EQ(hexToStr("41", nullptr), -1);
  EXPECT_EQ(hexToStr("414", out), -2);
  EXPECT_STREQ(out, "xxxxxxx") << "odd length writes nothing";
  EXPECT_EQ(hexToStr("!1", out), -3);
  EXPECT_STREQ(out, "") << "the output ends at the bad pair";
  EXPECT_EQ(hexToStr("41!243", out), -3);
  EXPECT_STREQ(out, "A");
  EXPECT_EQ(hexToStr("4142.3", out), -3);
  EXPECT_STREQ(out, "AB");
}

TEST(Hex, StrToHexWritesUpperCase) {
  const unsigned char bytes[] = {0x00, 0xab, 0x7f, 0xff};
  char out[9];
  EXPECT_EQ(strToHex(bytes, 4, out), 0);
  EXPECT_STREQ(out, "00AB7FFF");
  EXPECT_EQ(strToHex(nullptr, 4, out), -1);
  EXPECT_EQ(strToHex(bytes, 4, nullptr), -1);
  EXPECT_EQ(strToHex(bytes, 0, out), -2);
}

TEST(Hex, RoundTripOfEveryByte) {
  unsigned char bytes[256];
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<unsigned char>(i == 0 ? 1 : i);
  char text[513];
  ASSERT_EQ(strToHex(bytes, 256, text), 0);
  char back[257];
  ASSERT_EQ(hexToStr(text, back), 0);
  EXPECT_EQ(std::memcmp(back, bytes, 256), 0);
}

TEST(Hex, HexstrTointTakesUpToEightDigits) {
  uint32_t value = 7;
  EXPECT_EQ(hexstrToint("ff", &value), 0);
  EXPECT_EQ(value, 0xFFu);
  EXPECT_EQ(hexstrToint("DEADBEEF", &value), 0);
  EXPECT_EQ(value, 0xDEADBEEFu);
  EXPECT_EQ(hexstrToint("123456789", &value), -2);
  EXPECT_EQ(hexstrToint("", &value), -2);
  EXPECT_EQ(hexstrToint(nullptr, &value), -1);
  EXPECT_EQ(hexstrToint("12", nullptr), -1);
  EXPECT_EQ(hexstrToint("1-2", &value), -3);
  EXPECT_EQ(value, 0xDEADBEEFu) << "a refused text leaves the value";
}

TEST(StringToArray, SplitsAtBlanksTabsLineFeedsAndCommas) {
  Slots s(STRING_TO_ARRAY_MAX);
  const char text[] = "reg  acc,1\tline\nend";
  EXPECT_EQ(string_to_array(text, sizeof text - 1, s.get()), 5);
  EXPECT_EQ(s.tokens(), (Tokens{"reg", "acc", "1", "line", "end"}));
}

TEST(StringToArray, EqualsIsATokenOfItsOwn) {
  Slots s(STRING_TO_ARRAY_MAX);
  const char text[] = "key=value, a = b =";
  EXPECT_EQ(string_to_array(text, sizeof text - 1, s.get()), 7);
  EXPECT_EQ(s.tokens(), (Tokens{"key", "=", "value", "a", "=", "b", "="}));
}

TEST(StringToArray, ReadsOnlyTheGivenLength) {
  Slots s(STRING_TO_ARRAY_MAX);
  EXPECT_EQ(string_to_array("ab cd ef", 5, s.get()), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"ab", "cd"}));
}

TEST(StringToArray, StopsAt256TokensAndCutsLongOnes) {
  std::string text;
  for (int i = 0; i < 300; ++i) text += "t" + std::to_string(i) + " ";
  text += std::string(2000, 'x');
  Slots s(STRING_TO_ARRAY_MAX);
  EXPECT_EQ(string_to_array(text.c_str(), static_cast<int>(text.size()), s.get()), 256);
  EXPECT_EQ(s.tokens().back(), "t255");
  EXPECT_TRUE(s.guard_intact());

  const std::string big = "a " + std::string(2000, 'y');
  Slots t(STRING_TO_ARRAY_MAX);
  EXPECT_EQ(string_to_array(big.c_str(), static_cast<int>(big.size()), t.get()), 2);
  EXPECT_EQ(t.tokens()[1], std::string(511, 'y'));
}

TEST(SplitString, DropsEmptyTokens) {
  Slots s(SPLIT_STRING_MAX);
  EXPECT_EQ(split_string(";;a;;b;", ';', s.get()), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"a", "b"}));
  EXPECT_EQ(split_string("", ';', s.get()), 0);
}

TEST(SplitString, KeepsEightTokensAndDropsTheRest) {
  Slots s(SPLIT_STRING_MAX);
  EXPECT_EQ(split_string("1:2:3:4:5:6:7:8:9:10", ':', s.get()), 8);
  EXPECT_EQ(s.tokens(), (Tokens{"1", "2", "3", "4", "5", "6", "7", "8"}));
  EXPECT_TRUE(s.guard_intact());
}

TEST(SplitString, DropsTheExcessOfALongToken) {
  const std::string text = std::string(600, 'a') + ",b";
  Slots s(SPLIT_STRING_MAX);
  EXPECT_EQ(split_string(text.c_str(), ',', s.get()), 2);
  EXPECT_EQ(s.tokens()[0], std::string(511, 'a'));
  EXPECT_EQ(s.get()->slot[0].length, 511);
  EXPECT_EQ(s.tokens()[1], "b");
}

TEST(SplitStringWithEsc, EscapedSeparatorsStayInTheToken) {
  Slots s(SPLIT_STRING_MAX);
  EXPECT_EQ(split_string_with_ESC("a\\;b;c\\\\;d\\x", ';', s.get(), 1, nullptr), 3);
  EXPECT_EQ(s.tokens(), (Tokens{"a;b", "c\\", "d\\x"}));
}

TEST(SplitStringWithEsc, WithoutTheFlagABackslashIsPlain) {
  Slots s(SPLIT_STRING_MAX);
  EXPECT_EQ(split_string_with_ESC("a\\;b", ';', s.get(), 0, nullptr), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"a\\", "b"}));
}

TEST(SplitStringWithEsc, AnOwnEscapeSet) {
  Slots s(SPLIT_STRING_MAX);
  EXPECT_EQ(split_string_with_ESC("a\\,b,c\\;", ',', s.get(), 1, ","), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"a,b", "c\\;"}));
}

TEST(SplitStringWithOutarraylen, TheLastTokenKeepsLaterSeparators) {
  Slots s(3);
  EXPECT_EQ(split_string_with_outarraylen("a,b,c,d,e", ',', s.get(), 3), 3);
  EXPECT_EQ(s.tokens(), (Tokens{"a", "b", "c,d,e"}));
  EXPECT_TRUE(s.guard_intact());
  EXPECT_EQ(split_string_with_outarraylen("a,b", ',', s.get(), 3), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"a", "b"}));
  EXPECT_EQ(split_string_with_outarraylen("a,,,b,c", ',', s.get(), 2), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"a", "b,c"}));
  EXPECT_EQ(split_string_with_outarraylen("a,b", ',', s.get(), 0), 0);
}

TEST(SplitString2Layer, OuterSplitsOnlyBeforeAStretchWithTheInner) {
  Slots s(8);
  EXPECT_EQ(split_string_with_2layer_splitchar("a=1,b=2,c", ',', '=', s.get(), 8), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"a=1", "b=2,c"}));
  EXPECT_EQ(split_string_with_2layer_splitchar("name=x,y,z,tel=1", ',', '=', s.get(), 8), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"name=x,y,z", "tel=1"}));
}

TEST(SplitString2Layer, OnceMaxTokensExistSeparatorsStayInTheLast) {
  Slots s(2);
  EXPECT_EQ(split_string_with_2layer_splitchar("a=1,b=2,c=3", ',', '=', s.get(), 2), 2);
  EXPECT_EQ(s.tokens(), (Tokens{"a=1", "b=2,c=3"}));
  EXPECT_TRUE(s.guard_intact());
}

TEST(StringArray, GetParmAndGetCommand) {
  Slots s(SPLIT_STRING_MAX);
  split_string("call 1001", ' ', s.get());
  int length = 0;
  EXPECT_STREQ(get_parm(s.get(), 1, &length), "1001");
  EXPECT_EQ(length, 4);
  EXPECT_EQ(get_parm(s.get(), 2, &length), nullptr);
  EXPECT_EQ(get_parm(s.get(), -1, &length), nullptr);
  EXPECT_EQ(get_command(s.get()), 4);
  split_string("", ' ', s.get());
  EXPECT_EQ(get_command(s.get()), 0);
}

TEST(Helpers, StringDeleteDropsEveryOccurrence) {
  char out[16];
  EXPECT_EQ(string_delete("a-b-c-", out, '-'), 3);
  EXPECT_STREQ(out, "abc");
}

TEST(Helpers, StringCompAnswersZeroOrOne) {
  EXPECT_EQ(string_comp("abcd", "abce", 3), 0);
  EXPECT_EQ(string_comp("abcd", "abce", 4), 1);
  EXPECT_EQ(DeleteBufNotUse(nullptr, 0), 0);
}

TEST(Helpers, CaseChangesTouchAsciiLettersOnly) {
  char text[] = "aZ9\xc3\xa9-x";
  EXPECT_STREQ(to_upper(text), "AZ9\xc3\xa9-X");
  EXPECT_STREQ(to_lowwer(text), "az9\xc3\xa9-x");
}

TEST(Helpers, MyStrstrOnAnEmptyHaystackFindsNothing) {
  const char* hay = "hello";
  EXPECT_EQ(my_strstr(hay, "ll"), hay + 2);
  EXPECT_EQ(my_strstr(hay, "x"), nullptr);
  EXPECT_EQ(my_strstr(hay, ""), hay);
  EXPECT_EQ(my_strstr("", ""), nullptr);
}

TEST(Replace, AllOccurrencesIntoASizedOutput) {
  char out[32];
  EXPECT_EQ(replace("a.b.c", ".", "::", out, sizeof out), 2);
  EXPECT_STREQ(out, "a::b::c");
  EXPECT_EQ(replace("aaaa", "aa", "b", out, sizeof out), 2);
  EXPECT_STREQ(out, "bb");
  EXPECT_EQ(replace("abc", "", "x", out, sizeof out), 0);
  EXPECT_STREQ(out, "abc");
  EXPECT_EQ(replace(nullptr, "a", "b", out, sizeof out), -1);
}

TEST(Replace, CutsAtTheRoomGiven) {
  char out[8];
  std::memset(out, 'Z', sizeof out);
  EXPECT_EQ(replace("1.2.3.4", ".", "---", out, 6), 3);
  EXPECT_STREQ(out, "1---2");
  EXPECT_EQ(out[6], 'Z');
}

TEST(Replace, ManyOccurrencesGrowTheTable) {
  const std::string text(5000, '.');
  std::vector<char> out(15001);
  EXPECT_EQ(replace(text.c_str(), ".", "ab", out.data(), static_cast<int>(out.size())), 5000);
  EXPECT_EQ(std::string(out.data()), [] {
    std::string s;
    for (int i = 0; i < 5000; ++i) s += "ab";
    return s;
  }());
}

TEST(Replace, AtMostTheTableLimitIsReplaced) {
  const std::string text(REPLACE_MAX_OCCURRENCES + 5, '.');
  std::vector<char> out(text.size() + 1);
  EXPECT_EQ(replace(text.c_str(), ".", "x", out.data(), static_cast<int>(out.size())), REPLACE_MAX_OCCURRENCES);
  const std::string got(out.data());
  EXPECT_EQ(got.size(), text.size());
  EXPECT_EQ(got.substr(got.size() - 6), "x.....");
}

TEST(Replace, StrReplaceMeCountsAndReplaces) {
  char out[STR_REPLACE_ME_OUT_SIZE];
  EXPECT_EQ(str_replace_me("ab ab ab", "ab", "xyz", out), 3);
  EXPECT_STREQ(out, "xyz xyz xyz");
}

TEST(Replace, StrReplaceMeCutsAtItsRoom) {
  // The output grows past the room: it stops there, terminated, and the
  // byte behind the room is never written.
  const std::string text(STR_REPLACE_ME_OUT_SIZE, 'a');
  std::vector<char> out(STR_REPLACE_ME_OUT_SIZE + 1, '#');
  EXPECT_EQ(str_replace_me(text.c_str(), "a", "bb", out.data()), STR_REPLACE_ME_OUT_SIZE);
  EXPECT_EQ(std::strlen(out.data()), static_cast<size_t>(STR_REPLACE_ME_OUT_SIZE - 1));
  EXPECT_EQ(out[STR_REPLACE_ME_OUT_SIZE], '#');
}

TEST(Replace, StrReplaceWorksInPlace) {
  char text[16] = "a-b-c";
  EXPECT_EQ(strReplace(text, "-", "++", sizeof text), 2);
  EXPECT_STREQ(text, "a++b++c");
  char small[8] = "1.2.3";
  EXPECT_EQ(strReplace(small, ".", "...", sizeof small), 2);
  EXPECT_STREQ(small, "1...2..");
  EXPECT_EQ(strReplace(small, ".", "x", 0), -1);
}

TEST(CheckValidIp, AcceptsFourPlainNumbers) {
  EXPECT_EQ(checkValidIP("192.168.1.10"), 0);
  EXPECT_EQ(checkValidIP("0.0.0.0"), 0);
  EXPECT_EQ(checkValidIP("255.255.255.255"), 0);
}

TEST(CheckValidIp, RefusesLeadingZerosBigPartsBlanksAndSigns) {
  EXPECT_EQ(checkValidIP("192.168.01.10"), -1);
  EXPECT_EQ(checkValidIP("192.168.1.256"), -1);
  EXPECT_EQ(checkValidIP("192.168.1.10 "), -1);
  EXPECT_EQ(checkValidIP(" 192.168.1.10"), -1);
  EXPECT_EQ(checkValidIP("+1.2.3.4"), -1);
  EXPECT_EQ(checkValidIP("1.2.3"), -1);
  EXPECT_EQ(checkValidIP("1.2.3.4.5"), -1);
  EXPECT_EQ(checkValidIP("-1.2.3.4"), -1);
  EXPECT_EQ(checkValidIP("a.b.c.d"), -1);
  EXPECT_EQ(checkValidIP(""), -1);
  EXPECT_EQ(checkValidIP(nullptr), -1);
}

TEST(ParseSubStr, TextBetweenTheMarksWithoutTerminator) {
  char out[PARSE_SUB_STR_MAX];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(parseSubStr("<a>hello</a>", "<a>", "</a>", out), 5);
  EXPECT_EQ(std::string(out, 5), "hello");
  EXPECT_EQ(out[5], '#');
}

TEST(ParseSubStr, NothingWhenAMarkIsMissing) {
  char out[PARSE_SUB_STR_MAX] = {'#', '#', '#', '#'};
  EXPECT_EQ(parseSubStr("<a>hello", "<a>", "</a>", out), -1);
  EXPECT_EQ(parseSubStr("hello</a>", "<a>", "</a>", out), -1);
  EXPECT_EQ(out[0], '#');
}

TEST(ParseSubStr, CutsAtTheRoom) {
  const std::string text = "[" + std::string(PARSE_SUB_STR_MAX + 10, 'x') + "]";
  std::vector<char> out(PARSE_SUB_STR_MAX + 1, '#');
  EXPECT_EQ(parseSubStr(text.c_str(), "[", "]", out.data()), PARSE_SUB_STR_MAX);
  EXPECT_EQ(out[PARSE_SUB_STR_MAX - 1], 'x');
  EXPECT_EQ(out[PARSE_SUB_STR_MAX], '#');
}

}  // namespace
