// Tests of the serial-modem peer through the terminal at /dev/ttyS1, with
// plain reads and writes.

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/uart_peer.h"

using phonecore::testing::UartPeer;

namespace {

using Clock = std::chrono::steady_clock;

struct Line {
  Line() {
    fd = open(UartPeer::kPath, O_RDWR | O_NOCTTY | O_NONBLOCK);
    termios t{};
    tcgetattr(fd, &t);
    cfmakeraw(&t);
    tcsetattr(fd, TCSANOW, &t);
  }
  ~Line() {
    if (fd >= 0) close(fd);
  }
  bool send(const std::string& s) const { return write(fd, s.data(), s.size()) == static_cast<ssize_t>(s.size()); }
  // What comes until want bytes are in, the line hangs up or nothing came
  // for quiet_ms.
  std::string receive(size_t want, int quiet_ms = 1500) const {
    std::string got;
    while (got.size() < want) {
      pollfd p{fd, POLLIN, 0};
      if (poll(&p, 1, quiet_ms) <= 0) break;
      char buf[4096];
      const ssize_t n = read(fd, buf, sizeof buf);
      if (n <= 0) break;
      got.append(buf, static_cast<size_t>(n));
    }
    return got;
  }
  int fd = -1;
};

class Uartd : public ::testing::Test {
 protected:
  void SetUp() override { peer.reset(); }
  void TearDown() override { peer.reset(); }
  UartPeer peer;
};

TEST_F(Uartd, TheLinkPointsAtTheModemsTerminal) {
  char target[256] = {};
  ASSERT_GT(readlink(UartPeer::kPath, target, sizeof target - 1), 0);
  EXPECT_EQ(std::string(target), peer.path());
  EXPECT_EQ(std::string(target).rfind("/dev/pts/", 0), 0u);
}

TEST_F(Uartd, AtIsAnsweredOk) {
  Line line;
  ASSERT_GE(line.fd, 0);
  ASSERT_TRUE(line.send("AT\r"));
  EXPECT_EQ(line.receive(4), "OK\r\n");
  ASSERT_TRUE(line.send("at\n"));
  EXPECT_EQ(line.receive(4), "OK\r\n");
  EXPECT_EQ(peer.wait_log(2), (std::vector<std::string>{"AT", "at"}));
}

TEST_F(Uartd, OtherLinesAreRecordedNotAnswered) {
  Line line;
  ASSERT_TRUE(line.send("hello there\r\n\r\n"));
  EXPECT_EQ(line.receive(1, 300), "");
  EXPECT_EQ(peer.wait_log(1), (std::vector<std::string>{"hello\\x20there"}));
}

TEST_F(Uartd, SilentRecordsWithoutAnswer) {
  ASSERT_TRUE(peer.silent(true));
  Line line;
  ASSERT_TRUE(line.send("AT\r"));
  EXPECT_EQ(line.receive(1, 500), "");
  EXPECT_EQ(peer.wait_log(1), (std::vector<std::string>{"AT"}));
}

TEST_F(Uartd, SlowSendsOneByteASecond) {
  ASSERT_TRUE(peer.mode("slow"));
  Line line;
  ASSERT_TRUE(line.send("AT\r"));
  const auto start = Clock::now();
  EXPECT_EQ(line.receive(4, 3000), "OK\r\n");
  // Four bytes, a second between each: at least three seconds.
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(2900));
}

TEST_F(Uartd, NoCrLfAnswersTheBareWord) {
  ASSERT_TRUE(peer.mode("nocrlf"));
  Line line;
  ASSERT_TRUE(line.send("AT\r"));
  EXPECT_EQ(line.receive(4, 500), "OK");
}

TEST_F(Uartd, NulAnswersBehindFourNulBytes) {
  ASSERT_TRUE(peer.mode("nul"));
  Line line;
  ASSERT_TRUE(line.send("AT\r"));
  EXPECT_EQ(line.receive(8), std::string("\0\0\0\0OK\r\n", 8));
}

TEST_F(Uartd, FloodSends64KiBBeforeTheAnswer) {
  ASSERT_TRUE(peer.mode("flood"));
  Line line;
  ASSERT_TRUE(line.send("AT\r"));
  const std::string got = line.receive(65536 + 4);
  ASSERT_EQ(got.size(), 65536u + 4);
  EXPECT_EQ(got.find_first_not_of('U'), 65536u);
  EXPECT_EQ(got.substr(65536), "OK\r\n");
}

TEST_F(Uartd, AModeChangeDropsAnUnreadFlood) {
  ASSERT_TRUE(peer.mode("flood"));
  {
    Line line;
    ASSERT_TRUE(line.send("AT\r"));
    EXPECT_EQ(line.receive(10).substr(0, 10), "UUUUUUUUUU");
  }
  ASSERT_TRUE(peer.mode("normal"));
  Line line;
  ASSERT_TRUE(line.send("AT\r"));
  EXPECT_EQ(line.receive(4), "OK\r\n");
}

TEST_F(Uartd, HangUpEndsTheLineAndAFreshOneTakesTheLink) {
  ASSERT_TRUE(peer.mode("hangup"));
  {
    Line line;
    ASSERT_TRUE(line.send("AT\r"));
    pollfd p{line.fd, POLLIN, 0};
    ASSERT_EQ(poll(&p, 1, 2000), 1);
    EXPECT_NE(p.revents & POLLHUP, 0);
    char c;
    EXPECT_LE(read(line.fd, &c, 1), 0);
  }
  EXPECT_EQ(peer.wait_log(2), (std::vector<std::string>{"AT", "hangup"}));
  ASSERT_TRUE(peer.mode("normal"));
  Line line;
  ASSERT_GE(line.fd, 0);
  ASSERT_TRUE(line.send("AT\r"));
  EXPECT_EQ(line.receive(4), "OK\r\n");
}

// Nothing stops the peer: bytes of every value, a long line without an
// end, a client that goes away mid-answer.
TEST_F(Uartd, BadInputIsSurvived) {
  {
    Line line;
    std::string junk;
    for (int i = 0; i < 256; ++i) junk.push_back(static_cast<char>(i));
    ASSERT_TRUE(line.send(junk));
    const std::string long_line(3000, 'A');
    ASSERT_TRUE(line.send(long_line + "\r"));
    ASSERT_TRUE(peer.mode("flood"));
    ASSERT_TRUE(line.send("AT\r"));
    // The peer takes the line in its own time: the mode changes only once
    // it has heard this AT, so that the flood's answer is among what the
    // change drops.
    for (int i = 0; i < 200; ++i) {
      const auto heard = peer.log();
      if (!heard.empty() && heard.back() == "AT") break;
      usleep(10000);
    }
  }
  ASSERT_TRUE(peer.mode("normal"));
  EXPECT_EQ(peer.control("ping"), "pong");
  Line line;
  ASSERT_TRUE(line.send("AT\r"));
  EXPECT_EQ(line.receive(4), "OK\r\n");
  const auto log = peer.log();
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.back(), "AT");
}

}  // namespace
