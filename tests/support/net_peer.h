// The box's network service (netd) as tests see it: its control port, the
// record of every datagram it heard and the steering lines of sim/README.md.
// A record line is "CATEGORY OPERATION DATA_LENGTH SIZE", for a mode
// request followed by "MODE VID" (VID "-" when empty, other than printable
// bytes as \xNN); a datagram with no frame head is "- - - SIZE".
#pragma once

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "support/peer_control.h"

namespace phonecore::testing {

struct NetRequest {
  uint16_t category = 0;
  uint16_t operation = 0;
  size_t data_length = 0;
  size_t size = 0;
  std::optional<int> mode;  // mode requests only
  std::string vid;

  bool operator==(const NetRequest&) const = default;
};

class NetPeer : public PeerControl {
 public:
  static constexpr uint16_t kControlPort = phonebox::kControlPortNetwork;

  NetPeer() : PeerControl(kControlPort) {}

  static std::optional<NetRequest> parse(const std::string& line) {
    std::istringstream in(line);
    NetRequest r;
    if (!(in >> r.category >> r.operation >> r.data_length >> r.size)) return std::nullopt;
    int mode;
    if (in >> mode >> r.vid) {
      r.mode = mode;
      if (r.vid == "-") r.vid.clear();
    }
    return r;
  }

  std::vector<NetRequest> requests() const {
    std::vector<NetRequest> out;
    for (const std::string& line : log())
      if (auto r = parse(line)) out.push_back(*r);
    return out;
  }

  // Datagrams heard since the last clear; -1 when the peer didn't answer.
  int count() const {
    const std::string answer = control("count");
    return answer.empty() ? -1 : std::atoi(answer.c_str());
  }
  bool names(const std::string& wan, const std::string& lan, const std::string& wifi) const {
    return control("names " + wan + " " + lan + " " + wifi) == "ok";
  }
  bool delay(int ms) const { return control("delay " + std::to_string(ms)) == "ok"; }
  bool leave() const { return control("leave") == "ok"; }
  bool join() const { return control("join") == "ok"; }
  // One-shot fault of the next answer: magic, category, short, cut,
  // unterminated, big, port, twice.
  bool fault(const std::string& name) const { return control("fault " + name) == "ok"; }
  // Back to the state the box started it in.
  void reset() const {
    silent(false);
    delay(0);
    join();
    names("eth0", "eth1", "wlan0");
    clear();
  }
};

}  // namespace phonecore::testing
