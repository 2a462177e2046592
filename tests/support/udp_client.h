// A raw loopback UDP client for wire tests: sends bytes to a port and
// takes one datagram back, with a receive time limit.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

namespace phonecore::testing {

class UdpClient {
 public:
  // An unbound socket (the kernel picks the port), or one bound to port.
  explicit UdpClient(uint16_t bind_port = 0) {
    fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (bind_port != 0) {
      int one = 1;
      setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
      sockaddr_in a = address(bind_port);
      bound_ = bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
    }
  }
  ~UdpClient() { close(fd_); }
  UdpClient(const UdpClient&) = delete;
  UdpClient& operator=(const UdpClient&) = delete;

  bool bound() const { return bound_; }
  int fd() const { return fd_; }

  static sockaddr_in address(uint16_t port) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
  }

  ssize_t send_to(uint16_t port, std::span<const uint8_t> bytes) {
    sockaddr_in a = address(port);
    return sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&a), sizeof a);
  }

  // One datagram, or nothing within timeout_ms.
  std::optional<std::vector<uint8_t>> receive(int timeout_ms, size_t capacity = 65536) {
    timeval tv{timeout_ms / 1000, (timeout_ms % 1000) * 1000};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    std::vector<uint8_t> in(capacity);
    ssize_t n = recv(fd_, in.data(), in.size(), 0);
    if (n < 0) return std::nullopt;
    in.resize(static_cast<size_t>(n));
    return in;
  }

  std::optional<std::vector<uint8_t>> exchange(uint16_t port, std::span<const uint8_t> bytes, int timeout_ms = 2000) {
    if (send_to(port, bytes) < 0) return std::nullopt;
    return receive(timeout_ms);
  }

 private:
  int fd_ = -1;
  bool bound_ = false;
};

template <typename Record>
std::vector<uint8_t> bytes_of(const Record& r) {
  std::vector<uint8_t> out(sizeof r);
  std::memcpy(out.data(), &r, sizeof r);
  return out;
}

}  // namespace phonecore::testing
