// The rules by which the interface queries read command output and files.

#include "network/net_text.h"

#include <arpa/inet.h>
#include <strings.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace phonecore::network {

std::optional<std::string_view> token(std::string_view line, size_t n) {
  line = line.substr(0, line.find_first_of("\r\n"));
  size_t at = 0;
  for (size_t i = 0;; ++i) {
    at = line.find_first_not_of(kBlanks, at);
    if (at == std::string_view::npos) return std::nullopt;
    size_t end = line.find_first_of(kBlanks, at);
    if (end == std::string_view::npos) end = line.size();
    if (i == n) return line.substr(at, end - at);
    at = end;
  }
}

bool is_default_route(std::string_view line) {
  const size_t at = line.find_first_not_of(kBlanks);
  return at != std::string_view::npos && line.substr(at).starts_with("default");
}

std::optional<std::string_view> route_gateway(std::string_view line) { return token(line, 2); }

std::optional<std::string> nameserver(std::string_view line) {
  if (!line.starts_with("nameserver")) return std::nullopt;
  // The second token, split at blanks only: a CR or LF inside it is
  // dropped, not taken for its end.
  size_t at = line.find_first_of(kBlanks);
  if (at == std::string_view::npos) return std::nullopt;
  at = line.find_first_not_of(kBlanks, at);
  if (at == std::string_view::npos) return std::nullopt;
  const size_t end = line.find_first_of(kBlanks, at);
  std::string out;
  for (char c : line.substr(at, end == std::string_view::npos ? std::string_view::npos : end - at))
    if (c != '\r' && c != '\n') out.push_back(c);
  if (out.empty()) return std::nullopt;
  return out;
}

bool keep_ipv4_server(std::string_view address) {
  return address.find(':') == std::string_view::npos && !address.starts_with("127.0.0.1");
}

bool keep_ipv6_server(std::string_view address) { return address.find(':') != std::string_view::npos; }

namespace {

struct BarRange {
  int low, high, bars;
};
constexpr std::array kBars{BarRange{1, 3, 1}, BarRange{4, 12, 2}, BarRange{13, 21, 3}, BarRange{22, 31, 4}};

}  // namespace

int signal_bars(int value) {
  for (const BarRange& r : kBars)
    if (value >= r.low && value <= r.high) return r.bars;
  return 0;
}

int prefix_length(std::span<const uint8_t, 16> mask) {
  int bits = 0;
  for (uint8_t byte : mask) {
    if (byte == 0) break;
    bits += 9 - ffs(byte);
  }
  return bits;
}

std::optional<Ipv6Route> parse_ipv6_route(const char* row) {
  // destination, its prefix length, source, its prefix length, next hop in
  // groups of four, metric, use, reference count, flags, device.
  char dest[64], plen[8], src[64], splen[8], hop[8][8], metric[16], refs[16], use[16], flags[16], dev[24];
  const int n =
      std::sscanf(row, "%63s %2s %63s %7s %4s%4s%4s%4s%4s%4s%4s%4s %15s %15s %15s %15s %20s", dest, plen, src, splen,
                  hop[0], hop[1], hop[2], hop[3], hop[4], hop[5], hop[6], hop[7], metric, refs, use, flags, dev);
  if (n != 17) return std::nullopt;
  Ipv6Route r;
  r.device = dev;
  r.prefix_length = plen;
  for (int i = 0; i < 8; ++i) r.next_hop[i] = hop[i];
  return r;
}

std::optional<std::string> next_hop_text(const Ipv6Route& route) {
  std::string joined;
  for (int i = 0; i < 8; ++i) {
    if (i > 0) joined += ':';
    joined += route.next_hop[i];
  }
  in6_addr a;
  if (inet_pton(AF_INET6, joined.c_str(), &a) != 1) return std::nullopt;
  char text[INET6_ADDRSTRLEN];
  if (inet_ntop(AF_INET6, &a, text, sizeof text) == nullptr) return std::nullopt;
  return std::string(text);
}

}  // namespace phonecore::network
