// Stops the box's configuration service for a test of the library without
// it. killall only sends the signal: the service is gone once its port can
// be bound again, which on a loaded machine may take a while.
#pragma once

#include <unistd.h>

#include <cstdlib>

#include "config/gnl_frame.h"
#include "support/udp_client.h"

namespace phonecore::testing {

// True when the service was running and its port is free now.
inline bool stop_config_service() {
  if (std::system("killall -q configd") != 0) return false;
  for (int i = 0; i < 1000; ++i) {
    UdpClient probe(phonecore::config::kConfigPort);
    if (probe.bound()) return true;
    usleep(10000);
  }
  return false;
}

}  // namespace phonecore::testing
