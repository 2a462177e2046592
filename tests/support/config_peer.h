// The box's configuration service (configd) as tests see it: its control
// port and the record of every request it heard, one line
// "CATEGORY OPERATION FORMAT PATH DATA_LENGTH" (decimal; PATH "-" when
// empty, other than printable bytes as \xNN).
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "support/peer_control.h"

namespace phonecore::testing {

struct ConfigRequest {
  uint16_t category = 0;
  uint16_t operation = 0;
  uint16_t format = 0;
  std::string path;  // "" for an empty path field
  size_t data_length = 0;

  bool operator==(const ConfigRequest&) const = default;
};

// Readable failures: a request as configd records it.
inline void PrintTo(const ConfigRequest& r, std::ostream* os) {
  *os << r.category << " " << r.operation << " " << r.format << " " << (r.path.empty() ? "-" : r.path);
}

class ConfigPeer : public PeerControl {
 public:
  static constexpr uint16_t kControlPort = phonebox::kControlPortConfig;

  ConfigPeer() : PeerControl(kControlPort) {}

  static std::optional<ConfigRequest> parse(const std::string& line) {
    std::istringstream in(line);
    ConfigRequest r;
    if (!(in >> r.category >> r.operation >> r.format >> r.path >> r.data_length)) return std::nullopt;
    if (r.path == "-") r.path.clear();
    return r;
  }

  // The record as requests, in the order they came.
  std::vector<ConfigRequest> requests() const {
    std::vector<ConfigRequest> out;
    for (const std::string& line : log())
      if (auto r = parse(line)) out.push_back(*r);
    return out;
  }

  // The datagram of each recorded request in hex, in the same order; the
  // service keeps it for the phone.cfg requests only ("" for the others).
  std::vector<std::string> frames() const {
    std::vector<std::string> out;
    for (const std::string& line : log()) {
      if (!parse(line)) continue;
      std::istringstream in(line);
      std::string field;
      for (int i = 0; i < 6; ++i) field.clear(), in >> field;
      out.push_back(field);
    }
    return out;
  }
};

// The record's shapes: without data lengths, which depend on the files'
// text, and without the format word of a numbered store's write (4096 to
// 4101), which the library leaves as the record last held it.
inline std::vector<ConfigRequest> shapes(std::vector<ConfigRequest> requests) {
  for (ConfigRequest& r : requests) {
    r.data_length = 0;
    if (r.category >= 4096 && r.category <= 4101 && r.operation == 2) r.format = 0;
  }
  return requests;
}

}  // namespace phonecore::testing
