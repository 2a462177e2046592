// Requests to the SIP process and messages to all clients. Every wait call
// sends first and arms its hook afterwards: a reply that beats the arming is
// lost and the call runs into its limit.

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
#include "bus/json_msg_internal.h"
#include "phonecore/json_msg.h"

using phonecore::base::load;
using phonecore::base::store;

using namespace phonecore::bus;

namespace phonecore::bus {

bool report_slow_call(const char* name, uint32_t took_ms) {
  if (took_ms <= kSlowCallMs) return false;
  printf("msgtype:%s time too long %d\n\r", name != nullptr ? name : "", static_cast<int>(took_ms));
  return true;
}

bool report_slow_call(int msgtype, uint32_t took_ms) {
  if (took_ms <= kSlowCallMs) return false;
  printf("msgtype:%d time too long %d\n\r", msgtype, static_cast<int>(took_ms));
  return true;
}

}  // namespace phonecore::bus

namespace {

constexpr size_t kRequestText = 256;    // outgoing text of the SIP calls
constexpr size_t kTypeAllText = 512;    // outgoing text of send_sjson_to_all_type_all
constexpr int kSameNameReply = 256;     // reply of send_sjson_to_sip_wait
constexpr int kHookWaitReply = 3072;    // reply of send_sjson_to_sip_hook_wait
constexpr int kStringWaitReply = 1536;  // reply of send_string_and_wait
static_assert(BUS_STRING_REPLY_MAX == kStringWaitReply + 1,
              "the caller's reply text takes the reply and its terminator");
constexpr int kBufferWaitFifo = 16384;  // FIFO and global buffer of the buffer form

// The one buffer of send_sjson_to_sip_hook_wait_buffer: one caller at a
// time per process.
uint8_t g_buffer_reply[kBufferWaitFifo];

void time_rule(const char* name, uint32_t start) { report_slow_call(name, system_get_times_msec() - start); }

void time_rule(int msgtype, uint32_t start) { report_slow_call(msgtype, system_get_times_msec() - start); }

int short_connect_callback(uint16_t, uint16_t, void* packet, uint32_t length) {
  auto* reply = static_cast<uint8_t*>(load(pbufferRecvGL));
  if (reply == nullptr || packet == nullptr || length < kPacketHeaderSize) return 0;
  const BusPacketHeader head = peek_packet_header(packet);
  const uint32_t n = std::min<uint32_t>(head.length, length - static_cast<uint32_t>(kPacketHeaderSize));
  std::memcpy(reply, static_cast<uint8_t*>(packet) + kPacketHeaderSize, n);
  reply[n] = 0;
  store(datarevlen, static_cast<int>(n));
  store(short_connect_done, 1);
  return 0;
}

// An event (kind 2) to dest, built in the caller's text buffer. 0, or -1
// for a null client or no text.
int send_event(MessageClient* c, const char* name, json_object* data, uint16_t dest, char* text, size_t size,
               bool trace) {
  if (c == nullptr) {
    json_object_put(data);
    return -1;
  }
  int length = 0;
  if (build_message(name, data, text, size, &length) != 0) return -1;
  if (trace) {
    printf("@all_type_all@msgtype@%s@@\n\r", name != nullptr ? name : "");
    printf("@all_type_all@buffersend@%s@@\n\r", text);
  }
  send_message2(c, dest, 0, kKindEvent, text, length);
  return 0;
}

}  // namespace

extern "C" {

int datarevlen = 0;
void* pbufferRecvGL = nullptr;
int short_connect_done = 0;

uint32_t system_get_times_msec(void) noexcept {
  timeval tv;
  gettimeofday(&tv, nullptr);
  return static_cast<uint32_t>(tv.tv_usec / 1000) + static_cast<uint32_t>(tv.tv_sec) * 1000u;
}

int send_sjson_to_sip(MessageClient* c, const char* name, json_object* data) noexcept {
  if (c == nullptr) {
    json_object_put(data);
    return -1;
  }
  char text[kRequestText] = {};
  int length = 0;
  // No text: the packet goes out with an empty payload.
  build_message(name, data, text, sizeof text, &length);
  return send_message2(c, kBusIdSip, 0, kKindDirected, text, length);
}

json_object* send_sjson_to_sip_wait(MessageClient* c, const char* name, json_object* data, int timeout_ms) noexcept {
  const uint32_t start = system_get_times_msec();
  if (c == nullptr) {
    time_rule(name, start);
    return nullptr;
  }
  send_sjson_to_sip(c, name, data);
  char reply[kSameNameReply];
  json_object* result = nullptr;
  if (wait_msgname_reply(c, name, reply, sizeof reply, timeout_ms) >= 0) result = json_tokener_parse(reply);
  time_rule(name, start);
  return result;
}

json_object* send_sjson_to_sip_hook_wait(MessageClient* c, const char* name, json_object* data,
                                         int timeout_ms) noexcept {
  auto* reply = static_cast<char*>(std::malloc(kHookWaitReply));
  const uint32_t start = system_get_times_msec();
  json_object* result = nullptr;
  if (c != nullptr && reply != nullptr) {
    send_sjson_to_sip(c, name, data);
    char reply_name[BUS_NAME_SIZE];
    snprintf(reply_name, sizeof reply_name, "%s_response", name != nullptr ? name : "");
    if (wait_msgname_reply(c, reply_name, reply, kHookWaitReply, timeout_ms) >= 0) result = json_tokener_parse(reply);
  }
  std::free(reply);
  time_rule(name, start);
  return result;
}

int send_sjson_to_sip_hook_wait_buffer(MessageClient* c, const char* name, int msgtype, json_object* data, void* out,
                                       int* out_length, int timeout_ms) noexcept {
  // No session: the data stays the caller's.
  if (c == nullptr) return -1;
  const uint32_t start = system_get_times_msec();
  char text[kRequestText] = {};
  int length = 0;
  build_message(name, data, text, sizeof text, &length);
  const auto number = static_cast<uint16_t>(msgtype & 0xFFFF);
  send_message(c, kBusIdSip, number, text, length);
  MsgHook* h = add_hook_bymsgtype(c, number, kBufferWaitFifo, 2);
  int got = 0;
  static_assert(sizeof g_buffer_reply >= kBufferWaitFifo, "the global buffer holds any element of the hook");
  if (h != nullptr) wiat_hook_intant(c, h, g_buffer_reply, &got, timeout_ms);
  if (got > static_cast<int>(kPacketHeaderSize) && out != nullptr) {
    BusPacketHeader head;
    std::memcpy(&head, g_buffer_reply, sizeof head);
    // The payload as far as the element holds it; the caller's buffer must
    // take it.
    const uint32_t n = std::min<uint32_t>(head.length, static_cast<uint32_t>(got) - kPacketHeaderSize);
    std::memcpy(out, g_buffer_reply + kPacketHeaderSize, n);
    if (out_length != nullptr) *out_length = static_cast<int>(n);
    time_rule(msgtype, start);
    return 0;
  }
  time_rule(msgtype, start);
  return -1;
}

int send_sjson_to_all(MessageClient* c, const char* name, json_object* data) noexcept {
  char text[kRequestText] = {};
  return send_event(c, name, data, kBusIdAll, text, sizeof text, false);
}

int send_sjson_to_all_type_all(MessageClient* c, const char* name, json_object* data) noexcept {
  char text[kTypeAllText] = {};
  return send_event(c, name, data, kBusIdTypeAll, text, sizeof text, true);
}

int send_string_and_wait(MessageClient* c, uint16_t dest, uint16_t msgtype, const char* name, const void* data,
                         int length, char* reply, int timeout_ms) noexcept {
  if (c == nullptr) return -1;
  for (;;) {
    const long long sent = now_ms();
    send_message(c, dest, msgtype, data, length);
    if (reply == nullptr) return 0;
    char reply_name[BUS_NAME_SIZE];
    snprintf(reply_name, sizeof reply_name, "%s_response", name != nullptr ? name : "");
    MsgHook* h = add_hook_bymsgname(c, reply_name, kStringWaitReply, 2);
    if (h == nullptr) return -1;
    char buffer[kStringWaitReply + 1] = {};
    int got = 0;
    if (wiat_hook_intant(c, h, buffer, &got, timeout_ms) < 1) return -1;
    // A reply within the same millisecond cannot answer this send: it is a
    // late one of an earlier request, and the exchange starts again.
    if (now_ms() - sent < 1) continue;
    std::memcpy(reply, buffer, static_cast<size_t>(got) + 1);
    return 0;
  }
}

int request_short_connect(uint16_t id, uint16_t dest, uint64_t, uint64_t mask, const void* data, int length,
                          void* reply, int* reply_length, int ticks, int tries, int tick_us) noexcept {
  store(datarevlen, 0);
  store(pbufferRecvGL, reply);
  MessageClient* c = request_pc_connect(id, mask, short_connect_callback, "shortconn");
  if (c == nullptr) return -1;
  store(short_connect_done, 0);
  send_message2(c, dest, 0, kKindEvent, data, length);
  int pass = 0;
  do {
    int tick = 0;
    do {
      if (load(short_connect_done) != 0) break;
      usleep(static_cast<useconds_t>(std::max(tick_us, 0)));
    } while (++tick < ticks);
    if (load(short_connect_done) != 0) break;
    send_message2(c, dest, 0, kKindEvent, data, length);
  } while (++pass < tries);
  request_pc_disconnect(c);
  store(pbufferRecvGL, static_cast<void*>(nullptr));
  const bool done = load(short_connect_done) == 1;
  if (reply_length != nullptr) *reply_length = done ? load(datarevlen) : 0;
  return done ? 0 : -1;
}

}  // extern "C"
