// The texts the interface queries read: lines of "ip route", rows of
// /proc/net/ipv6_route, name-server lines, the 4G signal file and IPv6
// masks. Pure functions, so that each rule is tested (and fuzzed) alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace phonecore::network {

// The blanks that separate tokens of a command's output.
constexpr std::string_view kBlanks = " \t";

// The n-th (0-based) token of a line: runs of blanks separate tokens, and
// the line's end (CR, LF) ends the last one. Nothing when the line has
// fewer tokens.
std::optional<std::string_view> token(std::string_view line, size_t n);

// Whether a line of "ip route", after its leading blanks, begins "default".
bool is_default_route(std::string_view line);

// The gateway of one route line: its third token.
std::optional<std::string_view> route_gateway(std::string_view line);

// A name-server line's address: the second token of a line beginning
// "nameserver", with every CR and LF taken out; nothing for another line,
// a comment or a bare "nameserver".
std::optional<std::string> nameserver(std::string_view line);

// Which servers each DNS reader keeps: IPv4 ones have no ':' and must not
// begin "127.0.0.1" (so "127.0.0.10" is refused too); IPv6 ones have a ':'
// ("::1" is kept).
bool keep_ipv4_server(std::string_view address);
bool keep_ipv6_server(std::string_view address);

// Bars for a 4G signal value: 1-3 one, 4-12 two, 13-21 three, 22-31 four,
// anything else none.
int signal_bars(int value);

// Bits of a 16-byte IPv6 mask: for each byte up to the first zero one,
// 9 minus the one-based position of its lowest set bit. A partial byte does
// not stop the count, and 0x0F counts 8 like 0xFF.
int prefix_length(std::span<const uint8_t, 16> mask);

// One row of /proc/net/ipv6_route: the device, the destination's prefix
// length and the next hop as eight groups of four hex digits.
struct Ipv6Route {
  std::string device;
  std::string prefix_length;  // two hex digits as written
  std::string next_hop[8];
};
std::optional<Ipv6Route> parse_ipv6_route(const char* row);

// The next hop of a row as normalised text ("fe80::1"), nothing when the
// groups do not make an address.
std::optional<std::string> next_hop_text(const Ipv6Route& route);

}  // namespace phonecore::network
