/* phonecore: the time zone of the phone. The zone is kept as an offset
 * text, a sign and hours ("+8", "-5", "+5:30"), in "CurrentTimeZoneTime" of
 * "SettingDateTime" in "default/settinglist.cfg"; a process sets its TZ
 * from it ("+8" gives "CST-8": POSIX turns the sign round) and follows
 * changes announced by the message "settimezone". TZ is process-wide. */
#ifndef PHONECORE_TIMEZONE_H
#define PHONECORE_TIMEZONE_H

#include "phonecore/bus_client.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* Sets TZ from the stored zone; a zone beginning "0" leaves TZ as it is.
 * 0; -1 when the file can't be read. */
PHONECORE_API int load_time_zone(void) PHONECORE_NOEXCEPT;
/* Sets TZ from an offset text; one beginning "0" gives "CST". 0. */
PHONECORE_API int set_time_zone(const char *offset) PHONECORE_NOEXCEPT;
/* Announces a zone to every process: the request "settimezone" with the
 * text as "data", sent from a short session of bus id 4099. 0. */
PHONECORE_API int send_time_zone(const char *offset) PHONECORE_NOEXCEPT;

/* The hook by which a session follows "settimezone", and its monitor. */
PHONECORE_API extern MsgHook *_g_vorn_timers_phook;
PHONECORE_API int add_time_set_hookmsg(MessageClient *client) PHONECORE_NOEXCEPT;
PHONECORE_API int del_time_hook(MessageClient *client) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
