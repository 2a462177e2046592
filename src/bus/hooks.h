// Internal helpers of the hook table shared by the session code.
#pragma once

#include "phonecore/bus_client.h"

namespace phonecore::bus {

// Milliseconds since the epoch by gettimeofday, for the waits' limits.
long long now_ms();

}  // namespace phonecore::bus
