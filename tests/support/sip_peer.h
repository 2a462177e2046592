// The box's SIP process (sipd) as tests see it: its control port, and the
// record of every packet it received, one line "<kind> <msgtype> <payload>".
#pragma once

#include <string>

#include "support/peer_control.h"

namespace phonecore::testing {

class SipPeer : public PeerControl {
 public:
  static constexpr uint16_t kControlPort = phonebox::kControlPortSip;

  SipPeer() : PeerControl(kControlPort) {}

  // The JSON payloads of the recorded packets of kind 9 and 1, in order.
  static std::string payload(const std::string& line) {
    const size_t a = line.find(' ');
    const size_t b = a == std::string::npos ? a : line.find(' ', a + 1);
    return b == std::string::npos ? std::string() : line.substr(b + 1);
  }

  // Forgets the record, answers and talks again, with the factory state.
  void reset() { control("reset"); }
};

// Takes the box's SIP process off the bus, for a test that plays bus id
// 4098 itself. True when it left.
inline bool release_sip_bus_id() { return SipPeer().control("leave") == "ok"; }

}  // namespace phonecore::testing
