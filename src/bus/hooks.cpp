// Receive path of a session: client_call_back on the listener thread, the
// hook table, the waits, the monitor threads and the event thread (whose
// events go to the process's ClientOps through client_events.cpp).
//
// The hook table has no lock. Arming writes the key, then the type (so that
// a packet can already match), then creates the FIFO; the listener tolerates
// a hook without FIFO. Removal clears the type and waits 5 ms before it
// frees anything, so that a listener inside its loop has left it.

#include <json-c/json.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/atomic_field.h"
#include "bus/bus_wire.h"
#include "bus/fifo_internal.h"
#include "bus/hooks.h"
#include "phonecore/bus_client.h"
#include "phonecore/json_msg.h"

using phonecore::base::load;
using phonecore::base::store;

using namespace phonecore::bus;

namespace phonecore::bus {

long long now_ms() {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return static_cast<long long>(tv.tv_sec) * 1000 + tv.tv_usec / 1000;
}

}  // namespace phonecore::bus

namespace {

constexpr uint32_t kHookFree = 0;
constexpr uint32_t kHookBySeq = 1;
constexpr uint32_t kHookByName = 2;
constexpr uint32_t kHookByMsgtype = 3;
constexpr useconds_t kPollUs = 5000;
constexpr useconds_t kMonitorStopPollUs = 20000;

// Hook names are compared and written byte by byte with atomic accesses:
// the listener reads them while a caller may be arming or clearing a slot.
void store_name(MsgHook& h, const char* name) {
  size_t i = 0;
  for (; name != nullptr && name[i] != 0 && i < sizeof h.hook_name - 1; ++i) store(h.hook_name[i], name[i]);
  for (; i < sizeof h.hook_name; ++i) store(h.hook_name[i], '\0');
}

bool name_equals(MsgHook& h, const char* name) {
  for (size_t i = 0; i < sizeof h.hook_name; ++i) {
    const char c = load(h.hook_name[i]);
    if (c != name[i]) return false;
    if (c == 0) return true;
  }
  return name[sizeof h.hook_name] == 0;  // unreachable: names hold 31 characters
}

void write_to_hook(MsgHook& h, const void* data, int length) {
  // A hook being armed may have no FIFO yet: the element is lost, and a
  // full FIFO loses it as well.
  NEWFIFO_WRITE(load(h.hook_fifo), data, length, 0);
}

bool own_hook(MessageClient* c, MsgHook* h) { return h >= c->hooks && h < c->hooks + BUS_HOOK_COUNT; }

MsgHook* add_hook(MessageClient* c, uint32_t type, uint16_t key, const char* name, int size, int slots) {
  if (c == nullptr) return nullptr;
  for (MsgHook& h : c->hooks) {
    if (load(h.hook_type) != type) continue;
    const bool same = type == kHookBySeq       ? load(h.hook_seq) == key
                      : type == kHookByMsgtype ? load(h.hook_msgtype) == key
                                               : name_equals(h, name);
    if (!same) continue;
    // Only a name hook forgets what it caught before: stale replies.
    if (type == kHookByName) NEWFIFO_RESET(load(h.hook_fifo));
    return &h;
  }
  for (MsgHook& h : c->hooks) {
    if (load(h.hook_type) != kHookFree) continue;
    if (type == kHookBySeq) store(h.hook_seq, key);
    if (type == kHookByMsgtype) store(h.hook_msgtype, key);
    if (type == kHookByName) store_name(h, name);
    store(h.hook_type, type);
    NewFifo* fifo = nullptr;
    NEWFIFO_INIT(&fifo, size, slots);
    store(h.hook_fifo, fifo);
    // The monitor reads whole elements; no element is longer than the ring.
    const size_t buffer = static_cast<size_t>(std::max({size, slots > 0 ? size / slots : size, 16})) + 1;
    store(h.monitor_buffer, static_cast<uint8_t*>(std::calloc(1, buffer)));
    return &h;
  }
  return nullptr;
}

// Reads one element of a hook into dest, at most capacity bytes (0: as
// much as the hook's FIFO can hold, which is the room a caller of the
// waits gives).
int read_hook(MsgHook& h, void* dest, size_t capacity, int* length) {
  NewFifo* fifo = load(h.hook_fifo);
  if (fifo == nullptr) return -1;
  const size_t room = capacity > 0 ? capacity : static_cast<size_t>(fifo->size);
  return fifo_read_bounded(fifo, dest, room, length, nullptr);
}

// Polls a hook every 5 ms until an element came or the limit is over (-1:
// no limit). Returns the element's length, or 0; *length is the same.
int poll_hook(MsgHook& h, void* dest, size_t capacity, int* length, int timeout_ms) {
  const long long start = now_ms();
  for (;;) {
    int got = 0;
    if (read_hook(h, dest, capacity, &got) > 0) {
      *length = got;
      return got;
    }
    usleep(kPollUs);
    if (timeout_ms != -1 && now_ms() - start >= timeout_ms) return 0;
  }
}

// wiat_hook_intant with the room of dest known to the caller (0: the
// hook's FIFO size).
int wait_hook_once(MessageClient* c, MsgHook* h, void* dest, size_t capacity, int* length, int timeout_ms) {
  *length = 0;
  int got = 0;
  const bool locked = timeout_ms > 0;
  if (locked) {
    // A second waiter of the same name blocks here until the first has
    // removed the hook, then finds no FIFO and runs into its limit.
    pthread_mutex_lock(&h->wait_mutex);
    got = poll_hook(*h, dest, capacity, length, timeout_ms);
  }
  del_hook(c, h);
  if (locked) pthread_mutex_unlock(&h->wait_mutex);
  return got;
}

void* hook_monitor_thread(void* arg) {
  auto* h = static_cast<MsgHook*>(arg);
  store(h->monitor_running, 1);
  while (load(h->hook_type) != kHookFree) {
    int length = 0;
    uint8_t* buffer = load(h->monitor_buffer);
    BusPacketCallback callback = load(h->monitor_callback);
    // The monitor's buffer is larger than the FIFO: a whole element fits.
    if (buffer != nullptr && read_hook(*h, buffer, 0, &length) > 0 && callback != nullptr) {
      // The buffer holds at least a header's bytes; for a name hook they
      // are the payload's first bytes, read as they are.
      const BusPacketHeader head = peek_packet_header(buffer);
      callback(head.source, head.msgtype, buffer, static_cast<uint32_t>(length));
    }
    usleep(kPollUs);
  }
  store(h->monitor_running, 0);
  printf("phook->name=%p,stop\n\r", static_cast<void*>(h));
  return nullptr;
}

}  // namespace

extern "C" {

int hook_process_msgtype(MessageClient* c, const void* packet, int length) noexcept {
  if (c == nullptr || packet == nullptr || length < static_cast<int>(kPacketHeaderSize)) return 0;
  const uint16_t msgtype = peek_packet_header(packet).msgtype;
  for (MsgHook& h : c->hooks)
    if (load(h.hook_type) == kHookByMsgtype && load(h.hook_msgtype) == msgtype) write_to_hook(h, packet, length);
  return 0;
}

int hook_process_seq(MessageClient* c, uint16_t seq, const void* packet, int length) noexcept {
  if (c == nullptr) return 0;
  for (MsgHook& h : c->hooks)
    if (load(h.hook_type) == kHookBySeq && load(h.hook_seq) == seq) write_to_hook(h, packet, length);
  return 0;
}

int hook_process_msgname(MessageClient* c, const char* name, const void* payload, int length) noexcept {
  if (c == nullptr || name == nullptr) return 0;
  for (MsgHook& h : c->hooks)
    if (load(h.hook_type) == kHookByName && name_equals(h, name)) write_to_hook(h, payload, length);
  return 0;
}

int client_call_back(void* user, struct sockaddr_in*, char* received, int length, char*, int* reply_length) noexcept {
  auto* c = static_cast<MessageClient*>(user);
  if (reply_length != nullptr) *reply_length = 0;
  // A datagram shorter than a header is no packet.
  if (c == nullptr || received == nullptr || length < static_cast<int>(kPacketHeaderSize)) return 0;
  received[length] = 0;
  const BusPacketHeader head = peek_packet_header(received);
  hook_process_msgtype(c, received, length);
  hook_process_seq(c, head.seq, received, length);
  for (uint16_t& entry : c->pending_seq)
    if (load(entry) == head.seq) store(entry, uint16_t{0});
  // The payload as far as the datagram holds it; its text ends at the 0
  // written behind the datagram at the latest.
  char* payload = received + kPacketHeaderSize;
  const int payload_length =
      static_cast<int>(std::min<uint64_t>(head.length, static_cast<uint64_t>(length) - kPacketHeaderSize));
  if (head.kind == kKindEvent || head.kind == kKindDirected) {
    json_object* root = json_tokener_parse(payload);
    json_object* name = nullptr;
    const bool named = root != nullptr && json_object_object_get_ex(root, "msgtype", &name);
    if (named) hook_process_msgname(c, json_object_get_string(name), payload, payload_length);
    json_object_put(root);
    if (head.kind == kKindEvent) {
      if (named) NEWFIFO_WRITE(c->event_fifo, received, length, 0);
      return 0;
    }
  }
  if (c->raw_callback != nullptr) c->raw_callback(head.source, head.msgtype, received, static_cast<uint32_t>(length));
  return 0;
}

void* ClientCallBack(void* arg) noexcept {
  auto* c = static_cast<MessageClient*>(arg);
  store(c->dispatch_running, 1);
  while (load(c->dispatch_stop) == 0) {
    dispatch_event(c);
    // At most one event every 5 ms, whether or not one came.
    usleep(kPollUs);
  }
  store(c->dispatch_running, 0);
  return nullptr;
}

MsgHook* add_hook_byseq(MessageClient* c, uint16_t seq, int size, int slots) noexcept {
  return add_hook(c, kHookBySeq, seq, nullptr, size, slots);
}

MsgHook* add_hook_bymsgname(MessageClient* c, const char* name, int size, int slots) noexcept {
  if (name == nullptr) return nullptr;
  return add_hook(c, kHookByName, 0, name, size, slots);
}

MsgHook* add_hook_bymsgtype(MessageClient* c, uint16_t msgtype, int size, int slots) noexcept {
  return add_hook(c, kHookByMsgtype, msgtype, nullptr, size, slots);
}

int add_hook_monitor_thread(MsgHook* h, BusPacketCallback callback) noexcept {
  if (h == nullptr) return -1;
  store(h->monitor_callback, callback);
  int r = pthread_create(&h->monitor_thread, nullptr, hook_monitor_thread, h);
  if (r != 0) {
    printf("can't create thread: %s\n", strerror(r));
    return -1;
  }
  pthread_detach(h->monitor_thread);
  return 0;
}

int del_hook_monitor_thread(MsgHook* h) noexcept {
  if (h == nullptr) return 0;
  store(h->hook_type, kHookFree);
  while (load(h->monitor_running) == 1) usleep(kMonitorStopPollUs);
  return 0;
}

int del_hook(MessageClient* c, MsgHook* h) noexcept {
  if (c == nullptr || !own_hook(c, h)) return 0;
  store(h->hook_type, kHookFree);
  usleep(kPollUs);
  store(h->hook_seq, uint16_t{0});
  store(h->hook_msgtype, uint16_t{0});
  store_name(*h, nullptr);
  store(h->monitor_callback, BusPacketCallback{nullptr});
  std::free(load(h->monitor_buffer));
  store(h->monitor_buffer, static_cast<uint8_t*>(nullptr));
  NewFifo* fifo = load(h->hook_fifo);
  store(h->hook_fifo, static_cast<NewFifo*>(nullptr));
  NEWFIFO_RELEASE(&fifo);
  return 0;
}

int del_all_hook(MessageClient* c) noexcept {
  if (c == nullptr) return 0;
  for (MsgHook& h : c->hooks)
    if (load(h.hook_type) != kHookFree) del_hook(c, &h);
  return 0;
}

int wiat_hook(MessageClient* c, MsgHook* h, void* dest, int* length, int timeout_ms) noexcept {
  // *length is an output only; dest has room for the hook's FIFO size.
  if (length != nullptr) *length = 0;
  if (h == nullptr || dest == nullptr || length == nullptr) return 0;
  const int got = poll_hook(*h, dest, 0, length, timeout_ms);
  // Only a hook by seq is used once; the others stay armed.
  if (load(h->hook_type) == kHookBySeq) del_hook(c, h);
  return got;
}

int wiat_hook_intant(MessageClient* c, MsgHook* h, void* dest, int* length, int timeout_ms) noexcept {
  if (length != nullptr) *length = 0;
  if (h == nullptr || dest == nullptr || length == nullptr) return 0;
  return wait_hook_once(c, h, dest, 0, length, timeout_ms);
}

int wait_msgname_reply(MessageClient* c, const char* name, void* buffer, int buffer_size, int timeout_ms) noexcept {
  if (buffer == nullptr || buffer_size < 1) return -1;
  MsgHook* h = add_hook_bymsgname(c, name, buffer_size, 2);
  if (h == nullptr) return -1;
  // One byte stays free for the terminator: an element of the whole FIFO
  // size is cut by one.
  int length = 0;
  if (wait_hook_once(c, h, buffer, static_cast<size_t>(buffer_size) - 1, &length, timeout_ms) < 1) return -1;
  static_cast<char*>(buffer)[length] = 0;
  return length;
}

int wait_response(MessageClient* c, uint16_t seq, int ticks) noexcept {
  if (c == nullptr) return 0;
  // The seq goes into every free entry; the last of them is watched (entry
  // 0 when none was free). One wait thus takes the whole table.
  int watched = 0;
  for (int i = 0; i < BUS_PENDING_COUNT; ++i) {
    if (load(c->pending_seq[i]) == 0) {
      store(c->pending_seq[i], seq);
      watched = i;
    }
  }
  while (load(c->pending_seq[watched]) != 0 && ticks > 0) {
    --ticks;
    usleep(kPollUs);
  }
  return ticks;
}

}  // extern "C"
