// The board's drivers on the box's devices (box/devices): GPIOs, the
// backlight's PWM, the LED driver, the watchdog, and the factory reset.
// What the drivers saw is read from /run/phonebox/devices.log; the sysfs
// controls are made by export, as on the board.

#include <fcntl.h>
#include <json-c/json.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "phonecore/backlight.h"
#include "phonecore/config.h"
#include "phonecore/gpio.h"
#include "phonecore/led.h"
#include "phonecore/uart.h"
#include "phonecore/watchdog.h"
#include "support/factory_files.h"
#include "support/files.h"
#include "support/printed.h"
#include "support/put_file.h"

namespace {

using phonecore::testing::FactoryFiles;
using phonecore::testing::printed_by;
using phonecore::testing::put_file;
using phonecore::testing::slurp;

std::vector<std::string> acts() {
  std::vector<std::string> lines;
  std::istringstream in(slurp("/run/phonebox/devices.log"));
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

std::vector<std::string> acts_starting(const std::string& prefix) {
  std::vector<std::string> out;
  for (const std::string& l : acts())
    if (l.starts_with(prefix)) out.push_back(l);
  return out;
}

void clear_acts() { put_file("/run/phonebox/devices.log", ""); }

std::string gpio_value(int gpio) { return slurp("/sys/class/gpio/gpio" + std::to_string(gpio) + "/value"); }

// Every GPIO back to unexported, the PWM too.
void unexport_all() {
  for (int gpio : {6, 7, 8, 9, 10, 11, 59}) {
    const int fd = open("/sys/class/gpio/unexport", O_WRONLY);
    const std::string n = std::to_string(gpio);
    (void)!write(fd, n.data(), n.size());
    close(fd);
  }
  const int fd = open("/sys/class/pwm/pwmchip0/unexport", O_WRONLY);
  (void)!write(fd, "0", 1);
  close(fd);
  clear_acts();
}

class Board : public ::testing::Test {
 protected:
  void SetUp() override { unexport_all(); }
};

TEST_F(Board, ExportWritesEachNumberApart) {
  const int gpios[] = {10, 9, 11};
  EXPECT_EQ(openPort(gpios, 3), 1);
  EXPECT_EQ(acts(), (std::vector<std::string>{"gpio export 10", "gpio export 9", "gpio export 11"}));
  EXPECT_EQ(slurp("/sys/class/gpio/gpio9/direction"), "in");
  EXPECT_EQ(openPort(nullptr, 3), 0);
  EXPECT_EQ(openPort(gpios, 0), 0);
  EXPECT_EQ(closePort(gpios, 3), 1);
  EXPECT_EQ(slurp("/sys/class/gpio/gpio9/direction"), "");
}

TEST_F(Board, DirectionAndValue) {
  const int gpios[] = {6, 7};
  openPort(gpios, 2);
  EXPECT_EQ(initOutPort(gpios, 2), 1);
  EXPECT_EQ(slurp("/sys/class/gpio/gpio6/direction"), "out");
  EXPECT_EQ(setPortDirection(7, 1, 1), 1);
  int value = -1;
  EXPECT_EQ(readPortValue(7, &value), 1);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(initInPort(gpios, 2), 1);
  EXPECT_EQ(slurp("/sys/class/gpio/gpio7/direction"), "in");
  // Not exported: nothing to write or read.
  EXPECT_EQ(setPortDirection(8, 1, 0), 0);
  EXPECT_EQ(readPortValue(8, &value), 0);
  const int missing[] = {6, 8, 7};
  EXPECT_EQ(initOutPort(missing, 3), 0);
  EXPECT_EQ(initOutPort(nullptr, 1), 0);
  // A value that is no number reads 0.
  put_file("/sys/class/gpio/gpio6/value", "abc");
  value = -1;
  EXPECT_EQ(readPortValue(6, &value), 1);
  EXPECT_EQ(value, 0);
  put_file("/sys/class/gpio/gpio6/value", "");
  EXPECT_EQ(readPortValue(6, &value), 1);
  EXPECT_EQ(value, 0);
}

TEST_F(Board, TheHookIsReadAlthoughItIsExportedAlready) {
  EXPECT_EQ(getHookStatus(), 0);
  put_file("/sys/class/gpio/gpio59/value", "1\n");
  EXPECT_EQ(getHookStatus(), 1);
  EXPECT_EQ(acts_starting("gpio export"), (std::vector<std::string>{"gpio export 59", "gpio export 59"}));
  const int hook[] = {59};
  closePort(hook, 1);
  const std::string fail_dir = "/sys/class/gpio/gpio59";
  // Exported, but its value file gone: unreadable.
  getHookStatus();
  std::remove((fail_dir + "/value").c_str());
  EXPECT_EQ(getHookStatus(), -1);
}

TEST_F(Board, AudioOutputSelectorsRaiseOneLine) {
  struct Row {
    int selector, result;
    const char *v10, *v9, *v11;
  };
  const Row rows[] = {{1, 1, "0", "0", "1"}, {2, 1, "1", "0", "0"}, {3, 1, "0", "1", "0"},
                      {0, 0, "0", "0", "0"}, {4, 1, "0", "0", "0"}, {-1, 1, "0", "0", "0"}};
  for (const Row& r : rows) {
    clear_acts();
    EXPECT_EQ(openAudioOutGPIO(r.selector), r.result) << r.selector;
    EXPECT_EQ(gpio_value(10), r.v10) << r.selector;
    EXPECT_EQ(gpio_value(9), r.v9) << r.selector;
    EXPECT_EQ(gpio_value(11), r.v11) << r.selector;
    const std::vector<std::string> directions = acts_starting("gpio1");
    ASSERT_EQ(directions.size(), 2u);  // gpio10, gpio11 (gpio9 below)
    EXPECT_EQ(acts_starting("gpio9 direction").size(), 1u);
  }
  const std::vector<std::string> order{"gpio10 direction low", "gpio9 direction high", "gpio11 direction low"};
  clear_acts();
  openAudioOutGPIO(3);
  EXPECT_EQ(acts_starting("gpio1").front(), order[0]);
  EXPECT_EQ(acts().back(), order[2]);
  EXPECT_EQ(closeAudioOutGPIO(), 1);
  // Not exported, a selector's first failure is its result.
  unexport_all();
  put_file("/sys/class/gpio/export", "");
  EXPECT_EQ(closeAudioOutGPIO(), 1);
}

TEST_F(Board, AudioInputSelectors) {
  EXPECT_EQ(openAudioInGPIO(0), 0);
  EXPECT_EQ(openAudioInGPIO(5), 1);
  EXPECT_EQ(openAudioInGPIO(-2), 1);
  EXPECT_TRUE(acts().empty()) << "0 and unknown selectors touch nothing";
  struct Row {
    int selector;
    const char *v6, *v7;
  };
  for (const Row& r : {Row{1, "0", "0"}, Row{2, "1", "1"}, Row{3, "0", "1"}}) {
    EXPECT_EQ(openAudioInGPIO(r.selector), 1);
    EXPECT_EQ(gpio_value(8), "0");
    EXPECT_EQ(gpio_value(6), r.v6) << r.selector;
    EXPECT_EQ(gpio_value(7), r.v7) << r.selector;
  }
  EXPECT_EQ(closeAudioInGPIO(), 1);
  EXPECT_EQ(openAudioInGPIO(2), 1);
  std::remove("/sys/class/gpio/gpio7/direction");
  EXPECT_EQ(openAudioInGPIO(2), 0) << "1 only when all three worked";
  EXPECT_EQ(gpio_value(6), "1") << "the others are still set";
}

class Backlight : public Board {
 protected:
  void SetUp() override {
    Board::SetUp();
    lcd_backlight_on = 0;
  }
  FactoryFiles files_{"system.cfg"};
};

std::string stored_level() {
  json_object* system = read_gnl_config_json("system.cfg");
  json_object *hardware = nullptr, *level = nullptr;
  std::string text = "(none)";
  if (json_object_object_get_ex(system, "hardware", &hardware) &&
      json_object_object_get_ex(hardware, "bk_light_l_active", &level))
    text = json_object_get_string(level);
  json_object_put(system);
  return text;
}

void forget_level() {
  json_object* system = read_gnl_config_json("system.cfg");
  json_object* hardware = nullptr;
  json_object_object_get_ex(system, "hardware", &hardware);
  json_object_object_del(hardware, "bk_light_l_active");
  write_gnl_config_json("system.cfg", system);
  json_object_put(system);
}

TEST_F(Backlight, OnAtTheStoredLevel) {
  EXPECT_EQ(switchLcdBackLight(1), 0);
  EXPECT_EQ(acts(),
            (std::vector<std::string>{"pwm export 0", "pwm0 period 1000", "pwm0 duty_cycle 49", "pwm0 enable 1"}));
  EXPECT_EQ(lcd_backlight_on, 1);
  clear_acts();
  const std::string printed = printed_by([] { EXPECT_EQ(switchLcdBackLight(1), 0); });
  EXPECT_TRUE(acts().empty()) << "a second on does not touch the PWM";
  EXPECT_EQ(printed.rfind("switchLcdBackLight, ", 0), 0u) << printed;
}

TEST_F(Backlight, OnWithoutALevelWritesTheFactoryDutiesAndStoresFifty) {
  forget_level();
  EXPECT_EQ(switchLcdBackLight(1), 0);
  EXPECT_EQ(acts(), (std::vector<std::string>{"pwm export 0", "pwm0 period 1000", "pwm0 duty_cycle 80",
                                              "pwm0 duty_cycle 35", "pwm0 enable 1"}));
  EXPECT_EQ(stored_level(), "50");
  EXPECT_EQ(slurp("/sys/class/pwm/pwmchip0/pwm0/duty_cycle"), "35");
}

TEST_F(Backlight, OffDimsOrDarkensAndLeavesThePwmEnabled) {
  struct Row {
    int power_save;
    std::vector<std::string> writes;
  };
  const Row rows[] = {{0, {"pwm0 duty_cycle 5"}}, {1, {"pwm0 duty_cycle 0"}}, {2, {}}};
  for (const Row& r : rows) {
    int level = 80, ps = r.power_save, time = 60;
    config_advance_hardware(1, &level, &ps, &time);
    switchLcdBackLight(1);
    clear_acts();
    EXPECT_EQ(switchLcdBackLight(0), 0);
    EXPECT_EQ(acts(), r.writes) << r.power_save;
    EXPECT_EQ(lcd_backlight_on, 0);
    EXPECT_EQ(slurp("/sys/class/pwm/pwmchip0/pwm0/enable"), "1");
  }
}

TEST_F(Backlight, AdvancedSettingsAreStoredAndTheDutySetAtOnce) {
  switchLcdBackLight(1);
  clear_acts();
  int level = 150, ps = 0, time = 30;
  EXPECT_EQ(config_advance_hardware(1, &level, &ps, &time), 0);
  // No clamp: 150 % gives a duty of 87, beyond full (60).
  EXPECT_EQ(acts(), std::vector<std::string>{"pwm0 duty_cycle 87"});
  level = ps = time = -1;
  EXPECT_EQ(config_advance_hardware(0, &level, &ps, &time), 0);
  EXPECT_EQ(level, 150);
  EXPECT_EQ(ps, 0);
  EXPECT_EQ(time, 30);
  EXPECT_EQ(stored_level(), "150");
  forget_level();
  EXPECT_EQ(config_advance_hardware(0, &level, &ps, &time), 0);
  EXPECT_EQ(level, 100);
}

class Led : public Board {
 protected:
  void SetUp() override {
    Board::SetUp();
    close_led_device();
    clear_acts();
  }
  void TearDown() override { close_led_device(); }
};

TEST_F(Led, SwitchingTurnsEveryRowOfTheIdOffThenTheLampOn) {
  const std::string printed = printed_by([] { EXPECT_EQ(switchLedLight(4, 0, 1, 0), 0); });
  EXPECT_EQ(acts(),
            (std::vector<std::string>{"zlt_led open", "zlt_led 0 0 0 0", "zlt_led 0 0 0 0", "zlt_led 0 1 0 0"}));
  EXPECT_EQ(printed, "------>lednum=0, mode=1,data=0\n\r");
}

TEST_F(Led, AnIdWithoutALampOnlyTurnsOffLedMinusOne) {
  EXPECT_EQ(switchLedLight(1, 0, 1, 0), 0);
  EXPECT_EQ(acts(), (std::vector<std::string>{"zlt_led open", "zlt_led -1 0 0 0", "zlt_led -1 0 0 0"}));
  clear_acts();
  EXPECT_EQ(switchLedLight(4, -1, 1, 0), 0);
  EXPECT_EQ(acts(), (std::vector<std::string>{"zlt_led 0 0 0 0", "zlt_led 0 0 0 0"}));
}

TEST_F(Led, ATimeMakesItBlinkAndIsSplitInQuarters) {
  EXPECT_EQ(vorn_set_led(0, 2, 8), 0);
  EXPECT_EQ(acts().back(), "zlt_led 0 2 2 2");
  clear_acts();
  EXPECT_EQ(switchLedLight(4, 1, 1, 8), 0);
  EXPECT_EQ(acts().back(), "zlt_led 0 2 2 2");
  clear_acts();
  EXPECT_EQ(switchLedLight(4, 1, 1, -5), 0);
  EXPECT_EQ(acts().back(), "zlt_led 0 1 0 0");
  clear_acts();
  EXPECT_EQ(upgrade_led(), 0);
  EXPECT_EQ(acts().back(), "zlt_led 0 2 62 62");
}

TEST_F(Led, ModeTwoHalvesAndNeverOpens) {
  EXPECT_EQ(vorn_set_led_mode2(0, 2, 100, 50), -1);
  EXPECT_TRUE(acts().empty());
  EXPECT_EQ(openLedGPIO(), 1);
  EXPECT_EQ(vorn_set_led_mode2(0, 2, 100, 50), 0);
  EXPECT_EQ(acts(), (std::vector<std::string>{"zlt_led open", "zlt_led 0 2 50 25"}));
  EXPECT_EQ(closeLedGPIO(), 0);
  EXPECT_EQ(led_ctrl_file_fd, -1);
}

TEST_F(Led, PlainDeviceAccess) {
  const std::string printed = printed_by([] { EXPECT_EQ(open_device("/dev/none"), -1); });
  EXPECT_EQ(printed, "device open fail /dev/none\n");
  put_file("/tmp/plain_device", "abc");
  const int fd = open_device("/tmp/plain_device");
  ASSERT_GE(fd, 0);
  char buf[4] = {};
  EXPECT_EQ(read_device(fd, buf, 3), 3);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(write_device(fd, "de", 2), 2);
  EXPECT_EQ(close_device(fd), 0);
  EXPECT_EQ(slurp("/tmp/plain_device"), "abcde");
}

TEST(Watchdog, InitKickAndExit) {
  clear_acts();
  EXPECT_EQ(watchdog_init(30), 0);
  EXPECT_EQ(watchdog_init(10), 0) << "a second init sets the timeout on the open device";
  EXPECT_EQ(watchdog_keepalive(), 0);
  // The driver admits one opener.
  errno = 0;
  EXPECT_EQ(open("/dev/watchdog", O_WRONLY), -1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_EQ(watchdog_exit(), 0);
  EXPECT_EQ(acts(), (std::vector<std::string>{"watchdog open", "watchdog WDIOC_SETTIMEOUT 30",
                                              "watchdog WDIOC_SETTIMEOUT 10", "watchdog WDIOC_KEEPALIVE",
                                              "watchdog open EBUSY", "watchdog WDIOC_SETOPTIONS 1", "watchdog close"}));
  EXPECT_EQ(watchdog_keepalive(), -1) << "closed";
}

void set_watchdog_setting(const char* value) {
  json_object* settings = read_gnl_config_json("default/settinglist.cfg");
  json_object* prefs = nullptr;
  json_object_object_get_ex(settings, "SettingPrefrence", &prefs);
  if (value == nullptr) json_object_object_del(prefs, "EnableWatchDog");
  else json_object_object_add(prefs, "EnableWatchDog", json_object_new_string(value));
  write_gnl_config_json("default/settinglist.cfg", settings);
  json_object_put(settings);
}

TEST(Watchdog, TheSettingAsOneCharacter) {
  FactoryFiles files{"default/settinglist.cfg"};
  EXPECT_STREQ(getWatchDogEnable(), "1");
  set_watchdog_setting("0");
  EXPECT_STREQ(getWatchDogEnable(), "0");
  EXPECT_EQ(getWatchDogEnable(), WatchDogEnable);
  set_watchdog_setting("10");
  EXPECT_STREQ(getWatchDogEnable(), "1");
  set_watchdog_setting(nullptr);
  EXPECT_STREQ(getWatchDogEnable(), "1");
}

TEST(FactoryReset, RestoresTheFactoryFilesAndLeavesDotFiles) {
  put_file("/appconfigs/junk.cfg", "x");
  put_file("/appconfigs/.keep", "dot");
  put_file("/appconfigs/system.cfg", "{}");
  std::remove("/appconfigs/etc/webauth.cfg");
  EXPECT_EQ(factory_reset_hal(), 0);
  EXPECT_EQ(slurp("/appconfigs/junk.cfg"), "");
  EXPECT_EQ(slurp("/appconfigs/.keep"), "dot");
  EXPECT_EQ(slurp("/appconfigs/system.cfg"), slurp("/customer/appconfigs/system.cfg"));
  EXPECT_EQ(slurp("/appconfigs/etc/webauth.cfg"), slurp("/customer/etc/webauth.cfg"));
  std::remove("/appconfigs/.keep");
}

// No O_NONBLOCK: a pass on a silent port ends only when the port's own
// timer (VTIME 20) runs out.
TEST(Uart, ASilentPortCostsEachPassTwoSeconds) {
  int master = -1, slave = -1;
  ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  UART_Set(slave, B9600);
  char buf[UART_RECV_MAX];
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(UART_Recv_2(slave, buf, 1), 0);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(1900));
  close(master);
  close(slave);
}

TEST(Absent, DevicesMissingOrUsedBeforeInit) {
  clear_acts();
  EXPECT_EQ(watchdog_keepalive(), -1) << "before init";
  EXPECT_EQ(watchdog_exit(), 0);
  std::rename("/dev/watchdog", "/dev/watchdog.away");
  EXPECT_EQ(watchdog_init(30), -1);
  std::rename("/dev/watchdog.away", "/dev/watchdog");
  close_led_device();
  std::rename("/dev/zlt_led", "/dev/zlt_led.away");
  EXPECT_EQ(vorn_set_led(0, 1, 0), -1);
  EXPECT_EQ(switchLedLight(4, 0, 1, 0), 0) << "the lamp's result is not reported";
  std::rename("/dev/zlt_led.away", "/dev/zlt_led");
  close_led_device();
  EXPECT_TRUE(acts_starting("zlt_led").empty());
}

// led_test never returns: a child runs it and is killed after 5 seconds.
TEST(LedTest, AlternatesLedZeroAndOneEveryTwoSeconds) {
  clear_acts();
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close_led_device();
    led_test();
    _exit(0);
  }
  usleep(5 * 1000 * 1000);
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  const std::vector<std::string> seen = acts();
  ASSERT_GE(seen.size(), 7u);
  EXPECT_EQ(seen[0], "zlt_led open");
  const size_t rounds = (seen.size() - 1) / 3;
  EXPECT_GE(rounds, 2u);
  for (size_t r = 0; r < rounds; ++r) {
    EXPECT_EQ(seen[1 + 3 * r], "zlt_led 0 0 0 0");
    EXPECT_EQ(seen[2 + 3 * r], "zlt_led 1 0 0 0");
    EXPECT_EQ(seen[3 + 3 * r], r % 2 == 0 ? "zlt_led 0 1 0 0" : "zlt_led 1 1 0 0");
  }
}

}  // namespace
