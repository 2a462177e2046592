// The UDP layer in the box: listener thread, senders and the exchange.

#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "phonecore/udp.h"
#include "support/udp_client.h"

using phonecore::testing::UdpClient;

namespace {

constexpr uint16_t kPort = 45000;

struct Seen {
  std::atomic<int> count{0};
  std::atomic<int> length{0};
  std::atomic<bool> terminated{false};
  int reply_length = 0;  // what the handler asks to send back
};

int echo_handler(void* user, sockaddr_in*, char* received, int length, char* reply, int* reply_length) {
  auto* seen = static_cast<Seen*>(user);
  seen->length = length;
  seen->terminated = received[length] == 0;
  seen->count++;
  std::memcpy(reply, received, static_cast<size_t>(std::min(length, 64)));
  *reply_length = seen->reply_length;
  return 1;
}

class Listener : public ::testing::Test {
 protected:
  void start(const char* address = "127.0.0.1", int buffer_size = 0) {
    l_.port = kPort;
    l_.buffer_size = buffer_size;
    l_.address = address;
    l_.name = "test";
    l_.handler = echo_handler;
    l_.user = &seen_;
    pthread_t id;
    EXPECT_EQ(udp_listen_thread_start(&l_, &id), -1);  // created, yet -1
    for (int i = 0; i < 400 && __atomic_load_n(&l_.running, __ATOMIC_ACQUIRE) != 1; ++i) usleep(5000);
  }
  void TearDown() override {
    if (__atomic_load_n(&l_.running, __ATOMIC_ACQUIRE) == 1) udp_listen_thread_stop(&l_, nullptr);
  }
  // Sends until the handler has seen one more datagram (the socket may not
  // be bound yet right after the start).
  void deliver(UdpClient& c, const std::vector<uint8_t>& bytes) {
    const int before = seen_.count;
    for (int i = 0; i < 200 && seen_.count == before; ++i) {
      c.send_to(kPort, bytes);
      usleep(10000);
    }
  }
  UdpListener l_{};
  Seen seen_;
};

TEST_F(Listener, ZeroBufferSizeBecomesSixteenKilobytes) {
  start();
  UdpClient c;
  deliver(c, {1, 2, 3});
  EXPECT_EQ(__atomic_load_n(&l_.buffer_size, __ATOMIC_ACQUIRE), 16384);
  EXPECT_EQ(seen_.length, 3);
  EXPECT_TRUE(seen_.terminated);
}

TEST_F(Listener, DatagramOfExactlyTheBufferSizeGetsItsTerminator) {
  start("127.0.0.1", 64);
  UdpClient c;
  deliver(c, std::vector<uint8_t>(64, 'x'));
  EXPECT_EQ(seen_.length, 64);
  EXPECT_TRUE(seen_.terminated);
  deliver(c, std::vector<uint8_t>(100, 'y'));
  EXPECT_EQ(seen_.length, 64);  // a longer datagram is cut by the socket
}

TEST_F(Listener, ReplyGoesBackToTheSender) {
  seen_.reply_length = 5;
  start();
  UdpClient c;
  std::optional<std::vector<uint8_t>> in;
  for (int i = 0; i < 100 && !in; ++i) in = c.exchange(kPort, std::vector<uint8_t>{'h', 'e', 'l', 'l', 'o'}, 50);
  ASSERT_TRUE(in);
  EXPECT_EQ(std::string(in->begin(), in->end()), "hello");
}

TEST_F(Listener, ReplyLongerThanTheBufferIsDroppedWithoutAWord) {
  seen_.reply_length = 16385;
  start();
  UdpClient c;
  deliver(c, {'a'});
  EXPECT_FALSE(c.receive(200));
}

TEST_F(Listener, ThreadIsNamedZknetwork) {
  start();
  bool found = false;
  DIR* d = opendir("/proc/self/task");
  while (dirent* e = readdir(d)) {
    std::ifstream comm(std::string("/proc/self/task/") + e->d_name + "/comm");
    std::string name;
    std::getline(comm, name);
    found = found || name == "zknetwork";
  }
  closedir(d);
  EXPECT_TRUE(found);
}

TEST_F(Listener, StopReturnsWithinAboutASecondWhenNothingArrives) {
  start();
  auto t0 = std::chrono::steady_clock::now();
  EXPECT_EQ(udp_listen_thread_stop(&l_, nullptr), 0);
  EXPECT_EQ(l_.running, 0);
  // The listener's select waits a second at most before it looks at its
  // run word again; the margin is for a loaded machine. A stop that never returns is caught
  // by the test's own time limit.
  EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(30));
}

TEST_F(Listener, FailedBindIsRetriedUntilStopped) {
  testing::internal::CaptureStderr();
  start("10.99.0.1");  // not an address of the box
  usleep(100000);
  EXPECT_EQ(l_.running, 1);
  udp_listen_thread_stop(&l_, nullptr);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("bind error"), std::string::npos);
  EXPECT_GE(std::count(err.begin(), err.end(), '\n'), 2);  // tried more than once
}

TEST(UdpSend, ExchangeAnswersMinusOneWhenNobodyAnswers) {
  char reply[32];
  int capacity = sizeof reply;
  EXPECT_EQ(udp_send_data_wait_timeout("127.0.0.1", 45999, "x", 1, reply, &capacity, 300), -1);
  EXPECT_EQ(capacity, 32);
}

TEST(UdpSend, ExchangeStoresTheReplyLength) {
  // Bound before the thread starts, so the request never finds the port closed.
  int fd = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a = UdpClient::address(45100);
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  std::thread answer([fd] {
    char buf[16];
    sockaddr_in from{};
    socklen_t len = sizeof from;
    ssize_t n = recvfrom(fd, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
    if (n > 0) sendto(fd, "pong!", 5, 0, reinterpret_cast<sockaddr*>(&from), len);
    close(fd);
  });
  char reply[32] = {};
  int capacity = sizeof reply;
  EXPECT_EQ(udp_send_data_wait("127.0.0.1", 45100, "ping", 4, reply, &capacity), 0);
  EXPECT_EQ(capacity, 5);
  EXPECT_STREQ(reply, "pong!");
  answer.join();
}

TEST(UdpSend, OneShotSendersDeliverAndCloseTheirSocket) {
  UdpClient server(45101);
  EXPECT_EQ(udp_send_string("127.0.0.1", 45101, "text"), 0);
  auto in = server.receive(2000);
  ASSERT_TRUE(in);
  EXPECT_EQ(std::string(in->begin(), in->end()), "text");
  EXPECT_EQ(udp_send_data("127.0.0.1", 45101, "\x01\x02", 2), 0);
  EXPECT_EQ(server.receive(2000)->size(), 2u);
  UdpClient mine;
  EXPECT_EQ(udp_send_data2(mine.fd(), "127.0.0.1", 45101, "abc", 3), 3);
  EXPECT_EQ(server.receive(2000)->size(), 3u);
}

TEST(UdpSend, BadAddressTextGoesToZeroZeroZeroZero) {
  // 0.0.0.0 reaches this host's own sockets on Linux.
  UdpClient server(45102);
  udp_send_string("not-an-address", 45102, "lost?");
  auto in = server.receive(1000);
  ASSERT_TRUE(in);
  EXPECT_EQ(in->size(), 5u);
}

TEST(UdpSend, BroadcastWithoutABroadcastNetworkAnswersMinusOne) {
  // The box's eth0 carries the default route; without it there is no route
  // to 255.255.255.255.
  EXPECT_EQ(UdpBroadCastSend(45103, "x", 1), 0);
  ASSERT_EQ(system("ip route del default"), 0);
  EXPECT_EQ(UdpBroadCastSend(45103, "x", 1), -1);
  ASSERT_EQ(system("ip route add default via 192.0.2.1 dev eth0"), 0);
}

}  // namespace

namespace {

TEST(UdpSend, LimitOfFifteenHundredMillisecondsWaitsASecondAndAHalf) {
  char reply[8];
  UdpClient silent(45104);  // takes the datagram, never answers
  int capacity = sizeof reply;
  auto t0 = std::chrono::steady_clock::now();
  EXPECT_EQ(udp_send_data_wait_timeout("127.0.0.1", 45104, "x", 1, reply, &capacity, 1500), -1);
  auto waited = std::chrono::steady_clock::now() - t0;
  EXPECT_GE(waited, std::chrono::milliseconds(1450));
  EXPECT_LT(waited, std::chrono::seconds(30));  // one wait, with a margin for a loaded machine
}

}  // namespace
