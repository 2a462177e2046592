// The network's text rules on arbitrary bytes: a line of "ip route", a row
// of /proc/net/ipv6_route, a name-server line, a signal value and a 16-byte
// mask. Each answer must stay within what it was given.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "network/net_text.h"
#include "phonecore/net_info.h"

namespace pn = phonecore::network;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string_view line(text);

  pn::is_default_route(line);
  if (auto gw = pn::route_gateway(line)) {
    if (gw->empty() || gw->size() > line.size()) std::abort();
    if (gw->find_first_of(" \t\r\n") != std::string_view::npos) std::abort();
  }
  if (auto server = pn::nameserver(line)) {
    if (server->empty() || server->find_first_of("\r\n \t") != std::string::npos) std::abort();
    pn::keep_ipv4_server(*server);
    pn::keep_ipv6_server(*server);
  }
  if (auto route = pn::parse_ipv6_route(text.c_str())) {
    if (route->device.size() > 20 || route->prefix_length.size() > 2) std::abort();
    for (const auto& group : route->next_hop)
      if (group.size() > 4) std::abort();
    if (auto hop = pn::next_hop_text(*route))
      if (hop->size() >= 46) std::abort();
  }
  const int bars = pn::signal_bars(std::atoi(text.c_str()));
  if (bars < 0 || bars > 4) std::abort();
  unsigned char mask[16] = {};
  std::memcpy(mask, data, size < sizeof mask ? size : sizeof mask);
  const int bits = cale_prefix_len(mask);
  if (bits < 0 || bits > 128) std::abort();
  char out[PHONECORE_MAC_TEXT_SIZE + 1];
  out[PHONECORE_MAC_TEXT_SIZE] = 'G';
  const int len = static_cast<int>(size < PHONECORE_MAC_TEXT_SIZE - 1 ? size : PHONECORE_MAC_TEXT_SIZE - 1);
  mac_remove_colon(text.c_str(), len, out);
  if (out[PHONECORE_MAC_TEXT_SIZE] != 'G') std::abort();
  return 0;
}
