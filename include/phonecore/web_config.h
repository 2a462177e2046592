/* phonecore: the phone's web server (lighttpd run from
 * /appconfigs/lighttpd.conf, chosen from the templates of
 * /customer/etc/lighttpd), the firewall's port lists that "firewall.sh"
 * applies, and the one-key settings that have no other home. */
#ifndef PHONECORE_WEB_CONFIG_H
#define PHONECORE_WEB_CONFIG_H

#include "phonecore/export.h"

/* The most ports a firewall list holds. */
#define PHONECORE_FIREWALL_MAX_PORTS 64

PHONECORE_BEGIN_DECLS

/* Opens or closes TCP ports in the list in force ("tcp_allow_list" in mode
 * 0, "tcp_deny_list" in mode 1) of "network.cfg"; "firewall.sh" is not run.
 * 0. */
PHONECORE_API int firewall_set(const int *ports, int count, int open) PHONECORE_NOEXCEPT;
/* Stores both ports and puts a fresh working file with "server.port" of the
 * http port; the server is not restarted. 0. */
PHONECORE_API int change_httpd_port(int http, int https) PHONECORE_NOEXCEPT;
/* The stored ports; the file is written back unchanged. 0. */
PHONECORE_API int get_httpd_port(int *http, int *https) PHONECORE_NOEXCEPT;
/* Stores "wan_allow" and runs "firewall.sh". 0. */
PHONECORE_API int httpd_wan_allow(int value) PHONECORE_NOEXCEPT;
/* The switches and ports of "NetworkAdvanced" (0 where absent). 0. */
PHONECORE_API int getWebType(int *http_switch, int *https_switch, int *http_port, int *https_port) PHONECORE_NOEXCEPT;
/* Stores a changed web setting, picks the template, patches its ports and
 * restarts the server; "start_network" always. 0. */
PHONECORE_API int setWebType(int http_switch, int https_switch, int http_port, int https_port) PHONECORE_NOEXCEPT;
/* No setting behind it. 0. */
PHONECORE_API int wan_login_enable(void) PHONECORE_NOEXCEPT;
/* "redial_del_ontime" of "system.cfg": set 0, get the value; -1 without
 * the file. */
PHONECORE_API int redial_del_ontime_set(int value) PHONECORE_NOEXCEPT;
PHONECORE_API int redial_del_ontime_get(void) PHONECORE_NOEXCEPT;
/* "keytone_enable" of "system.cfg": set 0 (-1 without the file); get the
 * value (0 without the file). */
PHONECORE_API int keytone_mode_set(int value) PHONECORE_NOEXCEPT;
PHONECORE_API int keytone_mode_get(void) PHONECORE_NOEXCEPT;
/* "DesktopImg" of "hal.cfg": get the index (0 without the file); set 0
 * (-1 without the file). */
PHONECORE_API int getWallPaperIndex(void) PHONECORE_NOEXCEPT;
PHONECORE_API int setWallPaperIndex(int index) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
