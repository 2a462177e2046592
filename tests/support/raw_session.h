// A test-side session with the message server in raw bytes: it plays the
// SIP process (or any other peer) against the real library.
#pragma once

#include <json-c/json.h>

#include <memory>
#include <string>
#include <vector>

#include "bus/bus_wire.h"
#include "bus/vocabulary.h"
#include "support/udp_client.h"

namespace phonecore::testing {

class RawSession {
 public:
  static constexpr int kConnectWaitMs = 10000;

  explicit RawSession(uint16_t id) : id_(id) {
    // A loaded machine (sanitizer builds, parallel boxes) may keep the
    // server from answering for a while; a second request would only find
    // the id taken, so the one request waits long.
    UdpClient control;
    auto in = control.exchange(bus::kControlPort,
                               bytes_of(bus::BusControlRequest{bus::kControlMagic, 0, id, bus::kControlConnect, 1}),
                               kConnectWaitMs);
    if (in) reply_ = bus::decode_control_reply(*in);
    if (reply_ && reply_->status == 0) socket_ = std::make_unique<UdpClient>(reply_->local_port);
  }
  ~RawSession() {
    UdpClient control;
    control.exchange(bus::kControlPort,
                     bytes_of(bus::BusControlRequest{bus::kControlMagic, 0, id_, bus::kControlDisconnect, 1}), 500);
  }

  bool ok() const { return socket_ != nullptr && socket_->bound(); }
  uint16_t id() const { return id_; }
  uint16_t local_port() const { return reply_ ? reply_->local_port : 0; }

  static std::vector<uint8_t> packet(uint16_t seq, uint16_t msgtype, uint16_t kind, uint16_t dest, uint16_t source,
                                     const std::string& payload, bool terminator = true) {
    std::vector<uint8_t> out(bus::kPacketHeaderSize + payload.size() + (terminator ? 1 : 0), 0);
    bus::encode_record(bus::BusPacketHeader{bus::kPacketMagic, seq, msgtype, kind, dest, source,
                                            static_cast<uint32_t>(payload.size())},
                       out);
    std::memcpy(out.data() + bus::kPacketHeaderSize, payload.data(), payload.size());
    return out;
  }

  // Sends a packet through the server, from this session.
  void send(uint16_t dest, uint16_t kind, const std::string& payload, uint16_t seq = 1, uint16_t msgtype = 0) {
    socket_->send_to(reply_->server_port, packet(seq, msgtype, kind, dest, id_, payload));
  }
  void send_bytes(const std::vector<uint8_t>& bytes) { socket_->send_to(reply_->server_port, bytes); }

  std::optional<std::vector<uint8_t>> receive(int timeout_ms = 2000) { return socket_->receive(timeout_ms); }

  static bus::BusPacketHeader header(const std::vector<uint8_t>& datagram) {
    bus::BusPacketHeader h{};
    std::memcpy(&h, datagram.data(), std::min(datagram.size(), sizeof h));
    return h;
  }
  static std::string payload(const std::vector<uint8_t>& datagram) {
    auto h = header(datagram);
    size_t n = std::min<size_t>(h.length, datagram.size() - bus::kPacketHeaderSize);
    return std::string(reinterpret_cast<const char*>(datagram.data()) + bus::kPacketHeaderSize, n);
  }

 private:
  uint16_t id_;
  std::optional<bus::BusControlReply> reply_;
  std::unique_ptr<UdpClient> socket_;
};

// The payload of the command broadcast NAME as a session hears it: the
// command's JSON text with its terminator.
inline std::string command_payload(const char* name) { return std::string("{\"cmd\":\"") + name + "\"}" + '\0'; }

// The command broadcasts a session hears within about a second, as
// payloads (with their terminator), in the order they came.
inline std::vector<std::string> commands_heard(RawSession& s) {
  std::vector<std::string> out;
  for (int i = 0; i < 10; ++i) {
    auto in = s.receive(100);
    if (!in) continue;
    auto h = RawSession::header(*in);
    if (h.kind == bus::kKindCommand && h.msgtype == bus::kMsgtypeCommand && h.dest == bus::kBusIdAll)
      out.push_back(RawSession::payload(*in));
  }
  return out;
}

}  // namespace phonecore::testing
