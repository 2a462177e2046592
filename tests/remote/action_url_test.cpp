// The Action URL's event variables and tables, without a network: what
// url_replace_special_string and set_call_status_to_url make of a URL.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "phonecore/action_url.h"
#include "remote/action_url_internal.h"

namespace {

using phonecore::remote::action_slot;
using phonecore::remote::kActionEvents;

std::string special(const char* url, const char* variable, const char* value) {
  char buffer[ACTION_URL_SIZE];
  std::snprintf(buffer, sizeof buffer, "%s", url);
  EXPECT_EQ(url_replace_special_string(buffer, variable, value), 0);
  return buffer;
}

TEST(ActionUrl, SpecialStringReplacesTheFirstOccurrenceOnly) {
  EXPECT_EQ(special("a=$remote&b=$remote", "$remote", "1002"), "a=1002&b=$remote");
}

TEST(ActionUrl, SpecialStringLeavesTheVariableWithoutAUsableValue) {
  EXPECT_EQ(special("a=$remote", "$remote", ""), "a=$remote");
  EXPECT_EQ(special("a=$remote", "$remote", nullptr), "a=$remote");
  EXPECT_EQ(special("a=$remote", "", "x"), "a=$remote");
  EXPECT_EQ(special("a=$remote", nullptr, "x"), "a=$remote");
  const std::string v640(640, 'v');
  const std::string v641(641, 'v');
  EXPECT_EQ(special("a=$remote", "$remote", v641.c_str()), "a=$remote");
  // 640 characters go in, and the whole is cut at the room.
  EXPECT_EQ(special("a=$remote", "$remote", v640.c_str()), "a=" + std::string(637, 'v'));
}

TEST(ActionUrl, SpecialStringDoesNotEncode) {
  EXPECT_EQ(special("r=$remote", "$remote", "a b&c=%2F#?"), "r=a b&c=%2F#?");
}

TEST(ActionUrl, SpecialStringTakesAValueFromInsideTheUrl) {
  char url[ACTION_URL_SIZE] = "xy$v";
  url_replace_special_string(url, "$v", url);
  EXPECT_STREQ(url, "xyxy$v");
}

TEST(ActionUrl, CallStatusFillsTheTenInOrder) {
  char url[ACTION_URL_SIZE] =
      "$active_url|$active_user|$active_host|$local|$remote|$display_local|$display_remote|$call_id|$callerID|"
      "$calledNumber|$mac";
  EXPECT_EQ(set_call_status_to_url(url, "u", "us", "h", "l", "r", "dl", "dr", "ci", "cid", "cn"), 0);
  EXPECT_STREQ(url, "u|us|h|l|r|dl|dr|ci|cid|cn|$mac");
  char url2[ACTION_URL_SIZE] = "$display_local/$local/$callerID/$call_id";
  EXPECT_EQ(set_call_status_to_url2(url2, nullptr, nullptr, nullptr, "L", nullptr, "DL", nullptr, "CI", "CID", nullptr),
            0);
  EXPECT_STREQ(url2, "DL/L/CID/CI");
}

TEST(ActionUrl, AValueHoldingALaterVariableIsFilledToo) {
  // The variables are replaced in turn over the URL as it stands.
  char url[ACTION_URL_SIZE] = "a=$local";
  set_call_status_to_url(url, nullptr, nullptr, nullptr, "$remote", "9", nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_STREQ(url, "a=9");
}

TEST(ActionUrl, TheTables) {
  EXPECT_EQ(kActionEvents[0].member, "AUSetupCompleted");
  EXPECT_EQ(kActionEvents[31].member, "AUTransferFailed");
  EXPECT_TRUE(kActionEvents[31].function.empty());
  EXPECT_EQ(kActionEvents[43].member, "AUVPNIPChange");
  int functions = 0;
  for (const auto& e : kActionEvents) functions += e.function.empty() ? 0 : 1;
  EXPECT_EQ(functions, 43);
  EXPECT_EQ(action_slot("action_Transfer_Finished"), 32);
  EXPECT_EQ(action_slot(""), -1);
  const int ids[ACTION_URL_CONF_ROWS] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 16};
  for (int i = 0; i < ACTION_URL_CONF_ROWS; ++i) EXPECT_EQ(my_action_url_conf[i].id, ids[i]) << i;
  EXPECT_STREQ(my_action_url_conf[14].name, "$vpn_ip");
  EXPECT_STREQ(my_action_url_conf[14].description, "VPN 获取到的 IP 地址");
  EXPECT_STREQ(my_action_url_conf[15].name, "end");
  EXPECT_EQ(sizeof(ActionUrlConf), 116u);
  EXPECT_EQ(sizeof action_event_url_tmp, 44u * 640u);
}

TEST(ActionUrl, EmptySlotReturnsZeroWithoutSending) {
  std::memset(action_event_url, 0, sizeof action_event_url);
  std::strcpy(action_event_url_tmp[0], "old");
  EXPECT_EQ(action_Setup_Completed("a", "b", "c", "d", "e", "f", "g", "h", "i", "j"), 0);
  EXPECT_STREQ(action_event_url_tmp[0], "");  // the slot is cleared all the same
}

}  // namespace
