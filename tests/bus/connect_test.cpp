// The connect and disconnect exchanges byte for byte, against a control
// server played by the test itself: the box's message server is stopped
// first, so that port 27000 is free.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "bus/bus_wire.h"
#include "phonecore/bus_client.h"
#include "support/bus_session.h"
#include "support/udp_client.h"

using namespace phonecore::bus;
using phonecore::testing::bytes_of;
using phonecore::testing::UdpClient;

namespace {

// Answers each control request with what reply() gives for its number
// (counting from 0); records the requests.
class FakeControl {
 public:
  explicit FakeControl(std::function<std::vector<uint8_t>(int)> reply) : reply_(std::move(reply)) {
    thread_ = std::thread([this] {
      while (!stop_) {
        sockaddr_in from{};
        socklen_t len = sizeof from;
        uint8_t buf[64];
        timeval tv{0, 50000};
        setsockopt(server_.fd(), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
        ssize_t n = recvfrom(server_.fd(), buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 0) continue;
        int number;
        {
          std::lock_guard<std::mutex> lock(mutex_);
          requests_.push_back(std::vector<uint8_t>(buf, buf + n));
          number = static_cast<int>(requests_.size()) - 1;
        }
        auto out = reply_(number);
        if (!out.empty()) sendto(server_.fd(), out.data(), out.size(), 0, reinterpret_cast<sockaddr*>(&from), len);
      }
    });
  }
  ~FakeControl() {
    stop_ = true;
    thread_.join();
  }
  std::vector<std::vector<uint8_t>> requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
  }

 private:
  UdpClient server_{kControlPort};
  std::function<std::vector<uint8_t>(int)> reply_;
  mutable std::mutex mutex_;
  std::vector<std::vector<uint8_t>> requests_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

std::vector<uint8_t> reply(uint16_t magic, uint16_t status, uint16_t server_port = 41000, uint16_t local_port = 41001) {
  return bytes_of(BusControlReply{magic, status, server_port, local_port});
}

class Connect : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(system("killall -q msgserver"), 0);
    // Wait until the port is free.
    for (int i = 0; i < 200; ++i) {
      UdpClient probe(kControlPort);
      if (probe.bound()) break;
      usleep(10000);
    }
  }
};

TEST_F(Connect, RequestIsSixteenBytesWithIdCodeAndMask) {
  FakeControl control([](int) { return reply(kReplyMagic, 0); });
  MessageClient* c = request_pc_connect(0x1234, 0x0102030405060708ull, nullptr, "bytes");
  ASSERT_NE(c, nullptr);
  ASSERT_TRUE(phonecore::testing::wait_until_listening(c));  // before any disconnect
  ASSERT_EQ(control.requests().size(), 1u);
  const std::vector<uint8_t> expected{0xFF, 0x00, 0x00, 0x00, 0x34, 0x12, 0x01, 0x00,
                                      0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01};
  EXPECT_EQ(control.requests()[0], expected);
  EXPECT_EQ(c->server_port, 41000);
  EXPECT_EQ(c->local_port, 41001);
  EXPECT_EQ(request_pc_disconnect(c), 0);
  ASSERT_EQ(control.requests().size(), 2u);
  auto d = control.requests()[1];
  EXPECT_EQ(d.size(), 16u);
  EXPECT_EQ(d[6], 2);  // disconnect
  EXPECT_EQ(d[4], 0x34);
  EXPECT_EQ(d[8], 0x08);  // the mask goes back unchanged
}

TEST_F(Connect, RefusedTryIsFollowedByAnotherFromAClearedRecord) {
  FakeControl control([](int n) { return n == 0 ? reply(kReplyMagic, 1, 9, 9) : reply(kReplyMagic, 0); });
  MessageClient* c = request_pc_connect(77, 1, nullptr, "retry");
  ASSERT_NE(c, nullptr);
  ASSERT_TRUE(phonecore::testing::wait_until_listening(c));  // before any disconnect
  EXPECT_EQ(control.requests().size(), 2u);
  EXPECT_EQ(c->client_id, 77);
  EXPECT_EQ(c->server_port, 41000);
  EXPECT_EQ(c->seq_counter, 0);
  request_pc_disconnect(c);
}

TEST_F(Connect, TenFailedTriesGiveNull) {
  FakeControl control([](int) { return reply(kReplyMagic, 1); });
  EXPECT_EQ(request_pc_connect(78, 1, nullptr, "refused"), nullptr);
  EXPECT_EQ(control.requests().size(), 10u);
}

TEST_F(Connect, WrongReplyMagicCountsAsAFailedTry) {
  FakeControl control([](int n) { return n < 3 ? reply(0x0102, 0) : reply(kReplyMagic, 0); });
  MessageClient* c = request_pc_connect(79, 1, nullptr, "magic");
  ASSERT_NE(c, nullptr);
  ASSERT_TRUE(phonecore::testing::wait_until_listening(c));  // before any disconnect
  EXPECT_EQ(control.requests().size(), 4u);
  request_pc_disconnect(c);
}

TEST_F(Connect, DisconnectLooksAtTheReplyMagicOnly) {
  FakeControl control([](int n) { return n == 0 ? reply(kReplyMagic, 0) : reply(kReplyMagic, 7, 0, 0); });
  MessageClient* c = request_pc_connect(80, 1, nullptr, "status");
  ASSERT_NE(c, nullptr);
  ASSERT_TRUE(phonecore::testing::wait_until_listening(c));  // before any disconnect
  EXPECT_EQ(request_pc_disconnect(c), 0);
}

TEST_F(Connect, DisconnectWithAWrongReplyMagicAnswersMinusOneAndStillTearsDown) {
  FakeControl control([](int n) { return n == 0 ? reply(kReplyMagic, 0) : reply(0x0BAD, 0); });
  MessageClient* c = request_pc_connect(81, 1, nullptr, "gone");
  ASSERT_NE(c, nullptr);
  ASSERT_TRUE(phonecore::testing::wait_until_listening(c));  // before any disconnect
  EXPECT_EQ(request_pc_disconnect(c), -1);
}

}  // namespace
