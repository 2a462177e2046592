/* phonecore: provisioning settings and schedule.
 *
 * All provisioning settings live in section "SettingAutoProvision" of
 * "default/settinglist.cfg", read and written through the configuration
 * service. Two views of them: the run-time record ap_cfg, loaded by
 * auto_update_get_config before every run, and AutoProvisionSetting, the
 * part a user sees on the settings pages (getSettingAutoProvision,
 * setSettingAutoProvision).
 *
 * ap_cfg has no lock: it belongs to the one provisioning thread of the
 * process. */
#ifndef PHONECORE_PROVISION_H
#define PHONECORE_PROVISION_H

#include <stdint.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* Every text field of both records: 64 bytes, at most 63 characters kept. */
#define AUTOPROVISION_TEXT_SIZE 64
/* Slots of the week mask: one per day name of the file, in file order. */
#define AUTOPROVISION_WEEK_SLOTS 7

/* The run-time record (600 bytes). */
typedef struct autoprovision_cfg_t {
    char AutoProvisionServerURL[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionUser[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionPassword[AUTOPROVISION_TEXT_SIZE];
    int32_t AutopRetryDelay; /* 1 to 300 seconds */
    int32_t ZeroWaitTime;    /* 1 to 100 */
    int32_t AutoProvisionPowerOn;
    int32_t AutoProvisionRepeat;
    int32_t AutoProvisionRepeatMinutes;
    int32_t AutoProvisionEnableWeekly;
    int32_t AutoProvisionWeeklyUpgradeInterval;
    int32_t AutoProvisionInactivityTimeExpire;
    int32_t from_hour;
    int32_t from_minute;
    int32_t to_hour;
    int32_t to_minute;
    /* The length of the file's array, also when it holds more than seven. */
    int32_t AutoProvisionWeeklyMaskCount;
    /* Day numbers (Sunday 0 to Saturday 6) in the order of the file; -1 for
     * an unknown name and for unused slots. */
    int32_t AutoProvisionWeeklyMask[AUTOPROVISION_WEEK_SLOTS];
    char AutoProvisionUpgradeURL[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionUpgradeMd5[AUTOPROVISION_TEXT_SIZE];
    int32_t AutoProvisionUpgradeEnable;
    char AutoProvisionGetCrtURL[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionGetCrtMd5[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionGetCrtName[AUTOPROVISION_TEXT_SIZE];
    int32_t AutoProvisionGetCrtEnable;
} autoprovision_cfg_t;

/* The caller's record of the settings pages (580 bytes). */
typedef struct AutoProvisionSetting {
    int32_t AutoProvisionEnableDHCPOption;
    char reserved[AUTOPROVISION_TEXT_SIZE]; /* touched by neither operation */
    char DhcpOptionValue[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionOptionTypeIPv6[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionServerURL[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionUser[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionPassword[AUTOPROVISION_TEXT_SIZE];
    char AutopRetryDelay[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionAESKey16[AUTOPROVISION_TEXT_SIZE];
    char AutoProvisionAESKey16MAC[AUTOPROVISION_TEXT_SIZE];
} AutoProvisionSetting;

/* The process-wide run-time record; valid from auto_update_get_config on. */
PHONECORE_API extern autoprovision_cfg_t ap_cfg;

/* The address of ap_cfg. */
PHONECORE_API autoprovision_cfg_t *get_autoprovision_cfg_t(void) PHONECORE_NOEXCEPT;
/* Clears ap_cfg (upgrade and certificate fields too) and loads the
 * settings into it. 0; -10 when the file can't be read (ap_cfg unchanged). */
PHONECORE_API int auto_update_get_config(void) PHONECORE_NOEXCEPT;
/* Fills the members found in the file, each text cut at 63 characters;
 * absent texts and the reserved text stay as they are. 0, also when the
 * file can't be read (the record is then left alone). */
PHONECORE_API int getSettingAutoProvision(AutoProvisionSetting *setting) PHONECORE_NOEXCEPT;
/* Stores the nine members of the record, then touches
 * /tmp/autoprovision_config_update. 0. */
PHONECORE_API int setSettingAutoProvision(AutoProvisionSetting *setting) PHONECORE_NOEXCEPT;
/* The local day of the year, from 0, divided by 7; -1 before 2020 (a clock
 * not yet set). */
PHONECORE_API int getWeekInYear(void) PHONECORE_NOEXCEPT;
/* The schedule is decided by the calling process: always 0. */
PHONECORE_API int auto_update_active_by_week(void) PHONECORE_NOEXCEPT;

/* One provisioning run, on the provisioning thread, after
 * auto_update_get_config: fetches name from AutoProvisionServerURL (which
 * must contain "ftp" or "http") into /tmp, following up to three 302s,
 * installs it as /appconfigs/phone.cfg, waits (5 s a look, up to two hours)
 * while a call lasts, adding the waited seconds to *ticks, then runs
 * provision_config_file_proc. 0 for a server URL of no known scheme, the
 * transfer's result when it is neither 1 nor 302; otherwise the value has
 * no meaning. Blocks for as long as all of this takes. */
PHONECORE_API int auto_update_download_proc(const char *name, uint32_t *ticks) PHONECORE_NOEXCEPT;
/* Has the configuration service take up /appconfigs/phone.cfg, tells all
 * processes to reload (a little over 4 s of pauses), restarts the network
 * and touches /tmp/autoprovision_config_update2. 0. */
PHONECORE_API int provision_config_file_proc(void) PHONECORE_NOEXCEPT;
/* Asks the configuration service to take up /appconfigs/phone.cfg and
 * waits for its answer (5 s at most), which is not looked at. 0. */
PHONECORE_API int upload_config_file(void) PHONECORE_NOEXCEPT;
/* The reverse request to the service; its answer is not looked at. 0. */
PHONECORE_API int download_config_file(void) PHONECORE_NOEXCEPT;

/* The firmware step of a run: reads the upgrade members of the settings
 * into ap_cfg, writes a top-level AutoProvisionUpgradeEnable "0", and when
 * URL, MD5 and enable are all set cleans the device (telnet, SSH and the
 * local log off, diagnostics killed, /tmp cleared, caches dropped: not
 * undone on failure), fetches the image and, when its MD5 is exactly the
 * expected text, records md5 and file_size under "version" of system.cfg
 * and leaves it as /tmp/download.bin for the upgrader. 0 whether or not an
 * upgrade started; -10 when the settings can't be read. */
PHONECORE_API int auto_update_get_config_upgrade(void) PHONECORE_NOEXCEPT;
/* The certificate step of a run, in the same manner: a top-level
 * AutoProvisionGetCrtEnable "0"; with URL, MD5 and enable set, the
 * certificate is fetched, its MD5 checked and crt_validate_proc run under
 * AutoProvisionGetCrtName (empty: "tmp001.crt"). 0; -10 when the settings
 * can't be read. */
PHONECORE_API int auto_update_get_tls_crt(void) PHONECORE_NOEXCEPT;

/* Results of crt_validate_proc. */
#define CRT_FILED 0          /* listed in default/security.cfg and filed */
#define CRT_LIST_FULL 2      /* five certificates are listed already */
#define CRT_NO_SUBJECT 3     /* openssl told no subject (or is absent) */
#define CRT_NO_END_DATE 4    /* openssl told no end date */
#define CRT_ALREADY_LISTED 6 /* the same file name or the same MD5 is listed */

/* Enters /tmp/<name> into the trusted list of default/security.cfg (its
 * subject CN and O and its end date as openssl prints them), files it as
 * /appconfigs/tls_ca/<name> and rebuilds /appconfigs/quorbit.ca from the
 * whole list. A refused certificate is removed from /tmp; list and bundle
 * stay as they were. One of the CRT_ codes. */
PHONECORE_API int crt_validate_proc(const char *name, const char *md5) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
