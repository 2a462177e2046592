// The serial calls against the box's modem at /dev/ttyS1 (uartd), in each
// of its answer modes.

#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>

#include "phonecore/uart.h"
#include "support/uart_peer.h"

using phonecore::testing::UartPeer;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class Uart : public ::testing::Test {
 protected:
  void SetUp() override {
    peer.reset();
    fd = UART_Open(0, UartPeer::kPath);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(UART_Init(fd, B115200), 0);
  }
  void TearDown() override {
    if (fd >= 0) UART_Close(fd);
    peer.reset();
  }
  // Sends "AT\r" and receives with UART_Recv_3 for "OK"; the byte count
  // and how long it took.
  int ask(int passes, Clock::duration* took = nullptr) {
    EXPECT_EQ(UART_Send(fd, "AT\r", 3), 3);
    const auto start = Clock::now();
    const int n = UART_Recv_3(fd, buf, "OK", passes);
    if (took != nullptr) *took = Clock::now() - start;
    return n;
  }
  UartPeer peer;
  int fd = -1;
  char buf[UART_RECV_MAX];
};

TEST_F(Uart, AtIsAnsweredAndTheWaitEndsAtTheAnswer) {
  Clock::duration took{};
  EXPECT_EQ(ask(5, &took), 4);
  EXPECT_STREQ(buf, "OK\r\n");
  // Found at its CR LF: none of the five two-second passes ran out.
  EXPECT_LT(took, std::chrono::seconds(2));
  EXPECT_EQ(peer.wait_log(1), (std::vector<std::string>{"AT"}));
}

TEST_F(Uart, SendGoesOutByteForByte) {
  EXPECT_EQ(UART_Send(fd, "ATI\r", 4), 4);
  EXPECT_EQ(peer.wait_log(1), (std::vector<std::string>{"ATI"}));
  EXPECT_EQ(UART_Recv_2(fd, buf, 1), 4);
  EXPECT_STREQ(buf, "OK\r\n");
}

TEST_F(Uart, ASilentModemCostsTwoSecondsAPass) {
  ASSERT_TRUE(peer.silent(true));
  Clock::duration took{};
  EXPECT_EQ(ask(2, &took), 0);
  EXPECT_STREQ(buf, "");
  EXPECT_GE(took, milliseconds(3900));
}

TEST_F(Uart, OneByteASecondStillArrivesInOnePass) {
  ASSERT_TRUE(peer.mode("slow"));
  Clock::duration took{};
  // Each byte comes within the port's two-second wait.
  EXPECT_EQ(ask(1, &took), 4);
  EXPECT_STREQ(buf, "OK\r\n");
  EXPECT_GE(took, milliseconds(2900));
}

TEST_F(Uart, AnAnswerWithoutCrLfIsOnlyCountedAfterEveryPass) {
  ASSERT_TRUE(peer.mode("nocrlf"));
  Clock::duration took{};
  EXPECT_EQ(ask(2, &took), 2);
  EXPECT_STREQ(buf, "OK");
  EXPECT_GE(took, milliseconds(3900));
}

TEST_F(Uart, NulBytesHideTheNeedleFromTheSearch) {
  ASSERT_TRUE(peer.mode("nul"));
  Clock::duration took{};
  // The search sees an empty text: all eight bytes are counted, the wait
  // runs out.
  EXPECT_EQ(ask(1, &took), 8);
  EXPECT_EQ(std::memcmp(buf, "\0\0\0\0OK\r\n", 9), 0);
  EXPECT_GE(took, milliseconds(1900));
}

TEST_F(Uart, AFloodFillsTheBufferAndIsDrainedNotKept) {
  ASSERT_TRUE(peer.mode("flood"));
  const int n = ask(1);
  EXPECT_EQ(n, UART_RECV_MAX - 1);
  EXPECT_EQ(std::strlen(buf), static_cast<size_t>(UART_RECV_MAX - 1));
  EXPECT_EQ(buf[UART_RECV_MAX - 2], 'U');
  // The rest, answer included, was read and dropped.
  EXPECT_EQ(UART_Recv_2(fd, buf, 1), 0);
}

TEST_F(Uart, AHungUpLineReadsNothingAndRefusesWrites) {
  ASSERT_TRUE(peer.mode("hangup"));
  EXPECT_EQ(ask(3), 0);
  EXPECT_STREQ(buf, "");
  EXPECT_EQ(peer.wait_log(2), (std::vector<std::string>{"AT", "hangup"}));
  EXPECT_EQ(UART_Send(fd, "AT\r", 3), -1);
  EXPECT_EQ(UART_Close(fd), 0);
  // The modem's new line takes the link.
  ASSERT_TRUE(peer.mode("normal"));
  fd = UART_Open(0, UartPeer::kPath);
  ASSERT_GE(fd, 0);
  UART_Init(fd, B115200);
  EXPECT_EQ(ask(2), 4);
}

TEST_F(Uart, ManyExchangesLeaveNoDescriptorBehind) {
  UART_Close(fd);
  const int first = dup(0);
  close(first);
  for (int i = 0; i < 200; ++i) {
    fd = UART_Open(0, UartPeer::kPath);
    ASSERT_GE(fd, 0);
    UART_Init(fd, B115200);
    ASSERT_EQ(ask(2), 4);
    UART_Close(fd);
  }
  fd = -1;
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, first);
}

}  // namespace
