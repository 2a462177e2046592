// The message server of the phone box.
//
// Control port 27000 answers BusControlRequest with BusControlReply and
// hands each session a pair of ports: server_port, which this server binds
// and the session sends to, and local_port, which the session binds. Every
// BusPacket that arrives on a session's server_port, or without a session
// on port 30101, is forwarded unchanged by its dest. Every control request
// and every packet is recorded; a control port (UDP 27020) lets tests read
// that record, list the sessions, or silence the server. Rules where the
// bus leaves the choice to the server are written down in sim/README.md.

#include <poll.h>
#include <signal.h>

#include <cstring>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "bus/bus_wire.h"
#include "peer.h"

using namespace phonecore::bus;

namespace {

constexpr const char* kPeer = "msgserver";
constexpr uint16_t kFirstSessionPort = 40000;
constexpr uint16_t kLastSessionPort = 59998;
constexpr size_t kDatagramBuffer = 65536;

// Reply status words of this server.
constexpr uint16_t kStatusOk = 0;
constexpr uint16_t kStatusRefused = 1;      // id in use, id 65535, or unknown at disconnect
constexpr uint16_t kStatusUnknownCode = 2;  // request code other than 1 or 2

struct Session {
  uint16_t client_id;
  uint16_t server_port;
  uint16_t local_port;
  uint64_t session_mask;
  int fd;  // bound to server_port
};

class MessageServer {
 public:
  bool start() {
    control_fd_ = phonebox::bind_udp(kControlPort);
    sessionless_fd_ = phonebox::bind_udp(kSessionlessPort);
    return control_fd_ >= 0 && sessionless_fd_ >= 0 && record_.open(phonebox::kControlPortMessageServer);
  }

  void run() {
    std::vector<uint8_t> buf(kDatagramBuffer);
    for (;;) {
      std::vector<pollfd> fds{{control_fd_, POLLIN, 0}, {sessionless_fd_, POLLIN, 0}, {record_.fd(), POLLIN, 0}};
      std::vector<uint16_t> ids{0, 0, 0};
      for (auto& [id, s] : sessions_) {
        fds.push_back({s.fd, POLLIN, 0});
        ids.push_back(id);
      }
      if (poll(fds.data(), fds.size(), -1) < 0) continue;
      if (fds[2].revents & POLLIN) record_.serve(*this, kCommands);
      for (size_t i = 0; i < fds.size(); ++i) {
        if (i == 2 || !(fds[i].revents & POLLIN)) continue;
        sockaddr_in from{};
        socklen_t from_len = sizeof from;
        ssize_t n = recvfrom(fds[i].fd, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &from_len);
        if (n < 0) continue;
        std::span<const uint8_t> datagram(buf.data(), static_cast<size_t>(n));
        if (i == 0) {
          on_control(datagram, from);
        } else if (i == 1) {
          route(datagram, nullptr);
        } else {
          auto it = sessions_.find(ids[i]);
          // The session may have gone by a control request in this pass.
          if (it != sessions_.end() && it->second.fd == fds[i].fd) route(datagram, &it->second);
        }
      }
    }
  }

 private:
  void reply(const BusControlRequest& req, const sockaddr_in& to, uint16_t status, uint16_t server_port,
             uint16_t local_port) {
    char line[96];
    snprintf(line, sizeof line, "control %u %u %llu -> %u %u %u", req.code, req.client_id,
             static_cast<unsigned long long>(req.session_mask), status, server_port, local_port);
    record_.record(line);
    BusControlReply r{kReplyMagic, status, server_port, local_port};
    uint8_t out[kControlReplySize];
    encode_record(r, out);
    sendto(control_fd_, out, sizeof out, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
  }

  void on_control(std::span<const uint8_t> datagram, const sockaddr_in& from) {
    auto req = decode_control_request(datagram);
    if (!req) {
      phonebox::log_line(kPeer, "control: dropped %zu bytes (short or wrong magic)", datagram.size());
      record_.record("control dropped " + std::to_string(datagram.size()));
      return;
    }
    // A silent server hears and records, and does nothing else.
    if (record_.silent()) {
      record_.record("control " + std::to_string(req->code) + " " + std::to_string(req->client_id) + " silent");
      return;
    }
    switch (req->code) {
      case kControlConnect:
        connect(*req, from);
        break;
      case kControlDisconnect: {
        auto it = sessions_.find(req->client_id);
        if (it == sessions_.end()) {
          phonebox::log_line(kPeer, "disconnect %u: no such session", req->client_id);
          reply(*req, from, kStatusRefused, 0, 0);
          break;
        }
        // What the session sent before it asked to go is still routed.
        drain(it->second);
        close(it->second.fd);
        phonebox::log_line(kPeer, "disconnect %u", req->client_id);
        sessions_.erase(it);
        reply(*req, from, kStatusOk, 0, 0);
        break;
      }
      default:
        phonebox::log_line(kPeer, "control: unknown request code %u", req->code);
        reply(*req, from, kStatusUnknownCode, 0, 0);
    }
  }

  void connect(const BusControlRequest& req, const sockaddr_in& from) {
    if (req.client_id == kBusIdAll || sessions_.count(req.client_id) != 0) {
      phonebox::log_line(kPeer, "connect %u refused: id in use or reserved", req.client_id);
      reply(req, from, kStatusRefused, 0, 0);
      return;
    }
    // Ports go out in pairs and are not reused while the server runs, so a
    // late packet of an old session never reaches a new one.
    for (; next_port_ <= kLastSessionPort; next_port_ += 2) {
      int fd = phonebox::bind_udp(next_port_);
      if (fd < 0) continue;
      Session s{req.client_id, next_port_, static_cast<uint16_t>(next_port_ + 1), req.session_mask, fd};
      next_port_ += 2;
      sessions_[s.client_id] = s;
      phonebox::log_line(kPeer, "connect %u mask %llu: server_port %u local_port %u", s.client_id,
                         static_cast<unsigned long long>(s.session_mask), s.server_port, s.local_port);
      reply(req, from, kStatusOk, s.server_port, s.local_port);
      return;
    }
    phonebox::log_line(kPeer, "connect %u refused: no ports left", req.client_id);
    reply(req, from, kStatusRefused, 0, 0);
  }

  void drain(const Session& s) {
    std::vector<uint8_t> buf(kDatagramBuffer);
    for (;;) {
      ssize_t n = recv(s.fd, buf.data(), buf.size(), MSG_DONTWAIT);
      if (n < 0) break;
      route({buf.data(), static_cast<size_t>(n)}, &s);
    }
  }

  // One record line per datagram that reached a session port or 30101:
  // "packet SOURCE DEST KIND MSGTYPE SEQ LENGTH -> SESSIONS" with the
  // number of sessions it went to, or "packet dropped BYTES".
  void record_packet(const BusPacketHeader& h, size_t delivered) {
    char line[96];
    snprintf(line, sizeof line, "packet %u %u %u %u %u %u -> %zu", h.source, h.dest, h.kind, h.msgtype, h.seq, h.length,
             delivered);
    record_.record(line);
  }

  void deliver(const Session& to, std::span<const uint8_t> datagram) {
    sockaddr_in a = phonebox::loopback(to.local_port);
    sendto(to.fd, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&a), sizeof a);
  }

  // Forwards a packet by dest. from is the sending session, or null for a
  // packet that came without a session.
  void route(std::span<const uint8_t> datagram, const Session* from) {
    auto head = decode_packet_header(datagram);
    if (!head) {
      phonebox::log_line(kPeer, "dropped %zu bytes (short or wrong magic)", datagram.size());
      record_.record("packet dropped " + std::to_string(datagram.size()));
      return;
    }
    if (head->length > datagram.size() - kPacketHeaderSize) {
      phonebox::log_line(kPeer, "dropped packet seq %u: length %u beyond the datagram", head->seq, head->length);
      record_.record("packet dropped " + std::to_string(datagram.size()));
      return;
    }
    if (record_.silent()) return record_packet(*head, 0);
    if (head->dest == kBusIdAll || head->dest == kBusIdTypeAll) {
      size_t delivered = 0;
      for (auto& [id, s] : sessions_)
        if (&s != from) deliver(s, datagram), ++delivered;
      return record_packet(*head, delivered);
    }
    auto it = sessions_.find(head->dest);
    if (it == sessions_.end()) {
      phonebox::log_line(kPeer, "dropped packet seq %u for unknown dest %u", head->seq, head->dest);
      return record_packet(*head, 0);
    }
    deliver(it->second, datagram);
    record_packet(*head, 1);
  }

  // "sessions": one line "ID SERVER_PORT LOCAL_PORT MASK" per open session.
  std::string sessions_command(const std::string&) {
    std::string out;
    for (auto& [id, s] : sessions_) {
      char line[64];
      snprintf(line, sizeof line, "%u %u %u %llu\n", id, s.server_port, s.local_port,
               static_cast<unsigned long long>(s.session_mask));
      out += line;
    }
    return out;
  }
  static constexpr phonebox::ControlCommand<MessageServer> kCommands[] = {
      {"sessions", &MessageServer::sessions_command},
  };

  int control_fd_ = -1;
  int sessionless_fd_ = -1;
  phonebox::ControlPort record_;
  uint16_t next_port_ = kFirstSessionPort;
  std::map<uint16_t, Session> sessions_;
};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  const char* ready = argc > 1 ? argv[1] : nullptr;
  MessageServer server;
  if (!server.start()) {
    phonebox::log_line(kPeer, "cannot start: port %u, %u or %u taken", kControlPort, kSessionlessPort,
                       phonebox::kControlPortMessageServer);
    return 1;
  }
  phonebox::announce_ready(ready);
  server.run();
}
