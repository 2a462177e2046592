// Factory storage logic that needs no flash: the boot environment's
// entries and their rewrite, MAC text, and the chip id.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "device/flash_internal.h"
#include "phonecore/flash.h"

using phonecore::device::format_chip_id;
using phonecore::device::read_chip_id;
using phonecore::device::rewrite_env;

// This program offers the board SDK's chip-id call itself, so that the
// library finds it in the process. A null answer makes it fail.
namespace {
std::atomic<bool> g_uuid_fails{false};
}
extern "C" __attribute__((visibility("default"))) int MI_SYS_ReadUuid(unsigned long long* id) {
  if (g_uuid_fails.load()) return -1;
  *id = 0x0123456789ABCDEFull;
  return 0;
}

namespace {

using Block = std::array<uint8_t, UBOOTENV_SIZE>;

// A block holding the given bytes, the rest erased (0xFF).
Block env_block(const std::string& bytes) {
  Block b;
  b.fill(0xFF);
  bytes.copy(reinterpret_cast<char*>(b.data()), std::min(bytes.size(), b.size()));
  return b;
}

// The entries of a block, in order, as the loader cuts them.
std::vector<std::string> entries(const Block& b) {
  std::vector<std::string> out;
  phonecore::device::for_each_env_entry(b, [&](const char* e) {
    if (*e != '\0') out.emplace_back(e);
    return false;
  });
  return out;
}

std::string find(const Block& b, const char* key, int* result) {
  char out[UBOOTENV_VALUE_SIZE] = {};
  *result = findubootenv(reinterpret_cast<const char*>(b.data()), key, out);
  return out;
}

Block rewritten(const Block& old, const char* key, const char* value) {
  Block b;
  EXPECT_TRUE(rewrite_env(old, key, value, b));
  return b;
}

TEST(Findval, SplitsAnEntryInNameAndValue) {
  char out[UBOOTENV_VALUE_SIZE] = "untouched";
  EXPECT_EQ(findval("bootdelay=3", "baudrate", out), 0);
  EXPECT_STREQ(out, "untouched");
  EXPECT_EQ(findval("bootdelay=3", "bootdelay", out), 1);
  EXPECT_STREQ(out, "3");
  EXPECT_EQ(findval("bootdelay=3", "bootdela", out), 0);
}

TEST(Findval, AnEntryThatDoesNotSplitInExactlyTwoIsRefused) {
  char out[UBOOTENV_VALUE_SIZE] = "untouched";
  EXPECT_EQ(findval("bootargs=console=ttyS0", "bootargs", out), -1);
  EXPECT_EQ(findval("noequals", "noequals", out), -1);
  EXPECT_EQ(findval("", "", out), -1);
  EXPECT_EQ(findval("=x", "", out), -1);
  EXPECT_EQ(findval("x=", "x", out), -1);
  EXPECT_STREQ(out, "untouched");
}

TEST(Findval, EmptyPartsBetweenSeparatorsAreNotParts) {
  char out[UBOOTENV_VALUE_SIZE] = {};
  EXPECT_EQ(findval("a==b", "a", out), 1);
  EXPECT_STREQ(out, "b");
}

TEST(Findval, ALongValueIsCutAtTheRoomOfAValue) {
  const std::string entry = "k=" + std::string(2000, 'v');
  char out[UBOOTENV_VALUE_SIZE + 8];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(findval(entry.c_str(), "k", out), 1);
  EXPECT_EQ(std::strlen(out), UBOOTENV_VALUE_SIZE - 1u);
  EXPECT_EQ(out[UBOOTENV_VALUE_SIZE], '#');
}

TEST(Findubootenv, FindsAnEntryEndedByZeroOrErasedByte) {
  const Block b =
      env_block(std::string("bootdelay=3\0baudrate=115200\xff"
                            "ethaddr=00:11:22:33:44:55\0",
                            54));
  int r = 0;
  EXPECT_EQ(find(b, "baudrate", &r), "115200");
  EXPECT_EQ(r, 0);
  EXPECT_EQ(find(b, "ethaddr", &r), "00:11:22:33:44:55");
  EXPECT_EQ(r, 0);
  find(b, "bootcmd", &r);
  EXPECT_EQ(r, -1);
}

TEST(Findubootenv, BlankAllZeroAndUnterminatedBlocksHoldNothing) {
  int r = 0;
  Block b;
  b.fill(0xFF);
  find(b, "a", &r);
  EXPECT_EQ(r, -1);
  b.fill(0);
  find(b, "", &r);
  EXPECT_EQ(r, -1);
  // One entry running to the end of the block without a terminator.
  b.fill('a');
  b[1] = '=';
  find(b, "a", &r);
  EXPECT_EQ(r, -1);
}

TEST(Findubootenv, BytesBeforeTheFirstEntryGlueToItsName) {
  // A loader's checksum in front of the entries is not skipped.
  const Block b =
      env_block(std::string("\x12\x34\x56\x78"
                            "bootdelay=3\0baudrate=115200\0",
                            31));
  int r = 0;
  find(b, "bootdelay", &r);
  EXPECT_EQ(r, -1);
  EXPECT_EQ(find(b,
                 "\x12\x34\x56\x78"
                 "bootdelay",
                 &r),
            "3");
  EXPECT_EQ(r, 0);
}

TEST(Findubootenv, AnEntryOver256BytesIsOverwrittenByItsOwnTail) {
  // 266 bytes: the index wraps once, and only the last 10 remain.
  const std::string entry = std::string(260, 'z') + "tail=1";
  const Block b = env_block(entry + std::string(1, '\0'));
  int r = 0;
  EXPECT_EQ(find(b, "zzzztail", &r), "1");
  EXPECT_EQ(r, 0);
  find(b, std::string(260, 'z').append("tail").c_str(), &r);
  EXPECT_EQ(r, -1);
  // Exactly 256 bytes leave nothing.
  std::string exact_bytes = std::string(254, 'k') + "=v";
  exact_bytes.push_back('\0');
  exact_bytes += "after=1";
  exact_bytes.push_back('\0');
  const Block exact = env_block(exact_bytes);
  EXPECT_EQ(entries(exact), std::vector<std::string>{"after=1"});
}

TEST(EnvRewrite, OnABlankBlockTheEntryIsTheOnlyOne) {
  Block blank;
  blank.fill(0xFF);
  const Block b = rewritten(blank, "ethaddr", "00:11:22:33:44:55");
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(b.data())), "ethaddr=00:11:22:33:44:55");
  for (size_t i = std::strlen("ethaddr=00:11:22:33:44:55"); i < b.size(); ++i) ASSERT_EQ(b[i], 0) << i;
}

TEST(EnvRewrite, TheChangedKeyBecomesTheLastEntry) {
  const Block old = env_block(std::string("a=1\0b=2\0c=3\0", 12));
  EXPECT_EQ(entries(rewritten(old, "a", "9")), (std::vector<std::string>{"b=2", "c=3", "a=9"}));
  EXPECT_EQ(entries(rewritten(old, "d", "4")), (std::vector<std::string>{"a=1", "b=2", "c=3", "d=4"}));
}

TEST(EnvRewrite, AnEmptyOrNullValueDeletesTheKey) {
  const Block old = env_block(std::string("a=1\0b=2\0", 8));
  EXPECT_EQ(entries(rewritten(old, "a", "")), std::vector<std::string>{"b=2"});
  EXPECT_EQ(entries(rewritten(old, "b", nullptr)), std::vector<std::string>{"a=1"});
}

TEST(EnvRewrite, EveryEntryHoldingASecondEqualsSignIsLost) {
  const Block old = env_block(std::string("bootargs=console=ttyS0\0x=\0=y\0a=1\0", 34));
  EXPECT_EQ(entries(rewritten(old, "b", "2")), (std::vector<std::string>{"a=1", "b=2"}));
  // A value with "=" is written, and can't be read back.
  const Block b = rewritten(old, "k", "v=w");
  EXPECT_EQ(entries(b).back(), "k=v=w");
  int r = 0;
  find(b, "k", &r);
  EXPECT_EQ(r, -1);
}

TEST(EnvRewrite, AChecksumInFrontStaysAsItWas) {
  const std::string crc("\x12\x34\x56\x78", 4);
  const Block old = env_block(crc + std::string("bootdelay=3\0baudrate=9600\0", 26));
  const Block b = rewritten(old, "baudrate", "115200");
  EXPECT_EQ(std::memcmp(b.data(), crc.data(), 4), 0);
  EXPECT_EQ(entries(b), (std::vector<std::string>{crc + "bootdelay=3", "baudrate=115200"}));
}

TEST(EnvRewrite, AStaleTailDoesNotKeepADeletedKeyAlive) {
  const Block old = env_block(std::string("a=1\0long=xxxxxxxxxxxxxxxx\0", 26));
  const Block b = rewritten(old, "long", "");
  EXPECT_EQ(entries(b), std::vector<std::string>{"a=1"});
  int r = 0;
  find(b, "long", &r);
  EXPECT_EQ(r, -1);
}

TEST(EnvRewrite, AnEntryThatDoesNotFitIsRefused) {
  // Entries and their terminators fill all 4096 bytes: no room for "n=v".
  std::string full;
  while (full.size() + 11 <= UBOOTENV_SIZE - 4) {
    char entry[32];
    std::snprintf(entry, sizeof entry, "k%04zu=vvvv", full.size() / 11);
    full += entry + std::string(1, '\0');
  }
  full += "q=1";  // ended by the last byte, 0xFF
  ASSERT_EQ(full.size(), UBOOTENV_SIZE - 1u);
  const Block old = env_block(full);
  Block b;
  EXPECT_FALSE(rewrite_env(old, "n", "v", b));
  EXPECT_TRUE(rewrite_env(old, "n", "", b));
}

TEST(CharToData, HexDigitsHaveTheirValueEverythingElseZero) {
  for (int c = -128; c < 128; ++c) {
    int expected = 0;
    if (c >= '0' && c <= '9') expected = c - '0';
    if (c >= 'a' && c <= 'f') expected = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') expected = c - 'A' + 10;
    EXPECT_EQ(charToData(static_cast<char>(c)), expected) << c;
  }
}

std::array<unsigned char, 6> mac_of(const char* text) {
  std::array<unsigned char, 6> out;
  out.fill(0xEE);
  StrToMac(text, out.data());
  return out;
}

TEST(StrToMac, ColonsDashesAndEitherCaseGiveTheSameBytes) {
  const std::array<unsigned char, 6> expected{0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0xef};
  EXPECT_EQ(mac_of("00:1a:2b:3c:4d:ef"), expected);
  EXPECT_EQ(mac_of("00-1A-2B-3C-4D-EF"), expected);
  EXPECT_EQ(mac_of("00:1A:2b:3C:4d:Ef"), expected);
}

TEST(StrToMac, TwelveDigitsWithoutSeparatorsDoNot) {
  // The step of three skips one digit after each pair; the text ends after
  // four pairs, and the last two bytes keep their value.
  EXPECT_EQ(mac_of("001a2b3c4def"), (std::array<unsigned char, 6>{0x00, 0xa2, 0x3c, 0xde, 0xEE, 0xEE}));
}

TEST(StrToMac, OddTexts) {
  const std::array<unsigned char, 6> untouched{0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
  EXPECT_EQ(mac_of(""), untouched);
  EXPECT_EQ(mac_of("::::"), untouched);
  // A digit last: its low nibble is the terminator's 0, and the walk ends.
  EXPECT_EQ(mac_of("00:11:22:33:44:5"), (std::array<unsigned char, 6>{0x00, 0x11, 0x22, 0x33, 0x44, 0x50}));
  // Non-digits in the low place count as 0; leading junk is stepped over.
  EXPECT_EQ(mac_of("xx0g:1"), (std::array<unsigned char, 6>{0x00, 0x10, 0xEE, 0xEE, 0xEE, 0xEE}));
  // Only six pairs are taken from a long text.
  std::string longer;
  for (int i = 0; i < 66; ++i) longer += "ab:";
  EXPECT_EQ(mac_of(longer.c_str()), (std::array<unsigned char, 6>{0xab, 0xab, 0xab, 0xab, 0xab, 0xab}));
  EXPECT_EQ(StrToMac(nullptr, nullptr), -1);
}

TEST(ChipId, PrintsTheMostSignificantByteFirst) {
  char text[CHIP_ID_TEXT_SIZE];
  format_chip_id(0x0123456789ABCDEFull, text);
  EXPECT_STREQ(text, "01-23-45-67-89-ab-cd-ef");
  format_chip_id(0xFF00000000000001ull, text);
  EXPECT_STREQ(text, "ff-00-00-00-00-00-00-01");
}

TEST(ChipId, IsFoundInTheProcessAtRunTime) {
  uint64_t id = 0;
  g_uuid_fails = false;
  ASSERT_EQ(read_chip_id(&id), 0);
  EXPECT_EQ(id, 0x0123456789ABCDEFull);
  g_uuid_fails = true;
  id = 7;
  EXPECT_EQ(read_chip_id(&id), -1);
  EXPECT_EQ(id, 7u);
  g_uuid_fails = false;
}

TEST(Layout, QQRowsLieOnTheDevicesFirstFields) {
  const int offsets[] = {0x1000, 0x1020, 0x1040, 0x1060, 0x1200};
  const int sizes[] = {32, 32, 32, 416, 256};
  for (int i = 0; i < QQ_INFO_COUNT; ++i) {
    EXPECT_STREQ(qq_info_list[i].dev, "/dev/mtd2");
    EXPECT_EQ(qq_info_list[i].offset, offsets[i]);
    EXPECT_EQ(qq_info_list[i].size, sizes[i]);
  }
}

TEST(QQIotInfo, AnIndexOutsideTheTableIsRefusedBeforeAnyDevice) {
  char buf[QQ_INFO_MAX];
  int len = 5;
  EXPECT_EQ(ReadQQIotInfo(5, buf, &len), -1);
  EXPECT_EQ(ReadQQIotInfo(-1, buf, &len), -1);
  EXPECT_EQ(WriteQQIotInfo(5, buf, &len), -1);
  EXPECT_EQ(len, 5);
}

}  // namespace
