// Byte-exact tests of the network-service peer, through raw sockets.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "config/gnl_frame.h"
#include "support/net_peer.h"
#include "support/udp_client.h"

using namespace phonecore::config;
using phonecore::testing::NetPeer;
using phonecore::testing::NetRequest;
using phonecore::testing::UdpClient;

namespace {

std::vector<uint8_t> frame(uint16_t category, uint16_t operation, const void* data, size_t n,
                           uint16_t magic = kGnlMagic) {
  static GnlConfigRecord rec;
  std::memset(&rec, 0, sizeof rec);
  rec.magic = magic;
  rec.category = category;
  rec.operation = operation;
  if (n > 0) std::memcpy(rec.data, data, n);
  rec.data_length = static_cast<uint16_t>(n);
  auto* b = reinterpret_cast<const uint8_t*>(&rec);
  return {b, b + gnl_datagram_size(n)};
}

std::vector<uint8_t> names_request() { return frame(kCategoryNic, kNicRefreshNames, nullptr, 0); }

std::vector<uint8_t> mode_request(int32_t mode, const char* vid) {
  NicModeData d{};
  d.mode = mode;
  std::memcpy(d.vid, vid, strnlen(vid, kNicVidSize));
  return frame(kCategoryNic, kNicSetMode, &d, sizeof d);
}

NicNamesData names_of(const std::vector<uint8_t>& reply) {
  NicNamesData n{};
  std::memcpy(&n, reply.data() + kGnlHeaderSize, std::min(sizeof n, reply.size() - kGnlHeaderSize));
  return n;
}

class NetService : public ::testing::Test {
 protected:
  void SetUp() override { peer.reset(); }
  void TearDown() override { peer.reset(); }
  NetPeer peer;
};

TEST_F(NetService, NamesAnswerCarriesThreeSixteenByteFields) {
  UdpClient c;
  const auto request = names_request();
  ASSERT_EQ(request.size(), 77u);
  auto in = c.exchange(kNetworkPort, request);
  ASSERT_TRUE(in);
  ASSERT_EQ(in->size(), gnl_datagram_size(sizeof(NicNamesData)));
  EXPECT_EQ(in->size(), 125u);
  auto head = decode_gnl_head(*in);
  ASSERT_TRUE(head);
  EXPECT_EQ(head->category, kCategoryNic);
  EXPECT_EQ(head->operation, kNicRefreshNames);
  EXPECT_EQ(head->data_length, 48);
  NicNamesData n = names_of(*in);
  EXPECT_STREQ(n.wan, "eth0");
  EXPECT_STREQ(n.lan, "eth1");
  EXPECT_STREQ(n.wifi, "wlan0");
  EXPECT_EQ(peer.requests(), (std::vector<NetRequest>{{kCategoryNic, kNicRefreshNames, 0, 77, std::nullopt, ""}}));
}

TEST_F(NetService, NamesCanBeChanged) {
  ASSERT_TRUE(peer.names("br0", "-", "wlan1"));
  UdpClient c;
  auto in = c.exchange(kNetworkPort, names_request());
  ASSERT_TRUE(in);
  NicNamesData n = names_of(*in);
  EXPECT_STREQ(n.wan, "br0");
  EXPECT_STREQ(n.lan, "");
  EXPECT_STREQ(n.wifi, "wlan1");
}

TEST_F(NetService, ModeIsRecordedAndAnsweredWithTheHead) {
  UdpClient c;
  const auto request = mode_request(2, "100");
  ASSERT_EQ(request.size(), 89u);
  auto in = c.exchange(kNetworkPort, request);
  ASSERT_TRUE(in);
  EXPECT_EQ(in->size(), 77u);
  auto head = decode_gnl_head(*in);
  ASSERT_TRUE(head);
  EXPECT_EQ(head->operation, kNicSetMode);
  EXPECT_EQ(head->data_length, 0);
  EXPECT_EQ(peer.requests(), (std::vector<NetRequest>{{kCategoryNic, kNicSetMode, 12, 89, 2, "100"}}));
  EXPECT_EQ(peer.count(), 1);
}

TEST_F(NetService, EightByteVidRecordedWhole) {
  UdpClient c;
  ASSERT_TRUE(c.exchange(kNetworkPort, mode_request(1, "12345678")));
  auto r = peer.requests();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].vid, "12345678");
}

TEST_F(NetService, SilentRecordsWithoutAnswer) {
  ASSERT_TRUE(peer.silent(true));
  UdpClient c;
  EXPECT_FALSE(c.exchange(kNetworkPort, names_request(), 300));
  EXPECT_EQ(peer.count(), 1);
}

TEST_F(NetService, DelayHoldsTheAnswer) {
  ASSERT_TRUE(peer.delay(300));
  UdpClient c;
  EXPECT_FALSE(c.exchange(kNetworkPort, names_request(), 50));
  EXPECT_TRUE(c.receive(3000));
}

TEST_F(NetService, LeaveClosesThePortJoinOpensIt) {
  ASSERT_TRUE(peer.leave());
  UdpClient c;
  EXPECT_FALSE(c.exchange(kNetworkPort, names_request(), 300));
  EXPECT_EQ(peer.count(), 0);
  ASSERT_TRUE(peer.join());
  EXPECT_TRUE(c.exchange(kNetworkPort, names_request()));
}

// Nothing stops the service: datagrams without a head, wrong magic, odd
// categories and operations, a full buffer.
TEST_F(NetService, BadInputIsRecordedAndSurvived) {
  UdpClient c;
  const std::vector<uint8_t> empty;
  const std::vector<uint8_t> tiny{1, 2, 3};
  c.send_to(kNetworkPort, empty);
  c.send_to(kNetworkPort, tiny);
  c.send_to(kNetworkPort, frame(kCategoryNic, kNicRefreshNames, nullptr, 0, 0x1234));
  std::vector<uint8_t> big(kGnlBufferSize + 100, 0xff);
  c.send_to(kNetworkPort, big);
  auto odd = c.exchange(kNetworkPort, frame(kCategoryNetwork, 0x7777, "abc", 3));
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->size(), 77u);
  EXPECT_TRUE(c.exchange(kNetworkPort, names_request()));
  auto log = peer.log();
  ASSERT_EQ(log.size(), 6u);
  EXPECT_EQ(log[0], "- - - 0");
  EXPECT_EQ(log[1], "- - - 3");
  EXPECT_EQ(log[2], "- - - 77");
}

struct FaultCase {
  const char* name;
  size_t size;  // of the spoiled answer
};

TEST_F(NetService, OneShotFaults) {
  const FaultCase cases[] = {{"magic", 125}, {"category", 125},     {"short", 75},
                             {"cut", 81},    {"unterminated", 125}, {"big", kGnlBufferSize}};
  for (const FaultCase& f : cases) {
    ASSERT_TRUE(peer.fault(f.name)) << f.name;
    UdpClient c;
    auto in = c.exchange(kNetworkPort, names_request());
    ASSERT_TRUE(in) << f.name;
    EXPECT_EQ(in->size(), f.size) << f.name;
    // One shot: the next answer is whole again.
    auto again = c.exchange(kNetworkPort, names_request());
    ASSERT_TRUE(again) << f.name;
    EXPECT_EQ(again->size(), 125u) << f.name;
    EXPECT_STREQ(names_of(*again).wan, "eth0");
  }
}

TEST_F(NetService, FaultContents) {
  UdpClient c;
  ASSERT_TRUE(peer.fault("magic"));
  auto in = c.exchange(kNetworkPort, names_request());
  ASSERT_TRUE(in);
  EXPECT_FALSE(decode_gnl_head(*in));
  ASSERT_TRUE(peer.fault("category"));
  in = c.exchange(kNetworkPort, names_request());
  ASSERT_TRUE(in);
  EXPECT_EQ(decode_gnl_head(*in)->category, kCategoryNetwork);
  ASSERT_TRUE(peer.fault("unterminated"));
  in = c.exchange(kNetworkPort, names_request());
  ASSERT_TRUE(in);
  const std::string wan(reinterpret_cast<const char*>(in->data()) + kGnlHeaderSize, kNicNameSize);
  EXPECT_EQ(wan, std::string(16, 'W'));
}

TEST_F(NetService, FaultTwiceAndOtherPort) {
  UdpClient c;
  ASSERT_TRUE(peer.fault("twice"));
  ASSERT_TRUE(c.exchange(kNetworkPort, names_request()));
  EXPECT_TRUE(c.receive(2000));
  ASSERT_TRUE(peer.fault("port"));
  sockaddr_in from{};
  socklen_t len = sizeof from;
  c.send_to(kNetworkPort, names_request());
  timeval tv{2, 0};
  setsockopt(c.fd(), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  std::vector<uint8_t> buf(256);
  ASSERT_EQ(recvfrom(c.fd(), buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &len), 125);
  EXPECT_NE(ntohs(from.sin_port), kNetworkPort);
}

TEST_F(NetService, UnknownFaultRefused) { EXPECT_FALSE(peer.fault("nonsense")); }

}  // namespace
