/* phonecore: typed settings for a device-management agent.
 *
 * The quorrbit* and cwmp_set_* functions work on the process's cached
 * stores (g_config_json): setters change the cached object only, until
 * refresh_config writes the category. The get_ipv4_* and sys_get_*
 * functions read the stores afresh. One thread of a process uses this
 * layer; the questions may be asked from any thread. */
#ifndef PHONECORE_DM_H
#define PHONECORE_DM_H

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

struct json_object;

/* Room the caller gives: a member's text (quorrbitGetnetworkMode,
 * quorrbitGetNetcfg), and a whole store as JSON text
 * (quorbit_get_cwmp_config). Longer texts are cut to fit. */
#define DM_TEXT_SIZE 64
#define DM_STORE_TEXT_SIZE 8192

PHONECORE_API int quorrbitSetnetworkMode(const char *mode) PHONECORE_NOEXCEPT;
PHONECORE_API int quorrbitGetnetworkMode(char *receiver) PHONECORE_NOEXCEPT;
PHONECORE_API int quorrbitGetNetcfg(char *receiver, const char *member) PHONECORE_NOEXCEPT;
PHONECORE_API int quorrbitWanStatic(const char *ipaddr, const char *netmask, const char *gateway, const char *dns1,
                                    const char *dns2) PHONECORE_NOEXCEPT;
PHONECORE_API int quorrbitLanStatic(const char *ipaddr, const char *netmask) PHONECORE_NOEXCEPT;
PHONECORE_API int quorrbitDhcpServer(const char *enable, const char *start, const char *stop, const char *netmask,
                                     const char *gateway, const char *dns1, const char *dns2) PHONECORE_NOEXCEPT;
PHONECORE_API int quorbit_get_cwmp_config(char *receiver) PHONECORE_NOEXCEPT;
PHONECORE_API int cwmp_set_local(const char *interface, const char *port, const char *username, const char *password,
                                 const char *provisioning_code, const char *logging_level) PHONECORE_NOEXCEPT;
PHONECORE_API int cwmp_set_acs(const char *url, const char *username, const char *password, const char *parameter_key,
                               const char *periodic_enable, const char *periodic_interval,
                               const char *periodic_time) PHONECORE_NOEXCEPT;
PHONECORE_API int cwmp_set_device(const char *manufacturer, const char *oui, const char *product_class,
                                  const char *serial_number, const char *hardware_version,
                                  const char *software_version) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *quorrbitGetSipConfig(void) PHONECORE_NOEXCEPT;
PHONECORE_API struct json_object *quorrbitGetLdapConfig(void) PHONECORE_NOEXCEPT;
PHONECORE_API int quorrbitSaveSipConfig(struct json_object *object) PHONECORE_NOEXCEPT;
PHONECORE_API const char *get_string_from_json2(int category, int depth, ...) PHONECORE_NOEXCEPT;

/* Fresh reads of the network store's "wan" into process-wide buffers
 * (10, 64, 64, 64, 2, 64 and 64 bytes; longer values are cut). */
PHONECORE_API char *get_ipv4_mode(void) PHONECORE_NOEXCEPT;
PHONECORE_API char *get_ipv4_ipaddr(void) PHONECORE_NOEXCEPT;
PHONECORE_API char *get_ipv4_netmask(void) PHONECORE_NOEXCEPT;
PHONECORE_API char *get_ipv4_gateway(void) PHONECORE_NOEXCEPT;
PHONECORE_API char *get_ipv4_staticdns(void) PHONECORE_NOEXCEPT;
PHONECORE_API char *get_ipv4_dns1(void) PHONECORE_NOEXCEPT;
PHONECORE_API char *get_ipv4_dns2(void) PHONECORE_NOEXCEPT;
PHONECORE_API int sys_get_netinfor(char *mode, char *ipaddr, char *netmask, char *gateway, char *dns1, char *dns2,
                                   char *mac) PHONECORE_NOEXCEPT;
PHONECORE_API int sys_get_statusinfor(char *sw_version, char *hw_version, char *deviceid, char *ipaddr,
                                      char *mac) PHONECORE_NOEXCEPT;

/* Questions to the service, category 4108. */
PHONECORE_API int config_read_other_infor(int type, void *receiver, int *length) PHONECORE_NOEXCEPT;
PHONECORE_API int account_get_from_config(void *receiver, int *length) PHONECORE_NOEXCEPT;
/* 0 the file exists; -2 it doesn't, or no answer; -1 a null name. */
PHONECORE_API int config_check_file_infor(int type, const char *name) PHONECORE_NOEXCEPT;
PHONECORE_API int sys_check_file_exist(const char *name) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
