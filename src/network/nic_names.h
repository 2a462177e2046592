// The interface names the network service gives, cached by the refresher
// thread, and the mode request to that service.
#pragma once

namespace phonecore::network {

enum class NicRole { kWan = 0, kLan = 1, kWifi = 2 };

// One refresh of the names, at most every two seconds. 0, -1.
int update_names();
// Operation 0x3004 with the mode and the first 8 bytes of vid. 0, -1.
int set_mode(int mode, const char* vid);
// Starts the refresher once and waits for its first attempt; the WAN name,
// or null when the thread can't start.
char* wan_name_started();
// A cached name as it stands.
char* cached_name(NicRole role);

}  // namespace phonecore::network
