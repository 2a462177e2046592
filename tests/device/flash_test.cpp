// Factory storage on the box's flash (box/devices): a 128 KiB NOR
// partition of two 64 KiB erase blocks. Every test starts from a blank
// partition; what the library did to it is read back from the flash and
// from /run/phonebox/devices.log.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "phonecore/flash.h"
#include "support/calls_log.h"
#include "support/files.h"
#include "support/printed.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::calls_log;
using phonecore::testing::printed_by;
using phonecore::testing::put_file;
using phonecore::testing::slurp;

constexpr const char* kFlash = "/dev/mtd2";
constexpr size_t kSize = 128 * 1024;
constexpr size_t kBlock = 64 * 1024;

// The flash's bytes, read past the device stand-in.
std::string flash() { return slurp(kFlash); }

// Bytes placed on the flash as the factory left them.
void program(size_t offset, const std::string& bytes) {
  std::fstream f(kFlash, std::ios::binary | std::ios::in | std::ios::out);
  f.seekp(static_cast<std::streamoff>(offset));
  f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::string> device_acts() {
  std::vector<std::string> lines;
  std::istringstream in(slurp("/run/phonebox/devices.log"));
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

size_t count(const std::vector<std::string>& lines, const std::string& line) {
  return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

bool all_erased(const std::string& bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == '\xff'; });
}

class Flash : public ::testing::Test {
 protected:
  void SetUp() override {
    put_file(kFlash, std::string(kSize, '\xff'));
    std::remove("/run/phonebox/mtd2.fail");
    std::remove("/run/phonebox/chip_id");
    put_file("/run/phonebox/devices.log", "");
    put_file("/run/phonebox/calls.log", "");
  }
  void TearDown() override { std::remove("/run/phonebox/mtd2.fail"); }
  static void fail(const std::string& how) { put_file("/run/phonebox/mtd2.fail", how + "\n"); }
};

TEST_F(Flash, AWriteUnlocksAndErasesEveryBlockThenWritesTheFirstBack) {
  program(0x100, "old");
  program(kBlock + 0x10, "second block");
  ASSERT_EQ(mtd_write(kFlash, "new", 0x200, 3), 0);
  const std::vector<std::string> expected{
      "mtd2 open",
      "mtd2 MEMGETINFO",
      "mtd2 MEMUNLOCK 0x0 0x10000",
      "mtd2 MEMERASE 0x0 0x10000",
      "mtd2 MEMUNLOCK 0x10000 0x10000",
      "mtd2 MEMERASE 0x10000 0x10000",
      "mtd2 open",
      "mtd2 write 0x0 65536",
  };
  EXPECT_EQ(device_acts(), expected);
  const std::string after = flash();
  EXPECT_EQ(after.substr(0x100, 3), "old");
  EXPECT_EQ(after.substr(0x200, 3), "new");
  // The whole partition was erased and only the first block came back.
  EXPECT_TRUE(all_erased(after.substr(kBlock)));
}

TEST_F(Flash, DataPastTheFirstEraseBlockIsRefusedBeforeErasing) {
  program(0x100, "kept");
  EXPECT_EQ(mtd_write(kFlash, "xy", kBlock - 1, 2), -1);
  EXPECT_EQ(mtd_write(kFlash, "xy", -1, 2), -1);
  EXPECT_EQ(count(device_acts(), "mtd2 MEMERASE 0x0 0x10000"), 0u);
  EXPECT_EQ(flash().substr(0x100, 4), "kept");
  EXPECT_EQ(mtd_write(kFlash, "xy", kBlock - 2, 2), 0);
  EXPECT_EQ(flash().substr(kBlock - 2, 2), "xy");
}

TEST_F(Flash, AnEraseFailingAtBlockOneLeavesBlockZeroBlank) {
  program(0x4100, "00:11:22:33:44:55");
  fail("erase 1");
  std::string printed = printed_by([] { EXPECT_EQ(mtd_write(kFlash, "x", 0x10, 1), -1); });
  EXPECT_EQ(printed, "Failed to erase block on /dev/mtd2 at 0x10000\n");
  EXPECT_TRUE(all_erased(flash()));
}

TEST_F(Flash, NoDeviceInfoChangesNothing) {
  program(0x10, "kept");
  fail("info");
  std::string printed = printed_by([] { EXPECT_EQ(mtd_write(kFlash, "x", 0, 1), -1); });
  EXPECT_EQ(printed, "Could not get MTD device info from /dev/mtd2\n");
  EXPECT_EQ(flash().substr(0x10, 4), "kept");
  printed = printed_by([] { EXPECT_EQ(mtd_write("/dev/mtd9", "x", 0, 1), -1); });
  EXPECT_EQ(printed, "Could not open mtd device: /dev/mtd9\n");
}

TEST_F(Flash, AShortWriteLeavesHalfTheBlock) {
  program(0x10, "head");
  program(kBlock - 16, "tail");
  fail("short");
  std::string printed = printed_by([] { EXPECT_EQ(mtd_write(kFlash, "x", 0, 1), -1); });
  EXPECT_EQ(printed, "write() /dev/mtd2 failed\n");
  const std::string after = flash();
  EXPECT_EQ(after.substr(0, 1), "x");
  EXPECT_EQ(after.substr(0x10, 4), "head");
  EXPECT_TRUE(all_erased(after.substr(kBlock / 2)));
}

TEST_F(Flash, APowerCutAfterErasingLosesEverything) {
  std::vector<unsigned char> mac{0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
  program(0x400C, std::string(mac.begin(), mac.end()));
  program(0x4140, "SN-0001");
  fail("cut");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    mtd_write(kFlash, "x", 0x7000, 1);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
  EXPECT_TRUE(all_erased(flash()));
  EXPECT_EQ(device_acts().back(), "mtd2 power cut");
}

TEST_F(Flash, ReadsAreWholeOrFail) {
  program(0x20, "abcd");
  char buf[8] = {};
  EXPECT_EQ(mtd_read(kFlash, buf, 0x20, 4), 0);
  EXPECT_STREQ(buf, "abcd");
  EXPECT_EQ(mtd_read(kFlash, buf, kSize - 2, 4), -1);
  EXPECT_EQ(mtd_read("/dev/mtd9", buf, 0, 4), -1);
}

TEST_F(Flash, EnvOnABlankBlockAndAnAbsentKey) {
  char out[64];
  EXPECT_EQ(get_ubootparam_bykey("bootdelay", out, sizeof out), -1);
  char block[UBOOTENV_SIZE];
  EXPECT_EQ(read_ubootenv(block), -1);
  ASSERT_EQ(set_ubootparam_bykey("bootdelay", "3"), 0);
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(get_ubootparam_bykey("baudrate", out, sizeof out), -2);
  EXPECT_TRUE(std::all_of(out, out + sizeof out, [](char c) { return c == 0; }));
  EXPECT_EQ(get_ubootparam_bykey("bootdelay", out, sizeof out), 0);
  EXPECT_STREQ(out, "3");
  EXPECT_EQ(read_ubootenv(block), 0);
  EXPECT_EQ(std::string(block, 12), std::string("bootdelay=3\0", 12));
}

TEST_F(Flash, EnvSetPutsTheKeyLastAndEmptyRemovesIt) {
  program(0x2000, std::string("a=1\0b=2\0c=3\0", 12));
  ASSERT_EQ(set_ubootparam_bykey("a", "9"), 0);
  EXPECT_EQ(flash().substr(0x2000, 13), std::string("b=2\0c=3\0a=9\0\0", 13));
  ASSERT_EQ(changeubootenv("b", ""), 0);
  char out[8];
  EXPECT_EQ(get_ubootparam_bykey("b", out, sizeof out), -2);
  EXPECT_EQ(flash().substr(0x2000, 9), std::string("c=3\0a=9\0\0", 9));
}

TEST_F(Flash, EnvValueIsCutAtTheCallersSize) {
  ASSERT_EQ(set_ubootparam_bykey("serial", "123456789"), 0);
  char out[8];
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(get_ubootparam_bykey("serial", out, 4), 0);
  EXPECT_EQ(std::string(out, 5), std::string("123\0x", 5));
}

TEST_F(Flash, AValueHoldingEqualsReadsNotFoundRightAfterItsSet) {
  ASSERT_EQ(set_ubootparam_bykey("bootargs", "console=ttyS0"), 0);
  char out[64];
  EXPECT_EQ(get_ubootparam_bykey("bootargs", out, sizeof out), -2);
  // ... and the next change drops it.
  ASSERT_EQ(set_ubootparam_bykey("x", "1"), 0);
  EXPECT_EQ(flash().substr(0x2000, 5), std::string("x=1\0\0", 5));
}

TEST_F(Flash, ALoaderChecksumGluesToTheFirstNameAndIsNeverUpdated) {
  const std::string crc("\x5a\xa5\x3c\xc3", 4);
  program(0x2000, crc + std::string("bootdelay=3\0baudrate=9600\0", 26));
  char out[64];
  EXPECT_EQ(get_ubootparam_bykey("bootdelay", out, sizeof out), -2);
  ASSERT_EQ(set_ubootparam_bykey("baudrate", "115200"), 0);
  const std::string env = flash().substr(0x2000, 64);
  EXPECT_EQ(env.substr(0, 4), crc);
  EXPECT_EQ(env.substr(4, 28), std::string("bootdelay=3\0baudrate=115200\0", 28));
}

TEST_F(Flash, MacIndexesAndTheirText) {
  program(0, "\x01\x02\x03\x04\x05\x06");
  program(0x4000, std::string("\x00\x11\x22\x33\x44\x55", 6));
  program(0x4006, "\x22\x22\x22\x22\x22\x22");
  program(0x400C, "\xaa\xbb\xcc\xdd\xee\xff");
  unsigned char mac[MAC_BYTES];
  ASSERT_EQ(mac_read(5, mac), 0);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(mac), 6), "\x01\x02\x03\x04\x05\x06");
  char text[MAC_TEXT_SIZE];
  ASSERT_EQ(mac_readstring(0, text), 0);
  EXPECT_STREQ(text, "00:11:22:33:44:55");
  ASSERT_EQ(mac_readstring(1, text), 0);
  EXPECT_STREQ(text, "aa:bb:cc:dd:ee:ff");
  char text2[MAC_TEXT2_SIZE];
  ASSERT_EQ(mac_readstring2(2, text2), 0);
  EXPECT_STREQ(text2, "222222222222");
  ASSERT_EQ(mac_readstring2(-1, text2), 0);
  EXPECT_STREQ(text2, "010203040506");
}

TEST_F(Flash, FactoryDataWrittenAndReadWithTheChipId) {
  put_file("/run/phonebox/chip_id", "0123456789abcdef\n");
  ASSERT_EQ(write_mac_sn_times("2026-11-23 12:00", "00-1A-2b-3c-4d-EF", "SN-0042"), 0);
  EXPECT_EQ(calls_log("fw_setenv"), std::vector<std::string>{"fw_setenv ethaddr 00-1A-2b-3c-4d-EF"});
  EXPECT_EQ(count(device_acts(), "mtd2 MEMERASE 0x0 0x10000"), 4u);
  const std::string f = flash();
  EXPECT_EQ(f.substr(0x400C, 6), std::string("\x00\x1a\x2b\x3c\x4d\xef", 6));
  EXPECT_EQ(f.substr(0x4100, 18), std::string("00-1A-2b-3c-4d-EF\0", 18));
  EXPECT_EQ(f.substr(0x4140, 64), "SN-0042" + std::string(57, '\0'));
  char time[FACTORY_TEXT_SIZE], mac[FACTORY_TEXT_SIZE], serial[FACTORY_TEXT_SIZE], uuid[CHIP_ID_TEXT_SIZE];
  int r = 0;
  const std::string printed = printed_by([&] { r = read_time_mac_sn_uuid(time, mac, serial, uuid); });
  EXPECT_EQ(r, 0);
  EXPECT_STREQ(time, "2026-11-23 12:00");
  EXPECT_STREQ(mac, "00-1A-2b-3c-4d-EF");
  EXPECT_STREQ(serial, "SN-0042");
  EXPECT_STREQ(uuid, "01-23-45-67-89-ab-cd-ef");
  EXPECT_EQ(printed, "uuid: 01-23-45-67-89-ab-cd-ef\n");
}

TEST_F(Flash, WithoutAChipIdTheFactoryReadFails) {
  char time[FACTORY_TEXT_SIZE], mac[FACTORY_TEXT_SIZE], serial[FACTORY_TEXT_SIZE], uuid[CHIP_ID_TEXT_SIZE] = "none";
  EXPECT_EQ(read_time_mac_sn_uuid(time, mac, serial, uuid), -1);
  EXPECT_STREQ(uuid, "none");
  // A blank field reads as 63 erased bytes and a terminator.
  EXPECT_EQ(std::strlen(serial), 63u);
}

TEST_F(Flash, FactoryTextsAreCutAt63) {
  const std::string long_serial(100, 'S');
  ASSERT_EQ(write_mac_sn_times("t", "00:11:22:33:44:55", long_serial.c_str()), 0);
  const std::string f = flash();
  EXPECT_EQ(f.substr(0x4140, 64), std::string(63, 'S') + std::string(1, '\0'));
  EXPECT_EQ(f.substr(0x4180, 2), std::string("t\0", 2));
}

TEST_F(Flash, KeyBlocksAndQQRecords) {
  const std::string k1(FLASH_KEY_SIZE, '1'), k2(FLASH_KEY_SIZE, '2'), k3(FLASH_KEY_SIZE, '3');
  ASSERT_EQ(write_all_key(k1.data(), k2.data(), k3.data()), 0);
  const std::string f = flash();
  EXPECT_EQ(f.substr(0x5000, FLASH_KEY_SIZE), k1);
  EXPECT_EQ(f.substr(0x6000, FLASH_KEY_SIZE), k2);
  EXPECT_EQ(f.substr(0x7000, FLASH_KEY_SIZE), k3);
  EXPECT_EQ(f[0x7400], '\xff');

  const std::string record(500, 'q');
  int len = 500;
  ASSERT_EQ(WriteQQIotInfo(3, record.data(), &len), 0);
  EXPECT_EQ(len, 416);
  EXPECT_EQ(flash().substr(0x1060, 417), std::string(416, 'q') + "\xff");
  char back[QQ_INFO_MAX] = {};
  len = 0;
  ASSERT_EQ(ReadQQIotInfo(3, back, &len), 0);
  EXPECT_EQ(len, 416);
  EXPECT_EQ(std::string(back, 416), std::string(416, 'q'));
}

TEST_F(Flash, AFailingFwSetenvIsIgnored) {
  put_file("/run/phonebox/fw_env.status", "1\n");
  put_file("/run/phonebox/fw_env.log", "");
  EXPECT_EQ(write_mac_sn_times("t", "00:11:22:33:44:55 extra", "s"), 0);
  std::remove("/run/phonebox/fw_env.status");
  // The MAC text goes to the shell as it is: a blank splits it.
  EXPECT_EQ(slurp("/run/phonebox/fw_env.log"), "fw_setenv\nethaddr\n00:11:22:33:44:55\nextra\n--\n");
  EXPECT_EQ(flash().substr(0x400C, 6), std::string("\x00\x11\x22\x33\x44\x55", 6));
  EXPECT_EQ(flash().substr(0x4140, 2), std::string("s\0", 2));
}

TEST_F(Flash, AnOutSizeOfOneHoldsOnlyTheTerminator) {
  ASSERT_EQ(set_ubootparam_bykey("k", "value"), 0);
  char out[2] = {'x', 'y'};
  EXPECT_EQ(get_ubootparam_bykey("k", out, 1), 0);
  EXPECT_EQ(out[0], '\0');
  EXPECT_EQ(out[1], 'y');
  EXPECT_EQ(get_ubootparam_bykey("k", out, 0), 0) << "nothing written";
  EXPECT_EQ(get_ubootparam_bykey(nullptr, out, 1), -2);
  EXPECT_EQ(changeubootenv(nullptr, "v"), -1);
}

TEST_F(Flash, AnEnvThatCannotTakeTheEntryIsLeftAsItWas) {
  std::string full;
  while (full.size() + 12 <= UBOOTENV_SIZE)
    full += "key" + std::to_string(1000 + full.size() / 12 % 9000) + "=val" + std::string(1, '\0');
  full.resize(UBOOTENV_SIZE, 'p');
  full[UBOOTENV_SIZE - 1] = '\0';
  program(0x2000, full);
  put_file("/run/phonebox/devices.log", "");
  EXPECT_EQ(set_ubootparam_bykey("another", "entry that cannot fit"), -1);
  EXPECT_EQ(flash().substr(0x2000, UBOOTENV_SIZE), full);
  EXPECT_EQ(count(device_acts(), "mtd2 MEMERASE 0x0 0x10000"), 0u);
}

}  // namespace
