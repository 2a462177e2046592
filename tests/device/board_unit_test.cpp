// Board driver logic that needs no board: the backlight's duty, the LED
// table and request, and serial ports on pseudo-terminals and pipes.

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "phonecore/backlight.h"
#include "phonecore/led.h"
#include "phonecore/uart.h"

namespace {

TEST(BacklightDuty, FixedPointsOfTheBoard) {
  EXPECT_EQ(change_backlight_new(100, 5, 60), 60);
  EXPECT_EQ(change_backlight_new(0, 5, 60), 5);
  EXPECT_EQ(change_backlight_new(50, 5, 60), 32);
  EXPECT_EQ(change_backlight_new(80, 5, 60), 49);
  EXPECT_EQ(change_backlight_new(150, 5, 60), 87) << "no clamp";
  EXPECT_EQ(change_backlight_new(-20, 5, 60), -6) << "cut toward zero";
}

TEST(BacklightDuty, FollowsTheLevelFromMinusTwentyToTwoHundred) {
  int previous = change_backlight_new(-21, 5, 60);
  for (int level = -20; level <= 200; ++level) {
    const int duty = change_backlight_new(level, 5, 60);
    EXPECT_GE(duty, previous) << level;
    EXPECT_LE(std::abs(duty - static_cast<int>(5 + 55.0 * level / 100.0)), 1) << level;
    previous = duty;
  }
}

TEST(LedTable, OnlyIdFourHasALamp) {
  int rows = 0;
  for (const VornLedRow* row = vorn_led_list; row->id != -1; ++row, ++rows) {
    EXPECT_EQ(row->num, row->id == 4 ? 0 : -1) << row->id;
    EXPECT_TRUE(row->colour == 0 || row->colour == 1);
  }
  EXPECT_EQ(rows, 10);
  EXPECT_EQ(LED_IOCTL_SET, static_cast<unsigned>(_IOW(0xA9, 0xF4, int32_t)));
  EXPECT_EQ(sizeof(LedRequest), 16u);
}

struct Pty {
  int master = -1, slave = -1;
  Pty() { EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0); }
  ~Pty() {
    close(master);
    close(slave);
  }
};

TEST(Uart, SetMakesThePortRawEightBitsWithATwoSecondRead) {
  Pty pty;
  termios before{};
  tcgetattr(pty.slave, &before);
  EXPECT_EQ(UART_Set(pty.slave, B9600), 0);
  termios t{};
  ASSERT_EQ(tcgetattr(pty.slave, &t), 0);
  for (tcflag_t flag : {IXON, IXOFF, IXANY, ICRNL, INLCR, IGNCR}) EXPECT_EQ(t.c_iflag & flag, 0u) << flag;
  EXPECT_NE(t.c_iflag & IGNPAR, 0u);
  EXPECT_EQ(t.c_oflag, 0u);
  EXPECT_EQ(t.c_lflag, 0u);
  EXPECT_EQ(t.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
  EXPECT_EQ(t.c_cflag & (CSTOPB | CRTSCTS), 0u);
  EXPECT_NE(t.c_cflag & CREAD, 0u);
  EXPECT_NE(t.c_cflag & CLOCAL, 0u);
  EXPECT_EQ(t.c_cc[VTIME], 20);
  EXPECT_EQ(t.c_cc[VMIN], 0);
  EXPECT_EQ(cfgetospeed(&t), static_cast<speed_t>(B9600));
  EXPECT_EQ(cfgetispeed(&t), static_cast<speed_t>(B9600));
  // A plain number is no speed: the port keeps the one it had, silently.
  EXPECT_EQ(UART_Init(pty.slave, 115200), 0);
  ASSERT_EQ(tcgetattr(pty.slave, &t), 0);
  EXPECT_EQ(cfgetospeed(&t), static_cast<speed_t>(B9600));
  EXPECT_EQ(UART_Set(pty.slave, B115200), 0);
  ASSERT_EQ(tcgetattr(pty.slave, &t), 0);
  EXPECT_EQ(cfgetospeed(&t), static_cast<speed_t>(B115200));
}

TEST(Uart, OpenedBlockingWithoutControllingTerminal) {
  Pty pty;
  char name[64];
  ASSERT_EQ(ttyname_r(pty.slave, name, sizeof name), 0);
  const int fd = UART_Open(-1, name);
  ASSERT_GE(fd, 0);
  const int flags = fcntl(fd, F_GETFL);
  EXPECT_EQ(flags & O_NONBLOCK, 0) << "reads wait on VTIME, not on O_NONBLOCK";
  EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
  EXPECT_EQ(UART_Send(fd, "AT\r", 3), 3);
  char got[8] = {};
  EXPECT_EQ(read(pty.master, got, sizeof got), 3);
  EXPECT_STREQ(got, "AT\r");
  EXPECT_EQ(UART_Close(fd), 0);
  testing::internal::CaptureStdout();
  EXPECT_EQ(UART_Open(0, "/nonexistent/ttyS9"), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Can't Open Serial Port:/nonexistent/ttyS9");
}

// A pipe holding text, its writer closed: each pass ends at once.
int pipe_with(const std::string& text) {
  int fds[2];
  EXPECT_EQ(pipe(fds), 0);
  EXPECT_EQ(write(fds[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  close(fds[1]);
  return fds[0];
}

TEST(Uart, RecvThreeReturnsAtTheLineHoldingTheNeedle) {
  int fd = pipe_with("AT\r\nOK\r\nmore");
  char buf[UART_RECV_MAX];
  EXPECT_EQ(UART_Recv_3(fd, buf, "OK", 3), 8);
  EXPECT_STREQ(buf, "AT\r\nOK\r\n");
  char rest[8] = {};
  EXPECT_EQ(read(fd, rest, sizeof rest), 4) << "what follows stays in the port";
  close(fd);
}

TEST(Uart, ANeedleInALineWithoutCrLfIsOnlyCounted) {
  int fd = pipe_with("AT\r\nOK");
  char buf[UART_RECV_MAX];
  EXPECT_EQ(UART_Recv_3(fd, buf, "OK", 3), 6);
  EXPECT_STREQ(buf, "AT\r\nOK");
  close(fd);
}

TEST(Uart, RecvTwoKeepsAtMostItsRoomAndTerminates) {
  std::string flood(UART_RECV_MAX + 1000, 'x');
  flood[10] = '\0';
  int fd = pipe_with(flood);
  char buf[UART_RECV_MAX + 1];
  buf[UART_RECV_MAX] = '#';
  EXPECT_EQ(UART_Recv_2(fd, buf, 2), UART_RECV_MAX - 1);
  EXPECT_EQ(buf[UART_RECV_MAX - 1], '\0');
  EXPECT_EQ(buf[UART_RECV_MAX], '#');
  EXPECT_EQ(buf[10], '\0') << "NUL bytes are bytes";
  EXPECT_EQ(buf[11], 'x');
  char more;
  EXPECT_EQ(read(fd, &more, 1), 0) << "the excess was drained";
  close(fd);
  fd = pipe_with("");
  EXPECT_EQ(UART_Recv_2(fd, buf, 0), 0);
  EXPECT_STREQ(buf, "");
  close(fd);
}

TEST(Uart, ShortWriteIsFailure) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  fcntl(fds[1], F_SETFL, O_NONBLOCK);
  const int room = fcntl(fds[1], F_GETPIPE_SZ);
  std::string big(static_cast<size_t>(room) + 100, 'z');
  EXPECT_EQ(UART_Send(fds[1], big.data(), static_cast<int>(big.size())), -1);
  close(fds[0]);
  close(fds[1]);
}

}  // namespace
