// The box's serial modem (uartd) as tests see it: its control port, the
// record of every line it heard (printable bytes as they are, others as
// \xNN; "hangup" where it hung up) and the answer modes of sim/README.md.
#pragma once

#include <string>

#include "support/peer_control.h"

namespace phonecore::testing {

class UartPeer : public PeerControl {
 public:
  static constexpr uint16_t kControlPort = phonebox::kControlPortSerial;
  // Where the modem's line is linked in the box.
  static constexpr const char* kPath = "/dev/ttyS1";

  UartPeer() : PeerControl(kControlPort) {}

  // normal, slow, nocrlf, nul, flood or hangup; drops what was still to
  // be sent and what the line held unread.
  bool mode(const std::string& name) const { return control("mode " + name) == "ok"; }
  // The terminal /dev/ttyS1 points at now.
  std::string path() const { return control("path"); }
  void reset() const {
    silent(false);
    mode("normal");
    clear();
  }
};

}  // namespace phonecore::testing
