// For a test that plays a peer of the library in its own thread: a request
// sends first and arms its hook after, so a reply that comes before the
// arming is lost by design. A peer that wants its reply caught waits here
// until the session holds a hook, with its queue in place, that catches the
// reply; it looks at the session's public hook table, as the listener does.
#pragma once

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "phonecore/bus_client.h"

namespace phonecore::testing {

template <typename T>
T shared_load(const T& field) {
  return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_acquire);
}

// True when one of the session's hooks would catch a packet with this seq,
// this msgtype and this JSON "msgtype" name (empty: none): by seq, by
// number or by name, with its queue already made.
inline bool reply_hook_armed(const MessageClient* c, uint16_t seq, uint16_t msgtype, const std::string& name) {
  for (const MsgHook& h : c->hooks) {
    const uint32_t type = shared_load(h.hook_type);
    if (type == 0 || shared_load(h.hook_fifo) == nullptr) continue;
    if (type == 1 && shared_load(h.hook_seq) == seq) return true;
    if (type == 3 && shared_load(h.hook_msgtype) == msgtype) return true;
    if (type == 2 && !name.empty()) {
      std::string hooked;
      for (const char& ch : h.hook_name) {
        const char got = shared_load(ch);
        if (got == '\0') break;
        hooked += got;
      }
      if (hooked == name.substr(0, sizeof h.hook_name - 1)) return true;
    }
  }
  return false;
}

// Polls until such a hook is armed; false after timeout_ms (the request
// gave up, or never came). The limit is generous: on a loaded machine the
// requesting thread may stand still for a while between send and arming.
inline bool wait_reply_hook(const MessageClient* c, uint16_t seq, uint16_t msgtype, const std::string& name,
                            int timeout_ms = 10000) {
  for (int waited = 0; waited < timeout_ms; waited += 1) {
    if (reply_hook_armed(c, seq, msgtype, name)) return true;
    usleep(1000);
  }
  return reply_hook_armed(c, seq, msgtype, name);
}

// For a peer that answers a wait_response: polls until the session's
// pending table holds seq (the wait has begun); false after timeout_ms.
inline bool wait_pending_seq(const MessageClient* c, uint16_t seq, int timeout_ms = 10000) {
  for (int waited = 0; waited <= timeout_ms; waited += 1) {
    for (const uint16_t& entry : c->pending_seq)
      if (shared_load(entry) == seq) return true;
    usleep(1000);
  }
  return false;
}

}  // namespace phonecore::testing
