// The box's SIP process (sipd) as tests see it: its control port, and the
// record of every packet it received, one line "<kind> <msgtype> <payload>".
#pragma once

#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/udp_client.h"

namespace phonecore::testing {

class SipPeer {
 public:
  static constexpr uint16_t kControlPort = 27098;

  // One control line and its answer ("" when none came).
  std::string control(const std::string& line, int timeout_ms = 2000) {
    UdpClient socket;
    std::vector<uint8_t> out(line.begin(), line.end());
    auto in = socket.exchange(kControlPort, out, timeout_ms);
    return in ? std::string(in->begin(), in->end()) : std::string();
  }

  std::vector<std::string> log() {
    std::vector<std::string> lines;
    std::istringstream in(control("log"));
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
  }

  // The record once it holds at least n lines, or as it stands after
  // about two seconds (commands without a reply are only seen by polling).
  std::vector<std::string> wait_log(size_t n) {
    std::vector<std::string> lines = log();
    for (int i = 0; i < 400 && lines.size() < n; ++i) {
      usleep(5000);
      lines = log();
    }
    return lines;
  }

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
