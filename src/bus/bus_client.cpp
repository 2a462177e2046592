// The session with the message server: connect, disconnect and the send
// family. The send buffer and the sequence counter belong to one sending
// thread per session.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/uio.h>
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
static_assert(sizeof(BusPacket::data) == kMaxPayload, "the send buffer holds 16384 payload bytes, no more");
static_assert(sizeof(BusPacket) == kPacketHeaderSize + kMaxPayload);

// The session record and its hooks are laid out field by field as the
// other processes of the phone know them. Each offset follows from the one
// before: the end of the previous field, rounded up to the next field's
// alignment. Pointers, thread ids and mutexes differ between the build
// host (x86-64) and the board (armhf, 32-bit EABI: u64 aligned to 8,
// pthread_mutex_t 24 bytes), so the chain is written in those terms and
// checked against the figures of both ABIs below.
namespace layout {

constexpr size_t next(size_t end, size_t align) { return (end + align - 1) / align * align; }
template <typename T>
constexpr size_t after(size_t offset) {
  return offset + sizeof(T);
}

constexpr size_t kListener = next(after<uint64_t>(8), alignof(UdpListener));
static_assert(offsetof(UdpListener, port) == 0);
static_assert(offsetof(UdpListener, buffer_size) == 4);
static_assert(offsetof(UdpListener, address) == 8);
static_assert(offsetof(UdpListener, name) == 8 + sizeof(void*));
static_assert(offsetof(UdpListener, handler) == 8 + 2 * sizeof(void*));
static_assert(offsetof(UdpListener, run) == 8 + 3 * sizeof(void*));
static_assert(offsetof(UdpListener, running) == 12 + 3 * sizeof(void*));
static_assert(offsetof(UdpListener, socket) == 16 + 3 * sizeof(void*));
static_assert(offsetof(UdpListener, local_address) == next(20 + 3 * sizeof(void*), alignof(void*)));
static_assert(offsetof(UdpListener, thread) ==
              next(offsetof(UdpListener, local_address) + sizeof(void*), alignof(pthread_t)));
static_assert(offsetof(UdpListener, user) == next(offsetof(UdpListener, thread) + sizeof(pthread_t), alignof(void*)));

static_assert(offsetof(MsgHook, hook_type) == 0);
static_assert(offsetof(MsgHook, hook_seq) == 4);
static_assert(offsetof(MsgHook, hook_msgtype) == 6);
static_assert(offsetof(MsgHook, monitor_thread) == next(8, alignof(pthread_t)));
static_assert(offsetof(MsgHook, hook_name) == offsetof(MsgHook, monitor_thread) + sizeof(pthread_t));
static_assert(offsetof(MsgHook, monitor_callback) == next(offsetof(MsgHook, hook_name) + 32, alignof(void*)));
static_assert(offsetof(MsgHook, hook_fifo) == offsetof(MsgHook, monitor_callback) + sizeof(void*));
static_assert(offsetof(MsgHook, monitor_buffer) == offsetof(MsgHook, hook_fifo) + sizeof(void*));
static_assert(offsetof(MsgHook, monitor_running) == offsetof(MsgHook, monitor_buffer) + sizeof(void*));
static_assert(offsetof(MsgHook, wait_mutex) == next(offsetof(MsgHook, monitor_running) + 4, alignof(pthread_mutex_t)));

static_assert(offsetof(MessageClient, client_id) == 0);
static_assert(offsetof(MessageClient, server_port) == 2);
static_assert(offsetof(MessageClient, local_port) == 4);
static_assert(offsetof(MessageClient, seq_counter) == 6);
static_assert(offsetof(MessageClient, session_mask) == 8);
static_assert(offsetof(MessageClient, listener) == kListener);
constexpr size_t kDispatchThread = next(kListener + sizeof(UdpListener), alignof(pthread_t));
static_assert(offsetof(MessageClient, dispatch_thread) == kDispatchThread);
constexpr size_t kRawCallback = next(kDispatchThread + sizeof(pthread_t), alignof(void*));
static_assert(offsetof(MessageClient, raw_callback) == kRawCallback);
constexpr size_t kSendPacket = next(kRawCallback + sizeof(void*), alignof(BusPacket));
static_assert(offsetof(MessageClient, send_packet) == kSendPacket);
constexpr size_t kDispatchRunning = kSendPacket + kPacketHeaderSize + kMaxPayload;
static_assert(offsetof(MessageClient, dispatch_running) == kDispatchRunning);
static_assert(offsetof(MessageClient, dispatch_stop) == kDispatchRunning + 4);
constexpr size_t kSessionMutex = next(kDispatchRunning + 8, alignof(pthread_mutex_t));
static_assert(offsetof(MessageClient, session_mutex) == kSessionMutex);
constexpr size_t kEventFifo = next(kSessionMutex + sizeof(pthread_mutex_t), alignof(void*));
static_assert(offsetof(MessageClient, event_fifo) == kEventFifo);
constexpr size_t kClientName = kEventFifo + sizeof(void*);
static_assert(offsetof(MessageClient, client_name) == kClientName);
static_assert(offsetof(MessageClient, pending_seq) == kClientName + 32);
constexpr size_t kHooks = next(kClientName + 32 + 2 * BUS_PENDING_COUNT, alignof(MsgHook));
static_assert(offsetof(MessageClient, hooks) == kHooks);
constexpr size_t kEventPacket = kHooks + BUS_HOOK_COUNT * sizeof(MsgHook);
static_assert(offsetof(MessageClient, event_packet) == kEventPacket);
static_assert(sizeof(MessageClient) == next(kEventPacket + BUS_EVENT_PACKET_SIZE, alignof(MessageClient)));

// The figures of the two ABIs the library is built for.
#if defined(__x86_64__)
static_assert(sizeof(UdpListener) == 72 && sizeof(MsgHook) == 120 && offsetof(MsgHook, wait_mutex) == 80);
static_assert(offsetof(MessageClient, listener) == 16 && offsetof(MessageClient, dispatch_thread) == 88 &&
              offsetof(MessageClient, raw_callback) == 96 && offsetof(MessageClient, send_packet) == 104 &&
              offsetof(MessageClient, dispatch_running) == 16504 && offsetof(MessageClient, dispatch_stop) == 16508 &&
              offsetof(MessageClient, session_mutex) == 16512 && offsetof(MessageClient, event_fifo) == 16552 &&
              offsetof(MessageClient, client_name) == 16560 && offsetof(MessageClient, pending_seq) == 16592 &&
              offsetof(MessageClient, hooks) == 16656 && offsetof(MessageClient, event_packet) == 24336 &&
              sizeof(MessageClient) == 40728);
#elif defined(__arm__) && defined(__ARM_EABI__)
static_assert(sizeof(UdpListener) == 44 && sizeof(MsgHook) == 84 && offsetof(MsgHook, wait_mutex) == 60);
static_assert(offsetof(MessageClient, listener) == 16 && offsetof(MessageClient, dispatch_thread) == 60 &&
              offsetof(MessageClient, raw_callback) == 64 && offsetof(MessageClient, send_packet) == 68 &&
              offsetof(MessageClient, dispatch_running) == 16468 && offsetof(MessageClient, dispatch_stop) == 16472 &&
              offsetof(MessageClient, session_mutex) == 16476 && offsetof(MessageClient, event_fifo) == 16500 &&
              offsetof(MessageClient, client_name) == 16504 && offsetof(MessageClient, pending_seq) == 16536 &&
              offsetof(MessageClient, hooks) == 16600 && offsetof(MessageClient, event_packet) == 21976 &&
              sizeof(MessageClient) == 38368);
#endif

}  // namespace layout

namespace {

constexpr int kConnectTries = 10;
constexpr int kControlWaitMs = 5000;
constexpr int kEventFifoSize = 65536;
constexpr int kEventFifoSlots = 32;
constexpr useconds_t kDispatchStopPollUs = 10000;
constexpr useconds_t kReleasePauseUs = 20000;
constexpr useconds_t kBindPollUs = 500;
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
// The payload is cut at the buffer's 16384 bytes. The terminator goes
// behind the payload inside the buffer while there is room; behind a
// payload that fills it, it is sent from a byte of its own, gathered into
// the same datagram.
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
  const int fd = load(c->listener.socket);
  if (!terminator || n < sizeof p.data) {
    if (terminator) p.data[n] = 0;
    udp_send_data2(fd, kLoopback, c->server_port, &p, static_cast<int>(kPacketHeaderSize + n + (terminator ? 1 : 0)));
    return;
  }
  static const uint8_t kTerminator = 0;
  iovec parts[2] = {{&p, kPacketHeaderSize + n}, {const_cast<uint8_t*>(&kTerminator), 1}};
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(c->server_port);
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  msghdr message{};
  message.msg_name = &to;
  message.msg_namelen = sizeof to;
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  sendmsg(fd, &message, 0);
}

// Waits until the listener has bound the session's port, so that a send
// right after connect is not lost: at most as long as one control
// exchange. False when it never came (the port is taken, say).
bool wait_until_bound(UdpListener& l) {
  for (int waited_us = 0; waited_us < kControlWaitMs * 1000; waited_us += static_cast<int>(kBindPollUs)) {
    if (load(l.local_address) != nullptr) return true;
    if (load(l.run) != 1) return false;
    usleep(kBindPollUs);
  }
  return load(l.local_address) != nullptr;
}

}  // namespace

extern "C" {

MessageClient* request_pc_connect(uint16_t id, uint64_t mask, BusPacketCallback raw_callback,
                                  const char* name) noexcept {
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
  // Returns once the socket is bound: a packet sent at once is received.
  wait_until_bound(c->listener);
  if (pthread_create(&c->dispatch_thread, nullptr, ClientCallBack, c) != 0) {
    // No event thread: nothing of the half-made session stays behind. The
    // server is told, the listener stopped, the record freed.
    control_exchange(c->client_id, kControlDisconnect, c->session_mask);
    udp_listen_thread_stop(&c->listener, nullptr);
    destroy_mutexes(c);
    NEWFIFO_RELEASE(&c->event_fifo);
    std::free(c);
    return nullptr;
  }
  return c;
}

int request_pc_disconnect(MessageClient* c) noexcept {
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

int send_message(MessageClient* c, uint16_t dest, uint16_t msgtype, const void* data, int length) noexcept {
  return send_message2(c, dest, msgtype, 1, data, length);
}

int send_message2(MessageClient* c, uint16_t dest, uint16_t msgtype, uint16_t kind, const void* data,
                  int length) noexcept {
  if (c == nullptr) return -1;
  const uint16_t seq = next_seq(c);
  send_packet(c, seq, dest, msgtype, kind, data, length, true);
  return seq;
}

int send_message3(MessageClient* c, uint16_t dest, uint16_t msgtype, uint16_t kind, uint16_t seq, const void* data,
                  int length) noexcept {
  if (c == nullptr) return -1;
  c->seq_counter = static_cast<uint16_t>(c->seq_counter + 1);
  send_packet(c, seq, dest, msgtype, kind, data, length, false);
  return seq;
}

int send_message_back(MessageClient* c, const BusPacket* request, uint16_t kind, const void* data,
                      int length) noexcept {
  return send_message_back2(c, request, 0, kind, data, length);
}

int send_message_back2(MessageClient* c, const BusPacket* request, uint16_t msgtype, uint16_t kind, const void* data,
                       int length) noexcept {
  if (c == nullptr || request == nullptr) return -1;
  send_packet(c, request->seq, request->source, msgtype, kind, data, length, true);
  return 0;
}

int instant_message_send(uint16_t dest, uint16_t msgtype, uint16_t kind, const void* data, int length) noexcept {
  const size_t n = data != nullptr && length > 0 ? static_cast<size_t>(length) : 0;
  const size_t size = kPacketHeaderSize + n + 1;
  auto* buffer = static_cast<uint8_t*>(std::calloc(1, size));
  if (buffer == nullptr) return 0;
  encode_record(
      BusPacketHeader{kPacketMagic, kSessionlessSeq, msgtype, kind, dest, kBusIdSessionless, static_cast<uint32_t>(n)},
      std::span<uint8_t>(buffer, size));
  if (n > 0) std::memcpy(buffer + kPacketHeaderSize, data, n);
  udp_send_data(kLoopback, kSessionlessPort, buffer, static_cast<int>(size));
  std::free(buffer);
  return 0;
}

}  // extern "C"
