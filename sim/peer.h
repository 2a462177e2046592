// Small helpers shared by the simulated peers of the phone box: loopback
// UDP sockets, a readiness file, a line log on standard error, and the
// control-and-record port that every peer has.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "control_ports.h"

namespace phonebox {

inline sockaddr_in loopback(uint16_t port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return a;
}

// A UDP socket bound to 127.0.0.1:port, or -1.
inline int bind_udp(uint16_t port) {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in a = loopback(port);
  if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// Sends bytes to 127.0.0.1:port from a socket of its own and takes one
// datagram back, sending again (tries times in all) while none comes within
// timeout_ms. Nothing when nothing came (an empty datagram is an answer).
inline std::optional<std::vector<uint8_t>> exchange(uint16_t port, std::span<const uint8_t> out, size_t capacity,
                                                    int timeout_ms = 2000, int tries = 1) {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return std::nullopt;
  timeval tv{timeout_ms / 1000, (timeout_ms % 1000) * 1000};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  sockaddr_in to = loopback(port);
  std::vector<uint8_t> in(capacity);
  ssize_t n = -1;
  for (int attempt = 0; attempt < tries && n < 0; ++attempt) {
    sendto(fd, out.data(), out.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    n = recv(fd, in.data(), in.size(), 0);
  }
  close(fd);
  if (n < 0) return std::nullopt;
  in.resize(static_cast<size_t>(n));
  return in;
}

// Bytes as one token of a record line: printable ASCII as it is, others
// (space and backslash too) as \xNN; nothing at all as "-".
inline std::string record_token(std::string_view bytes) {
  std::string out;
  char hex[8];
  for (const char ch : bytes) {
    const auto c = static_cast<unsigned char>(ch);
    if (c > 0x20 && c < 0x7f && c != '\\') {
      out.push_back(ch);
    } else {
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    }
  }
  return out.empty() ? "-" : out;
}

inline void log_line(const char* peer, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
inline void log_line(const char* peer, const char* fmt, ...) {
  char text[512];
  va_list ap;
  va_start(ap, fmt);
  vsnprintf(text, sizeof text, fmt, ap);
  va_end(ap);
  fprintf(stderr, "%s: %s\n", peer, text);
}

// The box waits for this file before it runs the command.
inline void announce_ready(const char* path) {
  if (path == nullptr) return;
  FILE* f = fopen(path, "w");
  if (f != nullptr) fclose(f);
}

// One row of a peer's own control commands: the first word of the line,
// and the member that answers the rest of it.
template <typename Peer>
struct ControlCommand {
  std::string_view name;
  std::string (Peer::*run)(const std::string& rest);
};

// The control-and-record port of a peer: UDP on the loopback, one text
// line in, one answer back to the sender. Every peer answers
//
//   ping        pong
//   log         the record, one line per request the peer heard
//   clear       forgets the record; ok
//   silent 1|0  a silent peer records what comes and does nothing else; ok
//
// and then the commands of its own table; anything else is answered
// "error: unknown command".
class ControlPort {
 public:
  // The largest answer one datagram carries; a longer record answers its
  // newest lines.
  static constexpr size_t kMaxAnswer = 65507;
  // The record keeps its newest lines up to this many bytes, so that a long
  // run (a benchmark through the message server) can't grow it without end.
  static constexpr size_t kMaxRecord = 4 << 20;

  bool open(uint16_t port) {
    fd_ = bind_udp(port);
    return fd_ >= 0;
  }
  int fd() const { return fd_; }

  bool silent() const { return silent_; }
  void set_silent(bool silent) { silent_ = silent; }
  void record(std::string line) {
    record_bytes_ += line.size();
    record_.push_back(std::move(line));
    while (record_bytes_ > kMaxRecord) {
      record_bytes_ -= record_.front().size();
      record_.pop_front();
    }
  }
  void clear() {
    record_.clear();
    record_bytes_ = 0;
  }

  // Reads one waiting control line and answers it, for a peer with no
  // commands of its own.
  void serve() { serve(*this, std::span<const ControlCommand<ControlPort>>()); }

  // Reads one waiting control line and answers it.
  template <typename Peer>
  void serve(Peer& peer, std::type_identity_t<std::span<const ControlCommand<Peer>>> own) {
    std::vector<char> buf(kMaxAnswer + 1);
    sockaddr_in from{};
    socklen_t len = sizeof from;
    ssize_t n = recvfrom(fd_, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &len);
    if (n < 0) return;
    std::istringstream in(std::string(buf.data(), static_cast<size_t>(n)));
    std::string cmd, rest;
    in >> cmd;
    std::getline(in >> std::ws, rest);
    std::string answer = "error: unknown command";
    if (const auto* row = find(std::span<const ControlCommand<ControlPort>>(kCommon), cmd)) {
      answer = (this->*row->run)(rest);
    } else if (const auto* own_row = find(own, cmd)) {
      answer = (peer.*own_row->run)(rest);
    }
    sendto(fd_, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr*>(&from), len);
  }

 private:
  template <typename Peer>
  static const ControlCommand<Peer>* find(std::span<const ControlCommand<Peer>> rows, const std::string& cmd) {
    for (const auto& row : rows)
      if (row.name == cmd) return &row;
    return nullptr;
  }

  std::string ping(const std::string&) { return "pong"; }
  std::string log(const std::string&) {
    std::string out;
    size_t first = record_.size();
    for (size_t size = 0; first > 0 && size + record_[first - 1].size() + 1 <= kMaxAnswer; --first)
      size += record_[first - 1].size() + 1;
    for (size_t i = first; i < record_.size(); ++i) out += record_[i] + "\n";
    return out;
  }
  std::string clear_command(const std::string&) {
    clear();
    return "ok";
  }
  std::string silent_command(const std::string& rest) {
    silent_ = rest != "0";
    return "ok";
  }

  static constexpr ControlCommand<ControlPort> kCommon[] = {
      {"ping", &ControlPort::ping},
      {"log", &ControlPort::log},
      {"clear", &ControlPort::clear_command},
      {"silent", &ControlPort::silent_command},
  };

  int fd_ = -1;
  bool silent_ = false;
  std::deque<std::string> record_;
  size_t record_bytes_ = 0;
};

}  // namespace phonebox
