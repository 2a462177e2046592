// The phone.cfg line reader and the value tests, directly: the grammar of
// one line, its deliberate oddities, and each predicate's boundaries.

#include <gtest/gtest.h>

#include <climits>

#include <cstring>
#include <string>

#include "phonecore/phonecfg.h"
#include "provision/phonecfg/key_table.h"
#include "provision/phonecfg/line.h"

namespace {

namespace pc = phonecore::phonecfg;

struct Pair {
  std::string key;
  std::string value;
  int result;
};

Pair read(const char* item) {
  char key[pc::kTextSize];
  char value[pc::kTextSize];
  std::memset(key, 'x', sizeof key);
  std::memset(value, 'y', sizeof value);
  const int r = pc::read_line(item, key, value);
  return {key, value, r};
}

TEST(PhonecfgLine, SpacingAroundTheEqualsSignGivesOnePair) {
  for (const char* line : {"Network.Wan.dns1 = 10.0.0.1", "Network.Wan.dns1=10.0.0.1",
                           "  Network.Wan.dns1\t=  10.0.0.1", "Network.Wan.dns1=10.0.0.1\n"}) {
    const Pair p = read(line);
    EXPECT_EQ(p.key, "Network.Wan.dns1") << line;
    EXPECT_EQ(p.value, "10.0.0.1") << line;
    EXPECT_EQ(p.result, 1) << line;
  }
}

TEST(PhonecfgLine, EmptyLinesAndCommentsAreNoPairs) {
  const Pair empty = read("");
  EXPECT_EQ(empty.key, "");
  EXPECT_EQ(empty.value, "");
  EXPECT_EQ(empty.result, 0);
  const Pair lf = read("\n");
  EXPECT_EQ(lf.key, "");
  EXPECT_EQ(lf.value, "");
  EXPECT_EQ(lf.result, 0);
  const Pair comment = read("#Network.Wan.mode=dhcp");
  EXPECT_EQ(comment.key, "");
  EXPECT_EQ(comment.value, "");
  EXPECT_EQ(comment.result, 1);
  const Pair null_item = read(nullptr);
  EXPECT_EQ(null_item.key, "");
  EXPECT_EQ(null_item.result, 0);
}

TEST(PhonecfgLine, AHashBehindABlankIsPartOfTheKey) {
  const Pair p = read(" #Network.Wan.mode=dhcp");
  EXPECT_EQ(p.key, "#Network.Wan.mode");
  EXPECT_EQ(p.value, "dhcp");
}

TEST(PhonecfgLine, ASectionHeadIsAKeyWithoutValue) {
  const Pair p = read("[Status]");
  EXPECT_EQ(p.key, "[Status]");
  EXPECT_EQ(p.value, "");
  EXPECT_EQ(p.result, 0);
}

TEST(PhonecfgLine, OnlyTheFirstEqualsSignSeparates) {
  const Pair p = read("Static.NatStun.Server=a=b");
  EXPECT_EQ(p.key, "Static.NatStun.Server");
  EXPECT_EQ(p.value, "a=b");
  EXPECT_EQ(read("k==v").value, "=v");
  const Pair no_key = read("=v");
  EXPECT_EQ(no_key.key, "");
  EXPECT_EQ(no_key.value, "v");
}

TEST(PhonecfgLine, BlanksInsideTheKeyAreDropped) { EXPECT_EQ(read("Net work . Wan=1").key, "Network.Wan"); }

TEST(PhonecfgLine, TheLineEndsAtTheFirstLineFeed) {
  const Pair p = read("a=b\nc=d");
  EXPECT_EQ(p.key, "a");
  EXPECT_EQ(p.value, "b");
}

// Quirks kept on purpose: each of these would change if someone "fixed"
// the reader.
TEST(PhonecfgLineQuirk, CarriageReturnStaysInTheValue) {
  EXPECT_EQ(read("Network.Wan.mode=dhcp\r\n").value, "dhcp\r");
  EXPECT_EQ(read("a\r=b").key, "a\r");
}

TEST(PhonecfgLineQuirk, TabsAreDroppedInsideTheValue) { EXPECT_EQ(read("k=a\tb\t").value, "ab"); }

TEST(PhonecfgLineQuirk, TrailingAndInnerBlanksAreKept) {
  EXPECT_EQ(read("k=  a b  ").value, "a b  ");
  EXPECT_EQ(read("k = x ").value, "x ");
}

TEST(PhonecfgLineQuirk, AmpersandIsDroppedOnlyBeforeTheFirstStoredCharacter) {
  EXPECT_EQ(read("&k=v").key, "k");
  EXPECT_EQ(read("&&k=v").key, "k");
  EXPECT_EQ(read(" & k=v").key, "k");
  EXPECT_EQ(read("=&v").value, "v");  // nothing stored yet
  EXPECT_EQ(read("k&=v").key, "k&");  // after the first stored character
  EXPECT_EQ(read("k=&v").value, "&v");
  EXPECT_EQ(read("k=v&w").value, "v&w");
}

TEST(PhonecfgLineQuirk, PastSixtyTwoStoredCharactersEveryOtherInputCharacterIsSkipped) {
  // 62 key characters, '=', then a value: the 63rd stored character is
  // the value's first; from then on one character is skipped after each.
  const std::string key(62, 'k');
  const Pair p = read((key + "=abcdefgh").c_str());
  EXPECT_EQ(p.key, key);
  EXPECT_EQ(p.value, "aceg");
  // Blanks and tabs that were dropped don't count.
  const Pair q = read((key.substr(0, 60) + "  =\tabcdef").c_str());
  EXPECT_EQ(q.key, key.substr(0, 60));
  EXPECT_EQ(q.value, "abce");
}

TEST(PhonecfgLineQuirk, TheSkipPassesOverALineFeed) {
  // The 63rd stored character is followed by an LF: the LF is the
  // skipped character and the reading goes on behind it.
  const std::string line = std::string(62, 'k') + "=v\nwxyz";
  EXPECT_EQ(read(line.c_str()).value, "vwy");
}

TEST(PhonecfgLine, TheSkipNeverPassesTheTerminator) {
  const std::string line(63, 'k');  // 63 stored, then the end
  const Pair p = read(line.c_str());
  EXPECT_EQ(p.key, line);
  EXPECT_EQ(p.result, 0);
}

TEST(PhonecfgLine, EachHalfIsCutAtSixtyThreeCharacters) {
  const std::string huge_key(4096, 'k');
  const Pair p = read((huge_key + "=" + std::string(4096, 'v')).c_str());
  EXPECT_EQ(p.key, std::string(63, 'k'));
  EXPECT_EQ(p.value, std::string(63, 'v'));
  const Pair q = read(("k=" + std::string(1 << 20, 'v')).c_str());
  EXPECT_EQ(q.key, "k");
  EXPECT_EQ(q.value.size(), 63u);
}

TEST(PhonecfgLine, NonUtf8BytesAreKeptAsTheyStand) {
  const Pair p = read("k=\xff\xfe\x80");
  EXPECT_EQ(p.value, "\xff\xfe\x80");
}

TEST(PhonecfgLine, TheExportedReaderFillsTheProcessBuffers) {
  std::memset(parameterA, 'x', sizeof parameterA);
  std::memset(parameterA_value, 'y', sizeof parameterA_value);
  EXPECT_EQ(get_equal_after_ldap("Network.Wan.dns2 = 8.8.8.8"), 1);
  EXPECT_STREQ(parameterA, "Network.Wan.dns2");
  EXPECT_STREQ(parameterA_value, "8.8.8.8");
  EXPECT_EQ(get_equal_after_ldap("#x=y"), 1);
  EXPECT_STREQ(parameterA, "");
  EXPECT_STREQ(parameterA_value, "");
}

TEST(PhonecfgPredicates, Ipv4AddressBoundaries) {
  for (const char* good : {"1.2.3.4", "10.0.0.1", "255.255.255.255", "192.168.1.0", "9.0.0.0"})
    EXPECT_EQ(is_ipv4_addr(good), 0) << good;
  for (const char* bad :
       {"256.1.1.1", "1.2.3.4.5", "1..2.3", "1.2.3.4 ", "0.0.0.0", "010.1.1.1", "10.00.0.1", "1.2.3", "1.2.3.",
        ".1.2.3", "1.2.3.1000", "1.2.3.256", "a.b.c.d", "", " 1.2.3.4", "1.2.3.04", "1.2.3.4\r"})
    EXPECT_EQ(is_ipv4_addr(bad), -1) << bad;
  EXPECT_EQ(is_ipv4_addr(nullptr), -1);
}

TEST(PhonecfgPredicates, ZeroOrOneAndTheLineTests) {
  EXPECT_EQ(isZero_or_one("0"), 1);
  EXPECT_EQ(isZero_or_one("1"), 1);
  for (const char* bad : {"", "2", "01", "1 ", " 1", "10", "1\r"}) EXPECT_EQ(isZero_or_one(bad), 0) << bad;
  EXPECT_EQ(isZero_or_one(nullptr), 0);
  EXPECT_EQ(isTwoLine("0"), 1);
  EXPECT_EQ(isTwoLine("1"), 1);
  EXPECT_EQ(isTwoLine("2"), 0);
  for (const char* good : {"0", "1", "2", "3"}) EXPECT_EQ(isFourLine(good), 1) << good;
  for (const char* bad : {"", "4", "-1", "00", "3 ", "a"}) EXPECT_EQ(isFourLine(bad), 0) << bad;
  EXPECT_EQ(isFourLine(nullptr), 0);
}

TEST(PhonecfgPredicates, ValueDigitsTestsTheValueInHand) {
  std::strcpy(parameterA_value, "0123456789");
  EXPECT_EQ(is_value_digits(), 1);
  parameterA_value[0] = '\0';
  EXPECT_EQ(is_value_digits(), 1);
  for (const char* bad : {"12a", "-1", " 1", "1 ", "+1", "1.0"}) {
    std::strcpy(parameterA_value, bad);
    EXPECT_EQ(is_value_digits(), 0) << bad;
  }
}

TEST(PhonecfgPredicates, NetworkKeysByTheirText) {
  for (const char* key : {"Network.Wan.mode", "Static.TR069.Enable", "#Network.Wan.mode", "xStaticx", "Network"})
    EXPECT_EQ(is_network_cfg(key), 1) << key;
  for (const char* key : {"network.wan.mode", "static.x", "Account1.AccountUserName", "", "Netwrk"})
    EXPECT_EQ(is_network_cfg(key), 0) << key;
  EXPECT_EQ(is_network_cfg(nullptr), 0);
}

TEST(PhonecfgKeyTable, NetworkRowsTakeTheirValues) {
  auto accepts = [](const char* key, const char* value) {
    const pc::KeyRow* row = pc::find_key(pc::Group::kNetwork, key);
    EXPECT_NE(row, nullptr) << key;
    return row != nullptr && pc::value_accepted(*row, value);
  };
  EXPECT_TRUE(accepts("Network.Wan.mode", "dhcp"));
  EXPECT_TRUE(accepts("Network.Wan.mode", "static_ip"));
  EXPECT_FALSE(accepts("Network.Wan.mode", "static"));
  EXPECT_FALSE(accepts("Network.Wan.mode", "dhcp\r"));
  EXPECT_FALSE(accepts("Network.Wan.mode", "dhcp|static_ip"));
  EXPECT_FALSE(accepts("Network.Wan.gateway", "0.0.0.0"));
  for (const char* vid : {"1", "4094", "0004"}) EXPECT_TRUE(accepts("Static.Network.Vlan.Wan.Vid", vid)) << vid;
  for (const char* vid : {"0", "4095", "12a", "", "4294967297", "99999999999999999999"})
    EXPECT_FALSE(accepts("Static.Network.Vlan.Wan.Vid", vid)) << vid;
  EXPECT_TRUE(accepts("Static.Network.Vlan.Wan.Priority", "7"));
  EXPECT_TRUE(accepts("Static.Network.Vlan.Pc.Priority", "0"));
  EXPECT_FALSE(accepts("Static.Network.Vlan.Wan.Priority", "8"));
  EXPECT_TRUE(accepts("Static.Network.PcPort.Enable", "disabled"));
  EXPECT_FALSE(accepts("Static.Network.PcPort.Enable", "on"));
  EXPECT_TRUE(accepts("Static.NatStun.Server", "a=b"));
  EXPECT_FALSE(accepts("Static.Network.Vpn.Enable", "2"));
  EXPECT_EQ(pc::find_key(pc::Group::kNetwork, "network.wan.mode"), nullptr);
  EXPECT_EQ(pc::find_key(pc::Group::kNetwork, "Network.Wan.mode "), nullptr);
}

TEST(PhonecfgKeyTable, TheVpnSwitchAlsoFeedsTheNetworkType) {
  const pc::KeyRow* row = pc::find_key(pc::Group::kNetwork, "Static.Network.Vpn.Enable");
  ASSERT_NE(row, nullptr);
  EXPECT_STREQ(row->store.member, "VpnSwitch");
  EXPECT_EQ(row->also.target, pc::Target::kNetworkStore);
  EXPECT_STREQ(row->also.section, "NetworkVpn");
  EXPECT_STREQ(row->also.member, "VpnType");
  EXPECT_EQ(row->check, pc::Check::kZeroOrOne);
}

TEST(PhonecfgKeyTable, KeysAreUniqueAndRoutedToTheirGroup) {
  for (size_t i = 0; i < pc::kKeyTable.size(); ++i) {
    const int network = pc::kKeyTable[i].group == pc::Group::kNetwork ? 1 : 0;
    EXPECT_EQ(is_network_cfg(std::string(pc::kKeyTable[i].key).c_str()), network) << pc::kKeyTable[i].key;
    for (size_t j = i + 1; j < pc::kKeyTable.size(); ++j) EXPECT_NE(pc::kKeyTable[i].key, pc::kKeyTable[j].key);
  }
}

TEST(PhonecfgKeyTable, IndexedPatternsTakeOneDigit) {
  int index = -1;
  EXPECT_TRUE(pc::key_matches("Account<N>.AccountUserName", "Account3.AccountUserName", &index));
  EXPECT_EQ(index, 3);
  EXPECT_FALSE(pc::key_matches("Account<N>.AccountUserName", "Account.AccountUserName"));
  EXPECT_FALSE(pc::key_matches("Account<N>.AccountUserName", "Account12.AccountUserName"));
  EXPECT_FALSE(pc::key_matches("Account<N>.AccountUserName", "Accountx.AccountUserName"));
  EXPECT_FALSE(pc::key_matches("Account<N>.AccountUserName", "Account1.AccountUserNam"));
  EXPECT_TRUE(pc::key_matches("Network.Wan.mode", "Network.Wan.mode"));
  EXPECT_FALSE(pc::key_matches("Network.Wan.mode", "Network.Wan.mod"));
}

TEST(PhonecfgBacklight, DutyCycleOfEachLevelWithTheFloorForty) {
  const int levels[] = {0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100};
  const int duties[] = {100, 93, 87, 81, 75, 69, 63, 57, 51, 45, 40};
  for (size_t i = 0; i < std::size(levels); ++i) EXPECT_EQ(change_backlight(levels[i], 40), duties[i]) << levels[i];
}

TEST(PhonecfgBacklight, LevelZeroAndLevelHundredForEveryFloor) {
  for (int floor = -1000; floor <= 1000; ++floor) {
    EXPECT_EQ(change_backlight(0, floor), 100);
    EXPECT_EQ(change_backlight(100, floor), floor);
  }
  EXPECT_EQ(change_backlight(100, INT_MIN), INT_MIN);
  EXPECT_EQ(change_backlight(100, INT_MAX), INT_MAX);
}

TEST(PhonecfgBacklight, LevelsBelowOneStepAreTheirOwnIndex) {
  // Floor 40: a step of 100/60; level 1 is not above it, so 99 - 1.
  EXPECT_EQ(change_backlight(1, 40), 98);
  EXPECT_EQ(change_backlight(2, 40), 98);  // 2 / 1.67 cut to 1
  // Floor 100: no step at all; the level is the index.
  EXPECT_EQ(change_backlight(50, 100), 49);
  // Absurd inputs give a number, not a trap.
  EXPECT_EQ(change_backlight(INT_MAX, 40), 99 - static_cast<int>(INT_MAX / (100.0 / 60.0)));
  (void)change_backlight(INT_MIN, INT_MIN);
  (void)change_backlight(INT_MAX, INT_MAX);
}

TEST(PhonecfgKeyTable, GroupsHoldTheirCounts) {
  EXPECT_EQ(pc::count_of(pc::Group::kAccount), 88u);
  EXPECT_EQ(pc::count_of(pc::Group::kFunction), 25u);
  EXPECT_EQ(pc::count_of(pc::Group::kKeys), 40u);
  EXPECT_EQ(pc::count_of(pc::Group::kVoice), 6u);
  EXPECT_EQ(pc::count_of(pc::Group::kSystem), 2u);
  EXPECT_EQ(pc::count_of(pc::Group::kDialplan), 49u);
  EXPECT_EQ(pc::count_of(pc::Group::kLdap), 17u);
}

TEST(PhonecfgKeyTable, AccountRowsCarryTheirIndexAndVoipMember) {
  const pc::KeyRow* row = pc::find_key(pc::Group::kAccount, "Account3.SIP1HeartbeatMessage");
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->index, 2);
  EXPECT_STREQ(row->store.section, "AccountRegister");
  EXPECT_EQ(row->store.place, pc::Place::kElement);
  EXPECT_EQ(row->also.target, pc::Target::kVoipStore);
  EXPECT_STREQ(row->also.member, "reg-timeout");
  row = pc::find_key(pc::Group::kAccount, "Account1.AccountPassword");
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->also.place, pc::Place::kCredential);
  EXPECT_EQ(pc::find_key(pc::Group::kAccount, "Account5.AccountPassword"), nullptr);
  row = pc::find_key(pc::Group::kDialplan, "Dialplan.Block_out.Account10");
  ASSERT_NE(row, nullptr);
  EXPECT_STREQ(row->store.member, "Account10");
  EXPECT_EQ(pc::find_key(pc::Group::kDialplan, "Dialplan.Replace_Rule.Prefix6"), nullptr);
  EXPECT_EQ(pc::find_key(pc::Group::kDialplan, "Dialplan.Dial_now.Rule6"), nullptr);
}

TEST(PhonecfgValues, LdapNumbersByAtoiWithoutADigitTest) {
  const pc::KeyRow* port = pc::find_key(pc::Group::kLdap, "LDAP.Port");
  ASSERT_NE(port, nullptr);
  EXPECT_TRUE(pc::value_accepted(*port, "389abc"));
  EXPECT_TRUE(pc::value_accepted(*port, "65535"));
  EXPECT_FALSE(pc::value_accepted(*port, "65536"));
  EXPECT_FALSE(pc::value_accepted(*port, "0"));
  EXPECT_FALSE(pc::value_accepted(*port, "abc"));
  const pc::KeyRow* min_len = pc::find_key(pc::Group::kDialplan, "Dialplan.Area_code.Min_len");
  ASSERT_NE(min_len, nullptr);
  EXPECT_FALSE(pc::value_accepted(*min_len, "5a"));
  EXPECT_TRUE(pc::value_accepted(*min_len, "15"));
  EXPECT_FALSE(pc::value_accepted(*min_len, "16"));
  const pc::KeyRow* delay = pc::find_key(pc::Group::kFunction, "Features.HotlineDelay");
  ASSERT_NE(delay, nullptr);
  EXPECT_TRUE(pc::value_accepted(*delay, "11"));
  EXPECT_FALSE(pc::value_accepted(*delay, "-1"));
}

}  // namespace
