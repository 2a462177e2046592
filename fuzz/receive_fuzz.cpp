// The receive path of a session on arbitrary datagrams: client_call_back as
// the listener runs it, then the event dispatch as the event thread runs it.
// The session record is built here without a server: no socket is needed
// for the receive side.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bus/hooks.h"
#include "phonecore/bus_client.h"

namespace {

void on_handfree(int) {}

ClientOps g_ops{};  // empty slots except the one a "connect" calls unchecked

MessageClient* session() {
  static MessageClient* c = [] {
    auto* s = static_cast<MessageClient*>(std::calloc(1, sizeof(MessageClient)));
    s->client_id = 1234;
    NEWFIFO_INIT(&s->event_fifo, 65536, 32);
    add_hook_bymsgtype(s, 6, 16384, 2);
    add_hook_bymsgtype(s, 0, 4096, 4);
    add_hook_byseq(s, 1, 4096, 4);
    add_hook_bymsgname(s, "phone_dail_response", 3072, 2);
    add_hook_bymsgname(s, "connect", 256, 2);
    g_ops.on_handfree = on_handfree;
    add_callback_fun(&g_ops);
    return s;
  }();
  return c;
}

int raw_callback(uint16_t, uint16_t, void* packet, uint32_t length) {
  // Touch every byte the callback is told about.
  volatile uint8_t sum = 0;
  for (uint32_t i = 0; i < length; ++i) sum = static_cast<uint8_t>(sum + static_cast<uint8_t*>(packet)[i]);
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MessageClient* c = session();
  c->raw_callback = raw_callback;
  // The listener's buffer: 16384 bytes and the terminator behind them.
  const size_t n = size > UDP_LISTEN_DEFAULT_BUFFER ? UDP_LISTEN_DEFAULT_BUFFER : size;
  std::vector<char> buffer(n + 1);
  std::memcpy(buffer.data(), data, n);
  int reply_length = -1;
  client_call_back(c, nullptr, buffer.data(), static_cast<int>(n), nullptr, &reply_length);
  if (reply_length != 0) std::abort();
  while (phonecore::bus::dispatch_event(c)) {
  }
  for (MsgHook& h : c->hooks) NEWFIFO_RESET(h.hook_fifo);
  return 0;
}
