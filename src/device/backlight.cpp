// The LCD backlight: a PWM whose duty follows the level in percent stored
// in "system.cfg". The on/off flag is this process's; one caller thread.

#include "phonecore/backlight.h"

#include <json-c/json.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "base/json.h"
#include "device/sysfs.h"
#include "phonecore/config.h"

namespace json = phonecore::json;

int lcd_backlight_on = 0;

namespace phonecore::device {
namespace {

constexpr const char* kSystemFile = "system.cfg";
constexpr const char* kHardware = "hardware";
constexpr const char* kLevelKey = "bk_light_l_active";
constexpr const char* kPowerSaveKey = "bk_light_ps_enbale";
constexpr const char* kTimeKey = "bk_light_time";

constexpr const char* kPwmExport = "/sys/class/pwm/pwmchip0/export";
constexpr const char* kPwmPeriod = "/sys/class/pwm/pwmchip0/pwm0/period";
constexpr const char* kPwmDuty = "/sys/class/pwm/pwmchip0/pwm0/duty_cycle";
constexpr const char* kPwmEnable = "/sys/class/pwm/pwmchip0/pwm0/enable";

constexpr int kDutyMin = 5;   // dim
constexpr int kDutyMax = 60;  // full
constexpr int kLevelUnset = 100;
constexpr useconds_t kMs = 1000;

void write_duty_of(int level) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", change_backlight_new(level, kDutyMin, kDutyMax));
  sysfs_write(kPwmDuty, text);
}

// Power save 0 dims, 1 darkens; any other value leaves the duty.
struct OffDuty {
  int power_save;
  const char* duty;
};
constexpr OffDuty kOffDuties[] = {{0, "5"}, {1, "0"}};

}  // namespace
}  // namespace phonecore::device

namespace dev = phonecore::device;

extern "C" {

int openLcdBackLightGPIO(void) noexcept {
  std::printf("############openLcdBackLightGPIO#########");
  return 1;
}

int closeLcdBackLightGPIO(void) noexcept { return 0; }

int change_backlight_new(int level, int minimum, int maximum) noexcept {
  const float duty =
      static_cast<float>(minimum) + static_cast<float>(maximum - minimum) * (static_cast<float>(level) / 100.0f);
  return static_cast<int>(duty);
}

int switchLcdBackLight(int on) noexcept {
  json::Owned system(read_gnl_config_json(dev::kSystemFile));
  const char* level = json::text(system.get(), dev::kHardware, dev::kLevelKey);
  const int power_save = json::integer(system.get(), dev::kHardware, dev::kPowerSaveKey);
  const bool want_on = on == 1;
  if (want_on && lcd_backlight_on == 0) {
    dev::sysfs_write(dev::kPwmExport, "0");
    usleep(2 * dev::kMs);
    dev::sysfs_write(dev::kPwmPeriod, "1000");
    usleep(dev::kMs);
    if (level != nullptr && level[0] != '\0') {
      dev::write_duty_of(std::atoi(level));
    } else {
      // The factory's start: full, then 35, and 50 % remembered.
      dev::sysfs_write(dev::kPwmDuty, "80");
      dev::sysfs_write(dev::kPwmDuty, "35");
      if (!system) system.reset(json_object_new_object());
      json::set_creating(system.get(), dev::kLevelKey, json::new_text("50"), dev::kHardware);
      write_gnl_config_json(dev::kSystemFile, system.get());
    }
    usleep(dev::kMs);
    dev::sysfs_write(dev::kPwmEnable, "1");
    lcd_backlight_on = 1;
  } else if (!want_on && lcd_backlight_on != 0) {
    // The PWM stays enabled; only the duty changes.
    for (const auto& row : dev::kOffDuties)
      if (row.power_save == power_save) dev::sysfs_write(dev::kPwmDuty, row.duty);
    lcd_backlight_on = 0;
  } else {
    std::printf("%s, %d, System_cfg = %p\n", __func__, __LINE__, static_cast<void*>(system.get()));
  }
  return 0;
}

int config_advance_hardware(int op, int* level, int* power_save, int* time) noexcept {
  json::Owned system(read_gnl_config_json(dev::kSystemFile));
  if (op != 0) {
    if (!system) system.reset(json_object_new_object());
    char text[16];
    std::snprintf(text, sizeof text, "%d", level != nullptr ? *level : 0);
    json::set_creating(system.get(), dev::kLevelKey, json::new_text(text), dev::kHardware);
    json::set_creating(system.get(), dev::kPowerSaveKey, json_object_new_int(power_save != nullptr ? *power_save : 0),
                       dev::kHardware);
    json::set_creating(system.get(), dev::kTimeKey, json_object_new_int(time != nullptr ? *time : 0), dev::kHardware);
    write_gnl_config_json(dev::kSystemFile, system.get());
    dev::write_duty_of(level != nullptr ? *level : 0);
    return 0;
  }
  const char* stored = json::text(system.get(), dev::kHardware, dev::kLevelKey);
  if (level != nullptr) *level = stored != nullptr && stored[0] != '\0' ? std::atoi(stored) : dev::kLevelUnset;
  if (power_save != nullptr) *power_save = json::integer(system.get(), dev::kHardware, dev::kPowerSaveKey);
  if (time != nullptr) *time = json::integer(system.get(), dev::kHardware, dev::kTimeKey);
  return 0;
}

}  // extern "C"
