// The rules by which interface queries read command output and files.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "network/net_text.h"
#include "phonecore/net_info.h"

namespace pn = phonecore::network;

namespace {

int bits(std::array<uint8_t, 16> mask) { return cale_prefix_len(mask.data()); }

TEST(PrefixLength, SixtyFourOnes) { EXPECT_EQ(bits({0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}), 64); }

TEST(PrefixLength, PartialByteAddsItsBits) {
  EXPECT_EQ(bits({0xff, 0xff, 0xfe}), 23);
  EXPECT_EQ(bits({0x80}), 1);
  EXPECT_EQ(bits({}), 0);
  std::array<uint8_t, 16> all;
  all.fill(0xff);
  EXPECT_EQ(bits(all), 128);
}

// The count looks at the lowest set bit only: 0x0F counts like 0xFF, and a
// partial byte does not end the count.
TEST(PrefixLength, LowestBitRuleKept) {
  EXPECT_EQ(bits({0x0f}), 8);
  EXPECT_EQ(bits({0x0f, 0xff}), 16);
  EXPECT_EQ(bits({0xfe, 0xff, 0x00, 0xff}), 15);
  EXPECT_EQ(cale_prefix_len(nullptr), 0);
}

TEST(RouteLines, DefaultAfterLeadingBlanks) {
  EXPECT_TRUE(pn::is_default_route("default via 192.0.2.1 dev eth0"));
  EXPECT_TRUE(pn::is_default_route(" \t default via 192.0.2.1 dev eth0"));
  EXPECT_FALSE(pn::is_default_route("192.0.2.0/24 dev eth0 proto kernel"));
  EXPECT_FALSE(pn::is_default_route(""));
}

TEST(RouteLines, ThirdToken) {
  EXPECT_EQ(pn::route_gateway("default via 192.0.2.1 dev eth0\n"), "192.0.2.1");
  EXPECT_EQ(pn::route_gateway("  default\tvia   10.0.0.1\r\n"), "10.0.0.1");
  // A route without a gateway gives its third token all the same.
  EXPECT_EQ(pn::route_gateway("192.0.2.0/24 dev eth0 proto kernel scope link src 192.0.2.10"), "eth0");
  EXPECT_FALSE(pn::route_gateway("default via\n"));
  EXPECT_FALSE(pn::route_gateway(""));
}

TEST(NameServers, SecondTokenWithoutLineEnds) {
  EXPECT_EQ(pn::nameserver("nameserver 192.0.2.53\n"), "192.0.2.53");
  EXPECT_EQ(pn::nameserver("nameserver\t2001:db8::53\r\n"), "2001:db8::53");
  EXPECT_EQ(pn::nameserver("nameserver  10.0.0.1 extra\n"), "10.0.0.1");
  EXPECT_FALSE(pn::nameserver("nameserver\n"));
  EXPECT_FALSE(pn::nameserver("nameserver   \n"));
  EXPECT_FALSE(pn::nameserver(" nameserver 10.0.0.1\n"));
  EXPECT_FALSE(pn::nameserver("search example.org\n"));
}

// "127.0.0.10" begins "127.0.0.1" and is refused with it; "::1" is an IPv6
// server like any other.
TEST(NameServers, WhichAreKept) {
  EXPECT_TRUE(pn::keep_ipv4_server("192.0.2.53"));
  EXPECT_FALSE(pn::keep_ipv4_server("127.0.0.1"));
  EXPECT_FALSE(pn::keep_ipv4_server("127.0.0.10"));
  EXPECT_TRUE(pn::keep_ipv4_server("127.0.0.2"));
  EXPECT_FALSE(pn::keep_ipv4_server("2001:db8::53"));
  EXPECT_TRUE(pn::keep_ipv6_server("2001:db8::53"));
  EXPECT_TRUE(pn::keep_ipv6_server("::1"));
  EXPECT_FALSE(pn::keep_ipv6_server("192.0.2.53"));
}

TEST(Signal, Bars) {
  const std::array<std::array<int, 2>, 14> rows{{{0, 0},
                                                 {1, 1},
                                                 {3, 1},
                                                 {4, 2},
                                                 {12, 2},
                                                 {13, 3},
                                                 {21, 3},
                                                 {22, 4},
                                                 {31, 4},
                                                 {32, 0},
                                                 {99, 0},
                                                 {-1, 0},
                                                 {1234567, 0},
                                                 {2, 1}}};
  for (auto [value, expected] : rows) EXPECT_EQ(pn::signal_bars(value), expected) << value;
}

TEST(Ipv6Route, DefaultRowOfAnInterface) {
  const char* row =
      "00000000000000000000000000000000 00 00000000000000000000000000000000 00 "
      "20010db8000100000000000000000001 00000400 00000001 00000000 00000003     eth0\n";
  auto r = pn::parse_ipv6_route(row);
  ASSERT_TRUE(r);
  EXPECT_EQ(r->device, "eth0");
  EXPECT_EQ(r->prefix_length, "00");
  EXPECT_EQ(pn::next_hop_text(*r), "2001:db8:1::1");
}

TEST(Ipv6Route, ShortOrBadRows) {
  EXPECT_FALSE(pn::parse_ipv6_route(""));
  EXPECT_FALSE(pn::parse_ipv6_route("00000000000000000000000000000000 00\n"));
  auto r = pn::parse_ipv6_route(
      "fe800000000000000000000000000000 40 00000000000000000000000000000000 00 "
      "zzzz0000000000000000000000000000 00000100 00000001 00000000 00000001 eth0\n");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->prefix_length, "40");
  EXPECT_FALSE(pn::next_hop_text(*r));
}

TEST(MacText, ColonsDropped) {
  char out[PHONECORE_MAC_TEXT_SIZE] = "xxxxxxxxxxxxxxxx";
  EXPECT_EQ(mac_to_sn("00:1a:2b:3c:4d:5e", out), 0);
  EXPECT_STREQ(out, "001a2b3c4d5e");
  EXPECT_EQ(mac_remove_colon("00:1a:2b:3c:4d:5e", 8, out), 0);
  EXPECT_STREQ(out, "001a2b");
  // The length is the input's; a shorter text ends the copy.
  EXPECT_EQ(mac_remove_colon("ab:cd", 64, out), 0);
  EXPECT_STREQ(out, "abcd");
}

}  // namespace
