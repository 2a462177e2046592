// File, shell, disk, ARP and host tools in the box: its /tmp,
// /appconfigs, /dev and /proc are the device's own paths here.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>

#include "base/system_info_internal.h"
#include "phonecore/fileutil.h"
#include "phonecore/text.h"
#include "support/files.h"
#include "support/printed.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::printed_by;
using phonecore::testing::put_file;
using phonecore::testing::slurp;

std::string random_bytes(size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::string s(n, '\0');
  for (auto& c : s) c = static_cast<char>(random());
  return s;
}

TEST(Files, ExistenceKindAndSize) {
  put_file("/tmp/f_size", "12345");
  EXPECT_EQ(check_if_fileexit("/tmp/f_size"), 1);
  EXPECT_EQ(check_if_fileexit("/tmp/none"), 0);
  EXPECT_EQ(is_dir("/tmp"), 1);
  EXPECT_EQ(is_dir("/tmp/f_size"), 0);
  EXPECT_EQ(is_dir("/tmp/none"), 0);
  EXPECT_EQ(get_file_size("/tmp/f_size"), 5);
  EXPECT_EQ(get_file_size("/tmp/none"), -1);
}

TEST(Files, IsFileUtf8) {
  put_file("/tmp/u_ascii", "plain text\n");
  EXPECT_EQ(isFileUTF8("/tmp/u_ascii"), 1) << "pure ASCII passes in a file";
  put_file("/tmp/u_chinese", "\xe5\xbc\xa0\xe4\xb8\x89 caf\xc3\xa9\n");
  EXPECT_EQ(isFileUTF8("/tmp/u_chinese"), 1);
  put_file("/tmp/u_gbk", "\xd5\xc5\xc8\xfd");
  EXPECT_EQ(isFileUTF8("/tmp/u_gbk"), 0);
  put_file("/tmp/u_cut", "abc\xe5\xbc");
  EXPECT_EQ(isFileUTF8("/tmp/u_cut"), 0);
  put_file("/tmp/u_empty", "");
  EXPECT_EQ(isFileUTF8("/tmp/u_empty"), 0);
  EXPECT_EQ(isFileUTF8("/tmp/none"), 0);
  EXPECT_EQ(isFileUTF8(nullptr), 0);
}

TEST(CopyFile, CopiesAcrossBlockBorders) {
  for (size_t n : {0u, 1u, 16383u, 16384u, 16385u, 100000u}) {
    const std::string bytes = random_bytes(n, static_cast<unsigned>(n));
    put_file("/tmp/cf_source", bytes);
    put_file("/tmp/cf_target", "old content that is longer than some sources");
    EXPECT_EQ(copy_file("/tmp/cf_target", "/tmp/cf_source"), 0);
    EXPECT_EQ(slurp("/tmp/cf_target"), bytes) << n;
  }
}

TEST(CopyFile, Results) {
  put_file("/tmp/cf_source", "x");
  EXPECT_EQ(copy_file("/tmp/cf_target", "/tmp/none"), 2);
  EXPECT_EQ(copy_file("/tmp/no_dir/target", "/tmp/cf_source"), 3);
  std::string printed;
  testing::internal::CaptureStderr();
  EXPECT_EQ(copy_file("/dev/full", "/tmp/cf_source"), 4);
  printed = testing::internal::GetCapturedStderr();
  EXPECT_NE(printed.find("Fatal write error."), std::string::npos) << printed;
}

class CopyDir : public ::testing::Test {
 protected:
  void SetUp() override {
    std::system("rm -rf /tmp/cd_src /tmp/cd_dst");
    mkdir("/tmp/cd_src", 0755);
    mkdir("/tmp/cd_src/a", 0755);
    mkdir("/tmp/cd_src/a/b", 0755);
    mkdir("/tmp/cd_src/empty", 0755);
    put_file("/tmp/cd_src/top.txt", "top");
    put_file("/tmp/cd_src/a/mid.bin", random_bytes(40000, 1));
    put_file("/tmp/cd_src/a/b/deep.txt", "deep");
  }
};

TEST_F(CopyDir, CopiesANestedTree) {
  EXPECT_EQ(copy_dir("/tmp/cd_src", "/tmp/cd_dst"), 0);
  EXPECT_EQ(slurp("/tmp/cd_dst/top.txt"), "top");
  EXPECT_EQ(slurp("/tmp/cd_dst/a/mid.bin"), random_bytes(40000, 1));
  EXPECT_EQ(slurp("/tmp/cd_dst/a/b/deep.txt"), "deep");
  EXPECT_EQ(is_dir("/tmp/cd_dst/empty"), 1);
  struct stat st {};
  ASSERT_EQ(stat("/tmp/cd_dst/a/b", &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0755u & ~static_cast<unsigned>(umask(022)));
}

TEST_F(CopyDir, ExistingFilesKeepTheirContent) {
  mkdir("/tmp/cd_dst", 0755);
  mkdir("/tmp/cd_dst/a", 0755);
  put_file("/tmp/cd_dst/a/mid.bin", "mine");
  const std::string printed = printed_by([] { EXPECT_EQ(copy_dir("/tmp/cd_src/", "/tmp/cd_dst/"), 0); });
  EXPECT_EQ(slurp("/tmp/cd_dst/a/mid.bin"), "mine");
  EXPECT_EQ(slurp("/tmp/cd_dst/a/b/deep.txt"), "deep");
  EXPECT_NE(printed.find("file /tmp/cd_dst/a/mid.bin has exists!"), std::string::npos) << printed;
  // A second copy over the same tree changes nothing.
  put_file("/tmp/cd_src/top.txt", "changed");
  EXPECT_EQ(copy_dir("/tmp/cd_src", "/tmp/cd_dst"), 0);
  EXPECT_EQ(slurp("/tmp/cd_dst/top.txt"), "top");
}

TEST_F(CopyDir, TheFirstFailedFileEndsTheCopy) {
  mkdir("/tmp/cd_dst", 0755);
  put_file("/tmp/cd_dst/a", "a file where the source has a folder");
  const std::string printed = printed_by([] { EXPECT_EQ(copy_dir("/tmp/cd_src", "/tmp/cd_dst"), -1); });
  EXPECT_NE(printed.find("copy file /tmp/cd_src/a/"), std::string::npos) << printed;
  EXPECT_NE(printed.find("failed!"), std::string::npos) << printed;
}

TEST_F(CopyDir, AMissingSourceOrOverlongPathFails) {
  EXPECT_EQ(copy_dir("/tmp/none", "/tmp/cd_dst"), -1);
  const std::string deep = "/tmp/" + std::string(600, 'd');
  EXPECT_EQ(copy_dir(deep.c_str(), "/tmp/cd_dst"), -1);
}

TEST(ModifyBinfile, PatchesInPlaceAndGrowsTheFile) {
  put_file("/tmp/bin", "0123456789");
  const std::string printed = printed_by([] { EXPECT_EQ(modify_binfile("/tmp/bin", 3, "ab", 2), 0); });
  EXPECT_EQ(slurp("/tmp/bin"), "012ab56789");
  EXPECT_EQ(printed, "------------->modify ok\n\r");
  EXPECT_EQ(modify_binfile("/tmp/bin", 12, "xy", 2), 0);
  EXPECT_EQ(slurp("/tmp/bin"), std::string("012ab56789\0\0xy", 14));
  EXPECT_EQ(modify_binfile("/tmp/none", 0, "x", 1), 0);
  EXPECT_NE(access("/tmp/none", F_OK), 0);
}

TEST(ProcFiles, WriteProcWriteLineAndRawDescriptors) {
  put_file("/tmp/ctl", "");
  EXPECT_EQ(write_proc("/tmp/ctl", "1"), 0);
  EXPECT_EQ(slurp("/tmp/ctl"), "1");
  EXPECT_EQ(write_proc("/tmp/no_dir/ctl", "1"), 2);
  std::remove("/tmp/lines");
  EXPECT_EQ(write_line("/tmp/lines", "a\n"), 0);
  EXPECT_EQ(write_line("/tmp/lines", "b\n"), 0);
  EXPECT_EQ(slurp("/tmp/lines"), "a\nb\n");

  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  EXPECT_EQ(proc_write(fds[1], "ping", 4), 0);
  char got[8] = {};
  EXPECT_EQ(proc_read(fds[0], got, 4), 0);
  EXPECT_STREQ(got, "ping");
  EXPECT_EQ(proc_read(0, got, 4), -1) << "a descriptor below 1 fails";
  EXPECT_EQ(proc_write(0, got, 4), -1);
  close(fds[0]);
  close(fds[1]);
  EXPECT_EQ(proc_write(fds[1], "x", 1), -1);
}

TEST(AppconfigsBuffers, WriteAndReadBack) {
  const std::string bytes = random_bytes(5000, 9);
  EXPECT_EQ(writeFileToBuf("buffer_test.bin", bytes.data(), static_cast<int>(bytes.size())), 0);
  EXPECT_EQ(slurp("/appconfigs/buffer_test.bin"), bytes);
  char* buffer = static_cast<char*>(std::malloc(3));
  int size = 0;
  EXPECT_EQ(readFileToBuf("buffer_test.bin", &buffer, &size), 0);
  ASSERT_EQ(size, 5000);
  EXPECT_EQ(std::string(buffer, 5000), bytes);
  EXPECT_EQ(buffer[5000], '\0');
  EXPECT_EQ(readFileToBuf("none.bin", &buffer, &size), -1);
  EXPECT_EQ(buffer, nullptr) << "the old buffer is freed";
  EXPECT_EQ(size, 0);
  EXPECT_EQ(writeFileToBuf("x.bin", nullptr, 3), -1);
  std::remove("/appconfigs/buffer_test.bin");
}

TEST(AppconfigsBuffers, ReadFileToBuf2TakesTheSizeAsOutputOnly) {
  writeFileToBuf("small.txt", "hello", 5);
  std::vector<char> buffer(READFILE_BUF2_MAX, '#');
  for (int entry : {0, 3, -7, 1 << 30}) {
    int size = entry;
    EXPECT_EQ(readFileToBuf2("small.txt", buffer.data(), &size), 0) << entry;
    EXPECT_EQ(size, 5) << entry;
    EXPECT_STREQ(buffer.data(), "hello") << entry;
  }
  int size = 8;
  EXPECT_EQ(readFileToBuf2("none.txt", buffer.data(), &size), -1);
  EXPECT_EQ(size, 0);
  std::remove("/appconfigs/small.txt");
}

TEST(AppconfigsBuffers, ReadFileToBuf2KeepsToItsRoom) {
  const std::string big(READFILE_BUF2_MAX + 100, 'z');
  writeFileToBuf("big.txt", big.data(), static_cast<int>(big.size()));
  std::vector<char> buffer(READFILE_BUF2_MAX + 1, '#');
  int size = 0;
  EXPECT_EQ(readFileToBuf2("big.txt", buffer.data(), &size), 0);
  EXPECT_EQ(size, READFILE_BUF2_MAX - 1);
  EXPECT_EQ(buffer[READFILE_BUF2_MAX - 1], '\0');
  EXPECT_EQ(buffer[READFILE_BUF2_MAX], '#');
  std::remove("/appconfigs/big.txt");
}

TEST(Shell, SystemAndPopenRunTheirCommands) {
  std::remove("/tmp/by_system");
  std::remove("/tmp/by_popen");
  system_cmd("touch /tmp/by_system");
  popen_cmd("touch /tmp/by_popen");
  EXPECT_EQ(access("/tmp/by_system", F_OK), 0);
  EXPECT_EQ(access("/tmp/by_popen", F_OK), 0);
}

TEST(Shell, PopenGetParmTakesTheFirstLine) {
  char out[POPEN_LINE_SIZE];
  EXPECT_EQ(popen_get_parm("echo first; echo second", out), 0);
  EXPECT_STREQ(out, "first");
  EXPECT_EQ(popen_get_parm("true", out), -1);
  EXPECT_EQ(popen_get_parm("printf '\\nlater'", out), -1);
  EXPECT_EQ(popen_get_parm("head -c 300 /dev/zero | tr '\\0' a", out), 0);
  EXPECT_EQ(std::string(out), std::string(127, 'a'));
}

TEST(Shell, PopenCmdGetstrClearsItsBuffer) {
  char out[POPEN_CMD_GETSTR_SIZE + 1];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(popen_cmd_getstr("echo abcdefghij", out), 0);
  EXPECT_STREQ(out, "abcdefghij");
  EXPECT_EQ(out[POPEN_CMD_GETSTR_SIZE - 1], '\0');
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(popen_cmd_getstr("true", out), -1);
  EXPECT_EQ(out[0], '\0');
  EXPECT_EQ(out[POPEN_CMD_GETSTR_SIZE - 1], '\0');
  EXPECT_EQ(out[POPEN_CMD_GETSTR_SIZE], '#') << "nothing past the room";
}

TEST(Shell, PopenCmdGetstrCutsALongLineAtItsRoom) {
  char out[POPEN_CMD_GETSTR_SIZE + 1];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(popen_cmd_getstr("head -c 300 /dev/zero | tr '\\0' a", out), 0);
  EXPECT_EQ(std::string(out), std::string(POPEN_CMD_GETSTR_SIZE - 1, 'a'));
  EXPECT_EQ(out[POPEN_CMD_GETSTR_SIZE], '#');
}

unsigned long long expected_kb(const char* path, bool free) {
  struct statfs fs {};
  EXPECT_EQ(statfs(path, &fs), 0);
  return (static_cast<unsigned long long>(fs.f_bsize) * (free ? fs.f_bfree : fs.f_blocks) + 512) / 1024;
}

TEST(Disk, GetDiskSizeInKilobytes) {
  unsigned long long total = 0;
  const std::string printed = printed_by([&] { total = GetDiskSize("/tmp", 0); });
  EXPECT_EQ(total, expected_kb("/tmp", false));
  EXPECT_EQ(printed, "======>size " + std::to_string(total) + " \n\r");
  const unsigned long long free = GetDiskSize("/tmp", 1);
  EXPECT_LE(free, total);
  EXPECT_GT(free, 0u);
  EXPECT_EQ(GetDiskSize("/tmp", 2), 0u);
  EXPECT_EQ(GetDiskSize("/none", 0), 0u);
}

TEST(Disk, GetDiskInfoOfATmpfs) {
  DiskInfo info;
  std::memset(&info, '#', sizeof info);
  EXPECT_EQ(get_disk_info("/tmp", &info), 0);
  EXPECT_STREQ(info.type, "unknown");
  char total[11];
  phonecore::base::format_disk_size(total, expected_kb("/tmp", false));
  EXPECT_STREQ(info.total, total);
  EXPECT_EQ(std::string(info.permissions, 3), "rw\n");
  const std::string printed = printed_by([&] { EXPECT_EQ(get_disk_info("/none", &info), -1); });
  EXPECT_NE(printed.find("get disk infomation faild"), std::string::npos);
}

TEST(Disk, SizesArePrintedInTheirUnit) {
  char out[11];
  phonecore::base::format_disk_size(out, 0);
  EXPECT_STREQ(out, "0.00KB");
  phonecore::base::format_disk_size(out, 1023);
  EXPECT_STREQ(out, "1023.00KB");
  phonecore::base::format_disk_size(out, 1024);
  EXPECT_STREQ(out, "1.00MB");
  phonecore::base::format_disk_size(out, 1536);
  EXPECT_STREQ(out, "1.50MB");
  phonecore::base::format_disk_size(out, 1024 * 1024 - 1);
  EXPECT_STREQ(out, "1024.00MB");
  phonecore::base::format_disk_size(out, 1024ULL * 1024);
  EXPECT_STREQ(out, "1.00GB");
  phonecore::base::format_disk_size(out, 7ULL * 1024 * 1024 * 1024 * 1024);
  EXPECT_STREQ(out, "7340032.00") << "the field keeps ten characters: GB is cut off";
}

TEST(Disk, GetDiskIdPrintsTheSerialNumber) {
  put_file("/tmp/fake_disk", "");
  std::string printed = printed_by([] { EXPECT_EQ(get_disk_id("/tmp/fake_disk"), 0); });
  EXPECT_EQ(printed, "Serial Number=SN0123456789ABCDEFGH\n");
  printed = printed_by([] { EXPECT_EQ(get_disk_id("/dev/null"), 0); });
  EXPECT_EQ(printed, "connot find sn \n\r");
  EXPECT_EQ(get_disk_id("/dev/no_such_disk"), 1);
  EXPECT_EQ(check_unmount_device("/dev/sda1"), 0);
}

TEST(Arp, TheBoxTableHasOnlyItsHeader) {
  ArpRecord rows[4];
  int count = -1;
  EXPECT_EQ(read_arp_table(rows, 4, &count), 0);
  EXPECT_EQ(count, 0);
}

TEST(Arp, RowsAreParsedUpToMax) {
  const char* text =
      "IP address       HW type     Flags       HW address            Mask     Device\n"
      "192.168.1.1      0x1         0x2         00:11:22:33:44:55     *        eth0\n"
      "192.168.1.20     0x1         0x0         00:00:00:00:00:00     *        eth0.100\n"
      "10.0.0.1         0x1         0x6         aa:bb:cc:dd:ee:ff     *        br0\n";
  ArpRecord rows[3];
  std::memset(rows, '#', sizeof rows);
  EXPECT_EQ(phonecore::base::parse_arp_rows(text, rows, 2), 2);
  EXPECT_STREQ(rows[0].ip, "192.168.1.1");
  EXPECT_EQ(rows[0].hw_type, 1u);
  EXPECT_EQ(rows[0].flags, 2u);
  EXPECT_STREQ(rows[0].hw_address, "00:11:22:33:44:55");
  EXPECT_STREQ(rows[0].mask, "*");
  EXPECT_STREQ(rows[0].device, "eth0");
  EXPECT_STREQ(rows[1].device, "eth0.100");
  EXPECT_EQ(rows[2].ip[0], '#') << "nothing beyond max";
  EXPECT_EQ(phonecore::base::parse_arp_rows(text, rows, 3), 3);
  EXPECT_EQ(rows[2].flags, 6u);
}

TEST(Arp, OverlongFieldsAreCut) {
  const std::string text = "header\n" + std::string(40, '1') + " 0x1 0x2 " + std::string(40, 'a') + " " +
                           std::string(20, 'm') + " " + std::string(30, 'd') + "\n";
  ArpRecord rows[1];
  EXPECT_EQ(phonecore::base::parse_arp_rows(text.c_str(), rows, 1), 0)
      << "a field longer than its room leaves the row unread";
  EXPECT_EQ(phonecore::base::parse_arp_rows("", rows, 1), 0);
  EXPECT_EQ(phonecore::base::parse_arp_rows("only a header\n", rows, 1), 0);
}

TEST(Hosts, NameOfLoopback) {
  char name[PHONECORE_HOSTNAME_MAX] = "";
  EXPECT_EQ(gethostnamebyip("127.0.0.1", name), 0);
  EXPECT_STREQ(name, "localhost");
  EXPECT_EQ(gethostnamebyip("not an address", name), -1);
  EXPECT_EQ(gethostnamebyip(nullptr, name), -1);
}

}  // namespace
