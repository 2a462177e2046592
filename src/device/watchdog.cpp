// The hardware watchdog and the factory reset of /appconfigs. The
// watchdog's descriptor belongs to the one process that feeds it.

#include "phonecore/watchdog.h"

#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iterator>

#include "base/json.h"
#include "phonecore/config.h"

namespace json = phonecore::json;

char WatchDogEnable[2] = "1";

namespace phonecore::device {
namespace {

constexpr const char* kWatchdog = "/dev/watchdog";
int g_watchdog_fd = -1;

// In order; the result is the last one's. Files whose names begin with a
// dot are not matched by the first and stay.
constexpr const char* kFactoryReset[] = {
    "rm -rf /appconfigs/*",
    "mkdir -p /appconfigs/etc",
    "cp -rf /customer/etc/webauth.cfg /appconfigs/etc/",
    "cp -rf /customer/appconfigs/* /appconfigs/",
};

}  // namespace
}  // namespace phonecore::device

namespace dev = phonecore::device;

extern "C" {

int watchdog_init(int timeout) noexcept {
  // The device admits one opener: a second call sets the timeout on the
  // descriptor already open.
  if (dev::g_watchdog_fd < 0) dev::g_watchdog_fd = ::open(dev::kWatchdog, O_WRONLY);
  if (dev::g_watchdog_fd < 0) return -1;
  return ::ioctl(dev::g_watchdog_fd, WDIOC_SETTIMEOUT, &timeout) < 0 ? -1 : 0;
}

int watchdog_keepalive(void) noexcept {
  int dummy = 0;
  return ::ioctl(dev::g_watchdog_fd, WDIOC_KEEPALIVE, &dummy) < 0 ? -1 : 0;
}

int watchdog_exit(void) noexcept {
  int options = WDIOS_DISABLECARD;
  ::ioctl(dev::g_watchdog_fd, WDIOC_SETOPTIONS, &options);
  if (dev::g_watchdog_fd >= 0) ::close(dev::g_watchdog_fd);
  dev::g_watchdog_fd = -1;
  return 0;
}

char* getWatchDogEnable(void) noexcept {
  json::Owned settings(read_gnl_config_json("default/settinglist.cfg"));
  const char* value = json::text(settings.get(), "SettingPrefrence", "EnableWatchDog");
  json::copy_text(WatchDogEnable, value != nullptr ? value : "1");
  return WatchDogEnable;
}

int factory_reset_hal(void) noexcept {
  int result = 0;
  for (const char* command : dev::kFactoryReset) result = std::system(command);
  return result;
}

}  // extern "C"
