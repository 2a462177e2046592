// The interface names the network service gives, cached by the refresher
// thread, and the mode request to that service.
#pragma once

#include <cstdint>
#include <span>

#include "config/gnl_frame.h"

namespace phonecore::network {

enum class NicRole { kWan = 0, kLan = 1, kWifi = 2 };

// One refresh of the names, at most every two seconds. 0, -1.
int update_names();
// The names of a reply datagram into the cache, each cut at 15 bytes;
// bytes the datagram lacks read as zero. False when it has no frame head.
bool take_names(std::span<const uint8_t> datagram);
// The request of operation 0x3004: the head, the mode and the first 8 bytes
// of vid (a shorter text is not read past its end; the rest zero).
void fill_mode_request(config::GnlConfigRecord& request, int mode, const char* vid);
// Operation 0x3004 with the mode and the first 8 bytes of vid. 0, -1.
int set_mode(int mode, const char* vid);
// Starts the refresher once and waits for its first attempt; the WAN name,
// or null when the thread can't start.
char* wan_name_started();
// A cached name as it stands.
char* cached_name(NicRole role);

}  // namespace phonecore::network
