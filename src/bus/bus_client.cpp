// The session with the message server: connect, disconnect and the send
// family. The send buffer and the sequence counter belong to one sending
// thread per session.

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>

#include "base/atomic_field.h"
#include "bus/bus_wire.h"
#include "bus/hooks.h"
#include "phonecore/bus_client.h"

using phonecore::base::load;
using phonecore::base::store;

using namespace phonecore::bus;

static_assert(offsetof(BusPacket, data) == kPacketHeaderSize, "a packet's payload follows its 16-byte header");
static_assert(offsetof(BusPacket, seq) == offsetof(BusPacketHeader, seq));
static_assert(offsetof(BusPacket, dest) == offsetof(BusPacketHeader, dest));
static_assert(offsetof(BusPacket, length) == offsetof(BusPacketHeader, length));
static_assert(sizeof(MessageClient::event_packet) >= kListenerBuffer + 1, "the event buffer takes a whole datagram");
static_assert(sizeof(MessageClient::client_name) == 32);
static_assert(sizeof(MsgHook::hook_name) == 32);

namespace {

constexpr int kConnectTries = 10;
constexpr int kControlWaitMs = 5000;
constexpr int kEventFifoSize = 65536;
constexpr int kEventFifoSlots = 32;
constexpr useconds_t kDispatchStopPollUs = 10000;
constexpr useconds_t kReleasePauseUs = 20000;
constexpr const char* kLoopback = "127.0.0.1";

// The control exchange with port 27000: the reply, if one came with the
// reply magic.
std::optional<BusControlReply> control_exchange(uint16_t id, uint16_t code, uint64_t mask) {
  uint8_t request[kControlRequestSize];
  encode_record(BusControlRequest{kControlMagic, 0, id, code, mask}, request);
  uint8_t reply[kControlReplyBuffer] = {};
  int reply_length = sizeof reply;
  if (udp_send_data_wait_timeout(kLoopback, kControlPort, request, sizeof request, reply, &reply_length,
                                 kControlWaitMs) != 0)
    return std::nullopt;
  return decode_control_reply({reply, static_cast<size_t>(reply_length)});
}

void init_mutexes(MessageClient* c) {
  for (MsgHook& h : c->hooks) pthread_mutex_init(&h.wait_mutex, nullptr);
  pthread_mutex_init(&c->session_mutex, nullptr);
}

void destroy_mutexes(MessageClient* c) {
  for (MsgHook& h : c->hooks) pthread_mutex_destroy(&h.wait_mutex);
  pthread_mutex_destroy(&c->session_mutex);
}

// The next seq: 1 to 16384, never 0, which marks a free pending entry.
uint16_t next_seq(MessageClient* c) {
  const auto seq = static_cast<uint16_t>((c->seq_counter & 0x3FFF) + 1);
  c->seq_counter = static_cast<uint16_t>(c->seq_counter + 1);
  return seq;
}

// Fills the send buffer and hands the datagram to the session's socket.
// The payload is cut at the buffer's 16384 bytes.
void send_packet(MessageClient* c, uint16_t seq, uint16_t dest, uint16_t msgtype, uint16_t kind, const void* data,
                 int length, bool terminator) {
  BusPacket& p = c->send_packet;
  const size_t n = data != nullptr && length > 0 ? std::min<size_t>(static_cast<size_t>(length), BUS_MAX_PAYLOAD) : 0;
  p.magic = kPacketMagic;
  p.seq = seq;
  p.msgtype = msgtype;
  p.kind = kind;
  p.dest = dest;
  p.source = c->client_id;
  p.length = static_cast<uint32_t>(n);
  if (n > 0) std::memmove(p.data, data, n);
  if (terminator) p.data[n] = 0;
  udp_send_data2(load(c->listener.socket), kLoopback, c->server_port, &p,
                 static_cast<int>(kPacketHeaderSize + n + (terminator ? 1 : 0)));
}

}  // namespace

extern "C" {

MessageClient* request_pc_connect(uint16_t id, uint64_t mask, BusPacketCallback raw_callback, const char* name) {
  auto* c = static_cast<MessageClient*>(std::malloc(sizeof(MessageClient)));
  if (c == nullptr) return nullptr;
  std::optional<BusControlReply> reply;
  for (int attempt = 0; attempt < kConnectTries; ++attempt) {
    // Every try starts from a cleared record; the mutexes are initialised
    // again without being destroyed.
    std::memset(c, 0, sizeof *c);
    init_mutexes(c);
    c->client_id = id;
    c->session_mask = mask;
    reply = control_exchange(id, kControlConnect, mask);
    if (reply && reply->status == 0) break;
    reply.reset();
  }
  if (!reply) {
    std::free(c);
    return nullptr;
  }
  c->server_port = reply->server_port;
  c->local_port = reply->local_port;
  c->listener.port = c->local_port;
  c->listener.buffer_size = 0;
  c->listener.address = kLoopback;
  c->listener.name = "connectting_server";
  c->listener.handler = client_call_back;
  c->listener.user = c;
  c->listener.socket = -1;
  if (name != nullptr) {
    std::strncpy(c->client_name, name, sizeof c->client_name - 1);
  }
  c->raw_callback = raw_callback;
  NEWFIFO_INIT(&c->event_fifo, kEventFifoSize, kEventFifoSlots);
  udp_listen_thread_start(&c->listener, nullptr);
  if (pthread_create(&c->dispatch_thread, nullptr, ClientCallBack, c) != 0) return nullptr;
  return c;
}

int request_pc_disconnect(MessageClient* c) {
  if (c == nullptr) return -1;
  auto reply = control_exchange(c->client_id, kControlDisconnect, c->session_mask);
  udp_listen_thread_stop(&c->listener, nullptr);
  store(c->dispatch_stop, 1);
  while (load(c->dispatch_running) == 1) usleep(kDispatchStopPollUs);
  pthread_join(c->dispatch_thread, nullptr);
  destroy_mutexes(c);
  store(c->dispatch_stop, 0);
  NEWFIFO_RELEASE(&c->event_fifo);
  usleep(kReleasePauseUs);
  del_all_hook(c);
  std::free(c);
  return reply ? 0 : -1;
}

int send_message(MessageClient* c, uint16_t dest, uint16_t msgtype, const void* data, int length) {
  return send_message2(c, dest, msgtype, 1, data, length);
}

int send_message2(MessageClient* c, uint16_t dest, uint16_t msgtype, uint16_t kind, const void* data, int length) {
  if (c == nullptr) return -1;
  const uint16_t seq = next_seq(c);
  send_packet(c, seq, dest, msgtype, kind, data, length, true);
  return seq;
}

int send_message3(MessageClient* c, uint16_t dest, uint16_t msgtype, uint16_t kind, uint16_t seq, const void* data,
                  int length) {
  if (c == nullptr) return -1;
  c->seq_counter = static_cast<uint16_t>(c->seq_counter + 1);
  send_packet(c, seq, dest, msgtype, kind, data, length, false);
  return seq;
}

int send_message_back(MessageClient* c, const BusPacket* request, uint16_t kind, const void* data, int length) {
  return send_message_back2(c, request, 0, kind, data, length);
}

int send_message_back2(MessageClient* c, const BusPacket* request, uint16_t msgtype, uint16_t kind, const void* data,
                       int length) {
  if (c == nullptr || request == nullptr) return -1;
  send_packet(c, request->seq, request->source, msgtype, kind, data, length, true);
  return 0;
}

int instant_message_send(uint16_t dest, uint16_t msgtype, uint16_t kind, const void* data, int length) {
  const size_t n = data != nullptr && length > 0 ? static_cast<size_t>(length) : 0;
  const size_t size = kPacketHeaderSize + n + 1;
  auto* buffer = static_cast<uint8_t*>(std::calloc(1, size));
  if (buffer == nullptr) return 0;
  encode_record(BusPacketHeader{kPacketMagic, kSessionlessSeq, msgtype, kind, dest, kBusIdSessionless,
                                static_cast<uint32_t>(n)},
                std::span<uint8_t>(buffer, size));
  if (n > 0) std::memcpy(buffer + kPacketHeaderSize, data, n);
  udp_send_data(kLoopback, kSessionlessPort, buffer, static_cast<int>(size));
  std::free(buffer);
  return 0;
}

}  // extern "C"
