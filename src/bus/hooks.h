// Internal helpers of the hook table shared by the session code.
#pragma once

#include "phonecore/bus_client.h"

namespace phonecore::bus {

// Takes one packet from the session's event queue and calls the first row
// of clientfun_list with its "msgtype". False when the queue was empty.
// Runs on the event thread (ClientCallBack).
bool dispatch_event(MessageClient* client);

// Milliseconds since the epoch by gettimeofday, for the waits' limits.
long long now_ms();

}  // namespace phonecore::bus
