// Byte-exact tests of the message-server peer, through raw sockets.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "bus/bus_wire.h"
#include "support/peer_control.h"
#include "support/sip_peer.h"
#include "support/udp_client.h"

using namespace phonecore::bus;
using phonecore::testing::bytes_of;
using phonecore::testing::UdpClient;

namespace {

constexpr int kNoAnswerMs = 300;

std::vector<uint8_t> control_request(uint16_t id, uint16_t code, uint64_t mask = 1) {
  return bytes_of(BusControlRequest{kControlMagic, 0, id, code, mask});
}

struct Session {
  uint16_t id;
  BusControlReply reply;
  std::unique_ptr<UdpClient> socket;  // bound to local_port
};

// These tests play every session themselves, bus id 4098 among them, and
// count what arrives: the box's SIP process leaves the bus first.
const bool kSipPeerLeft = phonecore::testing::release_sip_bus_id();

std::optional<BusControlReply> control(uint16_t id, uint16_t code) {
  UdpClient c;
  auto in = c.exchange(kControlPort, control_request(id, code));
  if (!in) return std::nullopt;
  EXPECT_EQ(in->size(), kControlReplySize);
  return decode_control_reply(*in);
}

Session open_session(uint16_t id) {
  auto r = control(id, kControlConnect);
  EXPECT_TRUE(r.has_value());
  Session s{id, r.value_or(BusControlReply{}), nullptr};
  s.socket = std::make_unique<UdpClient>(s.reply.local_port);
  EXPECT_TRUE(s.socket->bound());
  return s;
}

std::vector<uint8_t> packet(uint16_t seq, uint16_t kind, uint16_t dest, uint16_t source, const std::string& text,
                            bool terminator = true) {
  std::vector<uint8_t> out(kPacketHeaderSize + text.size() + (terminator ? 1 : 0), 0);
  encode_record(BusPacketHeader{kPacketMagic, seq, 0, kind, dest, source, static_cast<uint32_t>(text.size())}, out);
  std::memcpy(out.data() + kPacketHeaderSize, text.data(), text.size());
  return out;
}

TEST(MessageServer, ConnectAnswersEightBytesWithMagicStatusAndTwoPorts) {
  UdpClient c;
  auto in = c.exchange(kControlPort, control_request(1234, kControlConnect, 97));
  ASSERT_TRUE(in);
  ASSERT_EQ(in->size(), 8u);
  uint16_t words[4];
  std::memcpy(words, in->data(), 8);
  EXPECT_EQ(words[0], 511);
  EXPECT_EQ(words[1], 0);
  EXPECT_NE(words[2], 0);
  EXPECT_NE(words[3], 0);
  EXPECT_NE(words[2], words[3]);
}

TEST(MessageServer, EachSessionGetsPortsOfItsOwn) {
  auto a = control(100, kControlConnect);
  auto b = control(101, kControlConnect);
  ASSERT_TRUE(a && b);
  EXPECT_NE(a->server_port, b->server_port);
  EXPECT_NE(a->local_port, b->local_port);
  EXPECT_NE(a->server_port, b->local_port);
}

TEST(MessageServer, ConnectForAnIdInUseIsRefusedWithStatusOne) {
  auto first = control(200, kControlConnect);
  auto second = control(200, kControlConnect);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->status, 0);
  EXPECT_EQ(second->status, 1);
  EXPECT_EQ(second->magic, kReplyMagic);
}

TEST(MessageServer, DisconnectFreesTheIdAndAnswersWithTheReplyMagic) {
  ASSERT_EQ(control(300, kControlConnect)->status, 0);
  auto d = control(300, kControlDisconnect);
  ASSERT_TRUE(d);
  EXPECT_EQ(d->magic, kReplyMagic);
  EXPECT_EQ(d->status, 0);
  EXPECT_EQ(control(300, kControlConnect)->status, 0);
}

TEST(MessageServer, DisconnectOfAnUnknownIdAnswersStatusOne) {
  auto d = control(301, kControlDisconnect);
  ASSERT_TRUE(d);
  EXPECT_EQ(d->magic, kReplyMagic);
  EXPECT_EQ(d->status, 1);
}

TEST(MessageServer, UnknownRequestCodeAnswersStatusTwo) {
  auto r = control(302, 7);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->status, 2);
}

TEST(MessageServer, ConnectForTheBroadcastIdIsRefused) { EXPECT_EQ(control(kBusIdAll, kControlConnect)->status, 1); }

TEST(MessageServer, PacketReachesItsDestUnchanged) {
  Session a = open_session(4098);
  Session b = open_session(500);
  auto pkt = packet(7, 9, 500, 4098, "{\"msgtype\":\"phone_dail_response\",\"status\":0}");
  a.socket->send_to(a.reply.server_port, pkt);
  auto in = b.socket->receive(2000);
  ASSERT_TRUE(in);
  EXPECT_EQ(*in, pkt);
}

TEST(MessageServer, PacketWithoutTerminatorIsForwardedAsItCame) {
  Session a = open_session(501);
  Session b = open_session(502);
  auto pkt = packet(9, 1, 502, 501, "abc", false);
  a.socket->send_to(a.reply.server_port, pkt);
  auto in = b.socket->receive(2000);
  ASSERT_TRUE(in);
  EXPECT_EQ(in->size(), kPacketHeaderSize + 3);
  EXPECT_EQ(*in, pkt);
}

TEST(MessageServer, BroadcastReachesEverySessionButTheSender) {
  Session a = open_session(600);
  Session b = open_session(601);
  Session c = open_session(602);
  for (uint16_t dest : {kBusIdAll, kBusIdTypeAll}) {
    auto pkt = packet(1, 2, dest, 600, "{\"msgtype\":\"reg_changed\"}");
    a.socket->send_to(a.reply.server_port, pkt);
    auto in_b = b.socket->receive(2000);
    auto in_c = c.socket->receive(2000);
    ASSERT_TRUE(in_b && in_c) << dest;
    EXPECT_EQ(*in_b, pkt);
    EXPECT_EQ(*in_c, pkt);
    EXPECT_FALSE(a.socket->receive(kNoAnswerMs)) << dest;
  }
}

TEST(MessageServer, PacketWithoutSessionOnPort30101IsRoutedByDest) {
  Session a = open_session(700);
  Session b = open_session(701);
  UdpClient loose;
  auto direct = packet(0x0F0F, 2, 701, kBusIdSessionless, "{\"msgtype\":\"cloud\"}");
  loose.send_to(kSessionlessPort, direct);
  auto in_b = b.socket->receive(2000);
  ASSERT_TRUE(in_b);
  EXPECT_EQ(*in_b, direct);
  EXPECT_FALSE(a.socket->receive(kNoAnswerMs));

  auto all = packet(0x0F0F, 3, kBusIdAll, kBusIdSessionless, "{\"cmd\":\"reload_account\"}");
  loose.send_to(kSessionlessPort, all);
  EXPECT_EQ(a.socket->receive(2000).value_or(std::vector<uint8_t>{}), all);
  EXPECT_EQ(b.socket->receive(2000).value_or(std::vector<uint8_t>{}), all);
}

TEST(MessageServer, PacketForAnUnknownDestIsDropped) {
  Session a = open_session(800);
  Session b = open_session(801);
  a.socket->send_to(a.reply.server_port, packet(1, 9, 9999, 800, "{}"));
  EXPECT_FALSE(b.socket->receive(kNoAnswerMs));
}

TEST(MessageServer, SurvivesBadInputAndGoesOnServing) {
  Session a = open_session(900);
  Session b = open_session(901);
  UdpClient c;
  // Control port: short, wrong magic, oversized.
  c.send_to(kControlPort, std::vector<uint8_t>{0xFF, 0x00, 0x01});
  auto wrong = control_request(902, kControlConnect);
  wrong[0] = 0x12;
  c.send_to(kControlPort, wrong);
  EXPECT_FALSE(c.receive(kNoAnswerMs));
  c.send_to(kControlPort, std::vector<uint8_t>(60000, 0xAB));
  // Session port: short, wrong magic, length beyond the datagram, oversized.
  a.socket->send_to(a.reply.server_port, std::vector<uint8_t>{0xFF, 0x02});
  auto bad_magic = packet(1, 9, 901, 900, "{}");
  bad_magic[1] = 0x7F;
  a.socket->send_to(a.reply.server_port, bad_magic);
  auto long_length = packet(1, 9, 901, 900, "{}");
  long_length[12] = 0xFF;
  a.socket->send_to(a.reply.server_port, long_length);
  EXPECT_FALSE(b.socket->receive(kNoAnswerMs));
  // A datagram larger than the listener's buffer is forwarded; the receiver
  // cuts it.
  std::string big(20000, 'x');
  auto huge = packet(2, 9, 901, 900, big);
  a.socket->send_to(a.reply.server_port, huge);
  auto in = b.socket->receive(2000);
  ASSERT_TRUE(in);
  EXPECT_EQ(in->size(), huge.size());
  // And a normal exchange still works.
  auto ok = packet(3, 9, 901, 900, "{\"msgtype\":\"ping\"}");
  a.socket->send_to(a.reply.server_port, ok);
  EXPECT_EQ(b.socket->receive(2000).value_or(std::vector<uint8_t>{}), ok);
  EXPECT_EQ(control(903, kControlConnect)->status, 0);
}

// The control port (UDP 27020) -------------------------------------------

phonecore::testing::PeerControl server_control() {
  return phonecore::testing::PeerControl(phonebox::kControlPortMessageServer);
}

// Speaks again when the test ends, whatever happened in it.
struct Silenced {
  Silenced() { EXPECT_TRUE(server_control().silent(true)); }
  ~Silenced() { server_control().silent(false); }
};

TEST(MessageServerControl, AnswersPingAndRefusesUnknownCommands) {
  EXPECT_EQ(server_control().control("ping"), "pong");
  EXPECT_EQ(server_control().control("reset"), "error: unknown command");
}

TEST(MessageServerControl, RecordsControlRequestsWithTheirAnswers) {
  auto peer = server_control();
  ASSERT_TRUE(peer.clear());
  auto r = control(1100, kControlConnect);
  ASSERT_TRUE(r);
  control(1100, kControlConnect);
  control(1100, kControlDisconnect);
  control(1101, 9);
  UdpClient c;
  c.send_to(kControlPort, std::vector<uint8_t>{0xFF, 0x00, 0x01});
  auto lines = peer.wait_log(5);
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], "control 1 1100 1 -> 0 " + std::to_string(r->server_port) + " " + std::to_string(r->local_port));
  EXPECT_EQ(lines[1], "control 1 1100 1 -> 1 0 0");
  EXPECT_EQ(lines[2], "control 2 1100 1 -> 0 0 0");
  EXPECT_EQ(lines[3], "control 9 1101 1 -> 2 0 0");
  EXPECT_EQ(lines[4], "control dropped 3");
}

TEST(MessageServerControl, RecordsEachPacketWithTheSessionsItReached) {
  Session a = open_session(1200);
  Session b = open_session(1201);
  Session c = open_session(1202);
  auto peer = server_control();
  // A broadcast reaches every open session but the sender's, those that
  // earlier tests left open as well.
  const std::string sessions = peer.control("sessions");
  const auto open = std::count(sessions.begin(), sessions.end(), '\n');
  ASSERT_GE(open, 3);
  ASSERT_TRUE(peer.clear());
  a.socket->send_to(a.reply.server_port, packet(5, 9, 1201, 1200, "{}"));
  ASSERT_TRUE(b.socket->receive(2000));
  a.socket->send_to(a.reply.server_port, packet(6, 2, kBusIdAll, 1200, "{\"msgtype\":\"x\"}"));
  ASSERT_TRUE(b.socket->receive(2000));
  ASSERT_TRUE(c.socket->receive(2000));
  a.socket->send_to(a.reply.server_port, packet(7, 9, 9999, 1200, "{}"));
  a.socket->send_to(a.reply.server_port, std::vector<uint8_t>{0xFF, 0x02});
  auto lines = peer.wait_log(4);
  ASSERT_GE(lines.size(), 4u);
  // Other sessions of the box (the SIP process is off the bus) send nothing.
  EXPECT_EQ(lines[0], "packet 1200 1201 9 0 5 2 -> 1");
  EXPECT_EQ(lines[1], "packet 1200 65535 2 0 6 15 -> " + std::to_string(open - 1));
  EXPECT_EQ(lines[2], "packet 1200 9999 9 0 7 2 -> 0");
  EXPECT_EQ(lines[3], "packet dropped 2");
}

TEST(MessageServerControl, ListsTheOpenSessions) {
  Session a = open_session(1300);
  std::istringstream in(server_control().control("sessions"));
  bool found = false;
  for (std::string line; std::getline(in, line);)
    found |= line == "1300 " + std::to_string(a.reply.server_port) + " " + std::to_string(a.reply.local_port) + " 1";
  EXPECT_TRUE(found);
  control(1300, kControlDisconnect);
  EXPECT_EQ(server_control().control("sessions").find("1300 "), std::string::npos);
}

TEST(MessageServerControl, ASilentServerRecordsAndNeitherAnswersNorForwards) {
  Session a = open_session(1400);
  Session b = open_session(1401);
  auto peer = server_control();
  {
    Silenced quiet;
    ASSERT_TRUE(peer.clear());
    UdpClient c;
    EXPECT_FALSE(c.exchange(kControlPort, control_request(1402, kControlConnect), kNoAnswerMs));
    a.socket->send_to(a.reply.server_port, packet(8, 9, 1401, 1400, "{}"));
    EXPECT_FALSE(b.socket->receive(kNoAnswerMs));
    auto lines = peer.wait_log(2);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "control 1 1402 silent");
    EXPECT_EQ(lines[1], "packet 1400 1401 9 0 8 2 -> 0");
  }
  // Speaking again: 1402 was never connected, and packets flow.
  EXPECT_EQ(control(1402, kControlConnect)->status, 0);
  auto ok = packet(9, 9, 1401, 1400, "{}");
  a.socket->send_to(a.reply.server_port, ok);
  EXPECT_EQ(b.socket->receive(2000).value_or(std::vector<uint8_t>{}), ok);
}

}  // namespace
