// The board's devices of the phone box (box/devices) as a driver would
// answer: the flash's geometry and erase, NOR programming, and the log.

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "support/files.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::put_file;
using phonecore::testing::slurp;

class Devices : public ::testing::Test {
 protected:
  void SetUp() override {
    put_file("/dev/mtd2", std::string(128 * 1024, '\xff'));
    put_file("/run/phonebox/devices.log", "");
    fd_ = open("/dev/mtd2", O_RDWR);
    ASSERT_GE(fd_, 0);
  }
  void TearDown() override { close(fd_); }
  int fd_ = -1;
};

TEST_F(Devices, FlashGeometryComesFromTheBoxFile) {
  mtd_info_user info{};
  ASSERT_EQ(ioctl(fd_, MEMGETINFO, &info), 0);
  EXPECT_EQ(info.size, 128u * 1024);
  EXPECT_EQ(info.erasesize, 64u * 1024);
  EXPECT_EQ(info.type, MTD_NORFLASH);
  put_file("/run/phonebox/mtd2.geometry", "size 1048576\nerasesize 4096\n");
  ASSERT_EQ(ioctl(fd_, MEMGETINFO, &info), 0);
  EXPECT_EQ(info.size, 1024u * 1024);
  EXPECT_EQ(info.erasesize, 4096u);
  put_file("/run/phonebox/mtd2.geometry", "size 131072\nerasesize 65536\n");
}

TEST_F(Devices, AWriteOnlyClearsBitsAndAnEraseSetsThemAgain) {
  ASSERT_EQ(pwrite(fd_, "\x0f", 1, 10), 1);
  ASSERT_EQ(pwrite(fd_, "\xf3", 1, 10), 1);
  ASSERT_EQ(lseek(fd_, 20, SEEK_SET), 20);
  ASSERT_EQ(write(fd_, "ab", 2), 2);
  EXPECT_EQ(lseek(fd_, 0, SEEK_CUR), 22);
  std::string f = slurp("/dev/mtd2");
  EXPECT_EQ(f[10], '\x03');
  EXPECT_EQ(f.substr(20, 2), "ab");
  erase_info_user erase{0, 64 * 1024};
  ASSERT_EQ(ioctl(fd_, MEMERASE, &erase), 0);
  f = slurp("/dev/mtd2");
  EXPECT_EQ(f[10], '\xff');
  EXPECT_EQ(f[20], '\xff');
  EXPECT_EQ(slurp("/run/phonebox/devices.log"),
            "mtd2 open\nmtd2 write 0xa 1\nmtd2 write 0xa 1\nmtd2 write 0x14 2\nmtd2 MEMERASE 0x0 0x10000\n");
}

TEST_F(Devices, AnUnalignedOrOversizedEraseIsInvalid) {
  ASSERT_EQ(pwrite(fd_, "\x00", 1, 0), 1);
  erase_info_user unaligned{0x100, 64 * 1024};
  errno = 0;
  EXPECT_EQ(ioctl(fd_, MEMERASE, &unaligned), -1);
  EXPECT_EQ(errno, EINVAL);
  erase_info_user beyond{64 * 1024, 128 * 1024};
  EXPECT_EQ(ioctl(fd_, MEMERASE, &beyond), -1);
  EXPECT_EQ(errno, EINVAL);
  erase_info_user part{0, 4096};
  EXPECT_EQ(ioctl(fd_, MEMUNLOCK, &part), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(slurp("/dev/mtd2")[0], '\0');
}

TEST_F(Devices, OtherFilesAreUntouched) {
  const int other = open("/tmp/plain", O_RDWR | O_CREAT | O_TRUNC, 0600);
  ASSERT_GE(other, 0);
  ASSERT_EQ(write(other, "\x0f", 1), 1);
  ASSERT_EQ(pwrite(other, "\xf0", 1, 0), 1);
  mtd_info_user info{};
  EXPECT_EQ(ioctl(other, MEMGETINFO, &info), -1);
  close(other);
  EXPECT_EQ(slurp("/tmp/plain"), "\xf0");
  EXPECT_EQ(slurp("/run/phonebox/devices.log"), "mtd2 open\n");
}

int write_text(const char* path, const char* text) {
  const int fd = open(path, O_WRONLY);
  if (fd < 0) return -1;
  const int r = static_cast<int>(write(fd, text, std::strlen(text)));
  const int error = errno;
  close(fd);
  errno = error;
  return r;
}

TEST(Sysfs, ExportMakesTheGpioAndAWriteReplacesItsValue) {
  EXPECT_EQ(slurp("/sys/class/gpio/gpio12/value"), "") << "not made before export";
  ASSERT_EQ(write_text("/sys/class/gpio/export", "12"), 2);
  EXPECT_EQ(slurp("/sys/class/gpio/gpio12/direction"), "in");
  errno = 0;
  EXPECT_EQ(write_text("/sys/class/gpio/export", "12"), -1);
  EXPECT_EQ(errno, EBUSY);
  ASSERT_EQ(write_text("/sys/class/gpio/gpio12/direction", "high"), 4);
  EXPECT_EQ(slurp("/sys/class/gpio/gpio12/direction"), "out");
  EXPECT_EQ(slurp("/sys/class/gpio/gpio12/value"), "1");
  ASSERT_EQ(write_text("/sys/class/gpio/gpio12/value", "0\n"), 2);
  EXPECT_EQ(slurp("/sys/class/gpio/gpio12/value"), "0");
  EXPECT_EQ(write_text("/sys/class/gpio/gpio12/direction", "sideways"), -1);
  EXPECT_EQ(errno, EINVAL);
  ASSERT_EQ(write_text("/sys/class/gpio/unexport", "12"), 2);
  EXPECT_EQ(write_text("/sys/class/gpio/gpio12/value", "1"), -1);
  EXPECT_EQ(write_text("/sys/class/gpio/unexport", "12"), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST(Sysfs, APwmDutyAbovePeriodIsInvalid) {
  ASSERT_EQ(write_text("/sys/class/pwm/pwmchip0/export", "0"), 1);
  EXPECT_EQ(write_text("/sys/class/pwm/pwmchip0/export", "0"), -1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_EQ(write_text("/sys/class/pwm/pwmchip0/pwm0/duty_cycle", "1"), -1) << "period 0";
  EXPECT_EQ(errno, EINVAL);
  ASSERT_EQ(write_text("/sys/class/pwm/pwmchip0/pwm0/period", "1000"), 4);
  ASSERT_EQ(write_text("/sys/class/pwm/pwmchip0/pwm0/duty_cycle", "1000"), 4);
  ASSERT_EQ(write_text("/sys/class/pwm/pwmchip0/pwm0/duty_cycle", "35"), 2);
  EXPECT_EQ(slurp("/sys/class/pwm/pwmchip0/pwm0/duty_cycle"), "35");
  ASSERT_EQ(write_text("/sys/class/pwm/pwmchip0/unexport", "0"), 1);
  EXPECT_EQ(slurp("/sys/class/pwm/pwmchip0/pwm0/period"), "");
}

TEST(Drivers, TheLedRequestAndTheWatchdogsOneOpener) {
  put_file("/run/phonebox/devices.log", "");
  const int led = open("/dev/zlt_led", O_RDWR);
  ASSERT_GE(led, 0);
  const int32_t request[4] = {0, 2, 62, 62};
  EXPECT_EQ(ioctl(led, 0x4004A9F4ul, request), 0);
  close(led);
  const int dog = open("/dev/watchdog", O_WRONLY);
  ASSERT_GE(dog, 0);
  EXPECT_EQ(open("/dev/watchdog", O_WRONLY), -1);
  EXPECT_EQ(errno, EBUSY);
  close(dog);
  const int again = open("/dev/watchdog", O_WRONLY);
  EXPECT_GE(again, 0);
  close(again);
  EXPECT_EQ(slurp("/run/phonebox/devices.log"),
            "zlt_led open\nzlt_led 0 2 62 62\nwatchdog open\nwatchdog open EBUSY\nwatchdog close\n"
            "watchdog open\nwatchdog close\n");
}

}  // namespace
