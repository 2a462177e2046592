/* phonecore: the hardware watchdog "/dev/watchdog", its setting, and the
 * factory reset of the configuration partition. */
#ifndef PHONECORE_WATCHDOG_H
#define PHONECORE_WATCHDOG_H

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* "EnableWatchDog" as last read: one character and its terminator. */
PHONECORE_API extern char WatchDogEnable[2];

/* Opens the device and sets the timeout in seconds. 0 or -1. */
PHONECORE_API int watchdog_init(int timeout) PHONECORE_NOEXCEPT;
PHONECORE_API int watchdog_keepalive(void) PHONECORE_NOEXCEPT;
/* Disables the card and closes the device. */
PHONECORE_API int watchdog_exit(void) PHONECORE_NOEXCEPT;
/* WatchDogEnable from "default/settinglist.cfg", "1" when not set. */
PHONECORE_API char *getWatchDogEnable(void) PHONECORE_NOEXCEPT;
/* /appconfigs back to the factory's files; dot-files stay. The status of
 * the last command. */
PHONECORE_API int factory_reset_hal(void) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
