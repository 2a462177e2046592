// Number selection for pressed keys against the configuration peer. The
// day/night switch of the call buttons reads the local time; the tests set
// it for this process alone through TZ: an offset from UTC chosen so that
// local time is the wanted hour and minute (plus 20 seconds, so that the
// minute holds while a check runs).

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "dial/hotkey_internal.h"
#include "phonecore/config.h"
#include "phonecore/hotkey.h"
#include "support/json_files.h"

namespace {

using phonecore::testing::write_json_text;

constexpr int kDay = 86400;

void set_local_time(int hour, int minute) {
  const long now = static_cast<long>(time(nullptr));
  const long wanted = hour * 3600L + minute * 60L + 20;
  const long offset = (((now % kDay) - wanted) % kDay + kDay) % kDay;  // local = UTC - offset
  char tz[48];
  std::snprintf(tz, sizeof tz, "<TST>+%02ld:%02ld:%02ld", offset / 3600, offset / 60 % 60, offset % 60);
  setenv("TZ", tz, 1);
  tzset();
  const time_t t = time(nullptr);
  struct tm local {};
  localtime_r(&t, &local);
  ASSERT_EQ(local.tm_hour, hour) << tz;
  ASSERT_EQ(local.tm_min, minute) << tz;
}

// One call button (key code 71, "KEY_gpio53_key") and the four start
// times; a time of -1 is left out of the file.
void write_buttons(const std::string& key_object, int dh, int dm, int nh, int nm) {
  std::string times;
  auto add = [&times](const char* name, int value) {
    if (value < 0) return;
    times += std::string(times.empty() ? "" : ",") + "\"" + name + "\":" + std::to_string(value);
  };
  add("StartDaytimeHours", dh);
  add("StartDaytimeMinutes", dm);
  add("StartNightHours", nh);
  add("StartNightMinutes", nm);
  write_json_text(
      "default/settinglist.cfg",
      R"({"SettingKeyType":{"KEY_gpio53_key":)" + key_object +
          R"(,"KEY_gpio6_key":{"KeyType":"3","Line":"2","Value":"8001","DtmfValue":"55"},)"
          R"("KEY_LONG_gpio54_key":{"KeyType":"4","Line":"1","Value":"700","DtmfValue":"","CallButtonNight":"701"}},)"
          R"("SettingGpioKey":{)" +
          times + "}}");
}

const char* kDayNight = R"({"KeyType":"213","Line":"1","Value":"1002","DtmfValue":"9","CallButtonNight":"1003"})";

std::string number_of(int key) {
  char number[HOTKEY_TEXT_SIZE] = "";
  int type = -7;
  char dtmf[HOTKEY_TEXT_SIZE] = "";
  EXPECT_EQ(CheckKeyTypeGetNumber(key, number, &type, dtmf), 0);
  return number;
}

std::string number_at(int hour, int minute) {
  set_local_time(hour, minute);
  return number_of(71);
}

TEST(CallButtons, AButtonWithoutNightNumberDialsItsNumberAtAnyTime) {
  write_buttons(kDayNight, 8, 0, 18, 0);
  for (int hour : {0, 7, 8, 12, 18, 23}) {
    set_local_time(hour, 30);
    EXPECT_EQ(number_of(73), "8001") << hour;
  }
}

TEST(CallButtons, DayFromEightToEighteen) {
  write_buttons(kDayNight, 8, 0, 18, 0);
  EXPECT_EQ(number_at(17, 59), "1002");
  EXPECT_EQ(number_at(18, 0), "1003");
  EXPECT_EQ(number_at(7, 59), "1003");
  EXPECT_EQ(number_at(8, 0), "1002");
  EXPECT_EQ(number_at(12, 0), "1002");
}

TEST(CallButtons, ADayOverMidnight) {
  write_buttons(kDayNight, 20, 0, 6, 0);
  EXPECT_EQ(number_at(23, 0), "1002");
  EXPECT_EQ(number_at(12, 0), "1003");
  EXPECT_EQ(number_at(6, 0), "1003");   // night from its start
  EXPECT_EQ(number_at(20, 0), "1002");  // day from its start
  EXPECT_EQ(number_at(19, 59), "1003");
}

// The night's start minute is compared with the current hour.
TEST(CallButtons, TheNightStartMinuteIsComparedWithTheHour) {
  write_buttons(kDayNight, 8, 0, 18, 30);
  EXPECT_EQ(number_at(18, 10), "1002");
  EXPECT_EQ(number_at(18, 59), "1002");
  EXPECT_EQ(number_at(19, 0), "1003");
  write_buttons(kDayNight, 8, 0, 18, 10);
  EXPECT_EQ(number_at(18, 0), "1003");
  EXPECT_EQ(number_at(18, 5), "1003");
}

TEST(CallButtons, WithoutStartTimesItIsNightWithCodeTwentyOneAtEveryHour) {
  write_buttons(kDayNight, -1, -1, -1, -1);
  for (int hour = 0; hour < 24; ++hour) {
    set_local_time(hour, 0);
    ::testing::internal::CaptureStdout();
    const std::string number = number_of(71);
    const std::string log = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(number, "1003") << hour;
    EXPECT_NE(log.find(", change_value = 21\n"), std::string::npos) << hour;
  }
}

TEST(CallButtons, SameStartHourForDayAndNight) {
  write_buttons(kDayNight, 9, 0, 9, 30);
  set_local_time(9, 10);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(number_of(71), "1002");  // 30 above the larger of 0 and 9
  EXPECT_NE(::testing::internal::GetCapturedStdout().find(
                ", daytime now, no change, value = 1002, same StartNightHours and StartNightHours\n"),
            std::string::npos);
  write_buttons(kDayNight, 9, 20, 9, 5);
  set_local_time(5, 10);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(number_of(71), "1003");
  EXPECT_NE(::testing::internal::GetCapturedStdout().find(", change_value = 21\n"), std::string::npos);
}

TEST(CallButtons, AnEmptyNightNumberStillReplacesTheDayNumber) {
  write_buttons(R"({"KeyType":"1","Line":"1","Value":"1002","DtmfValue":"","CallButtonNight":""})", 8, 0, 18, 0);
  set_local_time(22, 0);
  int type = 0;
  int line = 0;
  char value[HOTKEY_TEXT_SIZE] = "";
  char dtmf[HOTKEY_TEXT_SIZE] = "";
  EXPECT_EQ(CheckKeyTypeGetNumberConf(71, &type, &line, value, nullptr, nullptr, dtmf), 0);
  EXPECT_STREQ(value, "");
  // CheckKeyTypeGetNumber then leaves the caller's number as it was.
  char number[HOTKEY_TEXT_SIZE] = "previous";
  EXPECT_EQ(CheckKeyTypeGetNumber(71, number, &type, dtmf), 0);
  EXPECT_STREQ(number, "previous");
}

TEST(CallButtons, ConfFillsTypeLineValueAndDtmfAndLogs) {
  write_buttons(kDayNight, 8, 0, 18, 0);
  set_local_time(10, 0);
  int type = 0;
  int line = 0;
  char value[HOTKEY_TEXT_SIZE] = "";
  char label[HOTKEY_TEXT_SIZE] = "label";
  char extension[HOTKEY_TEXT_SIZE] = "extension";
  char dtmf[HOTKEY_TEXT_SIZE] = "";
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(CheckKeyTypeGetNumberConf(71, &type, &line, value, label, extension, dtmf), 0);
  const std::string log = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(type, 213);
  EXPECT_EQ(line, 1);
  EXPECT_STREQ(value, "1002");
  EXPECT_STREQ(dtmf, "9");
  EXPECT_STREQ(label, "label");  // accepted, not touched
  EXPECT_STREQ(extension, "extension");
  EXPECT_NE(log.find("CheckKeyTypeGetNumberConf, "), std::string::npos);
  EXPECT_NE(log.find(", keyval = 71\n"), std::string::npos);
  EXPECT_NE(log.find(", keyval = 71, pType = 213, value = 1002, DtmfValue = 9\n"), std::string::npos);
  EXPECT_NE(log.find(", daytime now, no change, value = 1002\n"), std::string::npos);
}

TEST(CallButtons, LongPressesHaveBindingsOfTheirOwn) {
  write_buttons(kDayNight, 8, 0, 18, 0);
  set_local_time(10, 0);
  EXPECT_EQ(number_of(82), "700");
  set_local_time(20, 0);
  EXPECT_EQ(number_of(82), "701");
}

TEST(CallButtons, UnknownCodesAndMissingBindingsFillNothing) {
  write_buttons(kDayNight, 8, 0, 18, 0);
  int type = -7;
  int line = -7;
  char value[HOTKEY_TEXT_SIZE] = "keep";
  char dtmf[HOTKEY_TEXT_SIZE] = "keep";
  EXPECT_EQ(CheckKeyTypeGetNumberConf(70, &type, &line, value, nullptr, nullptr, dtmf), 0);
  EXPECT_EQ(CheckKeyTypeGetNumberConf(74, &type, &line, value, nullptr, nullptr, dtmf), 0);  // not in the file
  EXPECT_EQ(type, -7);
  EXPECT_EQ(line, -7);
  EXPECT_STREQ(value, "keep");
  EXPECT_STREQ(dtmf, "keep");
}

TEST(CallButtons, WithoutTheFileTheAnswerIsMinusOne) {
  ASSERT_EQ(std::remove("/appconfigs/default/settinglist.cfg"), 0);
  char number[HOTKEY_TEXT_SIZE] = "keep";
  int type = 0;
  EXPECT_EQ(CheckKeyTypeGetNumber(71, number, &type, number), -1);
  EXPECT_EQ(CheckKeyTypeGetNumberConf(71, &type, &type, number, nullptr, nullptr, number), -1);
  EXPECT_STREQ(number, "keep");
}

TEST(CallButtons, NoRootLogsAndReturns) {
  char value[HOTKEY_TEXT_SIZE] = "1002";
  ::testing::internal::CaptureStdout();
  get_correct_number(nullptr, value, nullptr);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("get_correct_number, "), std::string::npos);
  EXPECT_STREQ(value, "1002");
}

// The decision itself, over every hour and some minutes: the three plans.
TEST(DayOrNight, FollowsTheRulesAsTheyStand) {
  using phonecore::dial::day_or_night;
  EXPECT_EQ(day_or_night(8, 0, 18, 0, 12, 0).change_value, 0);
  EXPECT_EQ(day_or_night(8, 0, 18, 0, 18, 0).change_value, 10);
  EXPECT_EQ(day_or_night(8, 30, 18, 0, 8, 29).change_value, 10);
  EXPECT_EQ(day_or_night(8, 30, 18, 0, 8, 30).change_value, 0);
  EXPECT_EQ(day_or_night(9, 0, 9, 30, 9, 10).change_value, 0);
  EXPECT_EQ(day_or_night(9, 20, 9, 5, 9, 10).change_value, 20);
  EXPECT_EQ(day_or_night(9, 20, 9, 5, 9, 0).change_value, 21);
  EXPECT_EQ(day_or_night(20, 0, 6, 0, 12, 0).change_value, 30);
  EXPECT_EQ(day_or_night(20, 0, 6, 0, 6, 0).change_value, 31);
  EXPECT_EQ(day_or_night(20, 30, 6, 0, 20, 10).change_value, 32);
  EXPECT_EQ(day_or_night(20, 0, 6, 0, 23, 0).change_value, 0);
  for (int h = 0; h < 24; ++h) {
    for (int m : {0, 29, 59}) EXPECT_EQ(day_or_night(0, 0, 0, 0, h, m).change_value, 21) << h << ":" << m;
  }
}

// Key pad and line keys: "default/programing_key.cfg".
class SpeedDial : public ::testing::Test {
 protected:
  void SetUp() override {
    write_json_text(
        "default/programing_key.cfg",
        R"({"Hotkey_hotKey":{"data":[)"
        R"({"RealKey":21,"Key":"F1","Type":"213","Line":"1","Value":"4711","Label":"Boss","Extension":""},)"
        R"({"RealKey":22,"Key":"F2","Type":"213","Line":"2","Value":"4712","Label":"Desk","Extension":"12"},)"
        R"({"RealKey":23,"Key":"F3","Type":"5","Line":"0","Value":"4713","Label":"DND","Extension":"1"}]},)"
        R"("Hotkey_lineKey":{"data":[)"
        R"({"RealKey":24,"Key":"L1","Type":"213","Line":"3","Value":"*97","Label":"VM","Extension":"x"}]}})");
  }
};

TEST_F(SpeedDial, AnEmptyExtensionRefusesTheKey) {
  char number[HOTKEY_TEXT_SIZE] = "keep";
  EXPECT_EQ(CheckKeyIsSpeedDailGetNumber(21, number), -1);
  EXPECT_STREQ(number, "keep");
}

TEST_F(SpeedDial, TheValueIsGivenOutWhenTheExtensionIsSet) {
  char number[HOTKEY_TEXT_SIZE] = "";
  EXPECT_EQ(CheckKeyIsSpeedDailGetNumber(22, number), 0);
  EXPECT_STREQ(number, "4712");
  EXPECT_EQ(CheckKeyIsSpeedDailGetNumber(24, number), 0);  // a line key
  EXPECT_STREQ(number, "*97");
}

TEST_F(SpeedDial, AnotherTypeIsRefusedEvenWithANumber) {
  char number[HOTKEY_TEXT_SIZE] = "keep";
  EXPECT_EQ(CheckKeyIsSpeedDailGetNumber(23, number), -1);
  EXPECT_EQ(CheckKeyIsSpeedDailGetNumber(99, number), -1);
  EXPECT_STREQ(number, "keep");
}

TEST_F(SpeedDial, TheLookupFillsEveryFieldAndEmptiesTheList) {
  LocalReload();
  ASSERT_EQ(hotkey_data_lens, 4);
  int type = 0;
  int line = 0;
  char value[HOTKEY_TEXT_SIZE];
  char label[HOTKEY_TEXT_SIZE];
  char extension[HOTKEY_TEXT_SIZE];
  EXPECT_EQ(CheckHotkeyGetNumber(22, &type, &line, value, label, extension), 0);
  EXPECT_EQ(type, 213);
  EXPECT_EQ(line, 2);
  EXPECT_STREQ(value, "4712");
  EXPECT_STREQ(label, "Desk");
  EXPECT_STREQ(extension, "12");
  EXPECT_EQ(hotkey_data_lens, 0);
  EXPECT_EQ(HoykeyProcess(22), 0);
  EXPECT_EQ(CheckHotkeyGetNumber(99, &type, &line, value, label, extension), -1);
}

TEST_F(SpeedDial, WithoutBindingsOrFileTheLookupFails) {
  write_json_text("default/programing_key.cfg", R"({"Hotkey_hotKey":{"data":{}},"Other":1})");
  int type = 0;
  char text[HOTKEY_TEXT_SIZE];
  EXPECT_EQ(CheckHotkeyGetNumber(21, &type, &type, text, text, text), -1);
  ASSERT_EQ(std::remove("/appconfigs/default/programing_key.cfg"), 0);
  EXPECT_EQ(CheckHotkeyGetNumber(21, &type, &type, text, text, text), -1);
  EXPECT_EQ(CheckKeyIsSpeedDailGetNumber(21, text), -1);
}

}  // namespace
