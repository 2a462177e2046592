// Wire records of the message bus: the packet header and the session
// control exchange with the message server on port 27000.
//
// All fields are in the processor's native byte order (little-endian on
// the board); nothing is swapped to network order. Only the UDP ports in
// socket addresses are big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

#include "bus/vocabulary.h"

namespace phonecore::bus {

// Fixed ports of the message server on the loopback interface.
constexpr uint16_t kControlPort = 27000;      // session connect and disconnect
constexpr uint16_t kSessionlessPort = 30101;  // packets sent without a session

constexpr uint16_t kPacketMagic = 767;   // 0x02FF
constexpr uint16_t kControlMagic = 255;  // 0x00FF
constexpr uint16_t kReplyMagic = 511;    // 0x01FF

constexpr uint16_t kControlConnect = 1;
constexpr uint16_t kControlDisconnect = 2;

// Payload room of a session's send buffer, and the largest datagram a
// listener takes in (header included).
constexpr size_t kMaxPayload = 16384;
constexpr size_t kListenerBuffer = 16384;

// kPacketHeaderSize = magic 2 + seq 2 + msgtype 2 + kind 2 + dest 2 +
// source 2 + length 4.
constexpr size_t kPacketHeaderSize = 16;
static_assert(kPacketMagic == BUS_PACKET_MAGIC);
static_assert(kPacketHeaderSize == BUS_PACKET_HEADER_SIZE);
static_assert(kMaxPayload == BUS_MAX_PAYLOAD);

struct BusPacketHeader {
  uint16_t magic;
  uint16_t seq;
  uint16_t msgtype;
  uint16_t kind;
  uint16_t dest;
  uint16_t source;
  uint32_t length;  // payload bytes, without the terminator
};
static_assert(sizeof(BusPacketHeader) == kPacketHeaderSize);
static_assert(offsetof(BusPacketHeader, magic) == 0);
static_assert(offsetof(BusPacketHeader, seq) == 2);
static_assert(offsetof(BusPacketHeader, msgtype) == 4);
static_assert(offsetof(BusPacketHeader, kind) == 6);
static_assert(offsetof(BusPacketHeader, dest) == 8);
static_assert(offsetof(BusPacketHeader, source) == 10);
static_assert(offsetof(BusPacketHeader, length) == 12);

// kControlRequestSize = magic 2 + reserved 2 + client id 2 + code 2 +
// session mask 8.
constexpr size_t kControlRequestSize = 16;

struct BusControlRequest {
  uint16_t magic;
  uint16_t reserved;
  uint16_t client_id;
  uint16_t code;
  uint64_t session_mask;
};
static_assert(sizeof(BusControlRequest) == kControlRequestSize);
static_assert(offsetof(BusControlRequest, client_id) == 4);
static_assert(offsetof(BusControlRequest, code) == 6);
static_assert(offsetof(BusControlRequest, session_mask) == 8);

// kControlReplySize = magic 2 + status 2 + server port 2 + local port 2.
constexpr size_t kControlReplySize = 8;
// The client reads the reply into a buffer of this size.
constexpr size_t kControlReplyBuffer = 32;

struct BusControlReply {
  uint16_t magic;
  uint16_t status;       // 0 success; anything else fails the try
  uint16_t server_port;  // where the session sends all its packets
  uint16_t local_port;   // what the session binds and listens on
};
static_assert(sizeof(BusControlReply) == kControlReplySize);
static_assert(offsetof(BusControlReply, status) == 2);
static_assert(offsetof(BusControlReply, server_port) == 4);
static_assert(offsetof(BusControlReply, local_port) == 6);

// Decoders check length first, then magic. A record is copied out of the
// bytes, so the datagram buffer needs no particular alignment.
template <typename Record>
std::optional<Record> decode_record(std::span<const uint8_t> bytes, uint16_t magic) {
  if (bytes.size() < sizeof(Record)) return std::nullopt;
  Record r;
  std::memcpy(&r, bytes.data(), sizeof r);
  if (r.magic != magic) return std::nullopt;
  return r;
}

// The header at the start of a received packet as it stands, magic not
// judged: the receive path and the hook monitors read whatever came.
// REQUIRES: kPacketHeaderSize readable bytes at bytes.
inline BusPacketHeader peek_packet_header(const void* bytes) {
  BusPacketHeader h;
  std::memcpy(&h, bytes, sizeof h);
  return h;
}

inline std::optional<BusPacketHeader> decode_packet_header(std::span<const uint8_t> bytes) {
  return decode_record<BusPacketHeader>(bytes, kPacketMagic);
}

inline std::optional<BusControlRequest> decode_control_request(std::span<const uint8_t> bytes) {
  return decode_record<BusControlRequest>(bytes, kControlMagic);
}

inline std::optional<BusControlReply> decode_control_reply(std::span<const uint8_t> bytes) {
  return decode_record<BusControlReply>(bytes, kReplyMagic);
}

// Encoders write the record to the start of out. REQUIRES: out has room
// for the record.
template <typename Record>
size_t encode_record(const Record& r, std::span<uint8_t> out) {
  std::memcpy(out.data(), &r, sizeof r);
  return sizeof r;
}

}  // namespace phonecore::bus
