// Sessions and the send family against the message-server peer, with a
// raw test-side session playing the SIP process.

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "phonecore/bus_client.h"
#include "support/bus_session.h"
#include "support/raw_session.h"
#include "support/sip_peer.h"

using phonecore::testing::RawSession;

namespace {

class Session : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(sip_.ok());
    client_ = request_pc_connect(1234, 97, nullptr, "test_client");
    ASSERT_NE(client_, nullptr);
    // The connect returns with the socket bound: no wait here.
  }
  void TearDown() override {
    if (client_ != nullptr) {
      EXPECT_EQ(request_pc_disconnect(client_), 0);
    }
  }
  std::vector<uint8_t> next() {
    auto in = sip_.receive();
    EXPECT_TRUE(in);
    return in.value_or(std::vector<uint8_t>{});
  }
  bool released_ = phonecore::testing::release_sip_bus_id();
  RawSession sip_{4098};
  MessageClient* client_ = nullptr;
};

TEST_F(Session, ConnectFillsTheRecordFromTheReply) {
  EXPECT_EQ(client_->client_id, 1234);
  EXPECT_EQ(client_->session_mask, 97u);
  EXPECT_NE(client_->server_port, 0);
  EXPECT_EQ(client_->local_port, client_->server_port + 1);  // the peer's pairing
  EXPECT_EQ(client_->listener.port, client_->local_port);
  EXPECT_STREQ(client_->listener.address, "127.0.0.1");
  EXPECT_STREQ(client_->listener.name, "connectting_server");
  EXPECT_STREQ(client_->client_name, "test_client");
  EXPECT_EQ(client_->seq_counter, 0);
  EXPECT_NE(client_->event_fifo, nullptr);
  EXPECT_EQ(client_->event_fifo->size, 65536);
  EXPECT_EQ(client_->event_fifo->slots, 32);
}

TEST_F(Session, SendMessageSendsKindOneWithTerminator) {
  EXPECT_EQ(send_message(client_, 4098, 6, "{\"a\":1}", 7), 1);
  auto d = next();
  ASSERT_EQ(d.size(), 7u + 17u);
  auto h = RawSession::header(d);
  EXPECT_EQ(h.magic, 767);
  EXPECT_EQ(h.seq, 1);
  EXPECT_EQ(h.msgtype, 6);
  EXPECT_EQ(h.kind, 1);
  EXPECT_EQ(h.dest, 4098);
  EXPECT_EQ(h.source, 1234);
  EXPECT_EQ(h.length, 7u);
  EXPECT_EQ(d.back(), 0);
  EXPECT_EQ(RawSession::payload(d), "{\"a\":1}");
}

TEST_F(Session, SeqRunsFromOneToSixteenThousandThreeHundredEightyFourAndNeverZero) {
  client_->seq_counter = 16383;
  EXPECT_EQ(send_message2(client_, 4098, 0, 9, "x", 1), 16384);
  EXPECT_EQ(send_message2(client_, 4098, 0, 9, "x", 1), 1);
  EXPECT_EQ(RawSession::header(next()).seq, 16384);
  EXPECT_EQ(RawSession::header(next()).seq, 1);
  client_->seq_counter = 65535;
  EXPECT_EQ(send_message2(client_, 4098, 0, 9, "x", 1), 16384);
  EXPECT_EQ(client_->seq_counter, 0);
  EXPECT_EQ(send_message2(client_, 4098, 0, 9, "x", 1), 1);
}

TEST_F(Session, SendMessage3UsesTheCallersSeqWithoutTerminatorAndStillAdvances) {
  client_->seq_counter = 10;
  EXPECT_EQ(send_message3(client_, 4098, 0, 9, 777, "abc", 3), 777);
  EXPECT_EQ(client_->seq_counter, 11);
  auto d = next();
  EXPECT_EQ(d.size(), 3u + 16u);
  EXPECT_EQ(RawSession::header(d).seq, 777);
}

TEST_F(Session, SendMessageBackAnswersWithTheRequestsSeqAndLeavesTheCounter) {
  BusPacket request{};
  request.seq = 4321;
  request.source = 4098;
  client_->seq_counter = 5;
  EXPECT_EQ(send_message_back(client_, &request, 9, "ok", 2), 0);
  EXPECT_EQ(client_->seq_counter, 5);
  auto h = RawSession::header(next());
  EXPECT_EQ(h.seq, 4321);
  EXPECT_EQ(h.dest, 4098);
  EXPECT_EQ(h.msgtype, 0);
  EXPECT_EQ(send_message_back2(client_, &request, 33, 1, "ok", 2), 0);
  EXPECT_EQ(RawSession::header(next()).msgtype, 33);
}

TEST_F(Session, PayloadOverSixteenKilobytesIsCutAtTheBuffer) {
  std::string big(20000, 'p');
  send_message2(client_, 4098, 0, 1, big.data(), static_cast<int>(big.size()));
  auto d = next();
  EXPECT_EQ(RawSession::header(d).length, 16384u);
  ASSERT_EQ(d.size(), 16384u + 17u);
  EXPECT_EQ(d[16 + 16383], 'p');
  EXPECT_EQ(d.back(), 0) << "a full payload still goes out with its terminator";
}

TEST_F(Session, AFullPayloadWithoutTerminatorFromSendMessage3) {
  std::string full(16384, 'q');
  send_message3(client_, 4098, 0, 1, 77, full.data(), static_cast<int>(full.size()));
  auto d = next();
  EXPECT_EQ(RawSession::header(d).seq, 77);
  ASSERT_EQ(d.size(), 16384u + 16u);
  EXPECT_EQ(d.back(), 'q');
  // The terminator of the next, shorter packet lands inside the buffer.
  send_message2(client_, 4098, 0, 1, "abc", 3);
  d = next();
  ASSERT_EQ(d.size(), 3u + 17u);
  EXPECT_EQ(d.back(), 0);
}

TEST_F(Session, InstantMessageGoesWithoutSessionFromSource4110) {
  const char text[] = "{\"cmd\":\"reload_account\"}";
  EXPECT_EQ(instant_message_send(65535, 5, 3, text, sizeof text), 0);
  auto d = next();
  ASSERT_EQ(d.size(), sizeof text + 17);
  auto h = RawSession::header(d);
  EXPECT_EQ(h.seq, 0x0F0F);
  EXPECT_EQ(h.source, 4110);
  EXPECT_EQ(h.msgtype, 5);
  EXPECT_EQ(h.kind, 3);
  EXPECT_EQ(h.length, sizeof text);  // the terminator travels inside length
  EXPECT_STREQ(reinterpret_cast<const char*>(d.data() + 16), text);
}

TEST_F(Session, NullClientsAreRefused) {
  EXPECT_EQ(request_pc_disconnect(nullptr), -1);
  EXPECT_EQ(send_message(nullptr, 4098, 0, "x", 1), -1);
  EXPECT_EQ(send_message_back(nullptr, nullptr, 9, "x", 1), -1);
}

TEST(SessionLife, SecondConnectOfAnIdInUseFailsAfterTenRefusedTries) {
  MessageClient* first = request_pc_connect(2000, 1, nullptr, "first");
  ASSERT_NE(first, nullptr);
  ASSERT_TRUE(phonecore::testing::wait_until_listening(first));
  EXPECT_EQ(request_pc_connect(2000, 1, nullptr, "second"), nullptr);
  std::ifstream log("/run/phonebox/msgserver.log");
  int refused = 0;
  for (std::string line; std::getline(log, line);) refused += line.find("connect 2000 refused") != std::string::npos;
  EXPECT_EQ(refused, 10);
  EXPECT_EQ(request_pc_disconnect(first), 0);
}

TEST(SessionLife, DisconnectTearsDownAndTheIdCanConnectAgain) {
  for (int round = 0; round < 3; ++round) {
    MessageClient* c = request_pc_connect(2001, 1, nullptr, "again");
    ASSERT_NE(c, nullptr) << round;
    ASSERT_TRUE(phonecore::testing::wait_until_listening(c));
    EXPECT_EQ(request_pc_disconnect(c), 0);
  }
}

}  // namespace
