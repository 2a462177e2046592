// The control-and-record port of a peer of the box, as tests see it: one
// text line out, one answer back. Every peer answers "ping", "log" (its
// record, one line per request heard), "clear" and "silent 1|0".
#pragma once

#include <unistd.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "sim/control_ports.h"
#include "support/udp_client.h"

namespace phonecore::testing {

class PeerControl {
 public:
  explicit PeerControl(uint16_t port) : port_(port) {}

  // One control line and its answer ("" when none came).
  std::string control(const std::string& line, int timeout_ms = 2000) const {
    UdpClient socket;
    std::vector<uint8_t> out(line.begin(), line.end());
    auto in = socket.exchange(port_, out, timeout_ms);
    return in ? std::string(in->begin(), in->end()) : std::string();
  }

  std::vector<std::string> log() const {
    std::vector<std::string> lines;
    std::istringstream in(control("log"));
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
  }

  // The record once it holds at least n lines, or as it stands after
  // about ten seconds (requests without a reply are only seen by polling;
  // a loaded machine may take a while to deliver them).
  std::vector<std::string> wait_log(size_t n) const {
    std::vector<std::string> lines = log();
    for (int i = 0; i < 2000 && lines.size() < n; ++i) {
      usleep(5000);
      lines = log();
    }
    return lines;
  }

  // The record once it holds at least n lines and has not grown for a
  // while: a peer may write a request down a moment after its client is
  // done with it.
  std::vector<std::string> settled_log(size_t n) const {
    std::vector<std::string> lines = wait_log(n);
    for (int quiet = 0, i = 0; quiet < 6 && i < 100; ++i) {
      usleep(25000);
      std::vector<std::string> again = log();
      quiet = again.size() == lines.size() ? quiet + 1 : 0;
      lines = std::move(again);
    }
    return lines;
  }

  bool clear() const { return control("clear") == "ok"; }
  bool silent(bool on) const { return control(on ? "silent 1" : "silent 0") == "ok"; }

 private:
  uint16_t port_;
};

}  // namespace phonecore::testing
