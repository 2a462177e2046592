// Opens a library session in a test (the connect returns once its socket
// is bound).
#pragma once

#include "phonecore/bus_client.h"

namespace phonecore::testing {

// Waits until the session's listener thread runs. A disconnect waits for a
// running listener only: one that starts after it would touch a freed
// session, so a test never disconnects a session before this.
inline bool wait_until_listening(MessageClient* c) {
  for (int i = 0; i < 2000 && __atomic_load_n(&c->listener.running, __ATOMIC_ACQUIRE) != 1; ++i) usleep(5000);
  return __atomic_load_n(&c->listener.running, __ATOMIC_ACQUIRE) == 1;
}

inline MessageClient* open_listening_session(uint16_t id, BusPacketCallback raw_callback, const char* name) {
  return request_pc_connect(id, 1, raw_callback, name);
}

}  // namespace phonecore::testing
