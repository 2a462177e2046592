// Opens a library session in a test (the connect returns once its socket
// is bound).
#pragma once

#include "phonecore/bus_client.h"

namespace phonecore::testing {

inline MessageClient* open_listening_session(uint16_t id, BusPacketCallback raw_callback, const char* name) {
  return request_pc_connect(id, 1, raw_callback, name);
}

}  // namespace phonecore::testing
