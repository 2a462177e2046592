// The service frame: one exchange sends the head, the data and one byte
// more, and takes the reply into the same record; the records of the
// directory and network services travel in the same frame.
#include "config/gnl_frame.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace {

using namespace phonecore::config;

// A one-shot answering service on an ephemeral loopback port: it records
// the size of the datagram it got and sends it back with the operation
// word (offset 4) turned round.
class Echo {
 public:
  Echo() {
    fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t n = sizeof a;
    getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &n);
    port_ = ntohs(a.sin_port);
    thread_ = std::thread([this] { answer(); });
  }
  ~Echo() {
    thread_.join();
    close(fd_);
  }
  uint16_t port() const { return port_; }
  size_t received() const { return received_; }

 private:
  void answer() {
    sockaddr_in from{};
    socklen_t n = sizeof from;
    const ssize_t got = recvfrom(fd_, buffer_.get(), kGnlBufferSize + 16, 0, reinterpret_cast<sockaddr*>(&from), &n);
    if (got < 0) return;
    received_ = static_cast<size_t>(got);
    buffer_[4] = static_cast<uint8_t>(~buffer_[4]);
    sendto(fd_, buffer_.get(), static_cast<size_t>(got), 0, reinterpret_cast<sockaddr*>(&from), n);
  }
  int fd_ = -1;
  uint16_t port_ = 0;
  size_t received_ = 0;
  std::unique_ptr<uint8_t[]> buffer_ = std::make_unique<uint8_t[]>(kGnlBufferSize + 16);
  std::thread thread_;
};

TEST(GnlFrame, ExchangeSendsDataLengthPlus77AndTakesTheReplyInPlace) {
  Echo service;
  auto r = std::make_unique<GnlConfigRecord>();
  r->magic = kGnlMagic;
  r->category = kCategoryNic;
  r->operation = kNicSetMode;
  const NicModeData mode{2, {'1', '0', '0'}};
  std::memcpy(r->data, &mode, sizeof mode);
  r->data_length = sizeof mode;
  const auto got = frame_exchange(service.port(), *r, *r);
  ASSERT_TRUE(got.has_value());
  EXPECT_EQ(*got, 89u);
  EXPECT_EQ(service.received(), 89u);
  EXPECT_EQ(r->operation, static_cast<uint16_t>(kNicSetMode ^ 0xFF));
}

TEST(GnlFrame, ADirectoryPacketTravelsTheSameWay) {
  Echo service;
  auto p = std::make_unique<LocalListPacket>();
  p->magic = kGnlMagic;
  p->list_type = kListContacts;
  p->command = kListAdd;
  p->command_class = kListClass;
  ListPayloadHead head{364, 0, 1, 0, 0, 0, 0};
  std::memcpy(p->payload, &head, sizeof head);
  p->payload_length = 364;
  auto reply = std::make_unique<LocalListPacket>();
  const auto got = frame_exchange(service.port(), *p, *reply);
  ASSERT_TRUE(got.has_value());
  EXPECT_EQ(*got, 441u);  // 364 + 77
  EXPECT_EQ(reply->list_type, kListContacts);
  EXPECT_EQ(reply->payload_length, 364);
}

TEST(GnlFrame, TheGlDataBodySitsAtOffsetEight) {
  GnlConfigRecord r{};
  put_gl_body(r, GlDataBody{kGlPairSize, 9, -3});
  EXPECT_EQ(r.path_length, kGlPairSize);
  int32_t key, value;
  std::memcpy(&key, reinterpret_cast<uint8_t*>(&r) + 10, sizeof key);
  std::memcpy(&value, reinterpret_cast<uint8_t*>(&r) + 14, sizeof value);
  EXPECT_EQ(key, 9);
  EXPECT_EQ(value, -3);
  EXPECT_EQ(gl_body(r).value, -3);
}

}  // namespace
