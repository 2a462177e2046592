/* phonecore: SIP accounts and registration.
 *
 * A process that wants to know the accounts keeps a local copy in
 * _gl_accountArr: filled by asking the SIP process ("account_get", msgtype
 * 6) and refreshed from its broadcasts (msgtype 7) on a monitor thread.
 * Records travel back to back, 676 bytes each, in native byte order.
 * Registration state comes separately with the "reg_changed" event; the
 * process passes it to callback_on_reg_changed.
 *
 * The copy has no lock: it is written on the monitor thread and read
 * anywhere, and a reader may see a half-updated record. */
#ifndef PHONECORE_ACCOUNT_H
#define PHONECORE_ACCOUNT_H

#include <stdint.h>

#include "phonecore/bus_client.h"
#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

#define ACCOUNT_TEXT_SIZE 64
#define ACCOUNT_MAX_RECORDS 5

/* One account as the SIP process describes it. The library uses the id,
 * the registration state, text 3 (shown as a line key's value) and text 5
 * (shown as its extension); the other fields are the SIP process's and are
 * copied as they are. */
typedef struct AccountRecord {
    uint32_t account_id;             /* 0: the key of every lookup */
    uint32_t word4;                  /* 4 */
    char text[7][ACCOUNT_TEXT_SIZE]; /* 8: texts 0 to 6 */
    uint32_t word456;                /* 456 */
    char text7[ACCOUNT_TEXT_SIZE];   /* 460 */
    char text8[ACCOUNT_TEXT_SIZE];   /* 524 */
    uint32_t word588[2];             /* 588 */
    int32_t reg_state;               /* 596: as set by callback_on_reg_changed */
    uint32_t word600[3];             /* 600 */
    char text9[ACCOUNT_TEXT_SIZE];   /* 612 */
} AccountRecord;

PHONECORE_API extern AccountRecord _gl_accountArr[ACCOUNT_MAX_RECORDS];
PHONECORE_API extern int32_t _gl_accountLen; /* valid records */
PHONECORE_API extern int32_t __gl_maxlen;    /* records kept; 0 when not in use */
PHONECORE_API extern MsgHook *__gl_pAccHook; /* the msgtype 7 hook */

/* Starts the local copy of at most max records (max up to 5). 0. */
PHONECORE_API int LocalAcountInforBufferAdd(MessageClient *client, int max) PHONECORE_NOEXCEPT;
PHONECORE_API int LocalAcountInforBufferDel(MessageClient *client) PHONECORE_NOEXCEPT;
/* Announces count records to every process (msgtype 7). 0. */
PHONECORE_API int LocalAcountInforUpdateExt(const void *records, int count) PHONECORE_NOEXCEPT;
/* Copies min(valid, max) records; that number. */
PHONECORE_API int LocalAcountInforGet(void *destination, int max) PHONECORE_NOEXCEPT;
/* The local copy (up to 5 records) and its size in bytes. 1. */
PHONECORE_API int voip_account_get(MessageClient *client, void *destination, int *bytes) PHONECORE_NOEXCEPT;
/* Asks the SIP process; at most 4 records (2704 bytes), which destination
 * must hold. A failed request leaves *bytes. 0. */
PHONECORE_API int voip_account_get_real(MessageClient *client, void *destination, int *bytes) PHONECORE_NOEXCEPT;
PHONECORE_API void callback_on_reg_changed(int acc_id, int state) PHONECORE_NOEXCEPT;
/* The record's state; -10 without valid records, -20 for an unknown id. */
PHONECORE_API int get_reg_status(int acc_id) PHONECORE_NOEXCEPT;
/* Tells every process "reg_changed"; 0, or -1. */
PHONECORE_API int voip_send_reg_status(MessageClient *client, int acc_id, int online) PHONECORE_NOEXCEPT;

/* Writes one account (index 0 to 3) into the account store and into
 * "default/voiplist.cfg", then broadcasts the account reload. Ports are
 * texts; an empty port means 5060. 0; -1 when the account store can't be
 * read. */
PHONECORE_API int setSipAccount(int index, const char *label, const char *user_name, const char *password,
                                const char *display_name, const char *register_name, const char *port1,
                                const char *address1, int enable, const char *port2,
                                const char *address2) PHONECORE_NOEXCEPT;

/* Command broadcasts to every process; each answers 0. */
PHONECORE_API int reload_account_all(void) PHONECORE_NOEXCEPT;
PHONECORE_API int start_network(void) PHONECORE_NOEXCEPT;
PHONECORE_API int startSomething(void) PHONECORE_NOEXCEPT;
PHONECORE_API int startSomething_ssh(void) PHONECORE_NOEXCEPT;
PHONECORE_API int reload_sip_base(void) PHONECORE_NOEXCEPT;
PHONECORE_API int reload_cmd_broadcast(const char *name) PHONECORE_NOEXCEPT;
PHONECORE_API int set_voip_log_disable(void) PHONECORE_NOEXCEPT;
PHONECORE_API int set_telnet_ssh_type_disable(void) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
