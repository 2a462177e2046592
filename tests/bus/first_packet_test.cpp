// The first packet of a fresh session arrives: request_pc_connect returns
// once the session's socket is bound, so a send right after it, and the
// short connection's two copies, all reach their receiver. 200 cycles each
// through the message server.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "phonecore/bus_client.h"
#include "phonecore/json_msg.h"
#include "support/raw_session.h"

using phonecore::testing::RawSession;

namespace {

constexpr int kCycles = 200;
constexpr uint16_t kReceiverId = 3500;

// Every datagram that reached the receiver within the wait, by payload.
std::multiset<std::string> drain(RawSession& receiver, int wait_ms) {
  std::multiset<std::string> got;
  while (auto d = receiver.receive(wait_ms)) got.insert(RawSession::payload(*d));
  return got;
}

TEST(FirstPacket, ASendRightAfterConnectArrivesEveryTime) {
  RawSession receiver(kReceiverId);
  ASSERT_TRUE(receiver.ok());
  int arrived = 0;
  for (int i = 0; i < kCycles; ++i) {
    MessageClient* c = request_pc_connect(3501, 1, nullptr, "first_packet");
    ASSERT_NE(c, nullptr) << "cycle " << i;
    const std::string text = "{\"msgtype\":\"first\",\"data\":" + std::to_string(i) + "}";
    send_message2(c, kReceiverId, 0, 2, text.data(), static_cast<int>(text.size()));
    EXPECT_EQ(request_pc_disconnect(c), 0);
    auto d = receiver.receive(2000);
    if (d && RawSession::payload(*d) == text) ++arrived;
  }
  EXPECT_EQ(arrived, kCycles);
  EXPECT_TRUE(drain(receiver, 50).empty()) << "nothing more than one copy each";
}

TEST(FirstPacket, AShortConnectionWithoutTicksOrTriesDeliversBothCopies) {
  RawSession receiver(kReceiverId);
  ASSERT_TRUE(receiver.ok());
  int copies = 0;
  for (int i = 0; i < kCycles; ++i) {
    const std::string text = "{\"msgtype\":\"short\",\"data\":" + std::to_string(i) + "}";
    char reply[BUS_BUFFER_REPLY_MAX + 1];
    int reply_length = 77;
    // Nobody answers: -1 after the two sends.
    EXPECT_EQ(request_short_connect(3502, kReceiverId, 0, 1, text.data(), static_cast<int>(text.size()), reply,
                                    &reply_length, 0, 0, 0),
              -1);
    EXPECT_EQ(reply_length, 0);
    std::multiset<std::string> got;
    for (int copy = 0; copy < 2; ++copy)
      if (auto d = receiver.receive(2000)) got.insert(RawSession::payload(*d));
    got.merge(drain(receiver, 10));
    copies += static_cast<int>(got.count(text));
    EXPECT_EQ(got.size(), got.count(text)) << "cycle " << i;
  }
  EXPECT_EQ(copies, 2 * kCycles);
}

}  // namespace
