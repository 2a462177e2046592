// The time zone in the box: TZ from offset texts, from the stored setting,
// and from "settimezone" announcements on the bus.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "phonecore/config.h"
#include "phonecore/fileutil.h"
#include "phonecore/timezone.h"
#include "support/bus_session.h"
#include "support/factory_files.h"

namespace {

constexpr const char* kSettings = "/appconfigs/default/settinglist.cfg";

std::string tz() {
  const char* value = std::getenv("TZ");
  return value != nullptr ? value : "<unset>";
}

long utc_offset() {
  const time_t now = time(nullptr);
  struct tm local {};
  localtime_r(&now, &local);
  return local.tm_gmtoff;
}

void store_zone(const char* offset) {
  json_object* root = read_gnl_config_json("default/settinglist.cfg");
  ASSERT_NE(root, nullptr);
  json_object* section = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(root, "SettingDateTime", &section));
  json_object_object_add(section, "CurrentTimeZoneTime", json_object_new_string(offset));
  ASSERT_EQ(write_gnl_config_json("default/settinglist.cfg", root), 0);
  json_object_put(root);
}

class TimeZone : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("TZ");
    tzset();
  }
  phonecore::testing::FactoryFiles factory_{"default/settinglist.cfg"};
};

TEST_F(TimeZone, ThePlusSignIsTurnedRound) {
  EXPECT_EQ(set_time_zone("+8"), 0);
  EXPECT_EQ(tz(), "CST-8");
  EXPECT_EQ(utc_offset(), 8 * 3600);
  EXPECT_EQ(set_time_zone("-5"), 0);
  EXPECT_EQ(tz(), "CST+5");
  EXPECT_EQ(utc_offset(), -5 * 3600);
  EXPECT_EQ(set_time_zone("+5:30"), 0);
  EXPECT_EQ(tz(), "CST-5:30");
  EXPECT_EQ(utc_offset(), 5 * 3600 + 30 * 60);
}

TEST_F(TimeZone, ATextBeginningWithZeroGivesCst) {
  set_time_zone("+3");
  EXPECT_EQ(set_time_zone("0"), 0);
  EXPECT_EQ(tz(), "CST");
  EXPECT_EQ(utc_offset(), 0);
  set_time_zone("+3");
  set_time_zone("00:00");
  EXPECT_EQ(tz(), "CST");
}

TEST_F(TimeZone, LoadTakesTheStoredZone) {
  store_zone("+9");
  EXPECT_EQ(load_time_zone(), 0);
  EXPECT_EQ(tz(), "CST-9");
  EXPECT_EQ(utc_offset(), 9 * 3600);
  store_zone("-3");
  EXPECT_EQ(load_time_zone(), 0);
  EXPECT_EQ(tz(), "CST+3");
}

TEST_F(TimeZone, LoadLeavesTzAloneForAZoneBeginningWithZero) {
  set_time_zone("+2");
  store_zone("0");
  EXPECT_EQ(load_time_zone(), 0);
  EXPECT_EQ(tz(), "CST-2");
}

TEST_F(TimeZone, LoadWithoutTheFileFails) {
  set_time_zone("+2");
  ASSERT_EQ(std::remove(kSettings), 0);
  EXPECT_EQ(load_time_zone(), -1);
  EXPECT_EQ(tz(), "CST-2");
}

TEST_F(TimeZone, TheFactoryZoneIsGreenwich) {
  EXPECT_EQ(load_time_zone(), 0);
  EXPECT_EQ(utc_offset(), 0);
}

bool tz_becomes(const std::string& wanted) {
  for (int i = 0; i < 400; ++i) {
    if (tz() == wanted) return true;
    usleep(5000);
  }
  return false;
}

TEST_F(TimeZone, AnnouncementsReachEverySession) {
  MessageClient* follower = phonecore::testing::open_listening_session(610, nullptr, "tz_follower");
  MessageClient* watcher = phonecore::testing::open_listening_session(611, nullptr, "tz_watcher");
  ASSERT_NE(follower, nullptr);
  ASSERT_NE(watcher, nullptr);
  MsgHook* seen = add_hook_bymsgname(watcher, "settimezone", 256, 4);
  ASSERT_NE(seen, nullptr);

  ASSERT_EQ(add_time_set_hookmsg(follower), 0);
  ASSERT_NE(_g_vorn_timers_phook, nullptr);
  EXPECT_STREQ(_g_vorn_timers_phook->hook_name, "settimezone");

  EXPECT_EQ(send_time_zone("+7"), 0);
  EXPECT_TRUE(tz_becomes("CST-7")) << tz();
  EXPECT_EQ(utc_offset(), 7 * 3600);

  // The request goes out twice, 10 ms apart, and nobody answers it. The
  // short session's socket is bound before its connect returns, so both
  // copies arrive.
  int copies = 0;
  for (;;) {
    char text[257] = {};
    int length = 0;
    if (wiat_hook(watcher, seen, text, &length, copies == 0 ? 2000 : 300) <= 0) break;
    ++copies;
    json_object* root = json_tokener_parse(text);
    ASSERT_NE(root, nullptr) << text;
    json_object* member = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(root, "msgtype", &member));
    EXPECT_STREQ(json_object_get_string(member), "settimezone");
    ASSERT_TRUE(json_object_object_get_ex(root, "data", &member));
    EXPECT_STREQ(json_object_get_string(member), "+7");
    json_object_put(root);
  }
  EXPECT_EQ(copies, 2);

  EXPECT_EQ(del_time_hook(follower), 0);
  EXPECT_EQ(_g_vorn_timers_phook, nullptr);
  send_time_zone("-4");
  char text[257] = {};
  int length = 0;
  ASSERT_GT(wiat_hook(watcher, seen, text, &length, 2000), 0);
  usleep(200000);
  EXPECT_EQ(tz(), "CST-7") << "a session without the hook no longer follows";

  del_hook(watcher, seen);
  request_pc_disconnect(watcher);
  request_pc_disconnect(follower);
}

TEST_F(TimeZone, AnnouncementsThatAreNoJsonAreIgnored) {
  MessageClient* follower = phonecore::testing::open_listening_session(612, nullptr, "tz_follower2");
  ASSERT_NE(follower, nullptr);
  ASSERT_EQ(add_time_set_hookmsg(follower), 0);
  set_time_zone("+1");
  // A name hook is served by the message's name only; this text has the
  // name but breaks off.
  const char broken[] = "{\"msgtype\":\"settimezone\",\"data\":\"+6\"";
  hook_process_msgname(follower, "settimezone", broken, sizeof broken - 1);
  const std::string long_zone(400, '1');
  bool followed = false;  // both copies may be lost on a loaded machine: send again
  for (int send = 0; send < 10 && !followed; ++send) {
    send_time_zone(long_zone.c_str());
    followed = tz_becomes("CST-" + std::string(63, '1'));
  }
  EXPECT_TRUE(followed) << "a zone text keeps 63 bytes";
  EXPECT_EQ(del_time_hook(follower), 0);
  request_pc_disconnect(follower);
}

}  // namespace
