/* phonecore: what a process needs beside the bus. A timed wait that another
 * thread can end early, the decoder of the command broadcasts
 * ("{\"cmd\":\"reboot\"}" and its sisters), process lookup by name, the
 * starter's mailbox "/tmp/start_excu", and small readings of the system. */
#ifndef PHONECORE_SYSCMD_H
#define PHONECORE_SYSCMD_H

#include <pthread.h>
#include <stdint.h>
#include <sys/types.h>

#include "phonecore/export.h"

PHONECORE_BEGIN_DECLS

/* A timed wait, from the heap. */
typedef struct VornThreadWait {
    uint32_t timeout; /* milliseconds */
    pthread_mutex_t mutex;
    pthread_cond_t cond;
} VornThreadWait;

/* Allocates the record with its time and stores it in *handle; the handle
 * (null when there is no memory). */
PHONECORE_API VornThreadWait *vorn_thread_wait_init(VornThreadWait **handle, uint32_t timeout_ms) PHONECORE_NOEXCEPT;
PHONECORE_API int vorn_thread_wait_release(VornThreadWait *handle) PHONECORE_NOEXCEPT;
/* Sleeps up to the stored time, counted from the start of the current
 * second (so it can end up to a second early), or until woken. 0; -1 for a
 * null handle. */
PHONECORE_API int vorn_thread_wait(VornThreadWait *handle) PHONECORE_NOEXCEPT;
/* Ends a wait in progress; a wake while nobody waits is lost. 0; -1. */
PHONECORE_API int vorn_thread_wait_wake(VornThreadWait *handle) PHONECORE_NOEXCEPT;

/* Decodes a command broadcast and calls the callback of "reboot",
 * "upgrade" (with "progress") or "default_reset" (with 1), where set.
 * -1 for text that isn't JSON, 0 when it has no "cmd", and -1 once a
 * command was looked at, whatever it was: the result tells nothing of
 * success. */
PHONECORE_API int system_cmd_decode(const char *text, void (*on_reboot)(void), void (*on_upgrade)(int progress),
                                    void (*on_reset)(int value)) PHONECORE_NOEXCEPT;
/* Room of the pids array of find_pid_by_name: the caller gives at least
 * this many entries; further matches are not stored. */
#define FIND_PID_MAX 64
/* The processes whose name (as the kernel keeps it, 15 characters) is
 * name, into pids (FIND_PID_MAX entries). *count is written only: the
 * number stored, 0 when none was found. 0 when one was found, else -1
 * (also when /proc can't be opened; *count is then left alone). */
PHONECORE_API int find_pid_by_name(const char *name, pid_t *pids, int *count) PHONECORE_NOEXCEPT;
/* Waits while "/tmp/start_excu" exists, then writes the command into it
 * for the starter process. 0. */
PHONECORE_API int system_send_start_cmd(const char *command) PHONECORE_NOEXCEPT;
#define SYSTEM_VERSION_SIZE 64
/* The firmware version ("QuorbitOta"."sw_version" of "quorbit_ota.cfg"),
 * or "000000" without the file; destination of SYSTEM_VERSION_SIZE. 0. */
PHONECORE_API int SystemGetVersion(char *destination) PHONECORE_NOEXCEPT;
#define WEB_LANG_SIZE 32
/* The web pages' language ("lang" of "system_info" in
 * "/appconfigs/etc/webauth.cfg"), or "es-us"; destination of
 * WEB_LANG_SIZE. 0. */
PHONECORE_API int get_web_lang(char *destination) PHONECORE_NOEXCEPT;
/* Prints "-file-line-text-seconds-milliseconds". 0. */
PHONECORE_API int zklog_times(const char *file, int line, const char *text) PHONECORE_NOEXCEPT;

PHONECORE_END_DECLS

#endif
