/* phonecore: the four programmable line keys (DSS keys) and BLF.
 *
 * A key's settings are kept twice, in "default/dss.cfg" (read by the user
 * interface) and in "default/programing_key.cfg" (read by the hot-key code
 * and the provisioning); voip_func_Dsskey_data keeps the two in step, and
 * subscribes or unsubscribes BLF targets at the SIP process as keys
 * change. Keys are numbered 1 to 4. */
#ifndef PHONECORE_DSSKEY_H
#define PHONECORE_DSSKEY_H

#include <stdint.h>

#include "phonecore/bus_client.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

struct json_object;

/* Key types. */
#define DSS_TYPE_LINE 0
#define DSS_TYPE_BLF 1
#define DSS_TYPE_INTERCOM 2
#define DSS_TYPE_SPEED_DIAL 3
#define DSS_TYPE_CALL_PICKUP 4
#define DSS_TYPE_CALL_PARK 5
#define DSS_TYPE_PARK_RETRIEVE 6
#define DSS_TYPE_OTHER 14 /* "Type" "5" in "default/programing_key.cfg" */

/* accId of a key with no account chosen. */
#define DSS_NO_ACCOUNT 0xFFFFFFFFu
/* LED state of a disabled BLF key. */
#define LCD_STATE_BLF_STATE_DISABLE 35

typedef struct DssKeyInfo {
    int32_t type;   /* on a read, -1 takes the stored type */
    uint32_t accId; /* account id */
    char label[64];
    char value[64]; /* number or target */
    char extension[64];
} DssKeyInfo;

/* operation 0 reads key (1 to 4) into info, any other writes info to both
 * files. 0; -1 when "default/programing_key.cfg" can't be read for a write. */
PHONECORE_API int voip_func_Dsskey_data(MessageClient *client, int operation, int key,
                                        DssKeyInfo *info) PHONECORE_NOEXCEPT;
/* Ends the BLF subscription that the "DssArr" entry still holds. 0. */
PHONECORE_API int voip_check_blf_unsubscribe(MessageClient *client, struct json_object *entry,
                                             DssKeyInfo *info) PHONECORE_NOEXCEPT;
/* Subscribes the BLF keys of an account that came online; call it from
 * on_reg_changed. */
PHONECORE_API void start_blf_after_reg(int acc_id, int online, MessageClient *client) PHONECORE_NOEXCEPT;
/* Rebuilds "default/dss.cfg" from "default/programing_key.cfg". 0, or -1
 * when either file can't be read. */
PHONECORE_API int set_dds_type(void) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
